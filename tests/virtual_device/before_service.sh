# What service.sh needs before systemd starts, by the boot that /share/boot names. Each boot goes on with
# the secure world's storage that the last one left:
#   poor       has neither a node nor a TEE driver
#   whole      has both, and a supplicant that takes its time to start
#   squatters  is like it
#   old_clock  the same in the year 2023, with the other form of the supplicant's unit, and with a
#              disk at /tmp that has a verdict of yesterday
#   after_cut  is the next boot on that disk, and finds the last record in /run
units=/etc/systemd/system
boot=$(cat /share/boot)
[ -e /share/board.toml ] || cp /share/boards/update-needed.toml /share/board.toml

# The nodes come, however slow the device is.
wait_for_nodes() {
  insmod /lib/modules/tee.ko
  insmod /lib/modules/optee.ko
  for node in tee0 zelkshield; do
    mkdir -p "$units/dev-$node.device.d"
    printf '[Unit]\nJobRunningTimeoutSec=infinity\n' >"$units/dev-$node.device.d/patience.conf"
  done
}

# enable_supplicant UNIT: started by itself at boot, and late.
enable_supplicant() {
  mkdir -p "$units/$1.d"
  printf '[Service]\nExecStartPre=/bin/sleep 3\n' >"$units/$1.d/late.conf"
  ln -s "$2" "$units/multi-user.target.wants/$1"
}

use_disk() {
  for module in virtio_blk crc32c_generic crc16 mbcache jbd2 ext4; do
    insmod "/lib/modules/$module.ko"
  done
  # The disk comes, however slow the device is.
  echo '/dev/vda /tmp ext4 x-systemd.device-timeout=infinity 0 0' >/etc/fstab
}

case $boot in
  poor) rm "$units/multi-user.target.wants/board-node.service" ;;
  whole | squatters)
    wait_for_nodes
    enable_supplicant tee-supplicant.service /lib/systemd/system/tee-supplicant.service
    ;;
  old_clock)
    wait_for_nodes
    cat >"$units/tee-supplicant@.service" <<'UNIT'
[Service]
ExecStart=/usr/sbin/tee-supplicant /dev/%i
UNIT
    enable_supplicant tee-supplicant@teepriv0.service "$units/tee-supplicant@.service"
    mkdir "$units/sysinit.target.wants"
    cat >"$units/old-clock.service" <<'UNIT'
[Unit]
DefaultDependencies=no
Before=systemd-tmpfiles-setup.service

[Service]
Type=oneshot
ExecStart=/bin/date -u -s "2023-03-02 12:00"
UNIT
    ln -s "$units/old-clock.service" "$units/sysinit.target.wants"
    # Debian's own rule would empty the folder.
    echo 'q /tmp 1777 root root 10d' >/etc/tmpfiles.d/tmp.conf
    use_disk
    mount -t ext4 /dev/vda /tmp
    chmod 1777 /tmp
    printf 'Updated FW version: 9.9 \n' >/tmp/VAM_OK
    printf 'vam_updateFW failed:  7 \n' >/tmp/VAM_FAIL
    touch -d "2023-03-01 12:00" /tmp/VAM_OK /tmp/VAM_FAIL
    umount /tmp
    ;;
  after_cut)
    wait_for_nodes
    enable_supplicant tee-supplicant.service /lib/systemd/system/tee-supplicant.service
    use_disk
    mount -t tmpfs -o mode=0755 run /run
    mkdir /run/vam-update
    cp /share/verdict.json /run/vam-update
    ;;
esac
