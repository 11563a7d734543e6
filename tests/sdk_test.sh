#!/usr/bin/env bash
# Ports the system to a made-up device. Makes an SDK in a folder of its own, and checks that the
# configuration names whatever the SDK lacks. Then builds the tool against it with the preset `device`
# and runs it.
# Usage: sdk_test.sh SOURCE WORK COMPILER IN-PRIVATE-TMP
set -euo pipefail
source=$1 work=$2 compiler=$3 in_private_tmp=$4
sdk=$work/sdk build=$work/build

rm -rf "$sdk" "$work/empty" "$work/installed"
mkdir -p "$sdk/lib" "$work/empty"
cp -r "$source/tests/sdk/include" "$sdk/include"
for library in teec nolv_utility_nwd; do
  "$compiler" -std=c++17 -Wall -Werror -shared -fPIC -I "$sdk/include" \
    "$source/tests/sdk/$library.cc" -o "$sdk/lib/lib$library.so"
done
"$compiler" -std=c++17 -Wall -Werror -shared -fPIC "$source/tests/sdk/node.cc" -o "$work/libnode.so"

# configure BUILD ROOT OPTION... : from the beginning, but for what is known of the compiler. As with
# a real SDK, CMake looks at nothing of this machine.
configure() {
  rm -f "$1/CMakeCache.txt"
  cmake -S "$source" -B "$1" --preset device -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_FIND_ROOT_PATH_MODE_INCLUDE=ONLY -DCMAKE_FIND_ROOT_PATH_MODE_LIBRARY=ONLY \
    -DCMAKE_FIND_ROOT_PATH="$2" -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=ONLY "${@:3}" >"$work/configure.log" 2>&1
}

# refuses NAME ROOT EXPECTED OPTION... : the configuration stops with one message, which holds the
# words of EXPECTED.
refuses() {
  local name=$1 root=$2 expected=$3
  if configure "$work/refusing" "$root" "${@:4}"; then
    echo "$name: the configuration went through"
    exit 1
  fi
  said "$name" "$expected"
}

# said NAME EXPECTED: the last configuration said this. CMake folds long messages.
said() {
  tr -s ' \n' ' ' <"$work/configure.log" | grep -qF -- "$2" || {
    cat "$work/configure.log"
    echo "$1: expected '$2'"
    exit 1
  }
}

rm -rf "$work/refusing"
refuses "nothing of the SDK" "$work/empty" "This configuration lacks: \
- libcrypto of OpenSSL 1.1.0 or later, folder OPENSSL_ROOT_DIR (Debian: libssl-dev). Install it, or \
do without it: -DVAM_UPDATE_TOOL_ONLY=ON \
- The header of the TEE client API, tee_client_api.h, is not in the SDK. Set VAM_TEEC_INCLUDE_DIR to \
the folder that it is in, or VAM_TEEC_HEADER to its name. Or do without it: -DVAM_TEEC=simulated \
- The library of the TEE client API, teec, is not in the SDK. Set VAM_TEEC_LIBRARY_FILE to its path, \
or VAM_TEEC_LIBRARY to its name. Or do without it: -DVAM_TEEC=simulated \
- The header of the marshalling library, CNolvWsm.h, is not in the SDK."
for lacking in "settings store, vconf.h," "settings store, vconf," "-DVAM_SYSTEM_INFO=simulated" \
  "CMake looks only below $work/empty: the toolchain file sets CMAKE_FIND_ROOT_PATH_MODE_INCLUDE or \
_LIBRARY to ONLY. Add the SDK's folder to CMAKE_FIND_ROOT_PATH; outside these folders CMAKE_PREFIX_PATH \
is not looked at."; do
  said "nothing of the SDK" "$lacking"
done
refuses "libraries outside the root" "$work/empty" "teec, is not in the SDK" -DCMAKE_PREFIX_PATH="$sdk"
refuses "an SDK that is not asked for, without a root" "" "Point CMAKE_PREFIX_PATH or CMAKE_SYSROOT to the SDK." \
  -DVAM_TEEC_LIBRARY=no_such_teec
refuses "vamctl where the SDK lacks its libraries" "$sdk" \
  "- CLI11, with its CMake package (Debian: libcli11-dev). Install it, or do without it: \
-DVAM_BUILD_VAMCTL=OFF - JSON for Modern C++ 3.9" -DVAM_BUILD_VAMCTL=ON
refuses "a stand-in where the SDK lacks toml++" "$sdk" \
  "toml++, folder VAM_TOMLPLUSPLUS_INCLUDE_DIR (Debian: libtomlplusplus-dev). Install it, or do without \
it: -DVAM_SETTINGS=device" -DVAM_SETTINGS=simulated
said "a stand-in where the SDK lacks toml++" "system_info.h, is not in the SDK"
refuses "a header's name that the SDK does not have" "$sdk" \
  "TEE client API, tee/client.h, is not in the SDK" -DVAM_TEEC_HEADER=tee/client.h
