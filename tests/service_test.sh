#!/usr/bin/env bash
# Has systemd check the boot service with its drop-ins and with those of the examples, and clean a
# private /tmp by the installed rules.
# Usage: service_test.sh SOURCE BUILD WORK IN-PRIVATE-TMP
set -euo pipefail
source=$1 build=$2 work=$3 in_private_tmp=$4

fail() {
  echo "$*"
  exit 1
}

# unit NAME DROP-IN...: makes a folder with the service and these drop-ins. The programs' places in the
# build stand for those in the image.
unit() {
  local folder=$work/$1
  shift
  mkdir -p "$folder/vam-update.service.d"
  sed "s#^ExecStart=[^ ]*/vam-verdict #ExecStart=\"$build/bin/vam-verdict\" #; s# -- .*/vam-update\$# -- \"$build/sbin/vam-update\"#" \
    "$build/packaging/vam-update.service" >"$folder/vam-update.service"
  grep -qxF "ExecStart=\"$build/bin/vam-verdict\" run --journal -- \"$build/sbin/vam-update\"" \
    "$folder/vam-update.service" || fail "the service does not start the recorder"
  # One by one: a drop-in replaces an earlier one of its name, as one in /etc does.
  local file
  for file in "$@"; do
    cp "$file" "$folder/vam-update.service.d"
  done
}

# verify NAME: systemd has no complaint, and the exposure level is 1.1 at most; --threshold takes tenths.
verify() {
  local complaints
  complaints=$(systemd-analyze verify --man=no "$work/$1/vam-update.service" 2>&1) ||
    fail "$1: systemd-analyze verify: $complaints"
  [ -z "$complaints" ] || fail "$1: systemd-analyze verify: $complaints"
  systemd-analyze security --offline=true --threshold=11 "$work/$1/vam-update.service" \
    >"$work/$1/security" 2>&1 || fail "$1: $(cat "$work/$1/security")"
  tail -n 1 "$work/$1/security"
}

# has NAME TEXT, lacks NAME TEXT: what systemd makes of the service's sandbox.
has() { grep -qF -- "$2" "$work/$1/security" || fail "$1: no $2"; }
lacks() { ! grep -F -- "$2" "$work/$1/security" || fail "$1: $2"; }

rm -rf "$work"
unit installed "$source/packaging/tee-node.conf"
verify installed
has installed "/dev/zelkshield:rw"
has installed "char-tee:rw"
unit vendor "$source/packaging/tee-node.conf" "$source/packaging/examples/tee-node.conf"
verify vendor
has vendor "/dev/vendor_tee:rw"
lacks vendor "char-tee:rw"
unit group "$source/packaging/tee-node.conf" "$source/packaging/examples/node-group.conf"
verify group
unit wrong "$source/packaging/tee-node.conf"
echo "DeviceAllow /dev/vendor_tee" >"$work/wrong/vam-update.service.d/wrong.conf"
! (verify wrong) >/dev/null || fail "a wrong drop-in passes"

# The examples of the page are the installed ones.
for example in tee-node node-group; do
  grep -v '^#' "$source/packaging/examples/$example.conf" >"$work/example"
  # Each block of the page as one line, and so the example.
  awk '/^```ini$/ { block = ""; inside = 1; next } /^```$/ { if (inside) print block; inside = 0 }
    inside { block = block $0 "|" }' "$source/docs/service.md" >"$work/blocks"
  grep -qxF -- "$(tr '\n' '|' <"$work/example")" "$work/blocks" ||
    fail "docs/service.md does not show $example.conf"
done

# Cleaning: everything is old enough, and only what nobody keeps goes.
cat >"$work/clean.conf" <<'TEXT'
d /tmp 1777 root root 0
TEXT
RULES=$build/packaging/vam-update.conf CLEAN=$work/clean.conf "$in_private_tmp" bash -euo pipefail -c '
  expect() {
    local left
    left=$(ls /tmp | xargs)
    [ "$left" = "$2" ] || { echo "$1: left $left, expected $2" && exit 1; }
  }
  make() { touch /tmp/VAM_OK /tmp/VAM_FAIL /tmp/other; }
  make
  systemd-tmpfiles --prefix=/tmp --clean "$CLEAN"
  expect "cleaned without the rules" ""
  make
  systemd-tmpfiles --prefix=/tmp --clean "$RULES" "$CLEAN"
  expect "cleaned by age" "VAM_FAIL VAM_OK"
  systemd-tmpfiles --prefix=/tmp --remove --create "$RULES"
  expect "reloaded while the system runs" "VAM_FAIL VAM_OK"
  systemd-tmpfiles --prefix=/tmp --boot --remove --create "$RULES"
  expect "booted" "VAM_FAIL"'
