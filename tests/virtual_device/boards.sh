# Runs the tool's build for /share/architecture on every board that a real secure world can be. Each
# run must leave what it leaves on a PC. /share/order names the boards, the poorest secure world
# first.
. /bin/device.sh

architecture=$(cat /share/architecture)
while read -r board; do
  set_up_board "/share/boards/$board.toml"
  check_run "$board" "$architecture" "$board"
  [ "$world" != whole ] ||
    check "$board: faults" vam-device-board require-applied "/share/boards/$board.toml"
done </share/order
finish
