# Runs both builds of the tool on every board that a real secure world can be. Each run must leave
# what it leaves on a PC. /share/order names the boards, the poorest secure world first.
. /bin/device.sh

while read -r board; do
  for architecture in arm64 armhf; do
    set_up_board "/share/boards/$board.toml"
    check_run "$board, $architecture" "$architecture" "$board"
    [ "$world" != whole ] ||
      check "$board, $architecture: faults" vam-device-board require-applied "/share/boards/$board.toml"
  done
done </share/order
finish
