#!/usr/bin/env bash
# Follows docs/porting.md word by word: takes the toolchain files and the commands out of the page and
# runs them on a made-up SDK, which has exactly the five libraries. Runs the tool of the image in an
# emulator, and builds the page's program against the installed library.
# Usage: porting_page_test.sh SOURCE WORK IN-PRIVATE-TMP ARCHITECTURE TRIPLET PROCESSOR EMULATOR
# The page writes for aarch64-linux-gnu; for another triplet this and the processor are replaced.
set -euo pipefail
source=$1 work=$2 in_private_tmp=$3 architecture=$4 triplet=$5 processor=$6 emulator=$7

mkdir -p "$work"
# What the page has in place of the reader's paths is not quoted, so that they have no blank here.
links=$(mktemp -d)
trap 'rm -rf "$links"' EXIT
folder=$work
ln -s "$folder" "$links/work"
work=$links/work
tree=$work/tree sdk=$work/sdk sysroot=$work/sdk/sysroot image=$work/image
rm -rf "$tree" "$sdk" "$image" "$work/blocks"
mkdir -p "$tree" "$sdk/bin" "$sdk/vendor/include" "$sdk/vendor/lib" "$work/blocks"
tar -C "$source" --exclude './build*' --exclude './.git' -c . | tar -C "$tree" -x

# Block N of language L is the file N.L. What the page leaves to its reader is filled in.
awk -v folder="$work/blocks" '
  /^```$/ { block = ""; next }
  /^```[a-z]+$/ { block = folder "/" ++count "." substr($0, 4); next }
  block { print > block }' "$source/docs/porting.md"
