# What the jobs of the virtual device share, sourced by each. A job runs in BusyBox's shell, in the
# device, with the host's folder of this run at /share.
#
# A job that checks something ends with `finish`, which writes the marker: the number of checks and
# of failures. The host takes nothing else for a success.
#
# Nothing here has a time limit: on a loaded machine everything is slow. The host turns the device
# off when it stands still.

checks=0
failures=0

# Waits until the command succeeds.
# Usage: await COMMAND...
await() {
  until "$@" 2>/dev/null; do
    usleep 20000
  done
}

gone() {
  ! [ -e "$1" ]
}

ended() {
  ! kill -0 "$1"
}

start_driver() {
  insmod /lib/modules/tee.ko && insmod /lib/modules/optee.ko && await test -c /dev/teepriv0
}

start_supplicant() {
  tee-supplicant -d /dev/teepriv0 >/dev/null
}

# What tee-supplicant finds as the trusted application. The secure world keeps in memory what it
# loaded; only a panic makes it load anew.
trustedApplication=/opt/installed.ta

# Makes this device the board of a file: driver, supplicant, trusted application, chip and node.
# Boards go from the poorest secure world to the whole one: a driver that was loaded stays.
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
    bare) [ ! -e "$trustedApplication" ] || mv "$trustedApplication" /opt/removed.ta || return ;;
    whole)
      [ -e "$trustedApplication" ] || mv /opt/removed.ta "$trustedApplication" || return
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
  await node_settled
}

node_settled() {
  [ -c /dev/zelkshield ] || ended "$node"
}

stop_node() {
  [ -z "${node:-}" ] || kill "$node" 2>/dev/null
  node=
  await gone /dev/zelkshield
}

# Runs the update tool of an architecture as the boot of a plain init does, with no status file of an
# earlier run, and keeps what it left as /share/outcome/NAME.txt.
# Usage: run_tool ARCHITECTURE NAME
run_tool() {
  rm -f /tmp/VAM_OK /tmp/VAM_FAIL
  PATH=/opt/$1/sbin:/opt/$1/bin:$PATH /etc/init.d/vam-update start >/tmp/console
  keep_outcome /tmp/console $? "$2"
}

# Usage: keep_outcome CONSOLE STATUS NAME
keep_outcome() {
  mkdir -p /share/outcome
  outcome "$1" "$2" /tmp/VAM_OK /tmp/VAM_FAIL >"/share/outcome/$3.txt"
}

# Runs the update tool, and checks that it left what is expected under that name, and that vam-verdict
# answers a service accordingly.
# Usage: check_run NAME ARCHITECTURE EXPECTED
check_run() {
  run_tool "$2" "$1"
  check "$1" same_file "/share/expected/$3.txt" "/share/outcome/$1.txt"
  check "$1: verdict" same_verdict "/share/expected/$3.txt"
}

# Succeeds when vam-verdict, and the start script, say what the expectation means.
same_verdict() {
  if grep -q '^== /tmp/VAM_OK' "$1"; then
    verdict="0 verified"
  elif grep -qx '== Exit status: 255' "$1"; then
    verdict="1 update failed"
  else
    verdict="1 no[t ]*"
  fi
  /etc/init.d/vam-update status >/tmp/verdict
  case "$? $(cat /tmp/verdict)" in
    $verdict:*) ;;
    *)
      echo "expected $verdict; vam-verdict said: $(cat /tmp/verdict)"
      return 1
      ;;
  esac
}

# Counts a check and its outcome, and tells both on the device's console.
# Usage: check NAME COMMAND...
check() {
  name=$1
  shift
  checks=$((checks + 1))
  if "$@"; then
    echo "passed: $name"
  else
    failures=$((failures + 1))
    echo "FAILED: $name"
  fi
}

# Succeeds when the files are the same; else shows how they differ.
same_file() {
  cmp -s "$1" "$2" || {
    diff "$1" "$2"
    return 1
  }
}

finish() {
  stop_node
  sync
  echo "$checks checks, $failures failures" >/share/marker
}
