#!/usr/bin/env bash
# Installs a build and moves the prefix. Builds a program against it through find_package and again
# through pkg-config. Runs both programs and the installed tools on a simulated board.
# Usage: installed_test.sh SOURCE BUILD WORK COMPILER IN-PRIVATE-TMP
set -euo pipefail
source=$1 build=$2 work=$3 compiler=$4 in_private_tmp=$5
prefix=$work/prefix

rm -rf "$work"
mkdir -p "$work"
cmake --install "$build" --prefix "$work/first" >"$work/install.log"
# The unit starts what was installed.
mapfile -t words < <(sed -n 's/^ExecStart=//p' "$work/first/lib/systemd/system/vam-update.service" |
  xargs printf '%s\n')
recorder=${words[0]} tool=${words[-1]}
[ "$recorder" = "$work/first/bin/vam-verdict" ] && [ -x "$recorder" ] &&
  [ "$tool" = "$work/first/sbin/vam-update" ] && [ -x "$tool" ] || {
  echo "the unit starts $recorder and $tool"
  exit 1
}
mv "$work/first" "$prefix"

diff <(ls "$prefix/bin") - <<'TEXT' || { echo "other programs are installed (<) than named here (>)" && exit 1; }
vam-board
vam-image
vam-record
vam-verdict
vamctl
TEXT

cp -r "$source/tests/installed" "$work/consumer"
(cd "$prefix/include/vam" && find . -name '*.h' -printf '%P\n' | LC_ALL=C sort) >"$work/headers"
diff "$work/headers" - <<'TEXT' || { echo "other headers are installed (<) than named here (>)" && exit 1; }
driver/board_probe.h
interface/ca_vam_interface_sp.h
interface/trusted_application.h
platform/device_node.h
platform/marshaller.h
platform/platform.h
platform/settings_store.h
platform/system_information.h
platform/tee_client.h
report/last_run.h
report/result_codes.h
report/run_record.h
report/status_files.h
report/status_messages.h
report/status_reader.h
report/tee_codes.h
report/vam_result.h
tee/shared_block.h
tee/vam_tee_client.h
util/byte_conversions.h
util/console_line.h
util/platform_identity.h
util/randomness_and_hashing.h
util/signatures_and_key_paths.h
util/text_conversions.h
version/compare_version.h
TEXT
sed 's|.*|#include <vam/&>|' "$work/headers" >"$work/consumer/every_header.cc"

{
  cmake -S "$work/consumer" -B "$work/by-cmake" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_CXX_COMPILER="$compiler" && cmake --build "$work/by-cmake"
} >"$work/by-cmake.log" 2>&1 || { cat "$work/by-cmake.log" && exit 1; }

# A component that no build has.
mkdir "$work/no-component"
printf 'cmake_minimum_required(VERSION 3.18)\nproject(p CXX)\nfind_package(vam REQUIRED COMPONENTS tee telemetry)\n' \
  >"$work/no-component/CMakeLists.txt"
if cmake -S "$work/no-component" -B "$work/no-component/build" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_CXX_COMPILER="$compiler" >"$work/no-component.log" 2>&1 ||
  ! tr -s ' \n' ' ' <"$work/no-component.log" | grep -qF "This build of vam has no component telemetry; \
it has driver, interface, platform, report, tee, version, util."; then
  cat "$work/no-component.log"
  echo "a component that there is not is not refused by name"
  exit 1
fi

PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name vam.pc)")
export PKG_CONFIG_PATH
[ "$(pkg-config --modversion vam vam-util | sort -u)" = \
  "$(sed -n 's/.*PACKAGE_VERSION "\(.*\)".*/\1/p' "$(find "$prefix" -name vam-config-version.cmake)" | sed -n 1p)" ]
mkdir "$work/by-pkg-config"
# The flags are words of a command line, quotes included.
flags=$(pkg-config --cflags --libs vam-util vam)
(cd "$work/consumer" && eval "$compiler -std=c++17 -Wall -Wextra -Wpedantic -Werror *.cc $flags" \
  -o ../by-pkg-config/consumer)

# on_board PROGRAM...: runs it with a /tmp of its own, and shows the status files after its console.
on_board() {
  PREFIX=$prefix "$in_private_tmp" bash -euc '
    "$PREFIX/bin/vam-board" run --machine-tmp --board update-needed -- "$@"
    find /tmp -xdev -type f -printf "%f: " -exec cat {} +' bash "$@"
}

cat >"$work/expected" <<'TEXT'
isvam = 1
Vam present on this board
1
CA InterfaceSP: vm_updateFW
TEE connection has been set
0 1.0,17/7,3 2.0,10
VAM result is:
		VAM: VAM_RET_SUCCESS
		Firmware: ZELK_NO_ERROR
1
XX
17
Part skiped!
1
SN-0001-7A
1 ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad
TEXT
for way in by-cmake by-pkg-config; do
  on_board "$work/$way/consumer" >"$work/$way.console"
  diff "$work/expected" "$work/$way.console"
done

on_board "$prefix/sbin/vam-update" | tail -n 1 >"$work/verdict"
diff "$work/verdict" - <<<"VAM_OK: Updated FW version: 1.1,04/7,3 "
on_board "$prefix/bin/vamctl" update-fw 11 | tail -n 2 >"$work/answer"
diff "$work/answer" - <<'TEXT'
system version: 1.0,17/7,3
app version: 2.0,10
TEXT
for page in vam-update.8 vam-verdict.1 vamctl.1 vam-board.1 vam-image.1; do
  gunzip --test "$prefix/share/man/man${page#*.}/$page.gz"
done
