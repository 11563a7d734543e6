#!/usr/bin/env bash
# Builds the Debian packages of this machine's architecture and has lintian judge them. Installs, runs
# and purges them in a bare system.
# Usage: packages_test.sh SOURCE WORK IN-PRIVATE-TMP
set -euo pipefail
source=$1 work=$2 in_private_tmp=$3
build=$source/build/debian

mkdir -p "$work"
rm -rf "$work/packages" "$work/root"
cd "$source"
{
  cmake --preset debian && cmake --build --preset debian --parallel 2
  cpack --config "$build/CPackConfig.cmake" -B "$work/packages"
} >"$work/build.log" 2>&1 || { tail -n 60 "$work/build.log" && exit 1; }
lintian --allow-root --fail-on error "$work"/packages/*.deb >"$work/lintian" 2>&1 || {
  cat "$work/lintian"
  exit 1
}

[ "$(id -u)" = 0 ] || {
  echo "not run: the packages are built and lintian takes them; only root installs them in a bare system"
  exit 77
}

# The bare system has Debian's essential packages and what these packages need by their own account.
needs=$(for package in "$work"/packages/*.deb; do dpkg-deb --field "$package" Depends; done |
  tr ',' '\n' | sed 's/(.*//; s/ //g' | grep -vxE 'vam-simulator|lib.*-dev' | sort -u | paste -sd ,)
bare=$work/bare-$(echo "$needs" | md5sum | cut -c 1-8).tar
if [ ! -e "$bare" ]; then
  mirror=$(apt-get indextargets --format '$(REPO_URI)' \
    'Created-By: Packages' 'Origin: Debian' 'Label: Debian' 'Component: main' | sed -n 1p)
  mmdebstrap --quiet --variant=essential --include="$needs" bookworm "$work/new.tar" "$mirror" \
    >"$work/mmdebstrap.log" 2>&1 || { cat "$work/mmdebstrap.log" && exit 1; }
  mv "$work/new.tar" "$bare"
fi
mkdir "$work/root"
tar --extract --file "$bare" --directory "$work/root" --exclude './dev/*'
cp "$work"/packages/*.deb "$work/root/mnt"

cat >"$work/root/mnt/session" <<'SESSION'
set -eu
export DEBIAN_FRONTEND=noninteractive
listing() { find / -xdev -path /mnt -prune -o -path /proc -prune -o -path /tmp -prune -o -path /var/log -prune -o \
  -path /var/lib/dpkg -prune -o -path /var/cache/apt -prune -o -path /var/lib/apt -prune -o \
  -print | sort; }

listing >/mnt/before
# Development needs a compiler to be of use, and is only unpacked.
dpkg --install $(ls /mnt/*.deb | grep -v libvam-dev) >/mnt/log
dpkg --unpack /mnt/libvam-dev*.deb >>/mnt/log

vam-board run --board update-needed --state /tmp/chip -- vam-update >/mnt/console
cat /tmp/chip/VAM_OK
vam-board run --board no-vam --verdict -- vam-update
vam-board show --board update-needed --state /tmp/chip | grep -E '(system|app) part:'
rm -r /tmp/chip

dpkg --purge libvam-dev vamctl vam-recorder vam-update vam-simulator >>/mnt/log
dpkg --list 'vam*' libvam-dev 2>/dev/null | grep -E '^[a-z][a-z] ' || echo "no package is left"
listing >/mnt/after
diff /mnt/before /mnt/after
find /tmp -mindepth 1
SESSION
"$in_private_tmp" bash -euc '
  mount --rbind /proc "$1/proc"
  mount --rbind /sys "$1/sys"
  mount -t tmpfs none "$1/tmp"
  mount -t tmpfs none "$1/dev"
  mkdir "$1/dev/pts"
  mount -t devpts -o ptmxmode=0666 none "$1/dev/pts"
  ln -s pts/ptmx "$1/dev/ptmx"
  for node in null zero urandom; do touch "$1/dev/$node"; mount --bind "/dev/$node" "$1/dev/$node"; done
  PATH=/usr/sbin:/usr/bin:/sbin:/bin exec env -u TMPDIR chroot "$1" bash /mnt/session' bash "$work/root" \
  >"$work/console" 2>&1 || { cat "$work/console" "$work/root/mnt/log" && exit 1; }

diff "$work/console" - <<'TEXT'
Updated FW version: 1.1,04/7,3 
isvam = 0
Vam not supported
Status files:
  /tmp/VAM_FAIL
    VAM_RET_NOT_IMPLEMENTED 0 
  system part: 1.1,04/7,3 (4096 bytes)
  app part: 2.0,11 (4096 bytes)
no package is left
TEXT
rm -rf "$work/root"
