#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, ASan + UBSan) and runs them.
#   tools/fuzz.sh [seconds per target] [jobs at once] [target ...]
# Defaults: 600 s, 2 at once, the targets of all messages. Each target starts
# from its seed corpus in fuzz/corpus/<target> and grows a working corpus in
# build-fuzz/corpus/<target>; findings land in build-fuzz/findings/<target>.
# A summary line per target (executions, result) goes to build-fuzz/fuzz.log.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
secs=${1:-600}
jobs=${2:-2}
shift $(( $# > 2 ? 2 : $# ))
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  # One target per message of the list in the public header.
  mapfile -t targets < <(sed -n 's/^   X(\([A-Z]*\),.*/fuzz_\1/p' "$root/api/itscodec.h" | tr 'A-Z' 'a-z')
fi

dir=$root/build-fuzz
cmake -S "$root" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_CXX_COMPILER=clang++ -DITSCODEC_FUZZ=ON -DITSCODEC_TESTS=OFF -DITSCODEC_BENCH=OFF >/dev/null
cmake --build "$dir" -j "$(nproc)" --target "${targets[@]}"

export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1:suppressions=$root/tools/ubsan.supp
export ASAN_OPTIONS=detect_leaks=1:alloc_dealloc_mismatch=0
log=$dir/fuzz.log
: >"$log"

run_one() {
  local t=$1
  mkdir -p "$dir/corpus/$t" "$dir/findings/$t"
  local out=$dir/findings/$t/run.txt
  local rc=0
  "$dir/fuzz/$t" -max_total_time="$secs" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="$dir/findings/$t/" "$dir/corpus/$t" "$root/fuzz/corpus/$t" >"$out" 2>&1 || rc=$?
  local execs
  execs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$out" | grep -o '[0-9]*$' || echo "?")
  local verdict="clean"
  [ "$rc" -ne 0 ] && verdict="FINDING (exit $rc, see $out)"
  echo "$t: ${secs}s, $execs executions, $verdict" | tee -a "$log"
}

running=0
for t in "${targets[@]}"; do
  run_one "$t" &
  running=$((running + 1))
  if [ "$running" -ge "$jobs" ]; then
    wait -n || true
    running=$((running - 1))
  fi
done
wait
! grep -q FINDING "$log"
