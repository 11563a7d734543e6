# The boot after a cut of power: the run tells what the cut left, and after a recovery the next run
# makes the chip whole.
. /bin/device.sh

board=/share/boards/update-needed.toml
writes=$(cat /share/writes)
# Behind the last of four writes the chip is whole.
left=chip-interrupted
[ "$writes" -lt 4 ] || left=update-needed
# Both recoveries must do.
recovery=force-recovery
[ $((writes % 2)) -eq 1 ] || recovery=force-recovery-sp

start_driver
start_supplicant
vam-device-board load --keep-chip "$board"
start_node "$board"
run_tool arm64 /share/outcome/first
check_outcome "behind write $writes" "/share/expected/$left" /share/outcome/first
check "behind write $writes: $recovery" vamctl "$recovery" --yes
run_tool arm64 /share/outcome/second
check_outcome "behind write $writes, recovered" /share/expected/update-needed /share/outcome/second
finish
