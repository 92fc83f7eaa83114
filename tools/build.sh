#!/usr/bin/env bash
# Installs what is missing, then configures and builds VoskelLIB in ./build
# (warnings are errors). Used by run-demo.sh and run-tests.sh.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build_dir=${VSK_BUILD_DIR:-$root/build}

bash "$root/tools/setup.sh" "$build_dir/_deps"

if [ ! -f "$build_dir/CMakeCache.txt" ]; then
    cmake -S "$root" -B "$build_dir" \
        -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchain-i686-mingw.cmake" \
        -DCMAKE_BUILD_TYPE=Release -DVSK_WARNINGS_AS_ERRORS=ON >/dev/null
fi
cmake --build "$build_dir" -j "$(nproc)"
