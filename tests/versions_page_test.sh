#!/usr/bin/env bash
# Runs the update tool on every row of the table in docs/versions.md, as the versions of the system
# part that the image claims and the chip then reports, and compares the verdict with the row's.
# Usage: versions_page_test.sh SOURCE BUILD IN-PRIVATE-TMP
set -euo pipefail
source=$1 build=$2 in_private_tmp=$3

# image|chip|match
rows=$(sed -nE 's/^\| `([^`]+)` \| `([^`]+)` \| (yes|no) \|.*/\1|\2|\3/p' "$source/docs/versions.md")
for match in yes no; do
  grep -q "|$match\$" <<<"$rows" || { echo "docs/versions.md has no row that says $match" && exit 1; }
done
[ "$(wc -l <<<"$rows")" -ge 6 ] || { echo "docs/versions.md has fewer than six rows" && exit 1; }

export TMPDIR=/mnt PATH=$build/bin:$build/sbin:$PATH
printed=$("$in_private_tmp" bash -euc '
  while IFS="|" read -r image chip match; do
    rm -f /tmp/VAM_OK /tmp/VAM_FAIL
    printf "title = \"A row\"\n[image]\nsystem_version = \"%s\"\nruns_system_version = \"%s\"\n" \
      "$image" "$chip" >/mnt/row.toml
    vam-board run --machine-tmp --board /mnt/row.toml -- vam-update >/dev/null </dev/null
    verdict=neither
    [ ! -e /tmp/VAM_OK ] || verdict=yes
    ! grep -qs "System part" /tmp/VAM_FAIL || verdict=no
    echo "$image|$chip|$verdict"
  done <<<"$1"' bash "$rows")
diff <(echo "$rows") <(echo "$printed")
