#!/usr/bin/env bash
# Makes the RPM packages of a build, installs them in an empty root, and takes them out again.
# Usage: rpm_test.sh SOURCE BUILD WORK
# BUILD is the build of the update tool that the test of repeated builds leaves.
set -euo pipefail
build=$2 work=$3

rm -rf "$work"
mkdir -p "$work/root" "$work/packages"
# rpmbuild works in no folder whose path has a blank.
packages=$(mktemp -d)
trap 'rm -rf "$packages"' EXIT
cpack -G RPM --config "$build/CPackConfig.cmake" -B "$packages" >"$work/log" 2>&1 || {
  tail -n 20 "$work/log"
  exit 1
}
# For the test of what stands beside them.
cp "$packages"/*.rpm "$packages"/*.json "$work/packages"
cd "$packages"
diff <(rpm --query --package ./*.rpm --queryformat '%{NAME} %{ARCH}\n') - <<TEXT
libvam-dev $(uname -m)
vam-update $(uname -m)
TEXT
# What the programs were linked with, by rpmbuild's own account.
needs=$(rpm --query --package vam-update-*.rpm --requires)
for library in libc.so.6 libteec.so.1 libnolv_utility_nwd.so.1; do
  grep -qF "$library()" <<<"$needs" || { echo "vam-update does not ask for $library" && exit 1; }
done
# Folders of the system are not the packages' own.
if rpm --query --package ./*.rpm --list | grep -xE '/usr(/lib(/systemd(/system)?|/udev(/rules.d)?|/tmpfiles.d|/.build-id.*)?|/s?bin|/share(/man.*[0-9])?)?'; then
  echo "the packages own folders of the system"
  exit 1
fi

[ "$(id -u)" = 0 ] || {
  echo "not run: the packages are made; only root installs them in a bare root"
  exit 77
}
in_root() { rpm --root "$work/root" --dbpath /var/lib/rpm "$@"; }
in_root --initdb
# The root has no C library, which the programs need to run and not to be installed.
in_root --install --nodeps ./*.rpm
in_root --verify --nodeps vam-update libvam-dev
for file in usr/sbin/vam-update usr/bin/vam-verdict usr/lib/systemd/system/vam-update.service \
  usr/include/vam/interface/ca_vam_interface_sp.h; do
  [ -f "$work/root/$file" ] || { echo "the packages have no /$file" && exit 1; }
done
in_root --erase vam-update libvam-dev
left=$(find "$work/root" -type f ! -path '*/var/lib/rpm/*')
[ -z "$left" ] || { echo "left: $left" && exit 1; }
