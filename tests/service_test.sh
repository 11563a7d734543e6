#!/usr/bin/env bash
# Has systemd check the boot service, and tries the condition that docs/service.md gives to services
# that depend on it.
# Usage: service_test.sh SOURCE BUILD WORK
set -euo pipefail
source=$1 build=$2 work=$3

rm -rf "$work"
mkdir -p "$work"
# The tool's place in the build stands for its place in the image.
unit=$work/vam-update.service
sed "s#^ExecStart=.*#ExecStart=$build/sbin/vam-update#" "$build/packaging/vam-update.service" >"$unit"

complaints=$(systemd-analyze verify --man=no "$unit" 2>&1) || {
  echo "systemd-analyze verify: $complaints"
  exit 1
}
[ -z "$complaints" ] || { echo "systemd-analyze verify: $complaints" && exit 1; }

# The exposure level is 1.1; --threshold takes tenths.
systemd-analyze security --offline=true --threshold=11 "$unit" >"$work/security" || {
  cat "$work/security"
  exit 1
}
tail -n 1 "$work/security"

# The documented condition, with files of this test in place of the real ones.
condition=$(sed -n "s/^ExecCondition=.*sh -c '\(.*\)'$/\1/p" "$source/docs/service.md")
[ -n "$condition" ] || { echo "docs/service.md has no ExecCondition" && exit 1; }
condition=${condition//\/tmp\/VAM_OK/$work/VAM_OK}
condition=${condition//\/run\/vam-update/$work/runtime}
# judged NAME EXPECTED: tries the condition on the files as they are now.
judged() {
  local verdict=refused
  if sh -c "$condition"; then verdict=verified; fi
  [ "$verdict" = "$2" ] || { echo "$1: $verdict, expected $2" && exit 1; }
}
judged "neither a run nor a verdict" refused
touch --date "@1000" "$work/VAM_OK"
judged "a verdict, and the service failed or never ran" refused
mkdir "$work/runtime"
touch --date "@2000" "$work/runtime"
judged "a verdict of an earlier run" refused
touch --date "@2000" "$work/VAM_OK"
judged "a verdict as old as the run" verified
touch --date "@2001" "$work/VAM_OK"
judged "a verdict of this run" verified
rm "$work/VAM_OK"
judged "a run without a verdict" refused
