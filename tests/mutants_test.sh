#!/usr/bin/env bash
# scripts/mutants, in a project of one source and one test, and of a device that is none: what becomes of each
# change, the page that it prints of them, a copy that is worked on instead of the checkout, and what it refuses.
# Usage: mutants_test.sh SOURCE BUILD COMPILER
set -euo pipefail
source=$1 build=$2 compiler=$3
work=$(mktemp -d "$build/mutants-test.XXXXXX")
trap 'rm -rf "$work"' EXIT
export CXX=$compiler
mkdir -p "$work"/{scripts,room/made,tests,docs}
cp "$source/scripts/mutants" "$work/scripts"
mutants=$work/scripts/mutants
cd "$work"
cat >CMakeLists.txt <<'CMAKE'
cmake_minimum_required(VERSION 3.18)
project(small CXX)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
enable_testing()
add_subdirectory(room)
CMAKE
cat >room/CMakeLists.txt <<'CMAKE'
add_executable(sum_test sum.cc sum_test.cc)
target_compile_definitions(sum_test PRIVATE FOLDER="${CMAKE_CURRENT_SOURCE_DIR}")
add_test(NAME sum_test COMMAND sum_test)
add_executable(made made/made.cc)
add_custom_target(run-made ALL COMMAND made)
CMAKE
cat >room/made/made.cc <<'CODE'
int main() { return 0; }
CODE
cat >room/sum.cc <<'CODE'
// A comment has no code: 1 + 1.
int Sum(int a, int b) { return a + b; }
const char* Name() { return "sum"; }
unsigned char limit = {255};
static int Unused() { return 7; }
bool IsPositive(int a) {
  bool is = false;
  if (a > 0)
    is = true;
  return is;
}
CODE
cat >room/sum_test.cc <<'CODE'
#include <unistd.h>
int Sum(int, int);
bool IsPositive(int);
int main() {
  while (access(FOLDER "/hangs", F_OK) == 0) sleep(1);
  return access(FOLDER "/fails", F_OK) == 0 || Sum(2, 3) != 5 || !IsPositive(7) || IsPositive(-7);
}
CODE
cat >tests/changes_without_effect.txt <<'LIST'
# A remark.

room/sum.cc
- if (a > 0)
+ if (a >= 0)
For this test,
in two lines.
LIST
git init --quiet .
printf 'build/\n' >.gitignore
git add .

failed() {
  echo "$*"
  cat "$work/said"
  exit 1
}

# refuses STATUS WORDS ARGUMENT...
refuses() {
  local status=0
  "$mutants" "${@:3}" >"$work/said" 2>&1 || status=$?
  [ "$status" = "$1" ] || failed "exit status $status with ${*:3}"
  grep -qF -- "$2" "$work/said" || failed "refused otherwise: ${*:3}"
}
refuses 2 "name the folders"
refuses 2 "--sample takes a number from 1 up" --sample 0 room
refuses 2 "invalid int value: 'x'" --sample x room
refuses 2 "give --sample too" --seed 1 room
refuses 2 "rooms is no folder of this project" rooms
refuses 2 "../room is no folder of this project" ../room
refuses 2 "tests has no code" tests
# No quick test asks for this: it would notice each change of the list.
"$source/scripts/mutants" --check-list || exit 1

# A list of changes without effect that does not fit the code is refused.
list=tests/changes_without_effect.txt
# refuses_list WORDS SED-COMMAND
refuses_list() {
  sed -i "$2" "$list"
  refuses 1 "$list: $1" room
  git checkout --quiet "$list"
}
refuses_list "no change of room/sum.cc makes 'if (a >= 0)' of 'if (a > 1)'; take it out" 's/(a > 0)/(a > 1)/'
refuses_list "no change of room/sum.cc makes 'if (a < 0)' of 'if (a > 0)'; take it out" 's/a >= 0/a < 0/'
refuses_list "there is no room/sun.cc; take its changes out" 's/sum.cc/sun.cc/'
refuses_list "an entry is a file, '- ' and a line, '+ ' and what becomes of it, and why" '/^For/,$d'
[ ! -e build ] || failed "a refused command has begun to work"

