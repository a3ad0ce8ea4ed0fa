#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the benchmarks need,
# if any is missing. Safe to run repeatedly.
set -euo pipefail
pkgs=(cmake ninja-build g++ clang libclang-rt-14-dev googletest libgtest-dev libgmock-dev
      libbenchmark-dev python3 binutils xxd
      # the package tests: the Debian package (dpkg-shlibdeps, file), the
      # example through pkg-config, the Python package installed into a venv
      dpkg-dev file pkgconf python3-venv python3-setuptools python3-wheel)
missing=()
for p in "${pkgs[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  sudo_cmd=""; [ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
  $sudo_cmd apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq "${missing[@]}"
fi
