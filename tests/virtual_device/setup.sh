# What sets the device up for the other tests: the trusted application's test commands,
# vam-device-board and its node, with all that they refuse. Numbers are those of the interface, not
# names that a changed program would change along.
. /bin/device.sh

boards=/share/boards
board=$boards/update-needed.toml

# said STATUS TEXT COMMAND...: the command ends so, and says the text and nothing else.
said() {
  status=0
  expected=$2
  wanted=$1
  shift 2
  "$@" >/tmp/said 2>&1 || status=$?
  [ "$status" = "$wanted" ] && [ "$(cat /tmp/said)" = "$expected" ] || {
    echo "ended with $status and said: $(cat /tmp/said)"
    return 1
  }
}

# refuses TEXT ARGUMENT...: vam-device-board fails with the text.
refuses() {
  text=$1
  shift
  said 1 "vam-device-board: $text" vam-device-board "$@"
}

# answers ANSWER COMMAND PARAMETER...: the trusted application's answer to one command.
answers() {
  answer=$1
  shift
  said 0 "$answer" command_probe "$@"
}

# Reads rows of a name, a command with its parameters, and the answer.
# answers_rows PREFIX
answers_rows() {
  while IFS='|' read -r name request answer; do
    # shellcheck disable=SC2086
    check "$1${name% }" answers "${answer# }" $request
  done
}

# The calls of a program in front of the TEE client library.
# records CALLS STATUS ARGUMENT...
records() {
  calls=$1
  wanted=$2
  shift 2
  status=0
  vam-record -o /tmp/recording -- vam-device-board "$@" >/dev/null 2>&1 || status=$?
  made=$(sed 's/.*"call":"TEEC_\([^"]*\)".*/\1/; 1d' /tmp/recording | xargs)
  rm -f /tmp/recording
  [ "$status $made" = "$wanted $calls" ] || {
    echo "ended with $status after: $made"
    return 1
  }
}

# succeeds COMMAND... / fails COMMAND...: quietly.
succeeds() {
  "$@" >/dev/null 2>&1
}
fails() {
  ! succeeds "$@"
}

# begin_board NAME: makes a board of the text that comes, on a chip that needs an update.
begin_board() {
  { cat "$board" && echo && cat; } >"/tmp/$1.toml"
}

# Board files, without a secure world.

for row in 'absent secure-world-absent' 'bare trusted-application-missing' 'whole update-needed'; do
  check "world: $row" said 0 "${row% *}" vam-device-board world "$boards/${row#* }.toml"
done
begin_board full-console <<'BOARD'
[[fault]]
console = "full"
BOARD
while IFS='|' read -r file text; do
  check "world: $file" refuses "$text" world "$file"
  check "load: $file" refuses "$text" load "$file"
done <<TABLE
$boards/session-refused.toml|the fault on TEEC_OpenSession needs the simulated libraries; use vam-board on a PC
$boards/power-cut-during-update.toml|the power cut needs a simulated board; use vam-board on a PC
/tmp/full-console.toml|the fault console full needs a simulated board; use vam-board on a PC
TABLE

no_context="the TEE context: the secure world answers 0xFFFF0008, origin 1"
check "load without a driver" refuses "$no_context" load "$board"
check "chip without a driver" refuses "$no_context" chip
check "require-applied without a driver" refuses "$no_context" require-applied "$board"
check "stop without a driver" refuses "$no_context" stop 1 panic
check "occupy without a driver" refuses "there is no secure world to occupy" occupy

# The command line.

check "no command" test "$(vam-device-board 2>&1 | head -n 1)" = "A subcommand is required"
check "a kind of stop that is none" fails vam-device-board stop 1 sideways
check "no kind of stop" fails vam-device-board stop 1
check "a board that is none" fails vam-device-board world /tmp/none.toml
for command in world node load require-applied; do
  check "$command without a board" fails vam-device-board "$command"
done
vam-device-board --help >/tmp/help
for command in world node load require-applied stop; do
  vam-device-board "$command" --help
done >>/tmp/help
while read -r sentence; do
  check "help: $sentence" grep -qF -- "$sentence" /tmp/help
