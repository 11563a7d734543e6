# Records the tool in front of the real libteec and secure world: without a supplicant until the tool is
# ended, then the build that /share/architecture names on every board that a real secure world can be,
# and both builds in a panic. /share/order names the boards, the poorest secure world first. The
# recordings go to /share/recordings.
. /bin/device.sh

mkdir /share/recordings

# record ARCHITECTURE NAME : records the tool with no status file of an earlier run, and keeps what it
# left.
record() {
  rm -f /tmp/VAM_OK /tmp/VAM_FAIL
  "/opt/$1/bin/vam-record" -o "/tmp/$2" -- "/opt/$1/sbin/vam-update" >/tmp/console
  keep_outcome /tmp/console $? "$2"
  cp "/tmp/$2" /share/recordings
}

# The driver waits for a supplicant in the first session, for longer than anybody does.
waiting() {
  start_driver
  start_node /share/boards/update-needed.toml
  rm -f /tmp/VAM_OK /tmp/VAM_FAIL
  /opt/arm64/bin/vam-record -o /tmp/no-supplicant -- /opt/arm64/sbin/vam-update >/tmp/console &
  recorder=$!
  await grep -q 'CA InterfaceSP: vm_updateFW' /tmp/console
  sleep 5
  kill "$recorder"
  wait "$recorder"
  keep_outcome /tmp/console $? no-supplicant
  check no-supplicant same_file /share/expected/no-supplicant.txt /share/outcome/no-supplicant.txt
  cp /tmp/no-supplicant /share/recordings
  stop_node
}

boards_architecture=$(cat /share/architecture)
waited=
while read -r board; do
  # A driver that was loaded stays: the boards without one come first.
  if [ -z "$waited" ] && [ "$(vam-device-board world "/share/boards/$board.toml")" != absent ]; then
    waiting
    waited=yes
  fi
  set_up_board "/share/boards/$board.toml"
  record "$boards_architecture" "$board"
  check "$board" same_file "/share/expected/$board.txt" "/share/outcome/$board.txt"
done </share/order

for architecture in arm64 armhf; do
  set_up_board /share/boards/update-needed.toml
  vam-device-board stop 1 panic
  record "$architecture" "panic-$architecture"
  check "panic-$architecture" same_file /share/expected/panic.txt \
    "/share/outcome/panic-$architecture.txt"
  # The trusted application comes anew with the next run.
  vamctl force-recovery --yes >/dev/null
done
finish