# The build notices a change to what it runs. Of Sum's and IsPositive's, all but "> becomes >=", which is listed,
# and "0 becomes 1" are noticed; nobody asks for the name.
status=0
"$mutants" room >docs/page.md 2>"$work/said" || status=$?
[ "$status" = 1 ] || failed "exit status $status with changes that lived"
grep -F 'room ' "$work/said" | sed 's/^[^:]*: //' >fates
diff - fates <<'FATES'
room/made/made.cc:1: '0' -> '1': noticed
room/sum.cc:2: '+' -> '-': noticed
room/sum.cc:3: '"sum"' -> '""': lived
room/sum.cc:4: '255' -> '256': no code
room/sum.cc:5: '7' -> '8': the same
room/sum.cc:7: 'false' -> 'true': noticed
room/sum.cc:8: 'a > 0' -> '!(a > 0)': noticed
room/sum.cc:8: '>' -> '>=': no effect
room/sum.cc:8: '0' -> '1': lived
room/sum.cc:9: 'is = true' -> '': noticed
room/sum.cc:9: 'true' -> 'false': noticed
FATES
grep -qxF '| room | 11 | 11 | - | 1 | 1 | 1 | 6 | 2 | 75.0 % |' docs/page.md || failed "$(cat docs/page.md)"
grep -qxF '| all | 11 | 11 | - | 1 | 1 | 1 | 6 | 2 | 75.0 % |' docs/page.md || failed "$(cat docs/page.md)"
rm fates
git diff --quiet || failed "the checkout is changed"
diff -r room build/mutants/source/room

# A change that is noticed does not belong in the list.
"$mutants" room/made >"$work/page.md" 2>"$work/said" || failed "exit status $? though all was noticed"
printf '\nroom/made/made.cc\n- int main() { return 0; }\n+ int main() { return 1; }\nNone.\n' >>"$list"
refuses 1 "'0' -> '1': noticed; take it out of $list" room/made
git checkout --quiet "$list"

# The same seed chooses the same changes.
for i in 1 2; do
  "$mutants" --sample 2 --seed 5 room 2>&1 >"$work/page$i.md" | grep '^room ' >"$work/sample$i" || true
done
[ "$(wc -l <"$work/sample1")" = 2 ] && diff "$work/sample1" "$work/sample2"
grep -q '^| room | 11 | 2 | 5 |' "$work/page1.md" || failed "$(cat "$work/page1.md")"

# What was noticed is not tried again if so asked: with a test of other things, more is noticed and nothing less.
sed -i 's/Sum(2, 3) != 5 .*;/!IsPositive(1) || IsPositive(0);/' room/sum_test.cc
"$mutants" --resume room >"$work/resumed.md" 2>"$work/said" || true
grep -qxF '| room | 11 | 11 | - | 1 | 1 | 0 | 8 | 1 | 88.9 % |' "$work/resumed.md" || failed "$(cat "$work/resumed.md")"
"$mutants" room >"$work/again.md" 2>"$work/said" || true
grep -qF "'+' -> '-': lived" "$work/said" || failed "a change that was noticed before is not tried again"
git checkout --quiet room/sum_test.cc

# The device's code is built as its preparation does, and its own tests notice.
mkdir -p virtual_device/light
cat >virtual_device/light/light.cc <<'CODE'
#include "virtual_device/light/color.h"
int main(int count, char**) { return count > 1 ? kRed : kGreen; }
CODE
cat >virtual_device/light/color.h <<'CODE'
constexpr int kRed = 1;
constexpr int kGreen = 0;
constexpr int kBlue = 2;
constexpr unsigned char kDark = {255};
CODE
cat >virtual_device/Makefile <<'MAKE'
all:
	mkdir -p build/virtual-device/opt
	echo made >>build/virtual-device/log
	$(CXX) -O2 -I. -o build/virtual-device/opt/light virtual_device/light/light.cc
	echo made >&3
MAKE
cat >virtual_device/try <<'SCRIPT'
#!/bin/sh
cd "$(dirname "$0")/.."
echo "$1" >>build/virtual-device/log
case $1 in
  edges) build/virtual-device/opt/light ;;
  setup) ! build/virtual-device/opt/light red ;;
