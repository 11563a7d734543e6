#!/usr/bin/env bash
# Builds the packages of the update tool twice, in two folders, from sources of two ages, with another
# time for each file that the build makes. Both must have the same bytes. The packages are those of a
# device whose TEE client is a vendor's: none is empty, and they depend on what was linked.
# Usage: reproducible_test.sh SOURCE WORK COMPILER [all]
# all takes every package of a PC's build instead, on the simulated board.
set -euo pipefail
source=$1 work=$2 compiler=$3 which=${4:-}

rm -rf "$work"
mkdir -p "$work/sdk/lib"
cp -r "$source/tests/sdk/include" "$work/sdk"
for library in teec nolv_utility_nwd; do
  "$compiler" -std=c++17 -shared -fPIC -I "$work/sdk/include" "$source/tests/sdk/$library.cc" \
    -Wl,-soname,"lib$library.so.1" -o "$work/sdk/lib/lib$library.so"
done

options=(-DVAM_PLATFORM=device -DVAM_UPDATE_TOOL_ONLY=ON "-DCMAKE_PREFIX_PATH=$work/sdk")
[ "$which" != all ] || options=(-DBUILD_TESTING=OFF)

# The day of the release, as a packager would set it.
SOURCE_DATE_EPOCH=$(date -u -d "$(sed -nE '0,/^## /s/^## .* - (.*)$/\1/p' "$source/CHANGELOG.md")" +%s)
export SOURCE_DATE_EPOCH

# make_packages FOLDER AGE: the packages of a copy of the tree in FOLDER, touched AGE days ago.
make_packages() {
  local folder=$1
  mkdir -p "$folder/tree"
  tar -C "$source" --exclude './build*' --exclude './.git' -c . | tar -C "$folder/tree" -x
  find "$folder/tree" -type f -exec touch --date "$2 days ago" {} +
  {
    cmake -S "$folder/tree" -B "$folder/build" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" \
      -DCMAKE_BUILD_TYPE=MinSizeRel -DCMAKE_INSTALL_PREFIX=/usr -DVAM_SMALL=ON "${options[@]}" &&
      cmake --build "$folder/build" --parallel 2
    find "$folder/build" -type f ! -name '*.ninja*' ! -name '.ninja*' \
      -exec touch --date "$2 hours ago" {} +
    cpack --config "$folder/build/CPackConfig.cmake" -B "$folder/packages"
  } >"$folder/log" 2>&1 || { tail -n 40 "$folder/log" && exit 1; }
  (cd "$folder/packages" && sha256sum ./*.deb ./*.spdx.json) >"$folder/sums"
}
make_packages "$work/one" 1
make_packages "$work/a folder/of another length" 40

failed=0
diff "$work/one/sums" "$work/a folder/of another length/sums" || {
  echo "two builds of the same sources make other packages"
  failed=1
}
# The document beside a package is of the day that SOURCE_DATE_EPOCH names.
day=$(date -u -d "@$SOURCE_DATE_EPOCH" +%FT%TZ)
documents=("$work"/one/packages/*.spdx.json)
[ "$(grep -lF "\"created\": \"$day\"" "${documents[@]}" | wc -l)" = "$(find "$work/one/packages" -maxdepth 1 -name '*.deb' | wc -l)" ] || {
  echo "not every package has a document of $day"
  failed=1
}
[ "$which" != all ] || exit "$failed"
names=$(cd "$work/one/packages" && printf '%s\n' *.deb | sed 's/_.*//' | xargs)
[ "$names" = "libvam-dev vam-update" ] || {
  echo "the packages are $names"
  failed=1
}
needs=$(dpkg-deb --field "$work"/one/packages/vam-update_*.deb Depends)
[[ $needs =~ ^libc6\ \(\>=\ [0-9.]+\),\ libgcc-s1\ \(\>=\ [0-9.]+\),\ libstdc\+\+6\ \(\>=\ [0-9.]+\)$ ]] || {
  echo "vam-update depends on $needs"
  failed=1
}
[ -z "$(dpkg-deb --field "$work"/one/packages/libvam-dev_*.deb Depends)" ] || {
  echo "libvam-dev depends on $(dpkg-deb --field "$work"/one/packages/libvam-dev_*.deb Depends)"
  failed=1
}
exit "$failed"
