#!/usr/bin/env bash
# Completes command lines in a bash and in a zsh that run on a terminal, with the scripts that the build
# made of the programs' parsers.
# Usage: completion_test.sh SOURCE BUILD
set -euo pipefail
build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/place/folder"
touch "$work/place/my board.toml" "$work/place/record.bin"

# The completion of vam-verdict offers what its help names, no more and no less.
diff <("$build/bin/vam-verdict" --help | grep -oE -- '--[a-z]+' | sort -u) \
  <(sed -n '/_options() {/,/^}/p' "$build/share/bash-completion/completions/vam-verdict" |
    grep -oE -- '--[a-z]+' | sort -u)

# zsh shows what each option and command is for.
for script in "$build"/share/zsh/vendor-completions/_vam*; do
  if grep -nE "\[\]|^ *'[a-z-]+:'" "$script"; then
    echo "$script: without a description"
    exit 1
  fi
done

PATH=$build/bin:$PATH python3 - "$build/share" "$work" <<'PYTHON'
import os
import pty
import select
import shlex
import subprocess
import sys
import time

share, work = sys.argv[1:]
place = work + "/place"

# What is typed, and the words that the line has after the last tabulator key.
COMMON = [
    ("vamctl upd\t", ["vamctl", "update-fw"]),
    ("vamctl ver\t--j\t", ["vamctl", "verdict", "--json"]),
    ("vamctl update-fw im\t", ["vamctl", "update-fw", "image"]),
    ("vamctl ak-provision rec\t", ["vamctl", "ak-provision", "record.bin"]),
    ("vamctl get-hack-info --si\t", ["vamctl", "get-hack-info", "--size"]),
    ("vam-board sh\t--bo\t", ["vam-board", "show", "--board"]),
    ("vam-board show --board update-n\t", ["vam-board", "show", "--board", "update-needed"]),
    ("vam-board show --board my\t", ["vam-board", "show", "--board", "my board.toml"]),
    ("vam-board check update-n\t", ["vam-board", "check", "update-needed"]),
    ("vam-board check no-vam update-n\t", ["vam-board", "check", "no-vam", "update-needed"]),
    ("vam-board check my\t", ["vam-board", "check", "my board.toml"]),
    ("vam-board run --board=update-n\t", ["vam-board", "run", "--board=update-needed"]),
    ("vam-board run --board no-vam --state f\t",
     ["vam-board", "run", "--board", "no-vam", "--state", "folder/"]),
    ("vam-board run --board no-vam -- vamc\t",
     ["vam-board", "run", "--board", "no-vam", "--", "vamctl"]),
    ("vam-board run --board no-vam -- cat rec\t",
     ["vam-board", "run", "--board", "no-vam", "--", "cat", "record.bin"]),
    ("vam-image make --app-part rec\t", ["vam-image", "make", "--app-part", "record.bin"]),
    ("vam-image ma\t--system-p\t", ["vam-image", "make", "--system-part"]),
    ("vam-image show rec\t", ["vam-image", "show", "record.bin"]),
    ("vam-verdict --wa\t", ["vam-verdict", "--wait"]),
    ("vam-verdict ru\t-- vamc\t", ["vam-verdict", "run", "--", "vamctl"]),
    ("vam-verdict run -- cat rec\t", ["vam-verdict", "run", "--", "cat", "record.bin"]),
    ("vam-verdict run --jo\t", ["vam-verdict", "run", "--journal"]),
    ("vam-verdict --folder f\t", ["vam-verdict", "--folder", "folder/"]),
]
SHELLS = {
    "bash": (
        ["bash", "--norc", "--noprofile", "-i"],
        "bind 'set enable-bracketed-paste off'; bind 'set bell-style none'; PS1='ready$ '\n"
        + "".join(
            f"source {shlex.quote(share)}/bash-completion/completions/{program}\n"
            for program in ("vamctl", "vam-board", "vam-image", "vam-verdict")
        ),
    ),
    "zsh": (
        ["zsh", "-f", "-i"],
        f"fpath=({shlex.quote(share)}/zsh/vendor-completions $fpath); autoload -Uz compinit; "
        f"compinit -u -d {work}/dump; unsetopt beep auto_remove_slash prompt_cr prompt_sp; PS1='ready$ '\n",
    ),
}


class Shell:
    """A shell on a terminal of its own."""

    def __init__(self, command, start):
        self.master, slave = pty.openpty()
        environment = dict(os.environ, TERM="dumb", LC_ALL="C.UTF-8", HOME=work)
        environment.pop("INPUTRC", None)
        self.process = subprocess.Popen(
            command, stdin=slave, stdout=slave, stderr=slave, cwd=place, env=environment,
            start_new_session=True,
        )
        os.close(slave)
        self.type(start + "echo 'sta''rted'\n")
        self.read_up_to(b"started\r\n")

    def type(self, keys):
        os.write(self.master, keys.encode())

    def read_up_to(self, end):
        """Returns what is written up to `end`; fails when nothing comes for a minute."""
        seen = b""
        last = time.monotonic()
        while end not in seen:
            if select.select([self.master], [], [], 1)[0]:
                seen += os.read(self.master, 65536)
                last = time.monotonic()
            elif time.monotonic() - last > 60:
                raise SystemExit(f"nothing more comes, after {seen!r}")
        return seen

    def words(self, keys):
        """Completes what is typed and returns the words of the line."""
        # The shell reads the line and hands its words to printf instead.
        self.type(keys + "\x01printf '<%s>' \x05; echo 'en''d'\n")
        shown = self.read_up_to(b"end\r\n").decode()
        line = shown[shown.rindex("<" + keys.split()[0] + ">"):]
        return line[1:line.rindex(">")].split("><")

    def close(self):
        self.type("exit\n")
        self.process.wait(60)
        os.close(self.master)


failed = 0
for name, (command, start) in SHELLS.items():
    shell = Shell(command, start)
    for keys, expected in COMMON:
        words = shell.words(keys)
        if words != expected:
            print(f"{name}: {keys!r} became {words}, not {expected}")
            failed = 1
    shell.close()
sys.exit(failed)
PYTHON
