#!/usr/bin/env bash
# From a fresh Debian machine: install what is missing, build the library and
# run the converter on a bundled sample message.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/tools/deps.sh"
"$root/tools/build.sh" build
echo "built: $root/build/libitscodec.so"
if [ -x "$root/build/tools/itsconv" ]; then
  "$root/tools/demo.sh" "$root/build"
else
  echo "The library is built; message conversion arrives with the exported functions."
fi
