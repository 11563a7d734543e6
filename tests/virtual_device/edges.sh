# What only a real secure world does: each case is a run of the tool and what it must leave.
. /bin/device.sh

board=/share/boards/update-needed.toml

# Without tee-supplicant the secure world cannot load the trusted application, and the driver waits
# for one to come. The run ends when it is told to, as by the service's time limit, and leaves no
# verdict.
start_driver
start_node "$board"
mkdir -p /share/outcome/no-supplicant
timeout 5 /opt/arm64/sbin/vam-update >/share/outcome/no-supplicant/console
echo $? >/share/outcome/no-supplicant/status
for file in VAM_OK VAM_FAIL; do
  [ ! -e "/tmp/$file" ] || cp "/tmp/$file" /share/outcome/no-supplicant
done
check_outcome no-supplicant /share/expected/no-supplicant /share/outcome/no-supplicant

# Once the supplicant is there the next run does its work as if nothing had happened.
set_up_board "$board"
run_tool arm64 /share/outcome/supplicant-again
check_outcome supplicant-again /share/expected/update-needed /share/outcome/supplicant-again

# The trusted application panics behind a write of the chip: the update is reported as failed with
# the code of a dead target, and the chip says that it was interrupted.
for writes in 1 2 3; do
  set_up_board "$board"
  vam-device-board stop "$writes" panic
  run_tool arm64 "/share/outcome/panic-$writes"
  check_outcome "panic-$writes" /share/expected/panic "/share/outcome/panic-$writes"
  check "panic-$writes: recovery" vamctl force-recovery --yes
  run_tool arm64 "/share/outcome/panic-$writes-recovered"
  check_outcome "panic-$writes-recovered" /share/expected/update-needed \
    "/share/outcome/panic-$writes-recovered"
done

# Two tools at once: there is one trusted application, which serves them in turn.
set_up_board "$board"
rm -f /tmp/VAM_OK /tmp/VAM_FAIL
tools=
for architecture in arm64 armhf; do
  mkdir -p "/share/outcome/two-$architecture"
  {
    "/opt/$architecture/sbin/vam-update" >"/share/outcome/two-$architecture/console"
    echo $? >"/share/outcome/two-$architecture/status"
  } &
  tools="$tools $!"
done
wait $tools
for architecture in arm64 armhf; do
  for file in console status; do
    check "two at once, $architecture: $file" same_file "/share/expected/update-needed/$file" \
      "/share/outcome/two-$architecture/$file"
  done
done
check "two at once: VAM_OK" same_file /share/expected/update-needed/VAM_OK /tmp/VAM_OK
check "two at once: VAM_FAIL" gone /tmp/VAM_FAIL

# The secure world has no memory for the trusted application. It stays loaded until it panics.
set_up_board "$board"
vam-device-board stop 1 panic
vamctl ak-provision --hex 00
vam-device-board occupy >/tmp/occupied &
occupier=$!
check "no-secure-memory: occupied" await 600 test -s /tmp/occupied
run_tool arm64 /share/outcome/no-secure-memory
check_outcome no-secure-memory /share/expected/no-secure-memory /share/outcome/no-secure-memory
kill "$occupier"
wait "$occupier"
run_tool arm64 /share/outcome/secure-memory-again
check_outcome secure-memory-again /share/expected/update-needed /share/outcome/secure-memory-again

# The build that is shipped does the same work and knows no test command. It comes last: it cannot be
# made to panic, so nothing else is loaded behind it.
set_up_board "$board"
vam-device-board stop 1 panic
vamctl ak-provision --hex 00
cp /opt/shipped.ta "$trustedApplication"
vam-device-board chip >/tmp/refusal 2>&1
check "shipped build: refuses a test command" grep -q 0xFFFF000A /tmp/refusal
run_tool arm64 /share/outcome/shipped-build
check_outcome shipped-build /share/expected/update-needed /share/outcome/shipped-build
finish
