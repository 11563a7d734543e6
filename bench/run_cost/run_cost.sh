#!/usr/bin/env bash
# Counts the instructions of the update tool's run, of the same run written bare, and of the run with
# its recorder, on a platform that costs nothing. Fails when a ratio, or what recording a call costs, is
# above its limit.
# Usage: run_cost.sh UPDATE-TOOL BARE-RUN QUIET-PLATFORM RECORDER-LIBRARY
set -euo pipefail
tool=$1 bare=$2 platform=$3 recorder=$4
limit_main=1.15 limit_process=1.05 limit_call=13000

command -v valgrind >/dev/null || { echo "run_cost: install valgrind" >&2 && exit 1; }
work=$(mktemp --directory)
trap 'rm -rf "$work"' EXIT

# A run in a /tmp of its own, where its status file meets nobody else's.
private=(unshare --mount)
[ "$(id --user)" -eq 0 ] || private+=(--user --map-root-user)

# count NAME PROGRAM [VARIABLE=VALUE...]: the instructions of the process in $work/NAME.process, those
# of main() in $work/NAME.main. The loader binds a library's functions at their first call, also within main();
# for the second figure it binds them all before.
count() {
  local figure bind
  for figure in process main; do
    [ "$figure" = main ] && bind=1 || bind=
    "${private[@]}" env LD_LIBRARY_PATH="$platform" LD_BIND_NOW=$bind "${@:3}" bash -euc '
      profile=$1 console=$2 program=$3
      exec 3>"$profile" 4>"$console" 5>"$console.journal"
      mount -t tmpfs tmpfs /tmp
      touch /tmp/journal
      valgrind --tool=callgrind --callgrind-out-file=/tmp/profile "$program" \
        >/tmp/console 2>/tmp/log || { cat /tmp/log >&2 && exit 1; }
      cat /tmp/profile >&3
      cat /tmp/console /tmp/VAM_OK >&4
      cat /tmp/journal >&5' bash "$work/profile" "$work/$1.console" "$2"
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
# Valgrind itself is not recorded: it keeps what is preloaded for the program.
count recorded "$tool" LD_PRELOAD="$recorder" VAM_RECORDING="0 0 /none /tmp/journal"

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
calls=$(wc -l <"$work/recorded.console.journal")
diff "$work/tool.console" "$work/recorded.console" || exit
awk -v calls="$calls" -v limit="$limit_call" '
  { count[NR] = $1 }
  END {
    each = (count[2] - count[1]) / calls
    printf "\n| Instructions in `main` | recorded | calls | a call | at most |\n|---:|---:|---:|---:|---:|\n"
    printf "| %d | %d | %d | %d | %d |\n", count[1], count[2], calls, each, limit
    exit !(calls > 0 && each <= limit)
  }' "$work/tool.main" "$work/recorded.main" || status=1
exit "$status"
