#!/usr/bin/env bash
# Installs the built library into a staging folder and builds the consumer
# project (examples/consumer) against that installed tree only, once without
# optimisation (a user's Debug build) and once optimised, then runs each
# consumer under Wine with nothing but the installed bin/ folder on its DLL
# path. Usage: test-install.sh [build-dir]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build_dir=$(cd "${1:-${VSK_BUILD_DIR:-$root/build}}" && pwd)
stage="$build_dir/_stage"
toolchain="$root/cmake/toolchain-i686-mingw.cmake"

rm -rf "$stage"
cmake --install "$build_dir" --prefix "$stage" >/dev/null

# What a program needs beside it must be in the installed tree.
for dll in voskellib.dll hostfw.dll libgcc_s_dw2-1.dll libstdc++-6.dll libwinpthread-1.dll; do
    if [ ! -f "$stage/bin/$dll" ]; then
        echo "test-install: $dll is missing from the installed bin/ folder" >&2
        exit 1
    fi
done

# Wine's DLL search path in Windows notation: the staged bin/ only.
if [ -n "$(find "$stage/include" -path '*/internal/*' -print -quit)" ]; then
    echo "test-install: the installed headers hold the tests' internal hooks" >&2
    exit 1
fi

wine_bin="Z:$(printf '%s' "$stage/bin" | tr '/' '\\')"

for config in Debug Release; do
    consumer_build="$build_dir/consumer-$config"
    rm -rf "$consumer_build"
    echo "test-install: consumer, CMAKE_BUILD_TYPE=$config"
    cmake -S "$root/examples/consumer" -B "$consumer_build" \
        -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE="$config" \
        -DVoskelLIB_DIR="$stage/lib/cmake/VoskelLIB" >/dev/null
    cmake --build "$consumer_build" >/dev/null
    # The consumer folder holds the program alone: its DLLs come from the
    # installed tree through WINEPATH.
    if ls "$consumer_build"/*.dll >/dev/null 2>&1; then
        echo "test-install: the consumer build folder holds DLLs; it must use the installed ones" >&2
        exit 1
    fi
    WINEPATH="$wine_bin" "$root/cmake/wine-run.sh" "$build_dir" "$consumer_build/consumer.exe"
done
echo "test-install: the installed package builds and runs a consumer (Debug and Release)"
