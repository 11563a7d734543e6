#!/usr/bin/env bash
# Validates the boards that ship, and answers of vamctl, against the schemas in docs/, and has the
# schemas refuse what is neither.
# Usage: schemas_test.sh SOURCE BUILD IN-PRIVATE-TMP
set -euo pipefail
source=$1 build=$2 in_private_tmp=$3

"$in_private_tmp" bash -euo pipefail -s "$source" "$build" <<'SESSION'
source=$1 build=$2
answers=/mnt/answers
mkdir "$answers"
vamctl=$build/bin/vamctl

# answer NAME BOARD ARGUMENT...: keeps what vamctl answers on a board.
answer() {
  "$build/bin/vam-board" run --board "$2" -- "$vamctl" "${@:3}" --json >"$answers/$1" \
    2>/dev/null </dev/null || true
}
answer update update-needed update-fw 3 --yes
answer chip update-needed update-fw chip
answer full chip-full update-fw update --yes
answer cut reply-cut-at-record update-fw 3 --yes
answer words update-needed get-fw-info
answer bytes update-needed get-hack-info --size 4
answer session session-refused get-info
answer world secure-world-absent get-info
answer refused update-needed remove-ak-keys
answer usage update-needed get-info --nonsense
answer not-text update-needed ak-provision $'/\xff\n'
"$vamctl" verdict --json >"$answers/none" 2>/dev/null || true
printf 'VAM_RET_NOT_IMPLEMENTED 0 \n\377\n' >/tmp/VAM_FAIL
"$vamctl" verdict --json >"$answers/unclear" 2>/dev/null || true

/usr/bin/python3 - "$source" "$answers" <<'PYTHON'
import copy
import glob
import json
import os
import sys
import tomllib

import jsonschema

source, folder = sys.argv[1:]
failed = 0


def validator(name):
    with open(f"{source}/docs/{name}", encoding="utf-8") as file:
        schema = json.load(file)
    jsonschema.Draft202012Validator.check_schema(schema)
    return jsonschema.Draft202012Validator(schema)


def expect(schema, value, valid, what):
    global failed
    errors = [error.message for error in schema.iter_errors(value)]
    if valid != (not errors):
        print(f"{what}: {errors or 'taken for valid'}")
        failed = 1


board = validator("board.schema.json")
files = glob.glob(f"{source}/simulator/boards/*.toml")
assert len(files) >= 40
for path in files:
    with open(path, "rb") as file:
        expect(board, tomllib.load(file), True, path)
for wrong in (
    "odd = 1",
    "title = 3",
    "[probe]\nnode = \"gone\"",
    "[probe]\nflag = 2147483648",
    "[image]\nfile = \"a\"\nstate = \"whole\"",
    "[chip]\nak_record = \"0\"",
    "[chip]\ninformation = [1.5]",
    "[[fault]]\ncall = \"close\"",
    "[[fault]]\ncommand = \"vm_updateFW\"",
    "[[fault]]\ncommand = \"vm_updateFW\"\nresult = 1\nitem = 1",
    "[[fault]]\npower_cut_after_writes = 0",
    "[[fault]]\n",
):
    expect(board, tomllib.loads(wrong), False, wrong)

answers = validator("vamctl-answers.schema.json")
kept = {}
for name in os.listdir(folder):
    with open(f"{folder}/{name}", encoding="utf-8") as file:
        kept[name] = json.loads(file.read())
    expect(answers, kept[name], True, name)
assert len(kept) == 13
for name, member in (
    ("update", "versions"), ("chip", "mode"), ("full", "record"), ("cut", "cause"), ("words", "words"),
    ("session", "cause"), ("refused", "error"), ("usage", "error"), ("not-text", "error"),
    ("none", "verdict"),
):
    assert member in kept[name], (name, kept[name])
for name, change in (
    ("session", lambda value: value.pop("cause")),
    ("session", lambda value: value["cause"].pop("origin")),
    ("session", lambda value: value["cause"].update(step="TEEC_CloseSession")),
    ("update", lambda value: value.update(cause=kept["session"]["cause"])),
    ("update", lambda value: value.pop("result")),
    ("update", lambda value: value.update(odd=1)),
    ("none", lambda value: value.update(verdict="good")),
    ("usage", lambda value: value.update(error="a\nb")),
):
    changed = copy.deepcopy(kept[name])
    change(changed)
    expect(answers, changed, False, f"a changed {name}")
sys.exit(failed)
PYTHON
SESSION
