#!/usr/bin/env bash
# Builds the packages of a made-up device, whose vendor's libraries are none of Debian's, in two versions.
# Installs them in a bare Debian system of the device's architecture, emulated, runs the tool, upgrades it, and
# purges it: the system then has the files that it had.
# Usage: arm_packages_test.sh SOURCE WORK ARCHITECTURE TRIPLET EMULATOR
# The older version is this one's code under a lower number. The emulator is of qemu-user-static, and serves a
# name space of its own, which needs Linux 6.7.
set -euo pipefail
source=$1 work=$2 architecture=$3 triplet=$4 emulator=$5

[ "$(id -u)" = 0 ] || {
  echo "not run: only root makes a root file system of $architecture"
  exit 77
}
mkdir -p "$work"
rm -rf "$work/sdk" "$work/tree" "$work/root"
mkdir -p "$work/sdk/lib" "$work/tree" "$work/root"
own_architecture=$(dpkg --print-architecture)
"$source/scripts/foreign-packages" "$own_architecture" bookworm "$work/qemu" qemu-user-static

# emulated PROGRAM ARGUMENT...: runs a program where those of the architecture run too.
emulated() {
  local go=$work/go status=0
  rm -f "$go"
  mkfifo "$go"
  # Bash has the rights of root in the name space once it is started with a number there.
  unshare --user --mount --pid --fork --kill-child --propagation private bash -c '
    read -r _ <"$1"
    exec bash "${@:2}"' bash "$go" -euc '
    format=$1
    shift
    mount -t proc none /proc
    mount -t binfmt_misc none /proc/sys/fs/binfmt_misc || exit 77
    field() { sed -n "s/^$1 //p" "$format"; }
    printf %s ":device:M::$(field magic):$(field mask):$EMULATOR:FP" >/proc/sys/fs/binfmt_misc/register
    exec "$@"' bash "$work/qemu/usr/share/binfmts/$emulator" "$@" &
  local process=$!
  until [ "$(readlink "/proc/$process/ns/user")" != "$(readlink /proc/self/ns/user)" ]; do
    sleep 0.1
  done
  # Every user and group has the number that it has outside.
  echo "0 0 65536" >"/proc/$process/uid_map"
  echo "0 0 65536" >"/proc/$process/gid_map"
  echo >"$go"
  wait "$process" || status=$?
  if [ "$status" = 77 ]; then
    echo "not run: this kernel has no emulators of a name space's own; Linux 6.7 has"
    exit 77
  fi
  return "$status"
}
export EMULATOR=$work/qemu/usr/bin/$emulator-static

# What dpkg needs, and what the packages need by their own account, which is checked below.
bare=$work/bare.tar
if [ ! -s "$bare" ]; then
  mirror=$(apt-get indextargets --format '$(REPO_URI)' \
    'Created-By: Packages' 'Origin: Debian' 'Label: Debian' 'Component: main' | sed -n 1p)
  emulated mmdebstrap --quiet --mode=root --skip=check/qemu --architectures="$architecture" \
    --variant=essential --include=libgcc-s1,libstdc++6 bookworm "$work/new.tar" "$mirror" \
    >"$work/mmdebstrap.log" 2>&1 || { tail -n 20 "$work/mmdebstrap.log" && exit 1; }
  mv "$work/new.tar" "$bare"
fi

# The vendor's libraries. The tool links them by the names of Debian's.
compile() { "$triplet-g++" -std=c++17 -Wall -Werror -shared -fPIC "$@"; }
for library in teec nolv_utility_nwd; do
  compile -I "$source/tests/sdk/include" "$source/tests/sdk/$library.cc" -Wl,-soname,"lib$library.so.1" \
    -o "$work/sdk/lib/lib$library.so.1"
done
compile "$source/tests/sdk/node.cc" -o "$work/sdk/lib/libnode.so"

