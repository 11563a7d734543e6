#!/usr/bin/env bash
# Builds the whole project with a Debian suite's own compiler and CMake, warnings as errors, and runs
# the test programs there.
# Usage: [VAM_ROOMS=whole|product] debian_suite_test.sh SOURCE WORK SUITE COMPILER PACKAGE...
# The packages are what the suite has the compiler in. Header libraries that the suite lacks come from
# bookworm. VAM_ROOMS=product takes the product alone, without the simulated board's programs and the tests of
# whole programs.
set -euo pipefail
source=$1 work=$2 suite=$3 compiler=$4
shift 4
root=$work/root

[ "$(id -u)" = 0 ] || {
  echo "not run: only root makes a root file system of $suite"
  exit 77
}
mkdir -p "$work"
packages=(cmake g++ libgmock-dev libgtest-dev libssl-dev ninja-build nlohmann-json3-dev "$@")
include=$(IFS=, && echo "${packages[*]}")
bare=$work/../debian-$suite-$(echo "$include" | md5sum | cut -c 1-8).tar
if [ ! -s "$bare" ]; then
  mirror=$(apt-get indextargets --format '$(REPO_URI)' \
    'Created-By: Packages' 'Origin: Debian' 'Label: Debian' 'Component: main' | sed -n 1p)
  mmdebstrap --quiet --variant=minbase --include="$include" "$suite" "$work/new.tar" "$mirror" \
    >"$work/mmdebstrap.log" 2>&1 || { tail -n 20 "$work/mmdebstrap.log" && exit 1; }
  mv "$work/new.tar" "$bare"
fi
"$source/scripts/foreign-packages" "$(dpkg --print-architecture)" bookworm "$work/headers" \
  libcli11-dev libtomlplusplus-dev

rm -rf "$root"
mkdir -p "$root"
tar --extract --file "$bare" --directory "$root" --exclude './dev/*'
for header in CLI toml++; do
  [ -e "$root/usr/include/$header" ] || cp -r "$work/headers/usr/include/$header" "$root/usr/include"
done
[ -e "$root/usr/share/cmake/CLI11" ] || cp -r "$work/headers/usr/share/cmake/CLI11" "$root/usr/share/cmake"
mkdir "$root/source"
tar -C "$source" --exclude './build*' --exclude './.git' -c . | tar -C "$root/source" -x

rooms=(.) targets=(all) least=60
if [ "${VAM_ROOMS:-whole}" = product ]; then
  rooms=(util report version tee interface driver verdict command_line vamctl)
  targets=("${rooms[@]/%//all}")
  least=25
fi

cat >"$root/session" <<SESSION
set -euo pipefail
cd /source
cmake --version | head -n 1
"$compiler" --version | head -n 1
cmake -S . -B /build -G Ninja -DCMAKE_CXX_COMPILER=$compiler -DVAM_WARNINGS_AS_ERRORS=ON >/log 2>&1 &&
  ninja -C /build ${targets[*]} >/log 2>&1 || { tail -n 60 /log && exit 1; }
for room in ${rooms[*]}; do
  cd "/build/\$room"
  ctest --parallel 2 --output-on-failure --label-exclude slow --tests-regex '^vam_.*_test\$' >/log 2>&1 ||
    { tail -n 80 /log && exit 1; }
  grep 'tests passed' /log
done
SESSION
status=0
unshare --mount --pid --fork --propagation private bash -euc '
  root=$1
  mount -t proc none "$root/proc"
  mount --rbind /sys "$root/sys"
  mount -t tmpfs none "$root/tmp"
  mount -t tmpfs none "$root/dev"
  mkdir "$root/dev/pts" "$root/dev/shm"
  mount -t devpts -o ptmxmode=0666 none "$root/dev/pts"
  ln -s pts/ptmx "$root/dev/ptmx"
  for node in null zero full urandom random tty; do
    touch "$root/dev/$node"
    mount --bind "/dev/$node" "$root/dev/$node"
  done
  exec env --ignore-environment HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin \
    chroot "$root" bash /session' bash "$root" \
  >"$work/console" 2>&1 || status=$?
cat "$work/console"
[ "$status" = 0 ] || exit 1
# The page that has a row for this says which CMake the suite has.
version=$(awk -F ' *[|] *' -v test="\`matrix_${suite}_$compiler\`" '$6 == test { print $4 }' "$source/docs/porting.md")
grep -qE "^cmake version ${version//./\\.}(\.|\$)" "$work/console" || {
  echo "docs/porting.md says CMake '$version'"
  exit 1
}
ran=$(sed -nE 's/.* tests? failed out of ([0-9]+)/\1/p' "$work/console" | awk '{ sum += $1 } END { print sum + 0 }')
[ "$ran" -ge "$least" ] || { echo "only $ran test programs ran" && exit 1; }
rm -rf "$root"
