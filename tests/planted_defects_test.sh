#!/usr/bin/env bash
# plant.cmake writes a copy of a source with the defect in it, and none where the source no longer has the
# text once or the defect is not written in three lines.
# Usage: planted_defects_test.sh SOURCE CMAKE
set -euo pipefail
source=$1 cmake=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
printf 'int one = 1;\nint two = 1;\n' >"$work/code.cc"

failed() {
  echo "$*"
  exit 1
}

# plant LINE...: what is said of a defect of these lines.
plant() {
  printf '%s\n' "$@" >"$work/defect.txt"
  rm -f "$work/copy.cc"
  "$cmake" -D DEFECT="$work/defect.txt" -D FOLDER="$work" -D COPY="$work/copy.cc" \
    -P "$source/tests/planted_defects/plant.cmake" 2>&1 | tr -s ' \n' ' '
}

said=$(plant code.cc 'one = 1' 'one = 2') || failed "a defect is refused: $said"
printf 'int one = 2;\nint two = 1;\n' | diff - "$work/copy.cc"

# refuses REASON LINE...
refuses() {
  ! said=$(plant "${@:2}") || failed "taken: ${*:2}"
  [[ $said = *"$1"* ]] || failed "refused so: $said"
  [ ! -e "$work/copy.cc" ] || failed "a copy is written: ${*:2}"
}
refuses "does not have this text once" code.cc 'one = 3' 'one = 2'
refuses "does not have this text once" code.cc '= 1' '= 2'
refuses "three lines are expected" code.cc 'one = 1'
