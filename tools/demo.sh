#!/usr/bin/env bash
# Converts the bundled sample CAM from UPER to JSON and back, and from UPER
# to XML and back, and shows each step.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
sample=$root/tests/data/cam_captured_protocol1.uper.hex
conv=$build/tools/itsconv
wire=$(tr -d ' \n' < "$sample")
echo "== UPER in ($sample)"
echo "$wire"
for form in json xml; do
   echo "== ${form^^} (itsconv CAM to-$form)"
   text=$("$conv" CAM "to-$form" "$sample")
   echo "$text"
   echo "== UPER again (itsconv CAM from-$form)"
   back=$(echo "$text" | "$conv" CAM "from-$form")
   echo "$back"
   if [ "$back" = "$wire" ]; then echo "== identical"; else echo "== DIFFERENT"; exit 1; fi
done
