#!/usr/bin/env bash
# Runs the jobs of one test on the virtual device, which is prepared already. The device's own count
# of checks decides: the marker, which a job writes last, must name exactly the expected number and
# no failure.
# Usage: virtual_device_test.sh SOURCE boards|edges|power-cut
set -euo pipefail
source=$1 test=$2
run=$source/build/virtual-device/runs/$test
tests=$source/tests

rm -rf "$run"
mkdir -p "$run/expected"
cp -r "$source/simulator/boards" "$run/boards"
cp -r "$tests"/boards/* "$tests"/virtual_device/expectations/* "$run/expected"

failed() {
  echo "== Normal world"
  sed -n '/^Starting kernel/,$p' "$run/normal-world.log"
  echo "== Secure world, its last lines"
  tail -n 60 "$run/secure-world.log"
  echo "$*"
  exit 1
}

# boot JOB CHECKS : one boot that must end by itself, with so many checks and no failure.
boot() {
  cp "$tests/virtual_device/$1.sh" "$run/job"
  "$source/virtual_device/boot" "$run" || failed "$1: the device did not end as it should"
  local marker
  marker=$(cat "$run/marker" 2>/dev/null || echo nothing)
  [ "$marker" = "$2 checks, 0 failures" ] ||
    failed "$1: expected '$2 checks, 0 failures'; the marker says '$marker'"
  echo "$1: $marker"
}

case $test in
  boards)
    # The boards that stay on a PC are listed with the reason; all others run here.
    cut -d ' ' -f 1 "$tests/pc_only_boards" | sort >"$run/pc-only"
    find "$run/boards" -name '*.toml' -printf '%f\n' | sed 's/\.toml$//' | sort >"$run/all"
    [ -z "$(comm -23 "$run/pc-only" "$run/all")" ] || failed "pc_only_boards names unknown boards"
    checks=0
    for world in 'present = false' 'trusted_application = false' whole; do
      while read -r board; do
        file=$run/boards/$board.toml
        case $world in
          whole) ! grep -qE '^(present|trusted_application) = false' "$file" || continue ;;
          *) grep -qx "$world" "$file" || continue ;;
        esac
        echo "$board" >>"$run/order"
        # Console, status and two status files of two tools; the faults too where there can be any.
        checks=$((checks + 8))
        [ "$world" != whole ] || checks=$((checks + 2))
      done < <(comm -13 "$run/pc-only" "$run/all")
    done
    boot boards "$checks"
    ;;
  edges)
    boot edges 55
    ;;
  power-cut)
    for writes in 1 2 3 4; do
      rm -rf "$run/secure-storage" "$run/outcome"
      echo "$writes" >"$run/writes"
      cp "$tests/virtual_device/cut.sh" "$run/job"
      "$source/virtual_device/boot" "$run" --cut-at "the power is cut here" ||
        failed "the power was not cut behind write $writes"
      boot after_cut 9
    done
    ;;
esac
