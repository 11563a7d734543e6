#!/usr/bin/env bash
# Takes one name after another out of an SDK's headers. Where the product needs the name, the seam
# check must fail and say it, and platform/platform.h must ask for it.
# Usage: seam_test.sh SOURCE WORK COMPILER
set -euo pipefail
source=$1 work=$2 compiler=$3
cd "$source"

rm -rf "$work"
mkdir -p "$work/whole"
cp tests/sdk/include/*.h simulator/stand_ins/vconf.h simulator/stand_ins/system_info.h "$work/whole"

# compile FOLDER FILE: against the headers of FOLDER.
compile() { "$compiler" -std=c++17 -fsyntax-only -w -I "$source" -I "$1" "$2"; }

# without NAME... : fills the folder `broken` with the headers as if they called these otherwise.
without() {
  local expression
  expression=$(printf 's/\\b%s\\b/other_&/g;' "$@")
  mkdir -p "$work/broken"
  for header in "$work/whole"/*.h; do
    sed "$expression" "$header" >"$work/broken/${header##*/}"
  done
}

compile "$work/whole" platform/seam_check.cc
# As a compiler for a big-endian target reads it.
if "$compiler" -std=c++17 -fsyntax-only -w -I "$source" -I "$work/whole" -U__BYTE_ORDER__ \
  -D__BYTE_ORDER__=__ORDER_BIG_ENDIAN__ platform/seam_check.cc 2>"$work/errors" ||
  ! grep -q 'seam_check\.cc:.* error: .*This target is big-endian' "$work/errors"; then
  cat "$work/errors"
  echo "a big-endian target is not refused with a reason"
  exit 1
fi
# Every name in the headers but the words of the language.
words='class|public|protected|private|virtual|override|const|extern|return|typedef|struct|union|enum'
words+='|void|char|short|int|long|unsigned|size_t|define|include|ifdef|ifndef|endif'
mapfile -t names < <(
  sed -e 's,//.*,,' -e 's,/\*.*\*/,,' -e '/^\/\*/,/\*\/$/d' -e 's/extern "C"//' \
    -e '/_H_$/d' -e '/__cplusplus/d' -e '/^#include/d' "$work/whole"/*.h |
    grep -oE '\b[A-Za-z_][A-Za-z0-9_]*' | grep -vxE "$words" | sort -u
)

failed=0
needed=0
spare=()
for name in "${names[@]}"; do
  without "$name"
  if compile "$work/broken" platform/seam_check.cc 2>"$work/errors"; then
    spare+=("$name")
    continue
  fi
  needed=$((needed + 1))
  if ! grep -qE "^platform/seam_check\.cc:.* error: .*\b$name\b" "$work/errors"; then
    head -n 3 "$work/errors"
    echo "a header without $name: the seam check fails and does not name it"
    failed=1
  fi
  if ! grep -qE "^//.*\b$name\b" platform/platform.h; then
    echo "platform/platform.h does not ask for $name"
    failed=1
  fi
done
echo "$needed names are needed, ${#spare[@]} are not"
[ "$needed" -ge 40 ] || failed=1

# Whatever the seam check does not ask for, the product does without.
without "${spare[@]}"
for file in {driver,interface,tee,util}/*.cc; do
  [[ $file != *_test.cc ]] || continue
  if ! compile "$work/broken" "$file" 2>"$work/errors"; then
    head -n 5 "$work/errors"
    echo "$file needs something of an SDK's headers that platform/seam_check.cc does not ask for"
    failed=1
  fi
done
exit "$failed"