esac
SCRIPT
chmod +x virtual_device/try
cat >>CMakeLists.txt <<'CMAKE'
add_test(NAME virtual_device_prepared COMMAND sh -c "make -f virtual_device/Makefile all 3>&1"
         WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
set_tests_properties(virtual_device_prepared PROPERTIES LABELS slow FIXTURES_SETUP virtual_device)
foreach(test IN ITEMS boards-arm64 edges power-cut setup)
  add_test(NAME virtual_device_${test} COMMAND ${PROJECT_SOURCE_DIR}/virtual_device/try ${test})
  set_tests_properties(virtual_device_${test} PROPERTIES LABELS slow TIMEOUT 86400
                                                         FIXTURES_REQUIRED virtual_device)
endforeach()
CMAKE
git add CMakeLists.txt virtual_device
status=0
"$mutants" virtual_device/light >"$work/device.md" 2>"$work/said" || status=$?
[ "$status" = 1 ] || failed "exit status $status with a change of the device that lived"
grep -F 'virtual_device/light ' "$work/said" | sed 's/^[^:]*: //' >"$work/fates"
diff - "$work/fates" <<'FATES'
virtual_device/light/color.h:1: '1' -> '2': lived
virtual_device/light/color.h:2: '0' -> '1': noticed
virtual_device/light/color.h:3: '2' -> '3': the same
virtual_device/light/color.h:4: '255' -> '256': no code
virtual_device/light/light.cc:2: '>' -> '>=': noticed
virtual_device/light/light.cc:2: '1' -> '2': noticed
FATES
grep -qxF '| virtual_device/light | 6 | 6 | - | 1 | 1 | 0 | 3 | 1 | 75.0 % |' "$work/device.md" ||
  failed "$(cat "$work/device.md")"
log=build/mutants/source/build/virtual-device/log
[ "$(head -n 1 "$log")" = made ] || failed "the device is not made first"
[ "$(sed -n '2,5p' "$log" | sort | xargs)" = "boards-arm64 edges power-cut setup" ] ||
  failed "not all tests of the device are run on the unchanged code"
# Once for the unchanged code, and once for each change.
[ "$(grep -c made "$log")" = 7 ] || failed "the device is made otherwise: $(xargs <"$log")"
git diff --quiet || failed "the checkout is changed"

# A device whose tests fail is not tried.
sed -i 's/edges)/edges) exit 1;/' virtual_device/try
refuses 1 "tests on the virtual device fail on the unchanged code: virtual_device_edges" virtual_device
[ "$(grep -c made "$log")" = 8 ] || failed "what the device is made of did not stay"
[ -z "$(git -C build/mutants/source ls-files build)" ] || failed "what the device is made of is under git"
git checkout --quiet virtual_device/try
git rm -r --quiet --force virtual_device

# The rows of other folders stay on a page.
{ sed 's/| room |/| other |/' docs/page.md && cat "$work/page1.md"; } >"$work/kept.md"
"$mutants" --page "$work/kept.md" --sample 1 --seed 5 room >"$work/page.md" 2>"$work/said" || true
grep -qxF '| other | 11 | 11 | - | 1 | 1 | 1 | 6 | 2 | 75.0 % |' "$work/page.md" || failed "$(cat "$work/page.md")"
grep -q '^| room | 11 | 1 | 5 |' "$work/page.md" || failed "$(cat "$work/page.md")"
grep -q '^| all | 22 | 12 | - |' "$work/page.md" || failed "$(cat "$work/page.md")"

# A page with another number is refused.
{ printf 'Before.\n\n' && cat docs/page.md; } >"$work/whole.md"
"$mutants" --check "$work/whole.md"
sed 's/| 6 | 2 |/| 7 | 2 |/' "$work/whole.md" >"$work/spoilt.md"
refuses 1 "not as much as was tried" --check "$work/spoilt.md"
sed 's/75.0/76.0/' "$work/whole.md" >"$work/spoilt.md"
refuses 1 "does not end with a section" --check "$work/spoilt.md"

# Code whose tests fail is not changed.
touch room/fails
git add room/fails
refuses 1 "quick tests fail on the unchanged code: sum_test" room
git rm --quiet --force room/fails

# An interrupted run ends with its tests, and the next one finds the copy whole.
touch room/hangs
git add room/hangs
: >"$work/interrupted"
"$mutants" room >"$work/interrupted" 2>&1 &
until grep -q "^Running" "$work/interrupted"; do sleep 0.1; done
refuses 1 "another one works in build/mutants" room
kill -TERM $!
status=0
wait $! || status=$?
[ "$status" = 130 ] || failed "exit status $status of an interrupted run"
