#!/usr/bin/env bash
# Installs the build into a scratch prefix, moves the prefix (an install must not depend on where it was
# made), and uses it as a customer would from outside the source tree:
#   - every installed header compiles on its own (C++; the C entry's also as C);
#   - a C++ program built with find_package(Velin) segments a phantom through velin::segment;
#   - a C program built with `pkg-config --cflags --libs velin` segments it through the C entry;
#   - both give the same planes, and the program's boundaries are the C entry's refined ones; the package
#     accepts the versions it should;
#   - the installed manual page lists every option of every command.
#   consume-installed.sh BUILD_DIR SOURCE_DIR WORK_DIR C_COMPILER CXX_COMPILER
set -euo pipefail

build=$1 source=$2 work=$3 cc=$4 cxx=$5
here=$source/tests/install
cmake=${CMAKE:-cmake}
fail() { echo "consume-installed: $*" >&2; exit 1; }

rm -rf "$work"
mkdir -p "$work"
"$cmake" --install "$build" --prefix "$work/staging" >/dev/null
mv "$work/staging" "$work/prefix"
prefix=$work/prefix
library=$(find "$prefix" -name 'libvelin.so.0' | head -n 1)
[ -n "$library" ] || fail "no libvelin.so.0 under $prefix"
libdir=$(dirname "$library")

# Headers: each one alone, so that a public header that includes an uninstalled one is caught.
while IFS= read -r header; do
  name=${header#"$prefix/include/"}
  echo "#include <$name>" | "$cxx" -std=c++17 -fsyntax-only -I"$prefix/include" -x c++ - ||
    fail "installed header $name does not compile on its own"
done < <(find "$prefix/include" -name '*.h' | sort)
echo "#include <Velin/velin_c.h>" | "$cc" -std=c99 -fsyntax-only -I"$prefix/include" -x c - ||
  fail "Velin/velin_c.h does not compile as C"

# The phantom, written by the installed program (which finds its library through its run path).
"$prefix/bin/velin" phantom -o "$work/phantom.npy" --shape 12x64x1024 >/dev/null
"$prefix/bin/velin" segment "$work/phantom.npy" -o "$work/segmented" >/dev/null

"$cmake" -S "$here/cxx-consumer" -B "$work/cxx-build" -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
"$cmake" --build "$work/cxx-build" >/dev/null
"$work/cxx-build/cxx_consumer" "$work/phantom.npy" "$work/phantom_truth_ilm.npy" "$work/cxx-planes.raw"

flags=$(PKG_CONFIG_PATH="$libdir/pkgconfig" PKG_CONFIG_LIBDIR="$libdir/pkgconfig" pkg-config --cflags --libs velin)
# shellcheck disable=SC2086  # the flags are separate words
"$cc" -std=c99 -Wall -Wextra -o "$work/c_consumer" "$here/c-consumer/main.c" $flags
LD_LIBRARY_PATH="$libdir" "$work/c_consumer" "$work/phantom.npy" "$work/c-planes.raw" "$work/c-refined.raw"

cmp "$work/cxx-planes.raw" "$work/c-planes.raw" || fail "the C and the C++ entry gave different planes"
# The program's ilm.npy and rnfl.npy hold the C entry's refined boundaries after their .npy headers.
npy_data() { tail -c +$((11 + $(od -An -tu2 -j8 -N2 "$1"))) "$1"; }
{ npy_data "$work/segmented/phantom/ilm.npy"; npy_data "$work/segmented/phantom/rnfl.npy"; } |
  cmp - "$work/c-refined.raw" || fail "the program's boundaries differ from the C entry's"

"$cmake" -S "$here/version-check" -B "$work/version-check" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null ||
  fail "find_package(Velin) accepted or refused a version it should not have"

page=$(find "$prefix" -name 'velin.1.gz')
[ -n "$page" ] || fail "no manual page velin.1.gz under $prefix"
manual=$(gzip -dc "$page" | sed 's/\\-/-/g')
commands=$("$prefix/bin/velin" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p')
for command in "" $commands; do
  # shellcheck disable=SC2086  # no command: the program's own help
  for option in $("$prefix/bin/velin" $command --help | grep -oE '(^|[ ,])--?[A-Za-z][A-Za-z-]*' | tr -d ' ,'); do
    grep -qe "$option" <<<"$manual" || fail "the manual page lacks option $option of 'velin $command'"
  done
done
echo "consume-installed: headers, C++ and C consumers, program planes, versions and manual agree"
