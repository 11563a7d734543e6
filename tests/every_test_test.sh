#!/usr/bin/env bash
# CTest runs every *_test.cc, *_test.sh and *_fuzz.cc of the tree, and each test in them, and what
# docs/porting.md says is tested, when it says so. Otherwise nobody would notice a test that is not built, or
# one that is marked as disabled.
# Usage: every_test_test.sh SOURCE BUILD CTEST
set -euo pipefail

source=$1
build=$2
ctest=$3

listed=$("$ctest" --test-dir "$build" --show-only=json-v1)
failed=0
count=0
while IFS= read -r file; do
  count=$((count + 1))
  case "$file" in
    *.sh) wanted="/${file}\"" ;;
    *)
      # The object's path names the program.
      program=$(sed -n "s|.* -o [^ ]*CMakeFiles/\([^/]*\)\.dir/${file##*/}\.o .*|\1|p" \
        "$build/compile_commands.json" | head -n 1)
      if [ -z "$program" ]; then
        echo "$file is not built" >&2
        failed=1
        continue
      fi
      wanted="/${program}\""
      ;;
  esac
  if ! grep -qF -- "$wanted" <<<"$listed"; then
    echo "$file is not run" >&2
    failed=1
  fi
done < <(cd "$source" && find . -path './build*' -prune -o -path './.git' -prune -o \
  \( -name '*_test.cc' -o -name '*_test.sh' -o -name '*_fuzz.cc' \) -printf '%P\n')

# The tests that the page's table names with a star are run by scripts/test, and the others are all that
# scripts/test matrix runs.
python3 - "$source/docs/porting.md" 3<<<"$listed" <<'PYTHON' || failed=1
import json
import re
import sys

with open(3, encoding="utf-8") as listed:
    labels = {
        test["name"]: next((p["value"] for p in test["properties"] if p["name"] == "LABELS"), [])
        for test in json.load(listed)["tests"]
    }
with open(sys.argv[1], encoding="utf-8") as page:
    table = [line.rstrip() for line in page.read().partition("## What is tested")[2].split("\n") if line[:1] == "|"]

SUITES = {"bullseye": "Debian 11", "bookworm": "Debian 12", "trixie": "Debian 13"}
COMPILERS = {"g++": "GCC", "clang++": "Clang"}
errors, starred, weekly = [], set(), set()
for row in table[2:]:
    cells = [cell.strip() for cell in row.strip("|").split("|")]
    name = re.fullmatch(r"`([^`]+)`( \*)?", cells[-1])
    if not name or len(cells) != 5:
        errors.append(f"a row of the table names no test: {row}")
        continue
    (starred if name[2] else weekly).add(name[1])
    suite = re.fullmatch(r"matrix_([a-z]+)_(.+)-([0-9]+)", name[1])
    if suite and cells[:2] != [SUITES[suite[1]] + ", amd64", f"{COMPILERS[suite[2]]} {suite[3]}"]:
        errors.append(f"{name[1]} is another suite or compiler than its row of the table says: {row}")
starred.discard("scripts/test")
matrix = {name for name, of_test in labels.items() if "matrix" in of_test}
errors += [f"names the test {name}, which is not run" for name in sorted((starred | weekly) - labels.keys())]
errors += [f"says that scripts/test runs {name}, and it does not" for name in sorted(starred & matrix)]
errors += [f"says that scripts/test matrix runs {name}, and it does not"
           for name in sorted((weekly & labels.keys()) - matrix)]
errors += [f"does not name {name}, which scripts/test matrix runs" for name in sorted(matrix - weekly - starred)]
if len(table) < 20:
    errors.append(f"has a table of {len(table)} lines")
for error in errors:
    print(f"docs/porting.md: {error}", file=sys.stderr)
sys.exit(1 if errors else 0)
PYTHON

if grep -rn --include='*_test.cc' --exclude-dir='build*' 'DISABLED_' "$source" >&2; then
  echo "a test is disabled" >&2
  failed=1
fi
if [ "$count" -lt 20 ]; then
  echo "only $count tests found in $source" >&2
  failed=1
fi
exit "$failed"
