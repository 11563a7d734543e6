# Runs the update tool of $architecture once on /share/board.toml.
. /bin/device.sh

set_up_board /share/board.toml
run_tool "$architecture" /share/outcome
finish
