# The boot after a cut of power at any moment: either the run makes the chip whole at once, or it tells of
# a chip whose update was interrupted, and after a recovery the next run makes it whole. /share/left gets
# which.
. /bin/device.sh

board=/share/boards/update-needed.toml
start_driver
start_supplicant
vam-device-board load --keep-chip "$board"
start_node "$board"
run_tool arm64 first
left=interrupted
! same_file /share/expected/update-needed.txt /share/outcome/first.txt >/dev/null || left=whole
if [ "$left" = interrupted ]; then
  check "the run tells of the interruption" same_file /share/expected/chip-interrupted.txt \
    /share/outcome/first.txt
  vamctl force-recovery --yes
else
  check "the run makes the chip whole" same_verdict /share/expected/update-needed.txt
fi
check_run recovered arm64 update-needed
echo "$left" >/share/left
finish
