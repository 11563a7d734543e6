#!/usr/bin/env bash
# Every compile line of a build has each of the given flags, and none names another standard.
# Usage: compile_lines_test.sh SOURCE BUILD FLAG...
set -euo pipefail
build=$2
shift 2

lines=$(grep '^ *"command": ' "$build/compile_commands.json")
failed=0
for flag in "$@"; do
  if without=$(grep -vF -- " $flag " <<<"$lines"); then
    echo "without $flag: $(head -n 1 <<<"$without")"
    failed=1
  fi
done
if other=$(grep -oE -- ' -std=[^ ]*' <<<"$lines" | grep -vxF -- ' -std=c++17'); then
  echo "another standard:$(head -n 1 <<<"$other")"
  failed=1
fi
exit "$failed"
