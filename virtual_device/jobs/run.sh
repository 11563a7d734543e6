# Runs the update tool of $architecture once on /share/board.toml. What the device cannot be made to
# show is told in /share/refusal.
. /bin/device.sh

set_up_board /share/board.toml 2>/share/refusal || exit
run_tool "$architecture" run
finish
