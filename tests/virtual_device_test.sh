#!/usr/bin/env bash
# Runs the jobs of one test on the virtual device, which is prepared already. The device's own count
# of checks decides: the marker, which a job writes last, must name exactly the expected number and
# no failure.
# Usage: virtual_device_test.sh SOURCE BUILD TEST
# TEST is boards-ARCHITECTURE, edges, power-cut, power-cuts, recordings-ARCHITECTURE, service, setup or
# squatters; ARCHITECTURE is arm64 or armhf.
set -euo pipefail
cd "$1"
build=$2 test=$3
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

# order_boards CHECKS CHECKS-OF-A-WHOLE-WORLD : lists the boards that can be run here, the poorest
# secure world first, and sets $checks to the sum of the checks of each.
order_boards() {
  local world board file
  # The boards that stay on a PC are listed with the reason; all others run here.
  cut -d ' ' -f 1 "$tests/pc_only_boards" | sort >"$folder/pc-only"
  find "$folder/boards" -name '*.toml' -printf '%f\n' | sed 's/\.toml$//' | sort >"$folder/all"
  [ -z "$(comm -23 "$folder/pc-only" "$folder/all")" ] || failed "pc_only_boards names unknown boards"
  checks=0
  for world in 'present = false' 'trusted_application = false' whole; do
    while read -r board; do
      file=$folder/boards/$board.toml
      case $world in
        whole) ! grep -qE '^(present|trusted_application) = false' "$file" || continue ;;
        *) grep -qx "$world" "$file" || continue ;;
      esac
      echo "$board" >>"$folder/order"
      checks=$((checks + ($([ "$world" = whole ] && echo "$2" || echo "$1"))))
    done < <(comm -13 "$folder/pc-only" "$folder/all")
  done
}

# Validates each recording in the folder, line by line, and counts them.
validate() {
  /usr/bin/python3 - docs/journal.schema.json "$folder/recordings" <<'PYTHON'
import json
import os
import sys

import jsonschema

schema_file, folder = sys.argv[1:]
with open(schema_file, encoding="utf-8") as file:
    validator = jsonschema.Draft202012Validator(json.load(file))
for name in sorted(os.listdir(folder)):
    with open(os.path.join(folder, name), encoding="ascii") as file:
        text = file.read()
    if not text.endswith("\n"):
        sys.exit(f"{name}: a line without an end")
    for number, line in enumerate(text.splitlines(), 1):
        problem = jsonschema.exceptions.best_match(validator.iter_errors(json.loads(line)))
        if problem:
            sys.exit(f"{name}:{number}: {problem.message}: {line}")
print(len(os.listdir(folder)))
PYTHON
}

# compare BOARD : the device's calls are those of the simulated board.
compare() {
  "$build/bin/vam-board" run --board "simulator/boards/$1.toml" --journal "$folder/simulated" -- \
    "$build/sbin/vam-update" >/dev/null 2>&1 || true
  "$build/bin/vam-board" journal diff "$folder/simulated" "$folder/recordings/$1" ||
    failed "$1: other calls than on the simulated board"
}

# replay RECORDING : this machine's build prints and leaves on the recording what the device's did, and
# ends alike.
replay() {
  local status=0 replayed=$folder/replayed
  rm -rf "$replayed"
  "$build/bin/vam-board" replay --state "$replayed" "$folder/recordings/$1" -- \
    "$build/sbin/vam-update" >"$folder/console" 2>"$folder/errors" || status=$?
  scripts/outcome "$folder/console" "$status" "$replayed/VAM_OK" "$replayed/VAM_FAIL" |
    diff "$folder/outcome/$1.txt" - || failed "$1: replayed with another outcome: $(cat "$folder/errors")"
}

# What the boots with systemd have besides their job.
prepare_systemd() {
  cp "$tests/virtual_device/service_table" "$folder/table"
  cp "$tests/virtual_device/before_service.sh" "$folder/before-systemd"
  mkdir "$folder/secure-storage"
}

