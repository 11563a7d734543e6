#!/usr/bin/env bash
# Counts the instructions of the update tool's run, and of the same run written bare, on a platform
# that costs nothing. Fails when a ratio is above its limit.
# Usage: run_cost.sh UPDATE-TOOL BARE-RUN QUIET-PLATFORM
set -euo pipefail
tool=$1 bare=$2 platform=$3
limit_main=1.15 limit_process=1.05

command -v valgrind >/dev/null || { echo "run_cost: install valgrind" >&2 && exit 1; }
work=$(mktemp --directory)
trap 'rm -rf "$work"' EXIT

# A run in a /tmp of its own, where its status file meets nobody else's.
private=(unshare --mount)
[ "$(id --user)" -eq 0 ] || private+=(--user --map-root-user)

# count NAME PROGRAM: the instructions of the process in $work/NAME.process, those of main() in
# $work/NAME.main. The loader binds a library's functions at their first call, also within main();
# for the second figure it binds them all before.
count() {
  local figure bind
  for figure in process main; do
    [ "$figure" = main ] && bind=1 || bind=
    "${private[@]}" env LD_LIBRARY_PATH="$platform" LD_BIND_NOW=$bind bash -euc '
      profile=$1 console=$2 program=$3
      exec 3>"$profile" 4>"$console"
      mount -t tmpfs tmpfs /tmp
      valgrind --tool=callgrind --callgrind-out-file=/tmp/profile "$program" \
        >/tmp/console 2>/tmp/log || { cat /tmp/log >&2 && exit 1; }
      cat /tmp/profile >&3
      cat /tmp/console /tmp/VAM_OK >&4' bash "$work/profile" "$work/$1.console" "$2"
    if [ "$figure" = process ]; then
      awk '/^totals:/ { print $2 }' "$work/profile"
    else
      callgrind_annotate --inclusive=yes --threshold=100 --auto=no "$work/profile" |
        awk '/:main( |$)/ && !count { gsub(",", "", $1); count = $1 } END { print count }'
    fi >"$work/$1.$figure"
  done
}
count tool "$tool"
count bare "$bare"

diff "$work/tool.console" "$work/bare.console" || {
  echo "run_cost: the two runs print different lines" >&2
  exit 1
}
echo "| Instructions | vam-update | written bare | times | at most |"
echo "|---|---:|---:|---:|---:|"
status=0
for figure in main process; do
  limit=limit_$figure
  awk -v name="$figure" -v limit="${!limit}" '
    { count[NR] = $1 }
    END {
      ratio = count[1] / count[2]
      printf "| %s | %d | %d | %.3f | %s |\n", name == "main" ? "in `main`" : "of the process",
             count[1], count[2], ratio, limit
      exit !(ratio <= limit)
    }' "$work/tool.$figure" "$work/bare.$figure" || status=1
done
exit "$status"
