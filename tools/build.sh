#!/usr/bin/env bash
# Configures and builds one build tree.
#   tools/build.sh [build-dir] [extra cmake args...]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
dir=${1:-build}; shift || true
cmake -S "$root" -B "$root/$dir" -G Ninja "$@" >/dev/null
cmake --build "$root/$dir" -j "$(nproc)"
