#!/usr/bin/env bash
# Installs the Debian packages Velin needs to build, test and cross-build; installs only what is missing,
# so a second run costs nothing. Needs root (or passwordless sudo) when something is missing.
set -euo pipefail

packages=(
  build-essential cmake pkg-config
  libboost-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libcli11-dev nlohmann-json3-dev libpng-dev libtiff-dev zlib1g-dev
  libfftw3-dev
  g++-mingw-w64-x86-64 wine64
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "velin: installing missing packages: ${missing[*]}"
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
  sudo_cmd=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
echo "velin: packages installed"
