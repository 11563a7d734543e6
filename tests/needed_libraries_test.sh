#!/bin/sh
# A program needs the libraries named here, the C++ runtime and libc, nothing else. Before version 2.34 of
# glibc a part of libc is libpthread.
# Usage: needed_libraries_test.sh PROGRAM [LIBRARY...]
set -eu
program=$1
shift
needed=$(readelf -d "$program" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | grep -vxF libpthread.so.0 |
  LC_ALL=C sort)
expected=$(printf '%s\n' libc.so.6 libgcc_s.so.1 libstdc++.so.6 "$@" | LC_ALL=C sort)
if [ "$needed" != "$expected" ]; then
  echo "needed:   $needed"
  echo "expected: $expected"
  exit 1
fi
