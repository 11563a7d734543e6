#!/usr/bin/env bash
# Builds and runs what calls libcrypto with an OpenSSL of the 1.1 series, and checks that none of it
# needs a later interface than that of the oldest release that the build takes.
# Usage: libcrypto_test.sh SOURCE WORK COMPILER
set -euo pipefail
source=$1 work=$2 compiler=$3
build=$work/build packages=$work/packages
triplet=$("$compiler" -print-multiarch)

# Debian 11 has the last of the series. Each of its symbols says with which release it came.
"$source/scripts/foreign-packages" "$(dpkg --print-architecture)" bullseye "$packages" \
  libssl-dev libssl1.1
libraries=$packages/usr/lib/$triplet

programs=(vam_randomness_and_hashing_test vam_signatures_and_key_paths_test
  vam_text_conversions_test vam_firmware_image_file_test vam_fuzz_der_signature)
mkdir -p "$build"
{
  cmake -S "$source" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_COMPILER="$compiler" -DOPENSSL_ROOT_DIR="$packages/usr" \
    -DOPENSSL_CRYPTO_LIBRARY="$libraries/libcrypto.so" \
    -DCMAKE_CXX_FLAGS="-isystem '$packages/usr/include/$triplet'" &&
    cmake --build "$build" --parallel 2 --target "${programs[@]}"
} >"$work/build.log" 2>&1 || { tail -n 60 "$work/build.log" && exit 1; }

# Left out: the benchmarks, and the tests of the model, which call SHA256 alone.
failed=0
cd "$source"
for file in $(grep -rl --include='*.cc' '#include <openssl/' fuzz simulator/state util); do
  if ! find "$build" -name "${file##*/}.o" | grep -q .; then
    echo "$file calls libcrypto and is not built here"
    failed=1
  fi
done

oldest=$(sed -n 's/^Requires: libcrypto >= //p' "$build/vam-util.pc")
for program in "${programs[@]}"; do
  file=$(find "$build" -name "$program" -type f)
  objdump --private-headers "$file" >"$work/headers"
  needed=$(sed -n '/required from libcrypto/,/required from/s/.* \(OPENSSL_[^ ]*\)$/\1/p' \
    "$work/headers" | sort -u | xargs)
  if [ "$needed" != "OPENSSL_${oldest//./_}" ]; then
    echo "$program needs '$needed' of libcrypto; the build says that it takes OpenSSL $oldest"
    failed=1
  fi
done
cd "$build"
LD_LIBRARY_PATH=$libraries ctest --output-on-failure --no-tests=error \
  --tests-regex "^($(IFS='|' && echo "${programs[*]}"))\$" >"$work/ctest.log" || {
  cat "$work/ctest.log"
  failed=1
}
grep 'tests passed' "$work/ctest.log"
exit "$failed"
