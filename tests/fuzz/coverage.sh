#!/usr/bin/env bash
# Which source lines the fuzzing corpora reach, by clang's source-based coverage.
#
#   coverage.sh [FUZZ_BUILD] [COVERAGE_BUILD]
#
# Builds the fuzzing programs once more with coverage mapping into COVERAGE_BUILD (default
# build-fuzz-coverage), runs each target once over the corpus a campaign left in
# FUZZ_BUILD/fuzz-corpus/<target>/ (default build-fuzz) and prints, per target, the share of lines reached
# in the sources that target is about.
set -euo pipefail

fuzz_build=${1:-build-fuzz}
build=${2:-build-fuzz-coverage}
root=$(cd "$(dirname "$0")/../.." && pwd)
flags="-fprofile-instr-generate -fcoverage-mapping"
cmake -S "$root" -B "$build" -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELIN_FUZZ=ON -DVELIN_BUILD_TESTS=OFF -DVELIN_BUILD_BENCHMARKS=OFF \
  -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_C_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="$flags" \
  -DCMAKE_SHARED_LINKER_FLAGS="$flags" >/dev/null
nice -n 19 cmake --build "$build" -j "$(nproc)" --target fuzz_all >/dev/null

io=$root/Velin/Io
readers_common="$io/VolumeFile.cpp $io/ReaderSupport.cpp $io/SpacingCheck.cpp"
sources() {
  case "$1" in
    read_npy) echo "$io/NpyFile.cpp $io/NpyVolumeReader.cpp $io/FloatScaling.cpp $readers_common" ;;
    read_vol) echo "$io/VolReader.cpp $io/FloatScaling.cpp $readers_common" ;;
    read_img) echo "$io/ImgReader.cpp $readers_common" ;;
    read_raw) echo "$io/RawReader.cpp $readers_common" ;;
    read_tiff) echo "$io/TiffReader.cpp $readers_common" ;;
    read_dicom) echo "$io/DicomReader.cpp $io/DicomMetadata.cpp $io/JpegStreamCheck.cpp $io/Jpeg2000Decoder.cpp \
      $readers_common" ;;
    entry) echo "$root/Velin/Api/Segment.cpp $root/Velin/Api/AxialSampling.cpp $root/Velin/Api/ArgumentCheck.h" ;;
    options) echo "$root/tools/SegmentArguments.cpp $root/tools/AxialFactor.cpp $root/tools/ShapeOption.cpp \
      $root/tools/Grid.cpp $root/tools/ThicknessMap.cpp $io/SpacingCheck.cpp" ;;
  esac
}

export ASAN_OPTIONS=detect_leaks=0
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
printf '%-10s %8s %8s %7s\n' target lines reached share
for target in read_npy read_vol read_img read_raw read_tiff read_dicom entry options; do
  corpus="$fuzz_build/fuzz-corpus/$target"
  [ -d "$corpus" ] || continue
  program="$build/tests/fuzz/fuzz_$target"
  TMPDIR="$scratch" LLVM_PROFILE_FILE="$scratch/$target.profraw" nice -n 19 "$program" -runs=0 "$corpus" \
    >/dev/null 2>&1 || true
  llvm-profdata-14 merge -sparse "$scratch/$target.profraw" -o "$scratch/$target.profdata"
  # shellcheck disable=SC2046
  llvm-cov-14 report "$program" -instr-profile="$scratch/$target.profdata" $(sources "$target") |
    awk -v t="$target" '/^TOTAL/ { printf "%-10s %8s %8d %7s\n", t, $8, $8 - $9, $10 }'
  if [ "$target" = entry ]; then
    # The engine under the checked entry, in the shared library: the detector's steps, the image primitives
    # and the boundary refinement.
    # shellcheck disable=SC2046
    llvm-cov-14 report "$build/Velin/libvelin.so" -instr-profile="$scratch/$target.profdata" \
      $(find "$root/Velin/Entry" "$root/Velin/Preparation" "$root/Velin/Tracing" "$root/Velin/Consistency" \
        "$root/Velin/Refine" "$root/Velin/Image" -name '*.cpp') |
      awk '/^TOTAL/ { printf "%-10s %8s %8d %7s\n", "(engine)", $8, $8 - $9, $10 }'
  fi
done
