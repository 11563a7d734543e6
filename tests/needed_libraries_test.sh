#!/bin/sh
# The update tool links libteec, the marshalling library, the C++ runtime and libc, nothing else.
# Usage: needed_libraries_test.sh TOOL
set -eu
needed=$(readelf -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | sort | tr '\n' ' ')
expected="libc.so.6 libgcc_s.so.1 libnolv_utility_nwd.so libstdc++.so.6 libteec.so.1 "
if [ "$needed" != "$expected" ]; then
  echo "needed:   $needed"
  echo "expected: $expected"
  exit 1
fi
