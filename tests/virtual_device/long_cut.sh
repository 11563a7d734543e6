# An update during which the host cuts the power when it likes: it sees the files begun and ended.
. /bin/device.sh

set_up_board /share/boards/update-needed.toml
touch /share/begun
/opt/arm64/sbin/vam-update
touch /share/ended
# Until the cut.
await false