refuses "a header's folder without the header" "$sdk" "Set VAM_TEEC_INCLUDE_DIR" \
  -DVAM_TEEC_INCLUDE_DIR="$sdk/lib"
refuses "a library's name that the SDK does not have" "$sdk" \
  "The library of the TEE client API, tee_client, is not in the SDK" -DVAM_TEEC_LIBRARY=tee_client
refuses "an extra library that the SDK does not have" "$sdk" \
  "vendor_log, which VAM_TEEC_EXTRA_LIBRARIES asks for, is not in the SDK. Write its path there \
instead, or -lvendor_log to have the linker look." -DVAM_TEEC_EXTRA_LIBRARIES=vendor_log
refuses "neither simulated nor device" "$sdk" "VAM_MARSHALLER is 'sdk'; set it to simulated or device." \
  -DVAM_MARSHALLER=sdk
refuses "an unknown platform" "$sdk" "VAM_PLATFORM is 'phone'; set it to simulated or device." \
  -DVAM_PLATFORM=phone

# From here on the SDK keeps its TEE header in a folder, and its marshaller under another name. The
# marshaller needs a library that it does not name itself.
mkdir "$sdk/include/gp"
mv "$sdk/include/tee_client_api.h" "$sdk/include/gp/"
rm "$sdk/lib/libnolv_utility_nwd.so"
echo 'void VendorLog() {}' >"$work/vendor_log.cc"
echo 'void VendorLog(); int logged = (VendorLog(), 0);' >"$work/needs_log.cc"
"$compiler" -shared -fPIC "$work/vendor_log.cc" -o "$sdk/lib/libvendor_log.so"
"$compiler" -std=c++17 -shared -fPIC -I "$sdk/include" -I "$sdk/include/gp" \
  "$source/tests/sdk/nolv_utility_nwd.cc" "$work/needs_log.cc" -o "$sdk/lib/libvendor_nwd.so"
rm -rf "$build"
configure "$build" "$sdk" -DVAM_UPDATE_TOOL_ONLY=ON -DVAM_BUILD_RECORDER=ON -DVAM_TEEC_HEADER=gp/tee_client_api.h \
  -DVAM_MARSHALLER_LIBRARY_FILE="$sdk/lib/libvendor_nwd.so" \
  -DVAM_MARSHALLER_EXTRA_LIBRARIES="vendor_log;-Wl,--no-undefined" || {
  cat "$work/configure.log"
  exit 1
}
# A gap in a header fails in the seam check, before anything else that needs the header is compiled.
sed -i.whole 's/PrepareReset/Rewind/' "$sdk/include/CNolvWsm.h"
if cmake --build "$build" --parallel 2 -- -k 0 >"$work/broken.log" 2>&1; then
  echo "the tool builds with a marshaller without PrepareReset"
  exit 1
fi
if ! grep -q 'platform/seam_check\.cc:.* error: .*PrepareReset' "$work/broken.log" ||
  grep '^FAILED: ' "$work/broken.log" | grep -v 'seam_check\.cc\.o'; then
  cat "$work/broken.log"
  echo "a marshaller without PrepareReset does not fail in the seam check alone"
  exit 1
fi
mv "$sdk/include/CNolvWsm.h.whole" "$sdk/include/CNolvWsm.h"

cmake --build "$build" --parallel 2 >"$work/build.log" 2>&1 || {
  cat "$work/build.log"
  exit 1
}

# in_c PROGRAM OPTION...: a program in C, against the headers and the libraries of the options.
in_c() { "$compiler" -x c -std=c11 -Wall -Werror "$source/tests/sdk/program.c" "${@:2}" -o "$1"; }
in_c "$work/program" -I "$sdk/include/gp" -L "$sdk/lib" -lteec

# The status files of the run stay apart from those of this machine.
status=0
WORK=$work "$in_private_tmp" bash -euc '
  # A blank would end its path in LD_PRELOAD.
  cp "$WORK/libnode.so" /mnt
  LD_PRELOAD=/mnt/libnode.so LD_LIBRARY_PATH=$WORK/sdk/lib \
    "$WORK/build/sbin/vam-update" >"$WORK/console" || status=$?
  LD_PRELOAD=/mnt/libnode.so LD_LIBRARY_PATH=$WORK/sdk/lib "$WORK/build/bin/vam-record" \
    -o /mnt/run.journal -- "$WORK/build/sbin/vam-update" >"$WORK/recorded.console"
  LD_LIBRARY_PATH=$WORK/sdk/lib "$WORK/program" >"$WORK/program.console"
  LD_LIBRARY_PATH=$WORK/sdk/lib "$WORK/build/bin/vam-record" -o /mnt/program.journal -- "$WORK/program" |
    diff - "$WORK/program.console"
  cp /mnt/run.journal /mnt/program.journal "$WORK"
  rm /tmp/VAM_OK
  LD_PRELOAD=/mnt/libnode.so LD_LIBRARY_PATH=$WORK/sdk/lib "$WORK/build/sbin/vam-update" >/mnt/again
  find /tmp -xdev -type f -printf "%f: " -exec cat {} + >"$WORK/status-files"
  exit ${status:-0}' || status=$?