done <<'TEXT'
Makes the virtual device the board that a board file describes.
Prints how much of the secure world the board has
Serves /dev/zelkshield until it is terminated
Sets up the chip, the firmware image and the faults
Leave the chip as it is
Fails when a fault of the board was never applied
Stops the trusted application at a chip write
After how many writes, counted from now
power or panic
Occupies the secure world's memory until it is terminated, and prints once it is full
Prints what the chip's memory holds
Board file
TEXT

# The node.

# node_says ANSWER BOARD STEP: what a program gets of the node of a board.
node_says() {
  start_node "$boards/$2.toml"
  said 0 "$3: $1" node_probe /dev/zelkshield "$3"
}
check "node: flag 1" node_says "flag 1, closed" update-needed open
check "node: another request" node_says ENOTTY update-needed other-request
check "node: pointers to nowhere" node_says "EFAULT EFAULT EFAULT flag 1" update-needed bad-pointers
check "node: flag 2" node_says "flag 2, closed" flag-two open
check "node: flag untouched" node_says "flag -7, closed" flag-untouched open
check "node: failing ioctl" node_says "ioctl EIO, closed" ioctl-failing open
stop_node
check "no node" said 0 "" vam-device-board node "$boards/no-device-node.toml"
start_node "$board"
kill "$node"
wait "$node"
check "node: ends" test $? = 0
check "node: gone" gone /dev/zelkshield
node=
mv /dev/cuse /dev/hidden
vam-device-board node "$board" >/tmp/said 2>&1
check "node without cuse: status" test $? = 1
check "node without cuse" test "$(tail -n 1 /tmp/said)" = \
  "vam-device-board: /dev/zelkshield cannot be served; load the kernel's module cuse"
mv /dev/hidden /dev/cuse

# Trusted applications that are missing.

start_driver
start_supplicant
mv "$trustedApplication" /opt/removed.ta
check "missing trusted application" refuses \
  "the session with the trusted application: the secure world answers 0xFFFF0008, origin 3" chip
check "a session that was refused" records "InitializeContext OpenSession FinalizeContext" 1 chip
mv /opt/removed.ta "$trustedApplication"
ballast=$(find /lib/optee_armtz -type f)
mv "$ballast" /opt/ballast.ta
check "missing ballast" refuses \
  "the secure world's memory did not run out: result 4294901768" occupy
mv /opt/ballast.ta "$ballast"

# The test commands, one by one. A new instance of the trusted application has no fault.

