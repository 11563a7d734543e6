#!/bin/sh
# A program asks for nothing of its environment: neither for a variable nor for all of them.
# Usage: no_environment_test.sh PROGRAM PROGRAM-THAT-DOES
set -eu
asks() {
  nm --dynamic --undefined-only "$1" | grep -E ' (_*environ|(secure_)?getenv)(@|$)'
}
asks "$2" >/dev/null || { echo "$2 is known to ask, and is not found out" && exit 1; }
! asks "$1"
