#!/usr/bin/env bash
# Installs what the build needs on a Debian machine (as root); quiet when all is there.
set -euo pipefail
packages=(cmake g++ ninja-build libboost-dev libgtest-dev libbenchmark-dev python3-jinja2 libpugixml-dev)
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "installing: ${missing[*]}"
  apt-get update -q
  DEBIAN_FRONTEND=noninteractive apt-get install -y -q "${missing[@]}"
fi
