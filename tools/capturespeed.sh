#!/usr/bin/env bash
# The capture command's speed: a pcap of CAM frames (100,000 by default: the
# captured CAM and the CAMs of two JSON samples in turn, each signed in a
# version 3 envelope over Ethernet, SHB, BTP-B) read with the messages only
# cut out (--to hex) and converted to JSON Lines on one and on two threads.
# Output goes to /dev/null; each figure is the best of five runs by wall
# time, with the processor time (user + system) beside it.
#   tools/capturespeed.sh [build-dir] [count]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
count=${2:-100000}
conv=$build/tools/itsconv
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

{
  cat "$root/tests/data/cam_captured_protocol1.uper.hex"
  "$conv" CAM from-json "$root/bench/data/cam.json" "$root/tests/data/cam_containers.json" 2>/dev/null
} > "$work/three.hex"
python3 -c "
import sys
sys.path.insert(0, '$root/tests/tool')
import capbuild as cb
cams = [bytes.fromhex(l) for l in open('$work/three.hex').read().split()]
frames = [cb.link(cb.gn(cams[i % len(cams)], security='signed-v3')) for i in range($count)]
open('$work/cams.pcap', 'wb').write(cb.pcap(frames))
"
"$conv" capture "$work/cams.pcap" > "$work/out.jsonl" 2> "$work/err.txt"
lines=$(wc -l < "$work/out.jsonl")
[ "$lines" -eq "$count" ] || { echo "expected $count JSON lines, got $lines"; cat "$work/err.txt"; exit 1; }

# "wall cpu" of the whole process, the best of five by wall time.
best() {
  local TIMEFORMAT='%R %U %S'
  for _ in 1 2 3 4 5; do
    { time "$conv" capture "$work/cams.pcap" "$@" > /dev/null 2>&1; } 2>&1
  done | awk '{ if (best == "" || $1 < best) { best = $1; cpu = $2 + $3 } } END { print best, cpu }'
}
read -r h hcpu <<< "$(best --to hex)"
read -r j1 j1cpu <<< "$(best --jobs 1)"
read -r j2 j2cpu <<< "$(best --jobs 2)"
echo "load average: $(cut -d' ' -f1-3 /proc/loadavg) ($(nproc) cores), $count frames, $(stat -c %s "$work/cams.pcap") bytes"
awk -v n="$count" -v h="$h" -v hc="$hcpu" -v a="$j1" -v ac="$j1cpu" -v b="$j2" -v bc="$j2cpu" 'BEGIN {
  printf "read, messages cut out (--to hex):  %6.3f s wall %6.3f s cpu  %9.0f frames/s\n", h, hc, n / h
  printf "read and converted, --jobs 1:       %6.3f s wall %6.3f s cpu  %9.0f frames/s\n", a, ac, n / a
  printf "read and converted, --jobs 2:       %6.3f s wall %6.3f s cpu  %9.0f frames/s (%.2fx)\n", b, bc, n / b, a / b
}'
