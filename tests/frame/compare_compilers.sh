#!/usr/bin/env bash
# Builds the library with a second compiler and compares the hashes of all results:
# compare_compilers.sh SOURCE_DIR WORK_DIR FINGERPRINT_PROGRAM CXX CC
set -euo pipefail
source=$1 work=$2 program=$3 cxx=$4 cc=$5
cmake -S "$source" -B "$work" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_COMPILE_WARNING_AS_ERROR=ON \
  -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_C_COMPILER="$cc" >"$work.log" 2>&1 || { cat "$work.log"; exit 1; }
cmake --build "$work" >>"$work.log" 2>&1 || { cat "$work.log"; exit 1; }
"$program" >"$work.first"
LD_LIBRARY_PATH="$work/lib" "$program" >"$work.second"
grep -q "$work/lib/libzyprl9" <<<"$(LD_LIBRARY_PATH="$work/lib" ldd "$program")" || { echo "the second library was not loaded"; exit 1; }
[ -s "$work.first" ] || { echo "no fingerprints"; exit 1; }
diff "$work.first" "$work.second" && echo "$(wc -l <"$work.first") fingerprints are the same with both compilers"