# make_packages VERSION: makes the packages of a copy of the tree under this version, in the folder VERSION.
tar -C "$source" --exclude './build*' --exclude './.git' -c . | tar -C "$work/tree" -x
make_packages() {
  sed -i "0,/^## [0-9.]* -/s//## $1 -/" "$work/tree/CHANGELOG.md"
  rm -rf "${work:?}/$1"
  {
    cmake -S "$work/tree" -B "$work/build" -G Ninja \
      -DCMAKE_TOOLCHAIN_FILE="$source/cmake/toolchains/$architecture.cmake" \
      -DCMAKE_BUILD_TYPE=MinSizeRel -DCMAKE_INSTALL_PREFIX=/usr -DVAM_SMALL=ON -DVAM_PLATFORM=device \
      -DVAM_UPDATE_TOOL_ONLY=ON -DVAM_TEEC_INCLUDE_DIR="$source/tests/sdk/include" \
      -DVAM_TEEC_LIBRARY_FILE="$work/sdk/lib/libteec.so.1" \
      -DVAM_MARSHALLER_INCLUDE_DIR="$source/tests/sdk/include" \
      -DVAM_MARSHALLER_LIBRARY_FILE="$work/sdk/lib/libnolv_utility_nwd.so.1" &&
      cmake --build "$work/build" --parallel 2 && cpack --config "$work/build/CPackConfig.cmake" -B "$work/$1"
  } >"$work/log" 2>&1 || { tail -n 60 "$work/log" && exit 1; }
}
rm -rf "$work/build"
version=$(sed -nE '0,/^## /s/^## (.*) - .*$/\1/p' "$source/CHANGELOG.md")
make_packages 0.0.1
make_packages "$version"
needs=$(dpkg-deb --field "$work/$version"/vam-update_*.deb Depends | sed 's/ ([^)]*)//g')
[ "$needs" = "libc6, libgcc-s1, libstdc++6" ] || {
  echo "vam-update depends on $needs"
  exit 1
}

tar --extract --file "$bare" --directory "$work/root" --exclude './dev/*'
mkdir "$work/root/mnt/old" "$work/root/mnt/new"
cp "$work"/0.0.1/*.deb "$work/root/mnt/old"
cp "$work/$version"/*.deb "$work/root/mnt/new"
cp "$work"/sdk/lib/*.so* "$work/root/mnt"
cat >"$work/root/mnt/session" <<'SESSION'
set -eu
export DEBIAN_FRONTEND=noninteractive
# Of everything but what dpkg keeps for itself: its kind and rights, its owner, its size if it is a file.
listing() {
  find / -xdev \( -path /mnt -o -path /var/lib/dpkg -o -path /var/log/dpkg.log \) -prune -o \
    \( -type f -printf '%p %M %u:%g %s\n' \) -o -printf '%p %M %u:%g %l\n' | sort
}
run() {
  dpkg-query --show --showformat '${Package} ${Version} ${Architecture}\n' vam-update libvam-dev
  (
    export LD_LIBRARY_PATH=/mnt LD_PRELOAD=/mnt/libnode.so
    exec vam-update
  )
  tail -v -n +1 /tmp/*
  rm /tmp/*
}
listing >/mnt/before
dpkg --install /mnt/old/*.deb >>/mnt/log
run
dpkg --install /mnt/new/*.deb >>/mnt/log
run
dpkg --verify vam-update libvam-dev
dpkg --purge libvam-dev vam-update >>/mnt/log
dpkg-query --list vam-update libvam-dev 2>&1 | grep -E '^[a-z][a-z] ' || echo "no package is left"
listing >/mnt/after
diff /mnt/before /mnt/after
SESSION
emulated bash -euc '
  mount --rbind /proc "$1/proc"
  mount -t tmpfs none "$1/tmp"
  mount -t tmpfs none "$1/dev"
  for node in null zero urandom; do touch "$1/dev/$node"; mount --bind "/dev/$node" "$1/dev/$node"; done
  PATH=/usr/sbin:/usr/bin:/sbin:/bin exec env -u TMPDIR chroot "$1" bash /mnt/session' bash "$work/root" \
  >"$work/console" 2>&1 || { cat "$work/console" "$work/root/mnt/log" && exit 1; }
for each in 0.0.1 "$version"; do
  printf '%s\n' "libvam-dev $each $architecture" "vam-update $each $architecture"
  cat "$source/tests/sdk/console.txt"
  printf '==> /tmp/VAM_OK <==\nUpdated FW version: 2.0,17/4,X \n'
done >"$work/expected"
echo "no package is left" >>"$work/expected"
diff "$work/console" "$work/expected"
rm -rf "$work/root"
