#!/usr/bin/env bash
# Builds everything for one ARM architecture and checks the update tool and its recorder as they
# would go into an image: their size, their hardening, and the libraries that they ask for. Runs a
# program that links the installed library, in an emulator, on a file whose size and one whose time
# exceeds 32 bits, and for armhf another on the longest message of a status file. Then makes the architecture's Debian packages and has lintian judge them.
# Usage: arm_test.sh SOURCE IN-PRIVATE-TMP PRESET COMPILER INTERPRETER EMULATOR FLAG...
# Every compile line must have the flags.
set -euo pipefail
source=$1 in_private_tmp=$2 preset=$3 compiler=$4 interpreter=$5 emulator=$6
shift 6
build=$source/build/$preset
file_limit=40960
declare -A memory_limit=([arm64]=22000 [armhf]=16000)

mkdir -p "$build"
cd "$source"
{ cmake --preset "$preset" && cmake --build --preset "$preset" --parallel 2; } >"$build/log" 2>&1 || {
  tail -n 60 "$build/log"
  exit 1
}

"$source/tests/compile_lines_test.sh" "$source" "$build" "$@"

# at_most LIMIT NUMBER WHAT
at_most() {
  echo "$preset: $3 $2 bytes"
  [ "$2" -le "$1" ] || { echo "more than $1" && exit 1; }
}
# expects NAME PATTERN, refuses NAME PATTERN: the program's ELF has, or has not, a line that matches.
expects() { grep -qE -- "$2" "$build/readelf" || { echo "$program: no $1" && exit 1; }; }
refuses() { ! grep -E -- "$2" "$build/readelf" || { echo "$program: $1" && exit 1; }; }

# check PROGRAM LIBRARY...: the program is small, hardened, and needs the C++ runtime, libc, these
# libraries and no other.
check() {
  local program=$1 needed
  shift
  at_most "$file_limit" "$(stat --format %s "$build/$program")" "$program is a file of"
  readelf --wide --file-header --program-headers --section-headers --dynamic --dyn-syms \
    "$build/$program" >"$build/readelf"
  expects "position-independent code" 'Type: +DYN .*Position-Independent Executable'
  expects "$interpreter" "interpreter: /lib/$interpreter\]"
  expects "relocations made read-only" 'GNU_RELRO'
  expects "binding at start" '\(FLAGS\) +BIND_NOW'
  expects "stack protector" '__stack_chk_fail'
  refuses "an executable stack" 'GNU_STACK.* RWE'
  refuses "symbols that strip removes" '\.symtab'
  needed=$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' "$build/readelf" | LC_ALL=C sort | xargs)
  # What never unwinds leaves libgcc_s to the rest of the C++ runtime.
  [ "${needed/ libgcc_s.so.1/}" = "$*" ] || { echo "$program needs: $needed" && exit 1; }
}
check sbin/vam-update "$interpreter" libc.so.6 libnolv_utility_nwd.so libstdc++.so.6 libteec.so.1
at_most "${memory_limit[$preset]}" "$(size "$build/sbin/vam-update" | awk 'NR == 2 { print $4 }')" \
  "vam-update takes in memory"
check bin/vam-verdict "$interpreter" libc.so.6 libstdc++.so.6

# The recorder: the program, and the library that comes into every program that it records.
recorder=$build/lib/vam-recorder/libvam_record.so
files=$(($(stat --format %s "$build/bin/vam-record") + $(stat --format %s "$recorder")))
at_most 65536 "$files" "vam-record and its library are files of"
at_most 65536 "$(size "$build/bin/vam-record" "$recorder" | awk '{ sum += $4 } END { print sum }')" \
  "vam-record and its library take in memory"
