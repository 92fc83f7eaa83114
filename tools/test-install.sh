#!/usr/bin/env bash
# Installs the built library into a staging folder and checks what a user
# gets: no internal header (the tests' hooks, the platform layer), no build
# option of the library's own passed on, no hook exported under its own name.
# Then it builds the consumer project (examples/consumer) against that
# installed tree only, without optimisation (a user's Debug build) and
# optimised, each once with <windows.h> as it comes and once configured as
# the library configures it for itself (the Debug builds also compile every
# installed header on its own), and runs each consumer under Wine with
# nothing but the installed bin/ folder on its DLL path.
# Usage: test-install.sh [build-dir]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build_dir=$(cd "${1:-${VSK_BUILD_DIR:-$root/build}}" && pwd)
stage="$build_dir/_stage"
toolchain="$root/cmake/toolchain-i686-mingw.cmake"

rm -rf "$stage"
cmake --install "$build_dir" --prefix "$stage" >/dev/null

fail() {
    echo "test-install: $*" >&2
    exit 1
}

# What a program needs beside it must be in the installed tree.
for dll in voskellib.dll hostfw.dll libgcc_s_dw2-1.dll libstdc++-6.dll libwinpthread-1.dll; do
    [ -f "$stage/bin/$dll" ] || fail "$dll is missing from the installed bin/ folder"
done

include_dir="$stage/include/voskellib"
if [ -n "$(find "$include_dir" -path '*/internal/*' -print -quit)" ]; then
    fail "the installed headers hold the tests' internal hooks"
fi
# The platform layer is the library's own: not installed, and no public
# header includes it (the consumer's builds would fail on such an include).
if [ -e "$include_dir/platform" ]; then
    fail "the platform layer's headers are installed"
fi

# What users inherit from VoskelLIB::voskellib: the include folder and the
# link option that gives every module one libgcc; none of the library's own
# compile options (warnings, -Werror, the character sets) or definitions.
targets=("$stage"/lib/cmake/VoskelLIB/VoskelLIBTargets*.cmake)
if grep -nE 'INTERFACE_COMPILE_(OPTIONS|DEFINITIONS)|-W|charset' "${targets[@]}" >&2; then
    fail "the exported targets pass build options of the library's own on to users (above)"
fi

# The hooks are reached through vsk_InternalHooks only.
objdump=$(sed -n 's/^CMAKE_OBJDUMP:FILEPATH=//p' "$build_dir/CMakeCache.txt")
cmake -DSOURCE_DIR="$root" -DDLL="$stage/bin/voskellib.dll" -DOBJDUMP="${objdump:-i686-w64-mingw32-objdump}" \
    -P "$root/cmake/CheckHookExports.cmake"

# Wine's DLL search path in Windows notation: the staged bin/ only.
wine_bin="Z:$(printf '%s' "$stage/bin" | tr '/' '\\')"

for config in Debug Release; do
    for windows in plain lean; do
        consumer_build="$build_dir/consumer-$config-$windows"
        lean=OFF
        [ "$windows" = lean ] && lean=ON
        check_headers=OFF
        [ "$config" = Debug ] && check_headers=ON
        rm -rf "$consumer_build"
        echo "test-install: consumer, CMAKE_BUILD_TYPE=$config, <windows.h> $windows"
        cmake -S "$root/examples/consumer" -B "$consumer_build" \
            -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE="$config" \
            -DCONSUMER_LEAN_WINDOWS="$lean" -DCONSUMER_CHECK_HEADERS="$check_headers" \
            -DVoskelLIB_DIR="$stage/lib/cmake/VoskelLIB" >/dev/null
        cmake --build "$consumer_build" --parallel 2 >/dev/null
        # The consumer folder holds the program alone: its DLLs come from the
        # installed tree through WINEPATH.
        if ls "$consumer_build"/*.dll >/dev/null 2>&1; then
            fail "the consumer build folder holds DLLs; it must use the installed ones"
        fi
        WINEPATH="$wine_bin" "$root/cmake/wine-run.sh" "$build_dir" "$consumer_build/consumer.exe"
    done
done
echo "test-install: the installed package builds and runs a consumer (Debug and Release, <windows.h> plain and lean)"
