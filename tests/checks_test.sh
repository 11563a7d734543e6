#!/usr/bin/env bash
# The checks of the tree itself refuse what they must: each gets a copy of the tree with one thing
# wrong, and must name it.
# Usage: checks_test.sh SOURCE BUILD IN-PRIVATE-TMP CTEST COMPILER VERSION DATE
set -euo pipefail
source=$1 build=$2 in_private_tmp=$3 ctest=$4 compiler=$5 version=$6 date=$7
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
tree=$work/tree
failed=0

# refuses WORDS COMMAND... : the command fails and says the words. Then the copy is whole again.
refuses() {
  if "${@:2}" >"$work/output" 2>&1; then
    echo "passes: $1"
    failed=1
  elif ! grep -qF -- "$1" "$work/output"; then
    echo "does not say: $1"
    cat "$work/output"
    failed=1
  fi
  fresh_copy
}

fresh_copy() {
  rm -rf "$tree"
  mkdir "$tree"
  tar -C "$source" --exclude './build*' --exclude './.git' -c . | tar -C "$tree" -x
  cp -r "$build/docs/man" "$work/pages"
}

every_test() { "$tree/tests/every_test_test.sh" "$tree" "$build" "$ctest"; }
man_pages() {
  "$tree/tests/man_pages_test.sh" "$tree" "$work/pages" "$version" "$date" \
    "$build"/sbin/vam-update "${programs[@]}"
}
readme() { "$tree/tests/readme_test.sh" "$tree" "$build" "$in_private_tmp"; }
include_direction() {
  "$tree/tests/include_direction_test.sh" "$tree" "$compiler" "$build/tests/targets_of_rooms"
}
fresh_copy

touch "$tree/version/lost_test.cc"
refuses "version/lost_test.cc is not built" every_test
touch "$tree/fuzz/lost_fuzz.cc"
refuses "fuzz/lost_fuzz.cc is not built" every_test
touch "$tree/tests/lost_test.sh"
refuses "tests/lost_test.sh is not run" every_test
sed -i 's/^TEST_P([A-Za-z]*, /&DISABLED_/' "$tree/version/compare_version_test.cc"
refuses "a test is disabled" every_test

sed -i 's/`sdk_port` \*/`lost_port` */' "$tree/docs/porting.md"
refuses "docs/porting.md: names the test lost_port, which is not run" every_test

programs=("$build/bin/vamctl")
sed -i 's/\\-\\-json//g; s/--json//g' "$work/pages/vamctl.1"
refuses "vamctl: options differ from the help" man_pages
printf '#!/bin/sh\n' >"$work/vamctl"
chmod +x "$work/vamctl"
programs=("$work/vamctl")
refuses "vamctl --help lists no commands" man_pages

sed -i '/^    \$ echo \$?$/,+1d' "$tree/README.md"
refuses "the page does not show exit status 1" readme
sed -i 's/^    result: 0x00000000/    result: 0x00000001/' "$tree/README.md"
refuses "> result: 0x00000000" readme
mkdir "$tree/another_room"
refuses "< another_room" readme

sed -i '1i #include "interface/exchange.h"' "$tree/tee/vam_tee_client.cc"
refuses "tests/rooms does not let tee include interface/exchange.h" include_direction
sed -i 's/^ *driver --> interface$//' "$tree/docs/architecture.md"
refuses "docs/architecture.md draws other arrows than tests/rooms" include_direction

GTEST_FILTER='-*' "$ctest" --test-dir "$build" --verbose --tests-regex '^vam_compare_version_test$' \
  >"$work/output"
grep -qE '\[  PASSED  \] [1-9][0-9]* tests?\.' "$work/output" || {
  echo "a variable keeps all tests from running"
  failed=1
}
exit "$failed"