readelf --wide --section-headers --program-headers --dynamic --dyn-syms "$recorder" >"$build/readelf"
program=libvam_record.so
# On 64-bit ARM its padding would be a quarter of both files.
[ "$preset" = arm64 ] || expects "relocations made read-only" 'GNU_RELRO'
expects "binding at start" '\(FLAGS\) +BIND_NOW'
expects "stack protector" '__stack_chk_fail'
refuses "an executable stack" 'GNU_STACK.* RWE'
refuses "symbols that strip removes" '\.symtab'
refuses "another library than the C and C++ runtime's" \
  'NEEDED.*\[(lib[^cgs]|libc[^.]|libg[^c]|libs[^t])'
if [ "$preset" = arm64 ]; then
  # Kernels have pages of 4, 16 or 64 KiB; small builds serve the first two.
  refuses "segments that a page of 16 KiB does not take" ' LOAD .* 0x1000$'
fi

# The update tool calls nothing that FORTIFY guards. vamctl does, and is built with the same flags.
readelf --wide --dyn-syms "$build/bin/vamctl" >"$build/readelf"
grep -qE '__v?(f|sn)printf_chk' "$build/readelf" || { echo "vamctl: no FORTIFY" && exit 1; }

rm -rf "$build/installed"
cmake --install "$build" --prefix "$build/installed" --component development >"$build/install.log"
"$compiler" -std=c++17 -static "$source/tests/arm/file_exists.cc" -I "$build/installed/include" \
  "$(find "$build/installed" -name libvam_report.a)" -o "$build/file_exists"
# The file system of this /tmp holds both.
PROGRAM=$build/file_exists EMULATOR=$emulator "$in_private_tmp" bash -euc '
  cd /tmp
  truncate --size 3G large
  touch --date 2100-01-01T00:00Z late
  stat --format "%n: %s bytes, of %Y" large late | sed "/^large/s/,.*//"
  "$EMULATOR" "$PROGRAM" large late none' >"$build/file_exists.out"
diff "$build/file_exists.out" - <<'TEXT'
large: 3221225472 bytes
late: 0 bytes, of 4102444800
large: exists
late: exists
none: missing
TEXT

# Nothing stops what a message too long for its entry throws.
if [ "$preset" = armhf ]; then
  "$compiler" -std=c++17 -O2 -static "$source/tests/arm/longest_message.cc" \
    -I "$build/installed/include" "$(find "$build/installed" -name libvam_report.a)" \
    -o "$build/longest_message"
  PROGRAM=$build/longest_message EMULATOR=$emulator "$in_private_tmp" \
    bash -euc '"$EMULATOR" "$PROGRAM"' >"$build/longest_message.out"
  diff "$build/longest_message.out" - <<'TEXT'
verdict: length error
entry: length error
entry with a record: length error
TEXT
fi

rm -rf "$build/packages"
cpack --config "$build/CPackConfig.cmake" -B "$build/packages" >"$build/cpack.log" 2>&1 || {
  cat "$build/cpack.log"
  exit 1
}
for name in libvam-dev vam-recorder vam-simulator vam-update vamctl; do
  # The folder in which CPack stages it has one of the same name.
  package=$(find "$build/packages" -maxdepth 1 -name "${name}_*.deb")
  [ "$(dpkg-deb --field "$package" Architecture)" = "$preset" ] || {
    echo "no $name of $preset"
    exit 1
  }
done
needs=$(dpkg-deb --field "$build"/packages/vam-update_*.deb Depends | sed 's/ ([^)]*)//g')
grep -qxE 'vam-simulator, libc6(, libgcc-s1)?, libstdc\+\+6, libteec1' <<<"$needs" || {
  echo "vam-update depends on $needs"
  exit 1
}
dpkg-deb --contents "$build"/packages/vam-update_*.deb >"$build/contents"
for file in usr/sbin/vam-update usr/bin/vam-verdict usr/lib/systemd/system/vam-update.service \
  usr/share/man/man8/vam-update.8.gz usr/share/man/man1/vam-verdict.1.gz; do
  grep -qE " \./$file\$" "$build/contents" || { echo "vam-update has no /$file" && exit 1; }
done
lintian --allow-root --fail-on error "$build"/packages/*.deb >"$build/lintian" 2>&1 || {
  cat "$build/lintian"
  exit 1
}
