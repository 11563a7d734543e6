#!/usr/bin/env bash
# Checks README.md. Its table names every folder of the tree. Its sessions, indented lines from "$ "
# on, print what it shows. A command that fails is followed by one that shows its exit status.
# Usage: readme_test.sh SOURCE BUILD IN-PRIVATE-TMP
set -euo pipefail
source=$1 build=$2 in_private_tmp=$3

# A build may lie in the tree.
diff <(find "$source" -mindepth 1 -maxdepth 1 -type d ! -name '.*' ! -name 'build*' -printf '%f\n' |
  LC_ALL=C sort) \
  <(sed -n '/^## Where things are/,$p' "$source/README.md" | grep '^| `' | cut -d'|' -f2 |
    grep -oE '[a-z_]+' | LC_ALL=C sort)

shown=$(awk '/^    \$ / { shown = 1 } !/^    / { shown = 0 } shown { print substr($0, 5) }' \
  "$source/README.md")
commands=$(sed -n 's/^\$ //p' <<<"$shown")
[ "$(wc -l <<<"$commands")" -ge 4 ] || { echo "README.md shows no session" && exit 1; }

# Status files, home and the runs' own files are the session's own.
export HOME=/mnt TMPDIR=/mnt PATH=$build/bin:$build/sbin:$PATH
printed=$("$in_private_tmp" bash -uc '
  status=0
  while IFS= read -r command; do
    [ "$status" = 0 ] || [ "$command" = "echo \$?" ] || echo "the page does not show exit status $status"
    echo "$ $command"
    (exit "$status")
    eval "$command" </dev/null 2>&1
    status=$?
  done <<<"$1"
  [ "$status" = 0 ] || echo "the page does not show exit status $status"' bash "$commands")
diff <(echo "$shown") <(echo "$printed")
