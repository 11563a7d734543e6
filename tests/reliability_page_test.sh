#!/usr/bin/env bash
# docs/reliability.md is a page of scripts/reliability, of every board that ships, of every kind of
# fault that vam-board explore has, and without a violation. A page with another number is refused. It
# ends with a table of scripts/mutants.
# Usage: reliability_page_test.sh SOURCE BUILD
set -euo pipefail
source=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
page=$source/docs/reliability.md

# check PAGE: what scripts/reliability says of it.
check() {
  "$source/scripts/reliability" --check "$1" 2>&1
}

failed() {
  echo "$*"
  exit 1
}

said=$(check "$page") || failed "$said"
boards=$("$build/bin/vam-board" list | cut -d' ' -f1 | LC_ALL=C sort | paste -sd' ')
[ "$(sed -n 1p <<<"$said")" = "$boards" ] || failed "docs/reliability.md has not the boards that ship: $said"

# The kinds of faults, and the outcomes, of a small exploration stand on the page.
"$source/scripts/reliability" --build "$build" --board both-parts-differ --singles 60 --pairs 60 \
  >"$work/page.md"
small=$(check "$work/page.md") || failed "$small"
kinds=$("$build/bin/vam-board" explore --board no-vam --json -- "$build/sbin/vam-update" |
  sed -n 's/.*"kind": "\(.*\)",/\1/p')
while IFS= read -r kind; do
  grep -qF "| $kind |" "$page" || failed "docs/reliability.md lacks the fault: $kind"
done <<<"$kinds"$'\n'"$(sed -n 2p <<<"$small" | sed 's| / |\n|g')"

# Violations stand in the third column of numbers; of the boards' table in the second.
violations=$(awk -F' *\\| *' '/^\| `/ { print $4 } /^\| [^`]/ && NF == 7 && $5 ~ /^[0-9]+$/ { print $5 }' "$page" |
  grep -cvx 0 || true)
[ "$violations" = 0 ] || failed "docs/reliability.md has $violations rows with violations"

# Each of these pages is another than the script prints.
spoil() {
  sed "$1" "$page" >"$work/spoilt.md"
  ! cmp -s "$page" "$work/spoilt.md" || failed "the page has nothing to spoil: $1"
  ! said=$(check "$work/spoilt.md") || failed "a page with another number is taken: $1"
  grep -qF "$2" <<<"$said" || failed "a spoilt page is refused so: $said"
}
spoil '/^| `no-vam`/s/| [0-9]* |/| 1 |/' "the boards have not as many runs as the faults"
spoil '/^| console/s/verified [0-9]*/verified 1/' "the outcomes of \"console\" are not as many"
spoil '/^| all |/s/| 0 |/| 1 |/' "is not as this script prints a page"
"$source/scripts/mutants" --check "$page" || failed "docs/reliability.md has another table of changes"

spoil 's/^## Boards/## Board/' "scripts/reliability"
