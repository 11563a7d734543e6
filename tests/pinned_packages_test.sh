#!/usr/bin/env bash
# Fetches a package of the virtual device as it is pinned, and with a wrong digest, a version that the suite
# has not, and no pin at all.
# Usage: pinned_packages_test.sh SOURCE WORK
set -euo pipefail
source=$1 work=$2

rm -rf "$work"
mkdir -p "$work"
fetch() {
  "$source/scripts/foreign-packages" --pins "$work/pins" armhf bookworm "$work/fetched" libteec1
}
# refuses WORDS: nothing is taken, and the last line has these words.
refuses() {
  if fetch 2>"$work/errors"; then
    echo "taken where the answer should be: $1"
    exit 1
  fi
  tail -n 1 "$work/errors" | grep -qF -- "$1" || { cat "$work/errors" && exit 1; }
  [ ! -e "$work/fetched.versions" ] || { echo "$1: it is recorded as taken" && exit 1; }
}

pins=$source/virtual_device/pinned_packages
pin=$(grep '^libteec1 .* armhf ' "$pins")
read -r name version architecture suite digest <<<"$pin"

cp "$pins" "$work/pins"
fetch
diff <(tail -n +2 "$work/fetched.versions") - <<<"$pin"
[ -e "$work/fetched/usr/lib/arm-linux-gnueabihf/libteec.so.1" ]
# Taken already, it is compared again.
sed "s/$digest/${digest//0/1}/" "$pins" >"$work/pins"
refuses "what was fetched is not what $work/pins has: $pin"
sed "s/^$name $version $architecture/$name $version.1 $architecture/" "$pins" >"$work/pins"
refuses "armhf from bookworm: $name=$version.1; a suite keeps no old versions"
grep -v "^$name .* $architecture " "$pins" >"$work/pins"
refuses "does not pin one package $name of $suite for armhf"
