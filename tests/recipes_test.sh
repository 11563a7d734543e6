#!/usr/bin/env bash
# Runs every recipe of docs/service.md, and the start script for a plain init, in each state in which a
# service can find the verdict.
# Usage: recipes_test.sh SOURCE BUILD WORK COMPILER IN-PRIVATE-TMP
set -euo pipefail
[ "$(id -u)" = 0 ] || { echo "not run: a record is trusted where root keeps it" && exit 77; }
source=$1 build=$2 work=$3 compiler=$4 in_private_tmp=$5

# block LANGUAGE PATTERN: the block of the page in that language with a line that matches.
block() {
  awk -v language="$1" -v pattern="$2" '
    $0 == "```" language { text = ""; inside = 1; next }
    /^```$/ { if (inside && text ~ pattern) printf "%s", text; inside = 0 }
    inside { text = text $0 "\n" }' "$source/docs/service.md"
}

rm -rf "$work"
mkdir -p "$work/bin" "$work/service"
block ini ExecCondition | sed -n 's/^ExecCondition=//p' >"$work/condition"
grep -q '^/usr/bin/vam-verdict ' "$work/condition" || { echo "no ExecCondition" && exit 1; }
block sh vam-verdict >"$work/recipe.sh"
block python vam-verdict >"$work/recipe.py"
block cpp ReadLastRun >"$work/service/service.cc"
for file in recipe.sh recipe.py service/service.cc; do
  [ -s "$work/$file" ] || { echo "docs/service.md has no block for $file" && exit 1; }
done

cmake --install "$build" --prefix "$work/prefix" >"$work/install.log"
cat >"$work/service/CMakeLists.txt" <<'TEXT'
cmake_minimum_required(VERSION 3.18)
project(service LANGUAGES CXX)
find_package(vam REQUIRED)
add_executable(service service.cc)
target_link_libraries(service PRIVATE vam::report)
TEXT
{
  cmake -S "$work/service" -B "$work/service/build" -DCMAKE_PREFIX_PATH="$work/prefix" \
    -DCMAKE_CXX_COMPILER="$compiler" && cmake --build "$work/service/build"
} >"$work/service.log" 2>&1 || { cat "$work/service.log" && exit 1; }

# The installed programs are where a device has them.
"$in_private_tmp" bash -euo pipefail -s "$work" "$source" <<'SESSION'
work=$1 source=$2
mount -t tmpfs -o mode=755 none /run
export PATH=$work/prefix/bin:$work/prefix/sbin:$PATH
sed -i "s#^/usr/bin/\([^ ]*\)#\"$work/prefix/bin/\1\"#" "$work/condition"

# expect STATE CONDITION SHELL C++ PYTHON: what each recipe says, the condition by its exit status.
expect() {
  local status=0
  eval "$(cat "$work/condition")" || status=$?
  [ "$status" = "$2" ] || { echo "$1: the condition ends with $status" && exit 1; }
  diff <(dash "$work/recipe.sh" 2>/dev/null) <(printf '%s\n' "$3") || { echo "$1: shell" && exit 1; }
  diff <("$work/service/build/service" && echo ready) <(printf '%s\n' "$4") || { echo "$1: C++" && exit 1; }
  diff <(python3 "$work/recipe.py" 2>/dev/null) <(printf '%s\n' "$5") || { echo "$1: Python" && exit 1; }
}
on_board() { vam-verdict run -- vam-board run --machine-tmp --board "$1" -- vam-update >/dev/null || true; }

# Anybody can write this.
echo "Updated FW version: 9.9 " >/tmp/VAM_OK
sed -i 's/--wait 30/--wait 1/' "$work/recipe.sh"
expect none 3 "No run has ended in this boot." "No verdict: " \
  "No verdict: no run has ended in this boot"

on_board update-needed
words="verified: the chip runs the image's firmware, system version 1.1,04/7,3."
expect verified 0 "The VAM's firmware is verified." "$words"$'\nready' "Verified: b'1.1,04/7,3'"

on_board mode-3-failing
words="update failed: the run ended with status 255. The update of the chip (mode 3) failed. (code"
words+=" -65536 TEEC_ERROR_GENERIC, VAM 0 VAM_RET_SUCCESS, firmware 0 ZELK_NO_ERROR)"
expect failed 1 "The run did not verify it: $words" "$words" "Not verified: update failed
- The update of the chip (mode 3) failed. TEEC_ERROR_GENERIC"

chown 65534 /run/vam-update/verdict.json
reason="/run/vam-update/verdict.json: it is a file of user 65534"
expect forged 4 "There is no verdict to trust." "No verdict: $reason" "No verdict: $reason"
rm -r /run/vam-update

# The start script, with a tool that runs on a simulated board.
mkdir /mnt/bin
cat >/mnt/bin/vam-update <<TEXT
#!/bin/sh
exec "$work/prefix/bin/vam-board" run --machine-tmp --board "\$(cat /mnt/board)" -- "$work/prefix/sbin/vam-update"
TEXT
chmod +x /mnt/bin/vam-update
PATH=/mnt/bin:$PATH
mount -t tmpfs none /etc/default
script() { dash "$source/packaging/examples/vam-update.init" "$@" >/mnt/console 2>&1; }
# started NAME BOARD STATUS VERDICT: what a start and the status after it end with.
started() {
  local status=0
  echo "$2" >/mnt/board
  script start || status=$?
  [ "$status" = "$3" ] || { echo "$1: start ends with $status" && exit 1; }
  status=0
  script status || status=$?
  [ "$status" = "$4" ] || { echo "$1: status ends with $status" && exit 1; }
}
printf 'NODES="/dev/null /dev/no-such-node"\nPATIENCE=1\n' >/etc/default/vam-update
started verified update-needed 0 0
echo "Updated FW version: 9.9 " >/tmp/VAM_OK
started failed mode-3-failing 255 1
[ ! -e /tmp/VAM_OK ] || { echo "the verdict of an earlier boot stays" && exit 1; }
printf 'NODES=\nOPTIONS="--folder /run/other"\n' >/etc/default/vam-update
started "another folder" no-vam 0 1
grep -q '"no VAM"' /run/other/verdict.json
printf '#!/bin/sh\nsleep 600\n' >/mnt/bin/vam-update
printf 'NODES=\nLIMIT=1\n' >/etc/default/vam-update
started "too long" no-vam 124 1
grep -q '"outcome":"interrupted"' /run/vam-update/verdict.json
script stop
! script nonsense || { echo "nonsense is taken" && exit 1; }
SESSION
