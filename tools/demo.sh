#!/usr/bin/env bash
# Converts the bundled sample CAM from UPER to JSON and back, and shows both.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
sample=$root/tests/data/cam_captured_protocol1.uper.hex
conv=$build/tools/itsconv
echo "== UPER in ($sample)"
cat "$sample"; echo
echo "== JSON (itsconv CAM to-json)"
json=$("$conv" CAM to-json "$sample")
echo "$json"
echo "== UPER again (itsconv CAM from-json)"
back=$(echo "$json" | "$conv" CAM from-json)
echo "$back"
if [ "$back" = "$(tr -d ' \n' < "$sample")" ]; then echo "== identical"; else echo "== DIFFERENT"; exit 1; fi
