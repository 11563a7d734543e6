# An update during which the host cuts the power, behind the write of the chip that /share/writes
# names.
. /bin/unit.sh

set_up_board /share/boards/update-needed.toml
vam-guest-board stop "$(cat /share/writes)" power
vam-update
