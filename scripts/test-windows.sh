#!/usr/bin/env bash
# Runs the test suite of the Windows cross-build under Wine.
#   scripts/test-windows.sh [build-dir] [extra ctest arguments...]   (build-dir defaults to build-windows)
#   scripts/test-windows.sh --check   exit status 0 when the cross compiler and wine64 are both installed
# Every run gets its own throw-away WINEPREFIX, so nothing from an earlier run (or from the user's ~/.wine)
# can change the outcome, and nothing is left behind.
set -euo pipefail

find_tool() {
  local name=$1
  if command -v "$name" >/dev/null 2>&1; then
    command -v "$name"
  elif [ -x "/usr/lib/wine/$name" ]; then
    # Debian's wine64 package keeps its loader and server out of PATH unless package wine is installed too.
    echo "/usr/lib/wine/$name"
  else
    return 1
  fi
}

if [ "${1:-}" = "--check" ]; then
  command -v x86_64-w64-mingw32-g++-posix >/dev/null 2>&1 && find_tool wine64 >/dev/null
  exit $?
fi

build=${1:-build-windows}
[ $# -gt 0 ] && shift
if [ ! -f "$build/CTestTestfile.cmake" ]; then
  echo "test-windows: no Windows build in '$build' (run 'make windows' first)" >&2
  exit 2
fi
wine=$(find_tool wine64) || { echo "test-windows: wine64 is not installed" >&2; exit 2; }
wineserver=$(find_tool wineserver) || { echo "test-windows: wineserver is not installed" >&2; exit 2; }

WINEPREFIX=$(mktemp -d "${TMPDIR:-/tmp}/velin-wine.XXXXXX")
export WINEPREFIX
export WINEDEBUG=-all
# No Mono or Gecko installer prompts while the prefix is created: the tests are console programs.
export WINEDLLOVERRIDES="mscoree,mshtml="
cleanup() {
  "$wineserver" -k >/dev/null 2>&1 || true
  "$wineserver" -w >/dev/null 2>&1 || true
  rm -rf "$WINEPREFIX"
}
trap cleanup EXIT

start=$(date +%s)
# One persistent server for the whole run: each test is a short process, and starting a server per process
# would cost more than the test.
"$wineserver" -p
"$wine" wineboot --init >/dev/null 2>&1
echo "test-windows: Wine prefix ready in $(($(date +%s) - start)) s"

status=0
ctest --test-dir "$build" --output-on-failure -j "${JOBS:-2}" "$@" || status=$?
echo "test-windows: tests finished in $(($(date +%s) - start)) s"
exit $status
