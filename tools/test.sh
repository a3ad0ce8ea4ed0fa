#!/usr/bin/env bash
# Builds and runs the whole test suite.
#   tools/test.sh            regular build in build/
#   tools/test.sh --sanitize AddressSanitizer + UndefinedBehaviorSanitizer in build-asan/
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/tools/deps.sh"
# CI builds treat warnings as errors; a user's build only shows them.
werror=-DITSCODEC_WERROR=OFF
[ "${CI:-}" = "true" ] && werror=-DITSCODEC_WERROR=ON
if [ "${1:-}" = "--sanitize" ]; then
  dir=build-asan
  "$root/tools/build.sh" "$dir" -DCMAKE_BUILD_TYPE=Debug -DITSCODEC_SANITIZE=ON -DITSCODEC_BENCH=OFF "$werror"
  export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
  export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1:suppressions=$root/tools/ubsan.supp
else
  dir=build
  "$root/tools/build.sh" "$dir" "$werror"
fi
cd "$root/$dir"
ctest --output-on-failure -j "$(nproc)"
