#!/usr/bin/env bash
# Installs the Debian packages that a group of Velin's make targets needs; installs only what is missing, so
# a second run costs nothing. Needs root (or passwordless sudo) when something is missing.
#   scripts/install-deps.sh [GROUP...]     (default: test)
set -euo pipefail

# One group per make target family. A word that names another group stands for all of that group's packages,
# so a new need is one word in the right line: a package in its group, a group in the groups that need it.
declare -A groups=(
  [library]="build-essential cmake libboost-dev"
  [demo]="library libcli11-dev nlohmann-json3-dev libpng-dev libtiff-dev libdeflate-dev
          libdcmtk-dev libopenjp2-7-dev pkg-config"
  [windows]="library g++-mingw-w64-x86-64 wine64"
  [test]="demo windows python fuzz pkg-config libgtest-dev libgmock-dev libbenchmark-dev libfftw3-dev"
  [package]="demo dpkg-dev file lintian"
  # The libFuzzer programs of tests/fuzz (make fuzz): clang and its sanitizer runtimes.
  [fuzz]="demo clang-14 libclang-rt-14-dev"
  # The Python package (make python): pybind11 builds the module; NumPy, Dask's distributed scheduler and
  # pytest are Debian's, seen from the package's virtual environment.
  [python]="demo python3-dev python3-venv python3-pip python3-setuptools python3-wheel pybind11-dev python3-pybind11
            python3-numpy python3-distributed python3-pytest"
)

# Prints the packages of the given groups (or package names), groups expanded, each once.
expand() {
  local word
  for word in "$@"; do
    if [ -n "${groups[$word]+set}" ]; then
      # shellcheck disable=SC2086  # a group is a list of words
      expand ${groups[$word]}
    else
      echo "$word"
    fi
  done
}

requested=("$@")
[ ${#requested[@]} -gt 0 ] || requested=(test)
for group in "${requested[@]}"; do
  if [ -z "${groups[$group]+set}" ]; then
    echo "install-deps: unknown group '$group' (groups: ${!groups[*]})" >&2
    exit 2
  fi
done
mapfile -t packages < <(expand "${requested[@]}" | awk '!seen[$0]++')

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
