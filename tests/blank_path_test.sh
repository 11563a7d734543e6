#!/usr/bin/env bash
# Runs scripts/test whole in a clone whose path has blanks, as a user without rights where root runs this
# test. The clone has what is committed.
# Usage: blank_path_test.sh SOURCE
set -euo pipefail
source=$1

work=$(mktemp -d -p /var/tmp)
trap 'rm -rf "$work"' EXIT
checkout="$work/a checkout of the project"
git -c safe.directory='*' clone --quiet "$source" "$checkout"
mkdir "$work/home"

as_user=()
if [ "$(id -u)" = 0 ]; then
  user=65534
  chmod 755 "$work"
  chown -R "$user:$user" "$work"
  as_user=(setpriv "--reuid=$user" "--regid=$user" --clear-groups)
fi
cd "$checkout"
"${as_user[@]}" env --ignore-environment HOME="$work/home" PATH="$PATH" scripts/test >"$work/log" 2>&1 || {
  tail -n 200 "$work/log"
  exit 1
}
sed -n '/tests passed/,$p' "$work/log"
