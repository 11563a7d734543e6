# Runs both builds of the tool on every board that a real secure world can be, and compares what it
# leaves with what it leaves on a PC. /share/order names the boards, the poorest secure world first.
. /bin/device.sh

while read -r board; do
  for architecture in arm64 armhf; do
    outcome=/share/outcome/$board-$architecture
    set_up_board "/share/boards/$board.toml"
    run_tool "$architecture" "$outcome"
    check_outcome "$board, $architecture" "/share/expected/$board" "$outcome"
    [ "$world" != whole ] ||
      check "$board, $architecture: faults" vam-device-board require-applied "/share/boards/$board.toml"
  done
done </share/order
finish
