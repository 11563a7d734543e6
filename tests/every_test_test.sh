#!/usr/bin/env bash
# CTest runs every *_test.cc, *_test.sh and *_fuzz.cc of the tree, and each test in them, and what
# docs/porting.md says is tested. Otherwise
# nobody would notice a test that is not built, or one that is marked as disabled.
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

# The page that says what is tested names tests that there are.
while IFS= read -r name; do
  [ "$name" != "scripts/test" ] || continue
  if ! grep -qE "\"name\" : \"${name//+/\\+}\"" <<<"$listed"; then
    echo "docs/porting.md names the test $name, which is not run" >&2
    failed=1
  fi
done < <(sed -nE '/^## What is tested/,$s/^\|.*\| `([^`]+)`( \*)? \|$/\1/p' "$source/docs/porting.md")

if grep -rn --include='*_test.cc' --exclude-dir='build*' 'DISABLED_' "$source" >&2; then
  echo "a test is disabled" >&2
  failed=1
fi
if [ "$count" -lt 20 ]; then
  echo "only $count tests found in $source" >&2
  failed=1
fi
exit "$failed"
