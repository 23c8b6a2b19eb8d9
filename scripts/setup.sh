#!/usr/bin/env bash
# Installs the Debian 12 packages voltrace builds, tests and runs with.
# Installs only what is missing; uses sudo when not run as root.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config clang-format
  libgtest-dev libgmock-dev libbenchmark-dev
  libtiff-dev libpng-dev libopenexr-dev zlib1g-dev
  nlohmann-json3-dev libcli11-dev libpugixml-dev
  libhiredis-dev libzstd-dev libxxhash-dev redis-server
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

sudo=""
if [ "$(id -u)" -ne 0 ]; then
  sudo="sudo"
fi

echo "voltrace setup: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -q
$sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
