# What only a real secure world does: each case is a run of the tool and what it must leave.
. /bin/device.sh

board=/share/boards/update-needed.toml

# Without tee-supplicant the secure world cannot load the trusted application, and the driver waits
# for one to come. The run ends when it is told to, as by the service's time limit, and leaves no
# verdict.
start_driver
start_node "$board"
/opt/arm64/sbin/vam-update >/tmp/waiting &
tool=$!
await grep -q 'CA InterfaceSP: vm_updateFW' /tmp/waiting
sleep 2
kill "$tool"
wait "$tool"
keep_outcome /tmp/waiting $? no-supplicant
check no-supplicant same_file /share/expected/no-supplicant.txt /share/outcome/no-supplicant.txt

# Once the supplicant is there the next run does its work as if nothing had happened.
set_up_board "$board"
check_run supplicant-again arm64 update-needed

# The trusted application panics after a write of the chip: the update is reported as failed with
# the code of a dead target, and the chip says that it was interrupted.
for writes in 1 2 3; do
  set_up_board "$board"
  vam-device-board stop "$writes" panic
  check_run "panic-$writes" arm64 panic
  check "panic-$writes: recovery" vamctl force-recovery --yes
  check_run "panic-$writes-recovered" arm64 update-needed
done

# Two tools at once: there is one trusted application, which serves them in turn.
set_up_board "$board"
rm -f /tmp/VAM_OK /tmp/VAM_FAIL
/opt/arm64/sbin/vam-update >/tmp/arm64 &
arm64=$!
/opt/armhf/sbin/vam-update >/tmp/armhf &
armhf=$!
wait "$arm64"
status_arm64=$?
wait "$armhf"
status_armhf=$?
keep_outcome /tmp/arm64 "$status_arm64" two-arm64
keep_outcome /tmp/armhf "$status_armhf" two-armhf
for tool in two-arm64 two-armhf; do
  check "$tool" same_file /share/expected/update-needed.txt "/share/outcome/$tool.txt"
done

# The secure world has no memory for the trusted application. It stays loaded until it panics.
set_up_board "$board"
vam-device-board stop 1 panic
vamctl ak-provision --hex 00
vam-device-board occupy >/tmp/occupied &
occupier=$!
occupied() { [ -s /tmp/occupied ] || ended "$occupier"; }
await occupied
check "no-secure-memory: occupied" grep -qx occupied /tmp/occupied
check_run no-secure-memory arm64 no-secure-memory
kill "$occupier"
wait "$occupier"
check_run secure-memory-again arm64 update-needed

# The build that is shipped does the same work and knows no test command. It comes last: it cannot be
# made to panic, so nothing else can be loaded after it.
set_up_board "$board"
vam-device-board stop 1 panic
vamctl ak-provision --hex 00
cp /opt/shipped.ta "$trustedApplication"
vam-device-board chip >/tmp/refusal 2>&1
check "shipped build: refuses a test command" grep -q 0xFFFF000A /tmp/refusal
check_run shipped-build arm64 update-needed
finish
