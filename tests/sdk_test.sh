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
    -DCMAKE_FIND_ROOT_PATH="$2" -DCMAKE_PREFIX_PATH=/ "${@:3}" >"$work/configure.log" 2>&1
}

# refuses NAME ROOT EXPECTED OPTION... : the configuration stops with one message, which holds the
# words of EXPECTED.
refuses() {
  local name=$1 root=$2 expected=$3
  if configure "$work/refusing" "$root" "${@:4}"; then
    echo "$name: the configuration went through"
    exit 1
  fi
  # CMake folds long messages.
  if ! tr -s ' \n' ' ' <"$work/configure.log" | grep -qF -- "$expected"; then
    cat "$work/configure.log"
    echo "$name: expected '$expected'"
    exit 1
  fi
}

rm -rf "$work/refusing"
refuses "no TEE client header" "$work/empty" \
  "The header of the TEE client API, tee_client_api.h, is not in the SDK. Point CMAKE_PREFIX_PATH \
or CMAKE_SYSROOT to the SDK, set VAM_TEEC_INCLUDE_DIR to the header's folder, or set \
VAM_TEEC_HEADER to the header's name."
refuses "no marshaller header" "$work/empty" \
  "The header of the marshalling library, CNolvWsm.h, is not in the SDK" -DVAM_TEEC=simulated
refuses "no settings header" "$sdk" "The header of the settings store, vconf.h, is not in the SDK"
refuses "no system information header" "$sdk" \
  "The header of the system-information service, system_info.h, is not in the SDK" \
  -DVAM_SETTINGS=simulated
refuses "a header's name that the SDK does not have" "$sdk" \
  "TEE client API, tee/client.h, is not in the SDK" -DVAM_TEEC_HEADER=tee/client.h
refuses "a header's folder without the header" "$sdk" "set VAM_TEEC_INCLUDE_DIR" \
  -DVAM_TEEC_INCLUDE_DIR="$sdk/lib"
mv "$sdk/lib/libteec.so" "$work/empty"
refuses "no TEE client library" "$sdk" \
  "The library of the TEE client API, teec, is not in the SDK. Point CMAKE_PREFIX_PATH or \
CMAKE_SYSROOT to the SDK, set VAM_TEEC_LIBRARY_FILE to the library's path, or set \
VAM_TEEC_LIBRARY to the library's name."
refuses "a library's name that the SDK does not have" "$sdk" \
  "The library of the TEE client API, tee_client, is not in the SDK" -DVAM_TEEC_LIBRARY=tee_client
mv "$work/empty/libteec.so" "$sdk/lib"
refuses "neither simulated nor device" "$sdk" "VAM_MARSHALLER is 'sdk'; set it to simulated or device." \
  -DVAM_MARSHALLER=sdk
refuses "an unknown platform" "$sdk" "VAM_PLATFORM is 'phone'; set it to simulated or device." \
  -DVAM_PLATFORM=phone

# From here on the SDK keeps its TEE header in a folder.
mkdir "$sdk/include/gp"
mv "$sdk/include/tee_client_api.h" "$sdk/include/gp/"
rm -rf "$build"
configure "$build" "$sdk" -DVAM_UPDATE_TOOL_ONLY=ON -DVAM_TEEC_HEADER=gp/tee_client_api.h || {
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

# The status files of the run stay apart from those of this machine.
status=0
WORK=$work "$in_private_tmp" bash -euc '
  # A blank would end its path in LD_PRELOAD.
  cp "$WORK/libnode.so" /mnt
  LD_PRELOAD=/mnt/libnode.so LD_LIBRARY_PATH=$WORK/sdk/lib \
    "$WORK/build/sbin/vam-update" >"$WORK/console" || status=$?
  find /tmp -xdev -type f -printf "%f: " -exec cat {} + >"$WORK/status-files"
  exit ${status:-0}' || status=$?

diff "$work/console" - <<'TEXT'
isvam = 1
Vam present on this board
Run updateBIN for VAM_UPDATEFW_ALL
CA InterfaceSP: vm_updateFW
TEE connection has been set
CA InterfaceSP: vm_updateFW
TEE connection has been set
CA InterfaceSP: vm_updateFW
TEE connection has been set
CA InterfaceSP: vam_getFWInfo
TEE connection has been set
0: 100
1: 80
2: 60
3: 40
4: 20
5: 0
6: -20
7: -40
8: -60
9: -80
systemVersion: 2.0,17/4,X
systemVersionIC: 2.0,17/4,X
systemVersionFS: 2.0,17/4,X
2.0
2.0
17
17
4
4
X
X
Part skiped!
appVersion: 3.1
appVersionIC: 3.1
appVersionFS: 3.1
3.1
3.1
TEXT
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

# pkg-config says the same. The flags are words of a command line, quotes included.
flags=$(PKG_CONFIG_PATH=$(dirname "$(find "$work/installed" -name vam.pc)") \
  pkg-config --cflags --libs vam)
eval "$compiler"' -std=c++17 "$source/tests/sdk/consumer/consumer.cc" -I "$sdk/include" \
  -L "$sdk/lib" '"$flags"' -o "$work/by-pkg-config"'
LD_LIBRARY_PATH=$sdk/lib "$work/by-pkg-config" | diff - "$work/consumer.console"
