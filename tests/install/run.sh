#!/usr/bin/env bash
# Installs into an empty prefix and builds the C and the C++ consumer with the CMake package and with pkg-config:
# run.sh BUILD_DIR WORK_DIR
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$1 work=$2
rm -rf "$work"
mkdir -p "$work"
cmake --install "$build" --prefix "$work/prefix" >"$work/install.log"

cmake -S "$here" -B "$work/package" -DCMAKE_PREFIX_PATH="$work/prefix" >"$work/package.log"
cmake --build "$work/package" >>"$work/package.log"
"$work/package/consumer_c"
"$work/package/consumer_cpp"

library=$(dirname "$(find "$work/prefix" -name libzyprl9.so)")
export PKG_CONFIG_PATH="$library/pkgconfig"
cc -std=c99 -Wall -Wextra -Werror "$here/consumer.c" -o "$work/consumer_c" $(pkg-config --cflags --libs zypr zypcore)
c++ -std=c++17 -Wall -Wextra -Werror "$here/consumer.cpp" -o "$work/consumer_cpp" $(pkg-config --cflags --libs zypr zypcore)
LD_LIBRARY_PATH="$library" "$work/consumer_c"
LD_LIBRARY_PATH="$library" "$work/consumer_cpp"
echo "four consumers built and ran"

# The library loads on a processor without AVX2, and the application can tell.
if command -v qemu-x86_64 >/dev/null; then
  grep -q "no AVX2" <<<"$(LD_LIBRARY_PATH="$library" qemu-x86_64 -cpu Nehalem "$work/consumer_c")"
  echo "the C consumer ran on an older processor"
fi
