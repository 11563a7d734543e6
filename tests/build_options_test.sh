#!/usr/bin/env bash
# Configures the system as a distribution or an image builder would, and reads what the build would do.
# Usage: build_options_test.sh SOURCE WORK COMPILER
set -euo pipefail
source=$1 work=$2 compiler=$3

rm -rf "$work"
mkdir -p "$work/lib"
failed=0
fail() {
  echo "$*"
  failed=1
}

# configure BUILD OPTION... : a device build, whose libraries need only be there.
libraries=()
for pair in TEEC:teec MARSHALLER:nolv_utility_nwd; do
  touch "$work/lib/lib${pair#*:}.so"
  libraries+=("-DVAM_${pair%:*}_INCLUDE_DIR=$source/tests/sdk/include"
    "-DVAM_${pair%:*}_LIBRARY_FILE=$work/lib/lib${pair#*:}.so")
done
configure() {
  rm -f "$work/$1/CMakeCache.txt"
  env -u CFLAGS -u CXXFLAGS -u LDFLAGS \
    cmake -S "$source" -B "$work/$1" -G Ninja -DCMAKE_BUILD_TYPE=MinSizeRel -DVAM_PLATFORM=device \
    -DVAM_UPDATE_TOOL_ONLY=ON "${libraries[@]}" "${@:2}" >"$work/log" 2>&1
}
configured() { configure "$@" || { cat "$work/log" && exit 1; }; }
native() { configured native "-DCMAKE_CXX_COMPILER=$compiler" "$@"; }
# has WORDS [BUILD], lacks WORDS [BUILD]: in the compile and link lines.
has() { grep -qE -- "$1" "$work/${2:-native}/build.ninja" || fail "$case: no $1"; }
lacks() { ! grep -qE -- "$1" "$work/${2:-native}/build.ninja" || fail "$case: $1"; }
# says WORDS: the last configuration did. CMake folds long messages.
says() { tr -s ' \n' ' ' <"$work/log" | grep -qF -- "$1" || { cat "$work/log" && fail "$case: does not say: $1"; }; }

case="no option"
native
lacks '-Werror|-flto|-ffunction-sections|--gc-sections| -s( |$)'
has '-D_FORTIFY_SOURCE=2'
case="warnings as errors"
native -DVAM_WARNINGS_AS_ERRORS=ON
has ' -Werror '
for preset in default sanitize clang fuzz debian; do
  grep -q 'VAM_WARNINGS_AS_ERRORS="ON"' <(cd "$source" && cmake --preset "$preset" -N) ||
    fail "the preset $preset lets warnings pass"
done

case="small"
native -DVAM_SMALL=ON
for part in ' -flto ' ' -ffunction-sections ' '--gc-sections' ' -s '; do
  has "$part"
done
case="small, but not stripped"
native -DVAM_SMALL=ON -DVAM_STRIP=OFF
has ' -flto '
has '--gc-sections'
lacks ' -s '
case="stripped alone"
native -DVAM_STRIP=ON
has ' -s '
lacks '-flto|--gc-sections'
case="sections collected alone"
native -DVAM_GC_SECTIONS=ON
has ' -ffunction-sections .*|--gc-sections'
lacks '-flto| -s '
case="optimised across the program alone"
native -DVAM_LTO=ON
has ' -flto '
lacks '--gc-sections| -s '

case="a FORTIFY level in the flags"
native -DCMAKE_CXX_FLAGS=-D_FORTIFY_SOURCE=3
has '-D_FORTIFY_SOURCE=3'
lacks '_FORTIFY_SOURCE=2|-U_FORTIFY_SOURCE'
case="a FORTIFY level in the flags of the build type"
native "-DCMAKE_CXX_FLAGS_MINSIZEREL=-Os -Wp,-D_FORTIFY_SOURCE=1"
lacks '-D_FORTIFY_SOURCE=2|-U_FORTIFY_SOURCE'