diff "$work/console" "$source/tests/sdk/console.txt"
# The recorder takes the SDK's records and its marshaller's types as they are. What the marshaller calls
# of itself, and the base class, are not recorded.
diff "$work/recorded.console" "$work/console"
sed -n 's/.*"call":"CNolvWsm::\([^"]*\)".*/\1/p' "$work/run.journal" | LC_ALL=C sort | uniq -c |
  tr -s ' ' | diff - <(printf ' %s\n' '4 CNolvWsm' '10 GetBlob' '7 GetUint' '4 PrepareReset' \
    '3 PutInt' '4 ~CNolvWsm')
# Another machine's build, whose records and encoding are its own, meets the same on it.
pc=$(dirname "$in_private_tmp")/..
"$pc/bin/vam-board" replay "$work/run.journal" -- "$pc/sbin/vam-update" | diff - "$work/console"
for line in '"call":"CNolvWsm::CNolvWsm","sharedMemory":1,"marshaller":1}' \
  '"call":"CNolvWsm::PutInt","marshaller":1,"value":7,"result":true}' \
  '"call":"CNolvWsm::GetBlob","marshaller":1,"length":11,"bytes":"322e302c31372f342c5800"}' \
  '"paramTypes":15,"params":[{"sharedMemory":1,"size":8192,"offset":0}],"result":' \
  '"destination":"58d50001-1105-000f-9799-7f5af3f9c7bb"' \
  '"call":"ioctl","descriptor":1,"request":1,"result":0,"flag":1}'; do
  grep -qF "$line" "$work/run.journal" || { cat "$work/run.journal" && echo "not recorded: $line" && exit 1; }
done
# A program without a marshaller has the bytes of its memory recorded, before the call and after it.
diff "$work/program.console" - <<<"0 4 10 100"
grep -q '"params":\[{"sharedMemory":1,"size":8192,"offset":0,"before":"0000.*"after":"0a00000064000000' \
  "$work/program.journal" || { cat "$work/program.journal" && exit 1; }
in_c "$work/program-here" -I "$source/simulator/stand_ins" -L "$pc/lib/vam-simulator" -lteec
"$pc/bin/vam-board" replay "$work/program.journal" -- "$work/program-here" | diff - "$work/program.console"
diff "$work/status-files" - <<<"VAM_OK: Updated FW version: 2.0,17/4,X "
[ "$status" = 0 ]

# The installed CMake package asks for the SDK too, and knows the header's name.
cmake --install "$build" --prefix "$work/installed" --component development >"$work/install.log"
rm -rf "$work/consumer"
consume() {
  rm -f "$work/consumer/CMakeCache.txt"
  cmake -S "$source/tests/sdk/consumer" -B "$work/consumer" -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_PREFIX_PATH="$1" >"$work/consumer.log" 2>&1
}
if consume "$work/installed"; then
  echo "a consumer without the SDK was configured"
  exit 1
fi
tr -s ' \n' ' ' <"$work/consumer.log" | grep -qF \
  "The header of the TEE client API, gp/tee_client_api.h, is not in the SDK."
consume "$work/installed;$sdk" || { cat "$work/consumer.log" && exit 1; }
cmake --build "$work/consumer" >"$work/consumer.log" 2>&1 || { cat "$work/consumer.log" && exit 1; }
LD_LIBRARY_PATH=$sdk/lib "$work/consumer/consumer" >"$work/consumer.console"
diff "$work/consumer.console" - <<'TEXT'
Failed to open TEE session, result and retOrigin = 42949017664
CA InterfaceSP: vam_getInfo
Failed to open TEE session, result and retOrigin = 42949017664
TEEC_InvokeCommand() failed for cmd = 28, result = 4294901766, retOrigin = 4
TEXT

# pkg-config says the same, by the name of the library that was linked. The flags are words of a command
# line, quotes included.
grep -qE '^Libs: .* -lvendor_nwd -lvendor_log -Wl,--no-undefined -lteec$' \
  "$(find "$work/installed" -name vam.pc)"
flags=$(PKG_CONFIG_PATH=$(dirname "$(find "$work/installed" -name vam.pc)") \
  pkg-config --cflags --libs vam)
eval "$compiler"' -std=c++17 "$source/tests/sdk/consumer/consumer.cc" -I "$sdk/include" \
  -L "$sdk/lib" '"$flags"' -o "$work/by-pkg-config"'
LD_LIBRARY_PATH=$sdk/lib "$work/by-pkg-config" | diff - "$work/consumer.console"
