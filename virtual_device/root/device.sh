# What the jobs of the virtual device share, sourced by each. A job runs in BusyBox's shell, in the
# device, with the host's folder of this run at /share.
#
# A job that checks something ends with `finish`, which writes the marker: the number of checks and
# of failures. The host takes nothing else for a success.

checks=0
failures=0

# Runs the command until it succeeds, for at most so many tenths of a second.
# Usage: await TENTHS COMMAND...
await() {
  tenths=$1
  shift
  until "$@" 2>/dev/null; do
    tenths=$((tenths - 1))
    [ "$tenths" -gt 0 ] || return 1
    usleep 100000
  done
}

gone() {
  ! [ -e "$1" ]
}

ended() {
  ! kill -0 "$1"
}

start_driver() {
  insmod /lib/modules/tee.ko && insmod /lib/modules/optee.ko && await 100 test -c /dev/teepriv0
}

start_supplicant() {
  tee-supplicant -d /dev/teepriv0 >/dev/null
}

stop_supplicant() {
  supplicant=$(pidof tee-supplicant) && kill "$supplicant" && await 100 ended "$supplicant"
}

# The trusted application stays in the secure world's memory once it was loaded, and what it needs
# to be loaded anew is a panic.
trustedApplication=/lib/optee_armtz/58d50001-1105-000f-9799-7f5af3f9c7bb.ta

# Makes this device the board of a file: driver, supplicant, trusted application, chip and node.
# What is there is not taken away again: boards go from the poorest secure world to the whole one.
set_up_board() {
  world=$(vam-device-board world "$1") || return
  case $world in
    absent)
      [ ! -c /dev/teepriv0 ] || return
      ;;
    bare | whole)
      [ -c /dev/teepriv0 ] || start_driver || return
      pidof tee-supplicant >/dev/null || start_supplicant || return
      ;;
  esac
  case $world in
    bare) [ ! -e "$trustedApplication" ] || mv "$trustedApplication" /opt/installed.ta || return ;;
    whole)
      [ -e "$trustedApplication" ] || mv /opt/installed.ta "$trustedApplication" || return
      vam-device-board load "$1" || return
      ;;
  esac
  start_node "$1"
}

# Makes the device node behave as the board file says.
start_node() {
  stop_node
  vam-device-board node "$1" &
  node=$!
  # Ends at once where the board has no node.
  await 100 node_settled
}

node_settled() {
  [ -c /dev/zelkshield ] || ended "$node"
}

stop_node() {
  [ -z "${node:-}" ] || kill "$node" 2>/dev/null
  node=
  await 100 gone /dev/zelkshield
}

# Runs the update tool of an architecture as the boot service does, with nothing left of earlier runs, and
# keeps what it leaves in a folder: console, status, VAM_OK and VAM_FAIL (the last two only when
# they exist).
# Usage: run_tool ARCHITECTURE FOLDER
run_tool() {
  mkdir -p "$2"
  rm -f /tmp/VAM_OK /tmp/VAM_FAIL
  timeout -s KILL 60 "/opt/$1/sbin/vam-update" >"$2/console"
  echo $? >"$2/status"
  for file in VAM_OK VAM_FAIL; do
    [ ! -e "/tmp/$file" ] || cp "/tmp/$file" "$2/$file"
  done
}

# Counts a check and its outcome; a failed one is named on the device's console.
# Usage: check NAME COMMAND...
check() {
  name=$1
  shift
  checks=$((checks + 1))
  "$@" || {
    failures=$((failures + 1))
    echo "FAILED: $name"
  }
}

# Succeeds when both files are the same or both do not exist; else shows how they differ.
same_file() {
  [ -e "$1" ] || [ -e "$2" ] || return 0
  for file in "$1" "$2"; do
    [ -e "$file" ] || {
      echo "$file is missing"
      return 1
    }
  done
  cmp -s "$1" "$2" || {
    diff "$1" "$2"
    return 1
  }
}

# Four checks: that a run left what is expected, file by file.
# Usage: check_outcome NAME EXPECTED_FOLDER FOLDER
check_outcome() {
  for file in console VAM_OK VAM_FAIL status; do
    check "$1: $file" same_file "$2/$file" "$3/$file"
  done
}

finish() {
  stop_node
  sync
  echo "$checks checks, $failures failures" >/share/marker
}
