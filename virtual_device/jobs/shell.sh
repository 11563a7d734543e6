# A prompt on the device, set up as /share/board.toml says.
. /bin/device.sh

set_up_board /share/board.toml
cat <<'TEXT'
vam-update, vamctl and vam-device-board are on PATH; the 32-bit tool is /opt/armhf/sbin/vam-update.
The board is /share/board.toml; `vam-device-board load /share/board.toml` sets the chip up anew.
/share is the run's folder on the host. Leave with exit.
TEXT
setsid cttyhack sh
finish
