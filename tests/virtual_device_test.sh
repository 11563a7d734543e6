#!/usr/bin/env bash
# Runs the jobs of one test on the virtual device, which is prepared already. The device's own count
# of checks decides: the marker, which a job writes last, must name exactly the expected number and
# no failure.
# Usage: virtual_device_test.sh SOURCE boards-arm64|boards-armhf|edges|power-cut|service
set -euo pipefail
cd "$1"
test=$2
tests=$PWD/tests
. virtual_device/run-folder.sh

new_run_folder "$test"
cp -r simulator/boards "$folder/boards"
mkdir "$folder/expected" "$folder/outcome"
cp "$tests"/boards/*.txt "$tests"/virtual_device/expectations/*.txt "$folder/expected"

failed() {
  echo "== Normal world"
  sed -n '/^Starting kernel/,$p' "$folder/normal-world.log"
  echo "== Secure world, its last lines"
  tail -n 60 "$folder/secure-world.log"
  echo "$*; everything is in $folder"
  exit 1
}

# boot JOB CHECKS : one boot that must end by itself, with so many checks and no failure.
boot() {
  cp "$tests/virtual_device/$1.sh" "$folder/job"
  virtual_device/boot "$folder" || failed "$1: the device did not end as it should"
  passed "$1" "$2"
}

# passed NAME CHECKS : the last boot made so many checks, and none failed.
passed() {
  local marker
  marker=$(cat "$folder/marker" 2>/dev/null || echo nothing)
  [ "$marker" = "$2 checks, 0 failures" ] ||
    failed "$1: expected '$2 checks, 0 failures'; the marker says '$marker'"
  echo "$1: $marker"
}

case $test in
  boards-*)
    echo "${test#boards-}" >"$folder/architecture"
    # The boards that stay on a PC are listed with the reason; all others run here.
    cut -d ' ' -f 1 "$tests/pc_only_boards" | sort >"$folder/pc-only"
    find "$folder/boards" -name '*.toml' -printf '%f\n' | sed 's/\.toml$//' | sort >"$folder/all"
    [ -z "$(comm -23 "$folder/pc-only" "$folder/all")" ] ||
      failed "pc_only_boards names unknown boards"
    checks=0
    for world in 'present = false' 'trusted_application = false' whole; do
      while read -r board; do
        file=$folder/boards/$board.toml
        case $world in
          whole) ! grep -qE '^(present|trusted_application) = false' "$file" || continue ;;
          *) grep -qx "$world" "$file" || continue ;;
        esac
        echo "$board" >>"$folder/order"
        # What the tool left, and the verdict; the faults too where there can be any.
        checks=$((checks + 2))
        [ "$world" != whole ] || checks=$((checks + 1))
      done < <(comm -13 "$folder/pc-only" "$folder/all")
    done
    boot boards "$checks"
    ;;
  edges)
    boot edges 28
    ;;
  power-cut)
    for writes in 1 2 3 4; do
      rm -rf "$folder/secure-storage"
      mkdir "$folder/secure-storage"
      echo "$writes" >"$folder/writes"
      cp "$tests/virtual_device/cut.sh" "$folder/job"
      virtual_device/boot "$folder" --cut-at "the power is cut here" ||
        failed "the power was not cut after write $writes"
      boot after_cut 5
    done
    ;;
  service)
    cp "$tests/virtual_device/service_table" "$folder/table"
    cp "$tests/virtual_device/before_service.sh" "$folder/before-systemd"
    mkdir "$folder/secure-storage"
    truncate --size 8M "$folder/disk"
    PATH=$PATH:/usr/sbin mkfs.ext4 -q "$folder/disk"
    echo poor >"$folder/boot"
    boot service 7
    echo whole >"$folder/boot"
    boot service 73
    echo old_clock >"$folder/boot"
    virtual_device/boot "$folder" --cut-at "the power is cut here" ||
      failed "the power was not cut"
    passed old_clock 6
    echo after_cut >"$folder/boot"
    boot service 5
    ;;
esac
rm -rf "$folder"
