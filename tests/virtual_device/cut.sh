# An update during which the host cuts the power, after the write of the chip that /share/writes
# names.
. /bin/device.sh

set_up_board /share/boards/update-needed.toml
vam-device-board stop "$(cat /share/writes)" power
vam-update
