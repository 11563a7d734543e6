#!/usr/bin/env bash
# Validates the journals of real runs against docs/journal.schema.json, line by line, and has the
# schema refuse what no line is.
# Usage: journal_schema_test.sh SOURCE BUILD IN-PRIVATE-TMP NODE-PROBE SERVICES-PROBE TEE-PROBE
set -euo pipefail
source=$1 build=$2 in_private_tmp=$3 node_probe=$4 services_probe=$5 tee_probe=$6

"$in_private_tmp" bash -euo pipefail -s "$source" "$build" "$node_probe" "$services_probe" \
  "$tee_probe" <<'SESSION'
source=$1 build=$2 node_probe=$3 services_probe=$4 tee_probe=$5
journals=/tmp/journals
mkdir "$journals"

# record NAME BOARD OPTION... -- PROGRAM...: keeps the journal of a run.
record() {
  "$build/bin/vam-board" run --board "$2" --journal "$journals/$1" "${@:3}" >/dev/null 2>&1 || true
}
for board in "$source"/simulator/boards/*.toml; do
  record "$(basename "$board" .toml)" "$board" -- "$build/sbin/vam-update"
done
record key update-needed -- "$build/bin/vamctl" ak-provision --yes --hex 00ff
record key-asked-for update-needed --with-keys -- "$build/bin/vamctl" ak-provision --yes --hex 00ff
record hack-information update-needed -- "$build/bin/vamctl" get-hack-info --size 8
record no-update update-needed -- "$build/bin/vamctl" update-fw -- -1
record node update-needed -- "$node_probe" /dev/zelkshield open bad-pointers in-child in-threads
record no-marshaller update-needed -- "$tee_probe" temporary part values bad-memory own-memory cancelled session-with-parameters
cat >/tmp/services.toml <<'BOARD'
[settings]
"db/comss/serialnumber" = "é \" \\ \u0001"
[system_information]
model_name = "m"
BOARD
record services /tmp/services.toml -- "$services_probe"

/usr/bin/python3 - "$source/docs/journal.schema.json" "$journals" <<'PYTHON'
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
definitions = schema["$defs"]
lines = {}  # the first line of each form
valid = set()
for name in sorted(os.listdir(folder)):
    with open(os.path.join(folder, name), encoding="ascii") as file:
        text = file.read()
    if not text.endswith("\n"):
        sys.exit(f"{name}: a line without an end")
    for number, line in enumerate(text.splitlines()):
        member = json.loads(line)
        form = member["call"] if number else "head"
        shape = (form, *member, *(type(value).__name__ for value in member.values()))
        if shape not in valid:
            problem = jsonschema.exceptions.best_match(validator.iter_errors(member))
            if problem:
                sys.exit(f"{name}:{number + 1}: {problem.message}: {line}")
            valid.add(shape)
        lines.setdefault(form, member)

forms = {form["$ref"].rsplit("/", 1)[1] for form in schema["oneOf"]}
missing = forms - set(lines)
if missing:
    sys.exit(f"no run had the calls {missing}")


def refuse(what, form, change):
    changed = copy.deepcopy(lines[form])
    change(changed)
    if changed == lines[form]:
        sys.exit(f"{what}: nothing was changed")
    if validator.is_valid(changed):
        sys.exit(f"{what}: taken for a line: {changed}")


for form, line in lines.items():
    for member in definitions[form]["required"]:
        refuse(f"{form} without {member}", form, lambda line: line.pop(member))
    refuse(f"{form} with another member", form, lambda line: line.update(more=1))
refuse("another format", "head", lambda line: line.update(format=2))
refuse("arguments without keys", "head", lambda line: line.update(arguments=["--hex"]))
refuse("another call", "open", lambda line: line.update(call="openat"))
refuse("a call that is not named as C++ names it", "CNolvWsm::PutInt",
       lambda line: line.update(call="PutInt"))
refuse("a fraction of time", "open", lambda line: line.update(time=1.5))
refuse("a result without its number", "TEEC_OpenSession", lambda line: line["result"].pop("number"))
refuse("a result as text", "TEEC_OpenSession", lambda line: line.update(result="0x00000000"))
refuse("half a byte", "CNolvWsm::GetBlob", lambda line: line.update(bytes="000"))
refuse("a digest of another length", "CNolvWsm::PutBlob",
       lambda line: line["bytes"].update(sha256="00"))
refuse("a character beyond a byte", "vconf_get_str", lambda line: line.update(value="\u0100"))
refuse("a fault of a call that none changes", "close", lambda line: line.update(fault=1))
PYTHON
SESSION
