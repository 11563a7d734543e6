#!/usr/bin/env bash
# scripts/run and scripts/draft-expectation, in a checkout whose path has a blank and from another
# folder: what they print of a run is what tests/boards has.
# Usage: scripts_test.sh SOURCE BUILD WORK IN-PRIVATE-TMP
set -euo pipefail
source=$1 build=$2 work=$3 in_private_tmp=$4
checkout="$work/a checkout"
rm -rf "$work"
mkdir -p "$checkout"/{scripts,build,tests/boards,docs}
cp "$source"/scripts/{run,outcome,draft-expectation} "$checkout/scripts"
cp -R "$source/simulator" "$checkout"
# What there is to install and to build is there.
ln -s "$build" "$checkout/build/default"
for done in packages build; do
  printf '#!/bin/sh\n' >"$checkout/scripts/$done"
  chmod +x "$checkout/scripts/$done"
done
export TMPDIR=/mnt ASAN_OPTIONS=verify_asan_link_order=0
cd "$checkout/simulator"

failed() {
  echo "$*"
  exit 1
}

# outcome FILE: what scripts/run printed there of the run itself.
outcome() {
  sed -n '/^== Console$/,/^$/p' "$1" | sed '$d'
}

for board in no-vam mode-3-failing update-needed; do
  "$in_private_tmp" ../scripts/run "$board" >"$work/printed"
  outcome "$work/printed" | diff - "$source/tests/boards/$board.txt"
done
"$in_private_tmp" ../scripts/run >"$work/default"
diff "$work/printed" "$work/default"
cd boards
"$in_private_tmp" ../../scripts/run update-needed.toml >"$work/relative"
diff "$work/printed" "$work/relative"
cd ..

# The machine's status files are none of this run's, and stay as they are.
"$in_private_tmp" bash -euc '
  echo "an entry 1 " >/tmp/VAM_FAIL
  echo "a verdict" >/tmp/VAM_OK
  ../scripts/run no-vam
  cat /tmp/VAM_FAIL /tmp/VAM_OK >/mnt/after
  printf "an entry 1 \na verdict\n" | diff - /mnt/after' >"$work/printed"
outcome "$work/printed" | diff - "$source/tests/boards/no-vam.txt"

# Another user's run shows its verdict after root's, and root's again after that.
if [ "$(id -u)" = 0 ]; then
  "$in_private_tmp" bash -euc '
    ../scripts/run no-vam >/mnt/root
    mkdir -p /mnt/theirs/build/default/share/vam
    cp -R ../scripts ../simulator /mnt/theirs
    cp -R "$1/bin" "$1/sbin" "$1/lib" /mnt/theirs/build/default
    ln -s /mnt/theirs/simulator/boards /mnt/theirs/build/default/share/vam/boards
    chmod 755 /mnt
    chown -R 65534:65534 /mnt/theirs
    cd /mnt/theirs
    TMPDIR=/tmp setpriv --reuid=65534 --regid=65534 --clear-groups scripts/run no-vam >/mnt/another
    cd - >/dev/null
    ../scripts/run no-vam >/mnt/again
    [ -z "$(ls -A /tmp)" ] || { ls -l /tmp && exit 1; }
    cp /mnt/root /mnt/another /mnt/again "$2"' bash "$build" "$work"
  for printed in root another again; do
    outcome "$work/$printed" | diff - "$source/tests/boards/no-vam.txt"
  done
fi

# refused TEXT COMMAND...: a run that must fail and say this last.
refused() {
  local text=$1
  shift
  ! "$in_private_tmp" "$@" >"$work/printed" 2>&1 || failed "$*: succeeded"
  [ "$(tail -n 1 "$work/printed")" = "$text" ] || failed "$* said: $(cat "$work/printed")"
}

../scripts/run --help | grep -q '^Usage: scripts/run \[BOARD\]$' || failed "scripts/run has no help"
refused "scripts/run: there is no option --bord; see --help" ../scripts/run --bord
refused "scripts/run: give one board, not also no-vam; see --help" ../scripts/run no-vam no-vam
refused "vam-board: $checkout/simulator/nowhere.toml: cannot be read: No such file or directory; give a board file, or a name \
that \`vam-board list\` shows" ../scripts/run nowhere.toml

draft=$checkout/tests/boards/mode-7-failing.txt
"$in_private_tmp" ../scripts/draft-expectation mode-7-failing 2>"$work/printed"
diff "$draft" "$source/tests/boards/mode-7-failing.txt"
[ "$(cat "$work/printed")" = "tests/boards/mode-7-failing.txt is a draft: check each line of it \
against docs/outcomes.md" ] || failed "draft-expectation said: $(cat "$work/printed")"
echo "checked by hand" >"$draft"
refused "scripts/draft-expectation: tests/boards/mode-7-failing.txt is there already; compare it \
with docs/outcomes.md, or remove it for a new draft" ../scripts/draft-expectation mode-7-failing
[ "$(cat "$draft")" = "checked by hand" ] || failed "draft-expectation wrote over an expectation"
refused "scripts/draft-expectation: simulator/boards has no nowhere.toml" \
  ../scripts/draft-expectation nowhere
[ ! -e "$checkout/tests/boards/nowhere.txt" ] || failed "draft-expectation drafted no board"