sed -i -e "s,/opt/sdk,$sdk,g" -e "s,/path/to,$work,g" -e "s,aarch64-linux-gnu,$triplet,g" \
  -e "s,^\(set(CMAKE_SYSTEM_PROCESSOR\) aarch64,\1 $processor," "$work"/blocks/*
found=$(cd "$work/blocks" && echo *)
expected="1.cmake 2.cmake 3.sh 4.sh 5.sh 6.sh 7.cmake"
[ "$found" = "$expected" ] || {
  echo "docs/porting.md has the blocks $found; this test knows what to do with $expected"
  exit 1
}

# The SDK: a C library, the compiler, and the vendor's libraries.
"$source/scripts/foreign-packages" "$architecture" bookworm "$work/packages-$architecture" \
  libc6 libc6-dev libcrypt1 libgcc-s1 libssl-dev libssl3 libstdc++6 linux-libc-dev
cp -al "$work/packages-$architecture" "$sysroot"
printf '#!/bin/sh\nexec %s "$@"\n' "$(command -v "$triplet-g++")" >"$sdk/bin/$triplet-g++"
chmod +x "$sdk/bin/$triplet-g++"
compile() { "$triplet-g++" --sysroot="$sysroot" -std=c++17 -Wall -Werror -shared -fPIC "$@"; }
cp "$source"/tests/sdk/include/*.h "$source"/tests/sdk/services/*.h "$sdk/vendor/include"
for file in "$source"/tests/sdk/{teec,nolv_utility_nwd,services/vconf,services/system_info}.cc; do
  library=lib$(basename "$file" .cc).so
  compile -I "$sdk/vendor/include" "$file" -Wl,-soname,"$library" -o "$sdk/vendor/lib/$library"
done
compile "$source/tests/sdk/node.cc" -o "$work/libnode.so"

# run BLOCK... : as the page's reader would, in the tree.
run() {
  for block in "$@"; do
    (cd "$tree" && bash -euo pipefail "$work/blocks/$block") >"$work/$block.log" 2>&1 || {
      tail -n 60 "$work/$block.log"
      echo "docs/porting.md: these commands fail:"
      cat "$work/blocks/$block"
      exit 1
    }
  done
}

# First without the line for libraries outside the sysroot, which must be asked for.
cp "$work/blocks/1.cmake" "$work/sdk.cmake"
if (run 3.sh) >"$work/refusal" 2>&1; then
  echo "libraries outside the sysroot are found without their line in the toolchain file"
  exit 1
fi
grep -qF "Add the SDK's folder to CMAKE_FIND_ROOT_PATH" "$work/refusal"
cat "$work/blocks/2.cmake" >>"$work/sdk.cmake"
rm -rf "$tree/build"
run 3.sh
settings() { grep -E '^(VAM_|BUILD_|CMAKE_BUILD_TYPE|CMAKE_INSTALL_PREFIX)' "$tree/build/device/CMakeCache.txt"; }
settings >"$work/by-preset"
# Both ways to configure come to the same.
mv "$tree/build/device" "$tree/build/by-preset"
run 4.sh
settings | diff "$work/by-preset" -
rm -rf "$tree/build/device"

# Then with the libraries in the sysroot, as the page has it.
cp -r "$sdk/vendor/." "$sysroot/usr"
rm -r "$sdk/vendor" "$tree/build/by-preset"
cp "$work/blocks/1.cmake" "$work/sdk.cmake"
run 3.sh 5.sh 6.sh
settings >"$work/in-sysroot"
diff <(sed "s,$sdk/vendor,VENDOR," "$work/by-preset") <(sed "s,$sysroot/usr,VENDOR," "$work/in-sysroot")

[ ! -e "$tree/build/device/bin/vamctl" ] || { echo "a device build makes vamctl" && exit 1; }
for file in usr/sbin/vam-update usr/bin/vam-verdict usr/lib/systemd/system/vam-update.service \
  usr/share/man/man8/vam-update.8.gz usr/lib/udev/rules.d/60-vam-update.rules; do
  [ -f "$image/$file" ] || { echo "the image has no /$file" && exit 1; }
done

status=0
WORK=$folder IMAGE=$folder/image SYSROOT=$folder/sdk/sysroot EMULATOR=$emulator "$in_private_tmp" bash -euc '
  # A blank would end its path in LD_PRELOAD.
  cp "$WORK/libnode.so" /mnt
  "$EMULATOR" -L "$SYSROOT" -E LD_PRELOAD=/mnt/libnode.so -E LD_LIBRARY_PATH="$SYSROOT/usr/lib" \
    "$IMAGE/usr/sbin/vam-update" >"$WORK/console" || status=$?
  find /tmp -xdev -type f -printf "%f: " -exec cat {} + >"$WORK/status-files"
  exit ${status:-0}' || status=$?
diff "$work/console" "$source/tests/sdk/console.txt"
diff "$work/status-files" - <<<"VAM_OK: Updated FW version: 2.0,17/4,X "
[ "$status" = 0 ]

# The program of the page, with the toolchain file of the page.
rm -rf "$work/program"
mkdir "$work/program"
{
  printf 'cmake_minimum_required(VERSION 3.18)\nproject(program LANGUAGES CXX)\n'
  echo 'add_executable(program program.cc)'
  cat "$work/blocks/7.cmake"
} >"$work/program/CMakeLists.txt"
cp "$source/tests/sdk/consumer/consumer.cc" "$work/program/program.cc"
{
  cmake --install "$tree/build/device" --prefix "$sysroot/usr" --component development
  cmake -S "$work/program" -B "$work/program/build" -DCMAKE_TOOLCHAIN_FILE="$work/sdk.cmake"
  cmake --build "$work/program/build"
} >"$work/program.log" 2>&1 || { cat "$work/program.log" && exit 1; }
"$emulator" -L "$sysroot" "$work/program/build/program" >"$work/program.console"
diff "$work/program.console" - <<'TEXT'
Failed to open TEE session, result and retOrigin = 42949017664
CA InterfaceSP: vam_getInfo
Failed to open TEE session, result and retOrigin = 42949017664
TEEC_InvokeCommand() failed for cmd = 28, result = 4294901766, retOrigin = 4
TEXT
