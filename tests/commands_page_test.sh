#!/usr/bin/env bash
# Checks docs/commands.md. It names every command identifier. On the simulated board each subcommand
# of vamctl sends its method's identifier, a fault takes the method's name, and a reply has as many
# items as the page names.
# Usage: commands_page_test.sh SOURCE BUILD IN-PRIVATE-TMP
set -euo pipefail
source=$1 build=$2 in_private_tmp=$3

# method|identifier|subcommand and its arguments, a file or else a number that every command takes
commands=$(sed -nE 's/^\| `([^`]+)`( \*)? \| `([^`]+)` \| ([0-9]+) \|.*/\3|\4|\1\2/p' \
  "$source/docs/commands.md" |
  sed -E 's/\[[^]]*\]//; s/FILE/\/mnt\/record/; s/\b[A-Z]+\b/7/; s/ \*$/ --yes/')
diff <(sed -n '/^enum CommandIdentifier/,/^}/s/.* = \([0-9]*\),$/\1/p' \
  "$source/interface/trusted_application.h" | sort) <(cut -d'|' -f2 <<<"$commands" | sort)
# method|items of its reply
replies=$(sed -n '/^## Requests and replies/,/^## /s/^| \(`v[^|]*\)|[^|]*|\(.*\)|$/\1|\2/p' \
  "$source/docs/commands.md" | while IFS='|' read -r methods items; do
  count=$( (grep -oE '[0-9]+\. ' <<<"$items" || true) | wc -l)
  grep -oE 'v[a-zA-Z_]+' <<<"$methods" | sed "s/\$/|$count/"
done)
[ "$(wc -l <<<"$replies")" -ge 7 ] || { echo "docs/commands.md has too few replies" && exit 1; }

export TMPDIR=/mnt PATH=$build/bin:$build/sbin:$PATH
"$in_private_tmp" bash -euc '
  # answer FAULT ARGUMENT...: what vamctl shows on the board "update-needed" with the fault.
  answer() {
    { cat "$source/simulator/boards/update-needed.toml" && printf "\n[[fault]]\n%s\n" "$1"; } \
      >/mnt/board.toml
    vam-board run --board /mnt/board.toml -- vamctl "${@:2}" </dev/null 2>&1 || true
  }
  source=$1
  printf "record" >/mnt/record
  failed=0
  while IFS="|" read -r method identifier arguments; do
    shown=$(answer "command = \"$method\"
result = \"TEEC_ERROR_BUSY\"" $arguments)
    grep -q "cmd = $identifier, result = 4294901773, retOrigin = 4" <<<"$shown" ||
      { echo "$method does not send $identifier: $shown" && failed=1; }
    count=$(sed -n "s/^$method|//p" <<<"$3")
    for item in $(seq "${count:-0}"); do
      shown=$(answer "command = \"$method\"
item = $item
cut = true" $arguments)
      ! grep -q TEEC_SUCCESS <<<"$shown" || { echo "$method has no item $item" && failed=1; }
    done
    shown=$(answer "command = \"$method\"
item = $((${count:-0} + 1))
cut = true" $arguments)
    [ "${count:-0}" != 0 ] || count=no
    grep -q "the reply of $method has $count items" <<<"$shown" ||
      { echo "$method has other than $count items: $shown" && failed=1; }
  done <<<"$2"
  exit $failed' bash "$source" "$commands" "$replies"
