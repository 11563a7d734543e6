#!/usr/bin/env bash
# How the virtual device's host side waits for it, with a stand-in for QEMU: by progress and not by
# time. And whose a run's folder is.
# Usage: virtual_device_boot_test.sh SOURCE WORK
set -euo pipefail
source=$1 work=$2
rm -rf "$work"
mkdir -p "$work/bin"
cd "$work"
export VAM_STANDSTILL_SECONDS=5

# The stand-in runs the folder's own script, in that folder.
cat >bin/qemu-system-aarch64 <<'SCRIPT'
#!/usr/bin/env bash
. ./device
SCRIPT
chmod +x bin/qemu-system-aarch64

# start CASE ARGUMENT... : boots the device that standard input describes, beside the others.
start() {
  mkdir "$1"
  cat >"$1/device"
  (
    status=0
    PATH=$work/bin:$PATH "$source/virtual_device/boot" "$@" >"$1.said" 2>&1 || status=$?
    echo "$status" >"$1.status"
  ) &
}

# ended CASE STATUS TEXT: how the boot of that case must have ended, and what it said.
ended() {
  [ "$(cat "$1.status")" = "$2" ] || { echo "$1: status $(cat "$1.status"), not $2" && exit 1; }
  [ "$(cat "$1.said")" = "$3" ] || { echo "$1 said: $(cat "$1.said")" && exit 1; }
}

start log-that-grows <<<'for i in {1..3}; do echo line >>normal-world.log; sleep 3; done'
start trace-that-grows <<<'for i in {1..16}; do echo line >>secure-world.log; sleep 0.5; done'
start files-that-come <<<'for i in {1..16}; do touch "file$i"; sleep 0.5; done'
start standstill <<<'echo $$ >pid; while sleep 0.5; do touch pid; done'
start failure <<<'exit 3'
start cut --cut-at 'it is time' <<<'sleep 1; echo "it is time" >secure-world.log; exec sleep 3600'
start cut-too-late --cut-at 'it is time' <<<'echo "it was time" >secure-world.log'
wait

ended log-that-grows 0 ""
ended trace-that-grows 0 ""
ended files-that-come 0 ""
ended standstill 1 "virtual_device/boot: the device stands still for 5 s"
# Killed, it is gone once its next parent has seen it.
while kill -0 "$(cat standstill/pid)" 2>/dev/null; do sleep 0.1; done
ended failure 3 ""
ended cut 0 ""
ended cut-too-late 1 "virtual_device/boot: the device went off by itself before the power was cut"

# The device goes with a script that is killed.
mkdir killed
echo 'echo $$ >pid; exec sleep 3600' >killed/device
PATH=$work/bin:$PATH "$source/virtual_device/boot" killed &
boot=$!
until [ -s killed/pid ]; do sleep 0.1; done
kill -KILL "$boot"
wait "$boot" 2>/dev/null || true
while kill -0 "$(cat killed/pid)" 2>/dev/null; do sleep 0.1; done

# A run's folder is its own as long as the run lasts. The next run of that name removes it.
mkdir 'a checkout'
cd 'a checkout'
. "$source/virtual_device/run-folder.sh"
new_run_folder test
first=$folder
touch "$first/file"
second=$(new_run_folder test && echo "$folder")
[ -e "$first/file" ] || { echo "the folder of a run that lasts was removed" && exit 1; }
[ -d "$second" ] && [ "$second" != "$first" ] || { echo "two runs share a folder" && exit 1; }
third=$(new_run_folder test && echo "$folder")
[ -e "$first/file" ] || { echo "the folder of a run that lasts was removed" && exit 1; }
[ ! -e "$second" ] || { echo "the folder of a run that ended was kept" && exit 1; }
[ -d "$third" ] || { echo "the third run has no folder" && exit 1; }
other=$(new_run_folder other && echo "$folder")
[ -d "$third" ] && [ -d "$other" ] || { echo "a run of another name was removed" && exit 1; }
