#!/usr/bin/env bash
# The documents of SPDX beside the packages: the library of SPDX itself finds them valid, and they say what
# the packages have. A document that is spoilt in one place is found out.
# Usage: sbom_test.sh SOURCE WORK DEBIAN-PACKAGES RPM-PACKAGES SDK
# SDK has what the RPM packages were linked with.
# The library and its compiler come from Debian 13. Debian 12 has none for SPDX 2.3.
set -euo pipefail
source=$1 work=$2 debian=$3 rpm=$4 sdk=$5

mkdir -p "$work"
packages=$work/packages
"$source/scripts/foreign-packages" "$(dpkg --print-architecture)" trixie "$packages" golang-1.24-go \
  golang-1.24-src golang-github-anchore-go-struct-converter-dev golang-github-spdx-gordf-dev \
  golang-github-spdx-tools-golang-dev golang-k8s-sigs-yaml-dev
env --chdir "$source/tests/sbom" GOROOT="$packages/usr/lib/go-1.24" GOPATH="$packages/usr/share/gocode" \
  GOCACHE="$work/cache" GO111MODULE=off GOTOOLCHAIN=local CGO_ENABLED=0 \
  "$packages/usr/lib/go-1.24/bin/go" build -o "$work/validate" . >"$work/log" 2>&1 || {
  cat "$work/log"
  exit 1
}

shopt -s nullglob
files=("$debian"/*.deb "$rpm"/*.rpm)
names=$(printf '%s\n' "${files[@]##*/}" | sed 's/[_-][0-9].*\././' | xargs)
[ "$names" = "libvam-dev.deb vam-recorder.deb vam-simulator.deb vam-update.deb vamctl.deb libvam-dev.rpm vam-update.rpm" ] || {
  echo "the packages are $names"
  exit 1
}
"$work/validate" "${files[@]/%/.spdx.json}"
/usr/bin/python3 "$source/tests/sbom/against_package.py" "${files[@]}"
# A vendor's library is from no package, and known by its file.
vendor_sum=$(sha256sum <"$sdk/lib/libteec.so" | cut -d ' ' -f 1)
/usr/bin/python3 - "$vendor_sum" "$rpm"/vam-update-*.rpm.spdx.json <<'PYTHON'
import json, sys
packages = json.load(open(sys.argv[2], encoding="utf-8"))["packages"]
sums = [each["checksums"] for each in packages if each["name"] == "libteec.so.1"]
assert sums == [[{"algorithm": "SHA256", "checksumValue": sys.argv[1]}]], packages
PYTHON

# spoilt SED-EXPRESSION WHAT
spoilt() {
  sed "$1" "$debian"/vamctl_*.deb.spdx.json >"$work/spoilt.json"
  ! "$work/validate" "$work/spoilt.json" >"$work/log" || {
    echo "a document with $2 is found valid"
    exit 1
  }
}
spoilt '0,/"downloadLocation"/s//"download"/' "a member of another name"
spoilt '0,/"filesAnalyzed": true,/s///' "a member left out"
spoilt '0,/"checksumValue": "[0-9a-f]*"/!s/"checksumValue": "[0-9a-f]*"/"checksumValue": "00"/' "another file"
spoilt '$!s/"relatedSpdxElement": "SPDXRef-File-0"/"relatedSpdxElement": "SPDXRef-File-99"/' "a file that is not there"
spoilt 's/"spdxVersion": "SPDX-2.3"/"spdxVersion": "SPDX-9.9"/' "a version that there is not"