head -c 40000 /bin/busybox >/tmp/large
tail -c 39900 /tmp/large >/tmp/large.end
printf abcde >/tmp/5
printf fgh >/tmp/3
head -c 8143 /dev/zero >/tmp/8143
head -c 8144 /dev/zero >/tmp/8144
head -c 8145 /dev/zero >/tmp/8145
answers_rows "" <<'TABLE'
no faults at first | 0x80000006 none output:64 | 0x00000000 4 0:
the command after the last | 0x80000008 | 0xFFFF000A 4
the last number | 0xFFFFFFFF | 0xFFFF000A 4
the number before the first | 0x7FFFFFFF inout:/tmp/5 | 0xFFFF000A 4 5:6162636465
begin without an object | 0x80000000 | 0xFFFF0006 4
begin with an output | 0x80000000 value-out | 0xFFFF0006 4 0,0
begin with memory | 0x80000000 value:2,0 input:/tmp/5 | 0xFFFF0006 4
append without bytes | 0x80000001 value:2,0 | 0xFFFF0006 4
append without an object | 0x80000001 none input:/tmp/5 | 0xFFFF0006 4
append from an output | 0x80000001 value:2,0 output:5 | 0xFFFF0006 4 5:eeeeeeeeee
read without memory | 0x80000002 value:2,0 | 0xFFFF0006 4
read without an object | 0x80000002 none output:5 | 0xFFFF0006 4 5:eeeeeeeeee
read into an input | 0x80000002 value:2,0 input:/tmp/5 | 0xFFFF0006 4
remove without an object | 0x80000003 | 0xFFFF0006 4
remove with a third parameter | 0x80000003 value:2,0 none value:2,0 | 0xFFFF0006 4
clear with an object | 0x80000004 value:2,0 | 0xFFFF0006 4
clear with a fourth parameter | 0x80000004 none none none value:2,0 | 0xFFFF0006 4
add without a fault | 0x80000005 | 0xFFFF0006 4
add with an object | 0x80000005 value:2,0 input:/tmp/8144 | 0xFFFF0006 4
applied without memory | 0x80000006 | 0xFFFF0006 4
applied into an input | 0x80000006 none input:/tmp/5 | 0xFFFF0006 4
stop without a number | 0x80000007 | 0xFFFF0006 4
stop with memory | 0x80000007 value:1,2 input:/tmp/5 | 0xFFFF0006 4
append to a missing object | 0x80000001 value:2,0 input:/tmp/5 | 0xFFFF0008 4
read a missing object | 0x80000002 value:2,0 output:16 | 0x00000000 4 0:
remove a missing object | 0x80000003 value:2,0 | 0x00000000 4
begin | 0x80000000 value:2,0 | 0x00000000 4
read an empty object | 0x80000002 value:2,0 output:16 | 0x00000000 4 0:
append | 0x80000001 value:2,0 input:/tmp/5 | 0x00000000 4
append more | 0x80000001 value:2,0 input:/tmp/3 | 0x00000000 4
read all | 0x80000002 value:2,0 output:16 | 0x00000000 4 8:6162636465666768
read from an offset | 0x80000002 value:2,3 output:16 | 0x00000000 4 5:6465666768
read a part | 0x80000002 value:2,3 output:2 | 0x00000000 4 2:6465
read the last byte | 0x80000002 value:2,7 output:2 | 0x00000000 4 1:68
read at the end | 0x80000002 value:2,8 output:2 | 0x00000000 4 0:
read past the end | 0x80000002 value:2,100 output:2 | 0x00000000 4 0:
the other object is missing | 0x80000002 value:1,0 output:16 | 0x00000000 4 0:
begin anew | 0x80000000 value:2,0 | 0x00000000 4
read the new object | 0x80000002 value:2,0 output:16 | 0x00000000 4 0:
append many bytes | 0x80000001 value:2,0 input:/tmp/large | 0x00000000 4
read many bytes | 0x80000002 value:2,0 output:50000:/tmp/all | 0x00000000 4 40000:
read the last bytes | 0x80000002 value:2,100 output:50000:/tmp/end | 0x00000000 4 39900:
remove | 0x80000003 value:2,0 | 0x00000000 4
read a removed object | 0x80000002 value:2,0 output:16 | 0x00000000 4 0:
a fault that lacks a byte | 0x80000005 none input:/tmp/8143 | 0xFFFF0006 4
a fault with a byte too much | 0x80000005 none input:/tmp/8145 | 0xFFFF0006 4
still no faults | 0x80000006 none output:64 | 0x00000000 4 0:
TABLE
check "all of the many bytes" same_file /tmp/large /tmp/all
check "the last of the many bytes" same_file /tmp/large.end /tmp/end

i=0
while [ $i -lt 16 ]; do
  command_probe 0x80000005 none input:/tmp/8144
  i=$((i + 1))
done >/tmp/added
check "sixteen faults" test "$(sort -u /tmp/added)" = "0x00000000 4"
zeros=$(head -c 64 /dev/zero | hexdump -v -e '/1 "%02x"')
answers_rows "" <<TABLE
a seventeenth fault | 0x80000005 none input:/tmp/8144 | 0xFFFF300F 4
applied, one byte short | 0x80000006 none output:63 | 0xFFFF0010 4 64:
applied | 0x80000006 none output:64 | 0x00000000 4 64:$zeros
applied, with room | 0x80000006 none output:100 | 0x00000000 4 64:$zeros
clear | 0x80000004 | 0x00000000 4
no faults after it | 0x80000006 none output:64 | 0x00000000 4 0:
TABLE

