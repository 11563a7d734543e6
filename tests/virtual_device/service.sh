# The boot service with systemd as the first process: does what service_table has for the boot that
# /share/boot names, and compares. More than the table can say of a case is checked beside it.
. /bin/device.sh

boot=$(cat /share/boot)
dependents="verified.service unverified.service"

# systemd runs the node's server, and ends it.
stop_node() { :; }

# property UNIT NAME: what systemd says of the unit.
property() {
  systemctl show --value --property="$2" "$1"
}

restart() {
  # shellcheck disable=SC2086
  systemctl restart vam-update.service $dependents >/dev/null 2>&1
}

# load BOARD: makes the device that board. What is loaded already stays.
loaded=
load() {
  [ "$loaded" != "$1" ] || return 0
  loaded=$1
  cp "/share/boards/$1.toml" /share/board.toml
  systemctl restart board-node.service
  await test -c /dev/zelkshield
  vam-device-board load /share/board.toml
}

# The commands of the table.

boot() {
  case $boot in
    poor) ;;
    whole) supplicant_was_first tee-supplicant.service ;;
    old_clock)
      supplicant_was_first tee-supplicant@teepriv0.service
      check "$boot: $row: the clock is old" test "$(date -u +%Y)" = 2023
      check "$boot: $row: yesterday's verdict is gone" gone /tmp/VAM_OK
      check "$boot: $row: the history stays" grep -q '^vam_updateFW failed:  7 $' /tmp/VAM_FAIL
      ;;
    after_cut)
      supplicant_was_first tee-supplicant.service
      check "$boot: $row: the last boot's record is refused" grep -q 'it is of another boot' \
        /run/verdict-before-run
      ;;
  esac
  unknown=3
  [ "$boot" != after_cut ] || unknown=4
  check "$boot: $row: no verdict before the run" test "$(tail -n 1 /run/verdict-before-run)" = $unknown
}

# The run began when the supplicant had been started, which took its time.
supplicant_was_first() {
  check "$boot: $row: after $1" test "$(property vam-update.service ExecMainStartTimestampMonotonic)" -gt \
    "$(property "$1" ActiveEnterTimestampMonotonic)"
}

start_without_driver() {
  systemctl start board-node.service
  await test -c /dev/zelkshield
  restart
}

start_without_supplicant() {
  start_driver
  take_supplicant
  limits=/run/systemd/system/vam-update.service.d
  mkdir -p "$limits"
  printf '[Service]\nTimeoutStartSec=20s\n' >"$limits/limit.conf"
  systemctl daemon-reload
  restart
  rm -r "$limits"
  systemctl daemon-reload
}

# Ends the supplicant when the secure world has nothing loaded, so that the next run needs it.
take_supplicant() {
  systemctl start tee-supplicant.service
  loaded=
  load update-needed
  vam-device-board stop 1 panic
  vamctl ak-provision --hex 00 >/dev/null 2>&1
  systemctl stop tee-supplicant.service
}

# Begins a run that waits for the supplicant.
restart_without_supplicant() {
  take_supplicant
  restart &
  restarting=$!
  await supplicant_is_missed
}

supplicant_is_missed() {
  grep -q optee_supp_thrd_req /proc/[0-9]*/stack
}

# The driver lets go of a tool that SIGKILL ends. Any other signal comes when the supplicant has answered.
kill_tool() {
  restart_without_supplicant
  kill "-$1" "$(pidof vam-update)"
  [ "$1" = KILL ] || systemctl start tee-supplicant.service
  wait "$restarting"
}

start_supplicant_late() {
  restart_without_supplicant
  systemctl start tee-supplicant.service
  wait "$restarting"
}

restart_on() {
  load "$1"
  restart
}

