#!/usr/bin/env bash
# Runs the sessions that README.md shows, indented lines from "$ " on, and compares what they print.
# Usage: readme_session_test.sh SOURCE BUILD
set -euo pipefail
source=$1 build=$2

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
awk '/^    \$ / { shown = 1 } !/^    / { shown = 0 } shown { print substr($0, 5) }' \
  "$source/README.md" >"$work/shown"
[ "$(grep -c '^\$ ' "$work/shown")" -ge 4 ] || { echo "README.md shows no session" && exit 1; }

# Status files and home are the session's own.
sed -n 's/^\$ //p' "$work/shown" >"$work/commands"
BUILD=$build unshare --map-root-user --mount bash -euc '
  mount -t tmpfs none /mnt
  cp "$1/commands" /mnt
  mount -t tmpfs none /tmp
  export ASAN_OPTIONS=verify_asan_link_order=0 HOME=/mnt TMPDIR=/mnt PATH=$BUILD/bin:$BUILD/sbin:$PATH
  while IFS= read -r command; do
    echo "$ $command"
    eval "$command" </dev/null 2>&1 || true
  done </mnt/commands' bash "$work" >"$work/printed"
diff "$work/shown" "$work/printed"