# Faults of a board, and what the trusted application says of them.

begin_board faults <<'BOARD'
[[fault]]
command = "vam_getInfo"
occurrence = 2
result = "TEEC_ERROR_BUSY"

[[fault]]
command = "vam_getAppInfo"
result = "TEEC_ERROR_CANCEL"

[[fault]]
command = "vm_updateFW"
mode = 0
result = "TEEC_ERROR_NO_DATA"

[[fault]]
command = "vam_updateFW"
result = "TEEC_ERROR_ACCESS_CONFLICT"
BOARD
printf '\004\000\000\000' >/tmp/block
printf '\004\000\000' >/tmp/short-block
for time in first second; do
  check "$time: load faults" said 0 "" vam-device-board load /tmp/faults.toml
  check "$time: a fault that was never applied" refuses "fault 1 was never applied" \
    require-applied /tmp/faults.toml
  answers_rows "$time: " <<'TABLE'
before the occurrence | 28 inout:/tmp/block | 0x00000000 4 4:04000000
at the occurrence | 28 inout:/tmp/block | 0xFFFF000D 4 4:04000000
after the occurrence | 28 inout:/tmp/block | 0x00000000 4 4:04000000
always | 29 inout:/tmp/block | 0xFFFF0002 4 4:04000000
always, again | 29 inout:/tmp/block | 0xFFFF0002 4 4:04000000
without a mode | 18 inout:/tmp/block | 0xFFFF0005 4 4:04000000
another command | 32 inout:/tmp/block | 0x00000000 4 4:04000000
how often | 0x80000006 none output:16 | 0x00000000 4 16:01000000020000000000000000000000
TABLE
  vamctl older-update-fw 7 >/dev/null 2>&1
  vamctl older-update-fw 11 >/dev/null 2>&1
  check "$time: in any mode" answers \
    "0x00000000 4 16:01000000020000000000000002000000" 0x80000006 none output:16
  check "$time: the third was never applied" refuses "fault 3 was never applied" \
    require-applied /tmp/faults.toml
  vamctl update-fw 0 >/dev/null 2>&1
  check "$time: all were applied" said 0 "" vam-device-board require-applied /tmp/faults.toml
done
check "faults of another board" refuses \
  "the trusted application has 4 faults, the board has 0" require-applied "$board"
for i in 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17; do
  printf '[[fault]]\ncommand = "vam_getInfo"\nresult = %d\n\n' "$i"
done | begin_board seventeen-faults
check "a board with seventeen faults" refuses \
  "a test command: the secure world answers 0xFFFF300F, origin 4" load /tmp/seventeen-faults.toml

# What a command of the system carries.

vam-device-board load "$board"
answers_rows "" <<'TABLE'
the smallest block | 28 inout:/tmp/block | 0x00000000 4 4:04000000
a smaller block | 28 inout:/tmp/short-block | 0xFFFF0006 4 3:040000
no block | 28 | 0xFFFF0006 4
an input | 28 input:/tmp/block | 0xFFFF0006 4
an output | 28 output:4 | 0xFFFF0006 4 4:eeeeeeee
a value | 28 value-inout:4,4 | 0xFFFF0006 4 4,4
a second parameter | 28 inout:/tmp/block value:0,0 | 0xFFFF0006 4 4:04000000
a third parameter | 28 inout:/tmp/block none value:0,0 | 0xFFFF0006 4 4:04000000
a fourth parameter | 28 inout:/tmp/block none none value:0,0 | 0xFFFF0006 4 4:04000000
a command that is none | 27 inout:/tmp/block | 0xFFFF000A 4 4:04000000
TABLE

# The chip and the image.

vam-device-board chip >/tmp/chip
check "the chip" grep -qx '  system part: 1.0,17/7,3 (0 bytes)' /tmp/chip
check "calls for the chip" records \
  "InitializeContext OpenSession InvokeCommand InvokeCommand CloseSession FinalizeContext" 0 chip