case="shared libraries"
if configure refused "-DCMAKE_CXX_COMPILER=$compiler" -DBUILD_SHARED_LIBS=ON; then
  fail "BUILD_SHARED_LIBS is taken"
fi
says "BUILD_SHARED_LIBS is set, and the libraries of vam are static only"

# A compiler whose linker has no plugin for it.
if command -v clang++ >/dev/null; then
  case="Clang without its linker plugin"
  mkdir "$work/plugins"
  cat >"$work/plugins/ld" <<'TEXT'
#!/bin/sh
for argument; do
  [ "$argument" != -plugin ] || { echo "ld: error loading plugin" >&2 && exit 1; }
done
exec /usr/bin/ld "$@"
TEXT
  chmod +x "$work/plugins/ld"
  clang=(clang -DCMAKE_CXX_COMPILER=clang++ "-DCMAKE_CXX_FLAGS=-B'$work/plugins'")
  if configure "${clang[@]}" -DVAM_SMALL=ON; then
    fail "$case: the configuration goes through"
  fi
  says "clang++ does not link what it made with -flto"
  says "error loading plugin"
  says "or do without it: -DVAM_LTO=OFF"
  configured "${clang[@]}" -DVAM_SMALL=ON -DVAM_LTO=OFF
  has '--gc-sections' clang
fi

# spelt PROCESSOR TRIPLET ARCHITECTURE
spelt() {
  case="the processor $1 of $2"
  configured "$1" -DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR="$1" \
    -DCMAKE_CXX_COMPILER="$2-g++" -DVAM_SMALL=ON
  grep -qxF "set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE \"$3\")" "$work/$1/CPackConfig.cmake" ||
    fail "$case: its packages are not of $3"
  if [ "$3" = arm64 ]; then
    has 'max-page-size=16384' "$1"
  else
    lacks 'max-page-size' "$1"
  fi
}
for processor in arm armv7l armv8l; do
  spelt "$processor" arm-linux-gnueabihf armhf
done
for processor in aarch64 arm64; do
  spelt "$processor" aarch64-linux-gnu arm64
done

# Folders: the target's pkg-config, an option, and neither.
mkdir "$work/pc"
printf 'systemdsystemunitdir=/usr/lib64/systemd/system\ntmpfilesdir=/usr/lib64/tmpfiles.d\n%s' \
  $'Name: systemd\nDescription: x\nVersion: 1\n' >"$work/pc/systemd.pc"
printf 'udevdir=/lib64/udev\nName: udev\nDescription: x\nVersion: 1\n' >"$work/pc/udev.pc"
# folders BUILD: the three, as configured.
folders() {
  sed -nE 's/^VAM_(SYSTEMD_UNIT|UDEV_RULES|TMPFILES)_FOLDER:STRING=//p' "$work/$1/CMakeCache.txt" | xargs
}
cross=(-DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR=aarch64
  -DCMAKE_CXX_COMPILER=aarch64-linux-gnu-g++)
case="the target's pkg-config"
PKG_CONFIG_LIBDIR=$work/pc configured aarch64 "${cross[@]}"
[ "$(folders aarch64)" = "lib64/systemd/system lib64/tmpfiles.d lib64/udev/rules.d" ] ||
  fail "$case: $(folders aarch64)"
case="the machine's pkg-config in a cross build"
PKG_CONFIG_PATH=$work/pc configured aarch64 "${cross[@]}"
[ "$(folders aarch64)" = "lib/systemd/system lib/tmpfiles.d lib/udev/rules.d" ] ||
  fail "$case: $(folders aarch64)"
case="a folder that is given"
native -DVAM_SYSTEMD_UNIT_FOLDER=/lib/systemd/system
grep -q '"/lib/systemd/system"\|DESTINATION "/lib/systemd/system' "$work/native/packaging/cmake_install.cmake" ||
  fail "$case: is not where the unit goes"
exit "$failed"
