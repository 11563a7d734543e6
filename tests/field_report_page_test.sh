#!/usr/bin/env bash
# Executes the commands of docs/field-report.md, indented lines from "$ " on, and compares what they
# print with what the page shows. The device is a simulated board on which the update fails.
# Usage: field_report_page_test.sh SOURCE BUILD IN-PRIVATE-TMP
set -euo pipefail
source=$1 build=$2 in_private_tmp=$3

# part FROM TO : what the page shows between two headings.
part() {
  awk -v from="## $1" -v to="## $2" '$0 == from { on = 1 } $0 == to { on = 0 } on' \
    "$source/docs/field-report.md" |
    awk '/^    \$ / { shown = 1 } !/^    / { shown = 0 } shown { print substr($0, 5) }'
}
device=$(part "On the device" "What to send")
desk=$(part "At the desk" "")
commands=$(grep -c '^\$ ' <<<"$device"$'\n'"$desk")
[ "$commands" = 10 ] || { echo "docs/field-report.md has $commands commands, not ten" && exit 1; }

export HOME=/mnt TMPDIR=/mnt PATH=$build/bin:$build/sbin:$PATH
run='
  status=0
  while IFS= read -r command; do
    [ "$status" = 0 ] || [ "$command" = "echo \$?" ] || echo "the page does not show exit status $status"
    echo "$ $command"
    (exit "$status")
    eval "$command" </dev/null 2>&1
    status=$?
  done < <(sed -n "s/^\$ //p" <<<"$1")
  [ "$status" = 0 ] || echo "the page does not show exit status $status"'
printed=$("$in_private_tmp" bash -uc '
  mkdir /mnt/device /mnt/desk
  cd /mnt/device
  vam-board run --board mode-3-failing -- bash -uc "$1" bash "$2"
  cp report.tar.gz /mnt/desk
  cd /mnt/desk
  bash -uc "$1" bash "$3"' bash "$run" "$device" "$desk")
diff <(printf '%s\n' "$device" "$desk") <(echo "$printed")