mkdir /tmp/small
mount -t tmpfs -o size=4k none /tmp/small
printf x >/tmp/small/filler
TMPDIR=/tmp/small vam-device-board chip >/tmp/said 2>&1
check "no room for the chip: status" test $? = 1
check "no room for the chip" grep -qx \
  'vam-device-board: /tmp/small/vam-device-board[^/]*/chip.memory: cannot be written' /tmp/said
check "no folder for the chip" fails env TMPDIR=/tmp/none vam-device-board chip
TMPDIR=/tmp/small vam-device-board load "$board" >/tmp/said 2>&1
check "no room for the board" grep -q '^vam-device-board: /tmp/small/vam-device-board[^/]*/' /tmp/said
umount /tmp/small

# Another size than a chip's memory has.
printf x >/tmp/1
check "chip, one byte more" answers "0x00000000 4" 0x80000001 value:1,0 input:/tmp/1
check "chip, one byte more: damaged" answers "0xFFFF0007 4 4:04000000" 28 inout:/tmp/block
command_probe 0x80000000 value:1,0 >/dev/null
check "a large chip" answers "0x00000000 4" 0x80000001 value:1,0 input:/tmp/large
check "a large chip: described" said 0 \
  "Chip: its memory is damaged; it needs a recovery and an update" vam-device-board chip

# An image of two whole pieces, and one of more than two.
for size in 15848 20000; do
  sed "/^\[image\]/a payload_size = $size" "$board" >/tmp/large.toml
  check "an image with parts of $size bytes" said 0 "" vam-device-board load /tmp/large.toml
  start_node /tmp/large.toml
  check_run "large-$size" arm64 update-needed
  [ $size != 15848 ] || check "calls for two pieces" records \
    "InitializeContext OpenSession $(yes InvokeCommand | head -n 6 | xargs) CloseSession FinalizeContext" \
    0 load /tmp/large.toml
done
stop_node

# The chip stays where the board is loaded with it kept.
check "keep the chip" said 0 "" vam-device-board load --keep-chip "$board"
vam-device-board chip >/tmp/chip
check "the kept chip" grep -qx '  system part: 1.1,04/7,3 (20000 bytes)' /tmp/chip

# Storage that is full keeps what it has.
vam-device-board load "$board"
vam-device-board chip >/tmp/chip
storage=/var/lib/optee-client/data/tee
mount -o remount,size="$(df -k "$storage" | awk 'END { print $3 }')k" "$storage"
vamctl ak-provision --yes --hex 00 >/tmp/said 2>&1
check "full storage" grep -q '^result: 0xFFFF0000 ' /tmp/said
mount -o remount,size=50% "$storage"
check "the chip is as before" said 0 "$(cat /tmp/chip)" vam-device-board chip

# An object that was changed outside the secure world reads as empty. The first blocks of its file tell
# where the others are.
command_probe 0x80000000 value:2,0 >/dev/null
command_probe 0x80000001 value:2,0 input:/tmp/large >/dev/null
file=$storage/$(ls -S "$storage" | head -n 1)
dd if=/dev/zero of="$file" bs=4096 seek=6 count=$(($(stat -c %s "$file") / 4096 - 6)) conv=notrunc \
  2>/dev/null
check "a changed object" answers "0x00000000 4 0:" 0x80000002 value:2,30000 output:16
check "a changed object is gone" answers "0xFFFF0008 4" 0x80000001 value:2,0 input:/tmp/5

# Stops.
vam-device-board stop 1 panic
check "load forgets a stop" said 0 "" vam-device-board load "$board"
check "no stop" succeeds vamctl ak-provision --yes --hex 00
check "stop at the second write" answers "0x00000000 4" 0x80000007 value:2,2
check "the first write" succeeds vamctl ak-provision --yes --hex 00
vamctl ak-provision --yes --hex 00 >/tmp/said 2>&1
check "the second write" grep -q '^result: 0xFFFF3024 ' /tmp/said
check "stop at the next write, for the power" answers "0x00000000 4" 0x80000007 value:1,1
vamctl ak-provision --yes --hex 00 >/dev/null 2>&1 &
waiting=$!
sleep 2
check "waits for the power to be cut" kill -0 "$waiting"
finish
