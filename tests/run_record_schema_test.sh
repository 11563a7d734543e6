#!/usr/bin/env bash
# Validates records of real runs against docs/run-record.schema.json, and has the schema refuse what
# no record is.
# Usage: run_record_schema_test.sh SOURCE BUILD IN-PRIVATE-TMP
set -euo pipefail
[ "$(id -u)" = 0 ] || { echo "not run: a record is trusted where root keeps it" && exit 77; }
source=$1 build=$2 in_private_tmp=$3

"$in_private_tmp" bash -euo pipefail -s "$source" "$build" <<'SESSION'
source=$1 build=$2
mount -t tmpfs -o mode=755 none /run
verdict=$build/bin/vam-verdict
records=/mnt/records
mkdir "$records"

# record NAME PROGRAM...: keeps what vam-verdict says of a run.
record() {
  "$verdict" run -- "${@:2}" >/dev/null 2>&1 || true
  "$verdict" --json >"$records/$1" || true
}
"$verdict" --json >"$records/no-run" || true
for board in update-needed mode-3-failing both-parts-differ no-vam no-device-node not-implemented \
  information-query-failing power-cut-during-update; do
  record "$board" "$build/bin/vam-board" run --machine-tmp --board "$board" -- "$build/sbin/vam-update"
done
record killed sh -c 'kill -9 $$'
record not-started /no/such/program
record any-bytes sh -c 'printf "Updated FW version: \0\n\377\"\\ \n" >/tmp/VAM_OK'
record foreign-lines sh -c 'printf "hello\nyou 3 \n\377\n" >>/tmp/VAM_FAIL'
record many-lines sh -c 'yes "line 1 " | head -n 1000 >>/tmp/VAM_FAIL'
rm /tmp/VAM_OK /tmp/VAM_FAIL
mkdir /tmp/VAM_OK
mkfifo /tmp/VAM_FAIL
record moved "$build/bin/vam-board" run --machine-tmp --board update-needed -- "$build/sbin/vam-update"
chmod 666 /run/vam-update/verdict.json
"$verdict" --json >"$records/not-trusted" || true

/usr/bin/python3 - "$source/docs/run-record.schema.json" "$records" <<'PYTHON'
import copy
import json
import os
import sys

import jsonschema

schema_file, folder = sys.argv[1:]
with open(schema_file, encoding="utf-8") as file:
    schema = json.load(file)
jsonschema.Draft202012Validator.check_schema(schema)
validator = jsonschema.Draft202012Validator(schema)

records = {}
for name in sorted(os.listdir(folder)):
    with open(os.path.join(folder, name), encoding="ascii") as file:
        records[name] = json.load(file)
    problem = jsonschema.exceptions.best_match(validator.iter_errors(records[name]))
    if problem:
        sys.exit(f"{name}: {problem.json_path}: {problem.message}")
outcomes = {record["outcome"] for record in records.values() if "outcome" in record}
expected = set(schema["$defs"]["record"]["properties"]["outcome"]["enum"])
if outcomes != expected:
    sys.exit(f"no run had the outcomes {expected - outcomes}")
if records["any-bytes"]["version"].encode("latin-1") != b'\0\n\xff"\\':
    sys.exit("the version's bytes do not come back")
for name in ("no-run", "not-trusted"):
    if set(records[name]) != {"format", "error"}:
        sys.exit(f"{name}: a record, and not why there is none")

# refuse NAME RECORD CHANGE: what the change makes of the record is none.
def refuse(name, record, change):
    changed = copy.deepcopy(records[record])
    change(changed)
    if changed == records[record]:
        sys.exit(f"{name}: nothing was changed")
    if validator.is_valid(changed):
        sys.exit(f"{name}: taken for a record")


good, failed, moved = "update-needed", "mode-3-failing", "moved"
for member in records[good]:
    refuse(f"without {member}", good, lambda record: record.pop(member))
for member in records[failed]["entries"][0]:
    refuse(f"an entry without {member}", failed, lambda record: record["entries"][0].pop(member))
for member in records[moved]["moved"][0]:
    refuse(f"moved without {member}", moved, lambda record: record["moved"][0].pop(member))
refuse("another member", good, lambda record: record.update(more=1))
refuse("another format", good, lambda record: record.update(format=2))
refuse("another outcome", good, lambda record: record.update(outcome="fine"))
refuse("verified without a version", good, lambda record: record.update(version=None))
refuse("verified with a status", good, lambda record: record["program"].update(status=255))
refuse("a version of a failed run", failed, lambda record: record.update(version="1"))
refuse("two ends", good, lambda record: record["program"].update(signal=9))
refuse("no end", good, lambda record: record["program"].update(status=None))
refuse("a fraction", good, lambda record: record["start"].update(boot_time_ms=1.5))
refuse("a boot without its form", good, lambda record: record.update(boot_id="this one"))
refuse("a code as text", failed, lambda record: record["entries"][0].update(code="-1"))
refuse("a code too large", failed, lambda record: record["entries"][0].update(code=1 << 31))
refuse("a character beyond a byte", good, lambda record: record.update(version="\u0100"))
refuse("an error beside a record", good, lambda record: record.update(error="why"))
refuse("no reason", "no-run", lambda record: record.pop("error"))
PYTHON
SESSION
