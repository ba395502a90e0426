#!/usr/bin/env bash
# Installs the Debian packages Velin needs to build, test and cross-build; installs only what is missing,
# so a second run costs nothing. Needs root (or passwordless sudo) when something is missing.
set -euo pipefail

packages=(
  build-essential cmake pkg-config
  libboost-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libcli11-dev nlohmann-json3-dev libpng-dev libtiff-dev
  libfftw3-dev
  g++-mingw-w64-x86-64 wine64
  # The Python package (make python) and its tests: pybind11 builds the module; NumPy, Dask's distributed
  # scheduler and pytest are Debian's, seen from the package's virtual environment.
  python3-dev python3-venv python3-pip python3-setuptools python3-wheel pybind11-dev python3-pybind11
  python3-numpy python3-distributed python3-pytest
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
