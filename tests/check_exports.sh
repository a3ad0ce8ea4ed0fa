#!/usr/bin/env bash
# Fails if the shared library exports anything but the transcoding interface:
# the etsi_* functions and the to_text/from_text template instantiations.
set -euo pipefail
lib=$1
bad=$(nm -D --defined-only "$lib" | awk '{print $3}' \
  | grep -v -E '^(etsi_[A-Za-z_]+|_Z[0-9A-Za-z_]*(7to_text|9from_text)[0-9A-Za-z_]*|_init|_fini|_edata|_end|__bss_start)$' || true)
if [ -n "$bad" ]; then
  echo "unexpected exported symbols:"; echo "$bad" | head -n 40
  exit 1
fi
echo "exports ok: $(nm -D --defined-only "$lib" | grep -c ' T ') functions"
