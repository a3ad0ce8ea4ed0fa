#!/usr/bin/env bash
# The converter's speed: a file of CAM hex lines (100,000 by default) to JSON
# Lines with --jobs 1 and --jobs 2, beside the library's own per-call rate on
# the same messages on one and two threads (build/tools/convspeed_lib: the
# bytes decoded up front, then etsi_CAM_to_json alone). Each figure is the
# best of three runs; the output goes to /dev/null. Other work on the machine
# shows in the figures, so the load average is printed with them.
#   tools/convspeed.sh [build-dir] [count]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
count=${2:-100000}
conv=$build/tools/itsconv
lib=$build/tools/convspeed_lib
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The messages: the captured CAM and the CAMs of two JSON samples, in turn.
{
  cat "$root/tests/data/cam_captured_protocol1.uper.hex"
  "$conv" CAM from-json "$root/bench/data/cam.json" "$root/tests/data/cam_containers.json" 2>/dev/null
} > "$work/three.hex"
awk -v n="$count" '{ m[NR] = $0 } END { for (i = 0; i < n; i++) print m[i % NR + 1] }' \
  "$work/three.hex" > "$work/cams.hex"
"$conv" CAM to-json --lines "$work/cams.hex" > "$work/out.jsonl"
lines=$(wc -l < "$work/out.jsonl")
[ "$lines" -eq "$count" ] || { echo "expected $count JSON lines, got $lines"; exit 1; }

best() {  # best wall time in seconds of three runs of the command, whole process
  local best=""
  for _ in 1 2 3; do
    local t0 t1
    t0=$(date +%s.%N)
    "$@" > /dev/null 2>&1
    t1=$(date +%s.%N)
    best=$(echo "$t0 $t1 $best" | awk '{ d = $2 - $1; if ($3 == "" || d < $3) print d; else print $3 }')
  done
  echo "$best"
}

t1=$(best "$conv" CAM to-json --lines --jobs 1 "$work/cams.hex")
t2=$(best "$conv" CAM to-json --lines --jobs 2 "$work/cams.hex")
# The library's figure is its timed loop alone, the best of three runs.
libbest() {
  for _ in 1 2 3; do "$lib" CAM "$work/cams.hex" "$1"; done \
    | awk '{ for (i = 1; i < NF; i++) if ($(i + 1) == "s:") t = $i; if (best == "" || t < best) best = t }
           END { print best }'
}
tl=$(libbest 1)
tl2=$(libbest 2)
echo "load average: $(cut -d' ' -f1-3 /proc/loadavg) ($(nproc) cores)"
awk -v n="$count" -v t1="$t1" -v t2="$t2" -v tl="$tl" -v tl2="$tl2" 'BEGIN {
  printf "%d CAM hex lines to JSON Lines\n", n
  printf "  library, 1 thread %9.0f messages/s  %6.2f us/message\n", n / tl, tl / n * 1e6
  printf "  library, 2 threads%9.0f messages/s  %6.2f us/message  (%.2fx one thread)\n", n / tl2, tl2 / n * 1e6, tl / tl2
  printf "  itsconv --jobs 1  %9.0f messages/s  %6.2f us/message  (+%.0f%% over the library; target <= 30%%)\n", n / t1, t1 / n * 1e6, (t1 / tl - 1) * 100
  printf "  itsconv --jobs 2  %9.0f messages/s  %6.2f us/message  (%.2fx one job; target >= 1.8x)\n", n / t2, t2 / n * 1e6, t1 / t2
}'