# The tool makes a call that the service may not make, and goes on unless that killed it.
forbid_a_call() {
  load update-needed
  overrides=/run/systemd/system/vam-update.service.d
  mkdir -p "$overrides"
  cat >/run/tool <<'TOOL'
chroot / true 2>/run/vam-update/chroot
[ $? -ne 159 ] || exit 159
exec vam-update
TOOL
  cat >"$overrides/tool.conf" <<'UNIT'
[Service]
ExecStart=
ExecStart=/usr/bin/vam-verdict run --journal -- /bin/sh /run/tool
UNIT
  systemctl daemon-reload
  restart
  check "$boot: $row: refused" grep -q 'Operation not permitted' /run/vam-update/chroot
  rm -r "$overrides"
  systemctl daemon-reload
}

as_nobody() {
  /usr/bin/setpriv --reuid=65534 --regid=65534 --clear-groups sh -c "$1" sh "$2"
}

# put KIND PROTECTED BOARD: nobody puts something of that kind in the place of both status files.
put() {
  load "$3"
  for sysctl in symlinks regular fifos hardlinks; do
    echo "$2" >"/proc/sys/fs/protected_$sysctl" 2>/dev/null || echo 1 >"/proc/sys/fs/protected_$sysctl"
  done
  rm -rf /tmp/*
  for file in /tmp/VAM_OK /tmp/VAM_FAIL; do
    echo precious >"$file.victim"
    case $1 in
      file) as_nobody 'printf "Updated FW version: 9.9 \n" >"$1"' $file ;;
      symlink) as_nobody 'ln -s "$1.victim" "$1"' $file ;;
      folder) as_nobody 'mkdir "$1"' $file ;;
      pipe) as_nobody 'mkfifo -m 666 "$1"' $file ;;
      # Where nobody may not, the link is from a time when he might.
      hard_link) as_nobody 'ln "$1.victim" "$1"' $file 2>/dev/null || ln "$file.victim" "$file" ;;
    esac
  done
  restart
  check "$boot: $row: nothing of root's changed" test "$(cat /tmp/*.victim | xargs)" = "precious precious"
  check "$boot: $row: both moved" test \
    "$(vam-verdict --json | grep -o '"moved_to":"/tmp/VAM_[A-Z]*.moved-' | wc -l)" = 2
}

fill_tmp() {
  load update-needed
  rm -rf /tmp/*
  mount -o remount,size=64k /tmp
  dd if=/dev/zero of=/tmp/filler bs=4k 2>/dev/null
  restart
  mount -o remount,size=50% /tmp
  rm -rf /tmp/*
}

make_tmp_read_only() {
  load update-needed
  mount -o remount,ro /tmp
  restart
  mount -o remount,rw /tmp
}

recover() {
  vamctl force-recovery --yes >/dev/null 2>&1
  restart
}

# Prints the columns of the table as they are now.
state() {
  # shellcheck disable=SC2086
  systemctl show --property=Id,ActiveState,Result,ExecMainStatus vam-update.service $dependents |
    awk -F = '
      function unit() {
        state = of["ActiveState"] " " of["Result"]
        if (of["Id"] == "vam-update.service") printf "%s %s", state, of["ExecMainStatus"]
        else printf "|%s", state == "active success" ? "started" : \
          state == "inactive exec-condition" ? "skipped" : state
      }
      NF == 0 { unit() }
      { of[$1] = $2 }
      END { unit() }'
  outcome=$(vam-verdict --json | sed -n 's/.*"outcome":"\([^"]*\)".*/\1/p')
  vam-verdict --quiet
  echo "|$outcome|$?"
}

# is_state EXPECTED: compares, and shows both when they differ.
is_state() {
  actual=$(state)
  [ "$actual" = "$1" ] || {
    printf 'expected: %s\nactual:   %s\n' "$1" "$actual"
    return 1
  }
}

grep "^$boot " /share/table | sed -e 's/ *| */|/g' -e 's/ *$//' >/run/table
while IFS='|' read -r _ row expected; do
  # shellcheck disable=SC2086
  $row </dev/null
  check "$boot: $row" is_state "$expected"
done </run/table

if [ "$boot" = old_clock ]; then
  cp /run/vam-update/verdict.json /share
  load update-needed
  vam-device-board stop 2 power
  finish
  systemctl restart vam-update.service
fi
finish