case $test in
  boards-*)
    echo "${test#boards-}" >"$folder/architecture"
    # What the tool left, and the verdict; the faults too where there can be any.
    order_boards 2 3
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
  power-cuts)
    # Cuts a run on a new chip at moments spread over it: after each command and after each write of the
    # chip, which the trusted application traces, and at equal steps of the time that an uncut run takes.
    # The next boot recovers what it must.
    cuts=${VAM_CUTS:-200}
    commands=4 writes=4
    # cut_run JOB WHEN...
    cut_run() {
      rm -rf "$folder"/{secure-storage,begun,ended,left}
      mkdir "$folder/secure-storage"
      cp "$tests/virtual_device/$1.sh" "$folder/job"
      virtual_device/boot "$folder" "${@:2}" || failed "the power was not cut: $*"
    }
    recover() {
      boot after_any_cut 3 >>"$folder/boots"
      cat "$folder/left" >>"$folder/tally"
    }
    cut_run long_cut --cut-after ended 0
    [ "$(grep -c 'command [0-9]*: ' "$folder/secure-world.log")" = "$commands" ] ||
      failed "a run has not $commands commands"
    step=$(stat -c %.6Y "$folder/begun" "$folder/ended" |
      awk -v steps=$((cuts - commands - writes)) 'NR == 1 { begun = $1 } END { print ($1 - begun) / steps }')
    for ((command = 1; command <= commands; ++command)); do
      cut_run long_cut --cut-at ' command ' "$command"
      recover
    done
    for ((write = 1; write <= writes; ++write)); do
      echo "$write" >"$folder/writes"
      cut_run cut --cut-at "the power is cut here"
      recover
    done
    for ((i = 0; i < cuts - commands - writes; ++i)); do
      cut_run long_cut --cut-after begun "$(awk -v step="$step" -v i="$i" 'BEGIN { print step * i }')"
      recover
    done
    echo "$cuts cuts, one every $step s; the next run met:"
    sort "$folder/tally" | uniq -c
    # The cuts after the writes meet both.
    [ "$(sort -u "$folder/tally" | wc -l)" = 2 ] || failed "no cut interrupted an update, or every one did"
    ;;
  recordings-*)
    echo "${test#recordings-}" >"$folder/architecture"
    # The boards; the run without a supplicant; the two that panic.
    order_boards 1 1
    boot recordings $((checks + 3))
    [ "$(validate)" = $((checks + 3)) ] || failed "a recording is missing or not of the form"
    while read -r board; do
      compare "$board"
      replay "$board"
    done <"$folder/order"
    replay panic-arm64
    replay panic-armhf
    # A run that was killed leaves all it did: the driver was waiting in the first session. Replayed, it
    # comes to the same call.
    [ "$(sed 's/.*"call":"\([^"]*\)".*/\1/; 1d' "$folder/recordings/no-supplicant" | xargs)" = \
      "open ioctl close TEEC_InitializeContext" ] || failed "no-supplicant: other calls were recorded"
    status=0
    "$build/bin/vam-board" replay "$folder/recordings/no-supplicant" -- "$build/sbin/vam-update" \
      >"$folder/console" 2>"$folder/errors" || status=$?
    [ "$status" = 137 ] && grep -q 'the recording ends after call 4$' "$folder/errors" &&
      grep -q 'came: *TEEC_OpenSession ' "$folder/errors" &&
      scripts/outcome "$folder/console" 143 "" "" | diff "$folder/outcome/no-supplicant.txt" - ||
      failed "no-supplicant: replayed otherwise: $status $(cat "$folder/errors")"
    ;;
  service)
    prepare_systemd
    truncate --size 8M "$folder/disk"
    PATH=$PATH:/usr/sbin mkfs.ext4 -q "$folder/disk"
    echo poor >"$folder/boot"
    boot service 7
    echo whole >"$folder/boot"
    boot service 43
    echo old_clock >"$folder/boot"
    virtual_device/boot "$folder" --cut-at "the power is cut here" ||
      failed "the power was not cut"
    passed old_clock 6
    echo after_cut >"$folder/boot"
    boot service 5
    ;;
  squatters)
    prepare_systemd
    echo squatters >"$folder/boot"
    boot service 30
    ;;
  setup)
    boot setup 172
    # The trusted application traces each command that it takes, and its result.
    grep -m 3 -o 'command [0-9]*: 0x[0-9A-F]*' "$folder/secure-world.log" >"$folder/trace"
    diff - "$folder/trace" <<'TRACE' || failed "the trusted application traced other commands"
command 2147483647: 0xFFFF000A
command 28: 0x00000000
command 28: 0xFFFF000D
TRACE
    ;;
esac
rm -rf "$folder"
