#!/usr/bin/env bash
# Each folder of the product builds with the folders that it may include from, and with no other.
# Usage: include_direction_test.sh COMPILER FOLDER INCLUDE-FOLDERS HEADER...
# The headers are the one of each folder that FOLDER may include.
set -euo pipefail

compiler=$1
folder=$2
IFS=';' read -ra roots <<<"$3"
shift 3
allowed=("$@")

# One header of every folder, whose own includes are there for whoever may include it.
all=(vamctl/answer.h driver/board_probe.h interface/ca_vam_interface_sp.h tee/vam_tee_client.h
  report/vam_result.h version/compare_version.h util/console_line.h util/text_conversions.h
  platform/device_node.h simulator/board/board.h tests/support/process.h)

includes=()
for root in "${roots[@]}"; do
  includes+=("-I$root")
done

failed=0
for header in "${all[@]}"; do
  expected=refused
  for name in "${allowed[@]}"; do
    if [ "$name" = "$header" ]; then
      expected=found
    fi
  done
  # Whether the header itself is found, whatever becomes of what it includes.
  actual=refused
  if echo "#if !__has_include(\"$header\")
#error
#endif" | "$compiler" -std=c++17 -x c++ -fsyntax-only "${includes[@]}" - 2>/dev/null; then
    actual=found
  fi
  if [ "$actual" != "$expected" ]; then
    echo "$folder/: $header is $actual, must be $expected" >&2
    failed=1
  fi
done
exit "$failed"
