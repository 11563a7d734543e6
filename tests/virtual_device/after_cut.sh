# The boot after a cut of power: the run tells what the cut left, and after a recovery the next run
# makes the chip whole.
. /bin/device.sh

board=/share/boards/update-needed.toml
writes=$(cat /share/writes)
# After the last of four writes the chip is whole.
left=chip-interrupted
[ "$writes" -lt 4 ] || left=update-needed
# Either recovery must do.
recovery=force-recovery
[ $((writes % 2)) -eq 1 ] || recovery=force-recovery-sp

start_driver
start_supplicant
vam-device-board load --keep-chip "$board"
start_node "$board"
check_run "after write $writes" arm64 "$left"
check "after write $writes: $recovery" vamctl "$recovery" --yes
check_run "after write $writes, recovered" arm64 update-needed
finish
