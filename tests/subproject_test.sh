#!/usr/bin/env bash
# Adds the system to another project, with add_subdirectory() and with FetchContent. That project's
# program links the libraries by the names that the installed package has, and everything else of the
# project stays its own.
# Usage: subproject_test.sh SOURCE WORK COMPILER
set -euo pipefail
source=$1 work=$2 compiler=$3
build=$work/build

rm -rf "$work"
mkdir -p "$work/sdk/lib"
# Of a device's SDK, because it builds faster than the simulated board.
cp -r "$source/tests/sdk/include" "$work/sdk"
for library in teec nolv_utility_nwd; do
  "$compiler" -std=c++17 -shared -fPIC -I "$work/sdk/include" "$source/tests/sdk/$library.cc" \
    -o "$work/sdk/lib/lib$library.so"
done
# configure OPTION... : the parent.
configure() {
  rm -f "$build/CMakeCache.txt"
  cmake -S "$source/tests/subproject" -B "$build" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" \
    -DVAM_SOURCE="$source" -DVAM_PLATFORM=device -DVAM_UPDATE_TOOL_ONLY=ON \
    -DCMAKE_PREFIX_PATH="$work/sdk" "$@" >"$work/log" 2>&1 || { cat "$work/log" && exit 1; }
}
# own: what is left of the parent's.
own() {
  sed -nE 's/^-- ((BUILD|CMAKE)_[A-Z_]*=.*|options=.*)$/\1/p' "$work/log"
  ctest --test-dir "$build" --show-only | sed -n 's/ *Test *#[0-9]*: /test /p'
  sed -nE 's/^set\(CPACK_PACKAGE_NAME "(.*)"\)$/package \1/p' "$build/CPackConfig.cmake"
}
# makes TARGET... : builds them.
makes() {
  cmake --build "$build" --parallel 2 --target "$@" >"$work/build.log" 2>&1 || {
    tail -n 40 "$work/build.log"
    exit 1
  }
}
# installs [OPTION...]: the files that the parent's installation has.
installs() {
  rm -rf "$work/installed"
  cmake --install "$build" --prefix "$work/installed" "$@" >"$work/install.log" || {
    cat "$work/install.log"
    exit 1
  }
  find "$work/installed" -type f -printf '%P\n' | LC_ALL=C sort
}

cat >"$work/own" <<'TEXT'
BUILD_SHARED_LIBS=ON
CMAKE_BUILD_TYPE=Debug
BUILD_TESTING=ON
CMAKE_CXX_STANDARD=
CMAKE_MODULE_PATH=
CMAKE_EXPORT_COMPILE_COMMANDS=
options=
test parents_own
package parents_package
TEXT
configure -DBY_FETCH_CONTENT=ON
own | diff "$work/own" -
configure
own | diff "$work/own" -
makes consumer
installs | diff - <(echo share/parent/CMakeLists.txt)

[ "$("$build/consumer" | head -n 1)" = "Failed to open TEE session, result and retOrigin = 42949017664" ]

# Installation and packages are there for a parent that asks.
configure -DVAM_INSTALL=ON
makes vam-update vam-verdict
{ installs --component runtime && installs --component Unspecified; } >"$work/files"
for file in share/parent/CMakeLists.txt sbin/vam-update lib/systemd/system/vam-update.service; do
  grep -qx "$file" "$work/files" || { echo "VAM_INSTALL installs no $file" && exit 1; }
done
own | diff "$work/own" -
configure -DVAM_INSTALL=ON -DVAM_PACKAGING=ON
grep -q 'set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME "vam-update")' "$build/CPackConfig.cmake"

# Of two projects that include CPack the second would have no packages.
cp -r "$source/tests/subproject" "$work/parent"
sed -i 's/^project(.*/&\ninclude(CPack)/' "$work/parent/CMakeLists.txt"
! cmake -S "$work/parent" -B "$work/refused" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" \
  -DVAM_SOURCE="$source" -DVAM_PLATFORM=device -DVAM_UPDATE_TOOL_ONLY=ON -DVAM_INSTALL=ON \
  -DVAM_PACKAGING=ON -DCMAKE_PREFIX_PATH="$work/sdk" >"$work/log" 2>&1 ||
  { echo "CPack may be included twice" && exit 1; }
tr -s ' \n' ' ' <"$work/log" | grep -q 'CPack was included before this project'
