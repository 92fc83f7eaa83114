#!/usr/bin/env bash
# Builds the benchmarks whose units have no 32-bit-only code (the bitmap,
# the strings, whole-file loading, the log) for x86-64 and runs them under
# native 64-bit Wine. On a machine whose 32-bit Wine runs under emulation
# (see the README) this is the one way to see the ratios without it. The
# library itself ships for 32-bit Windows only; this build is for measuring.
#
# Needs g++-mingw-w64-x86-64-posix, wine64 and Xvfb (not installed by setup).
# Usage: tools/bench-native-x64.sh [output folder]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
out=$(mkdir -p "${1:-$root/build-x64}" && cd "${1:-$root/build-x64}" && pwd)
cxx=x86_64-w64-mingw32-g++-posix
wine64=/usr/lib/wine/wine64
for tool in "$cxx" "$wine64" Xvfb; do
    command -v "$tool" >/dev/null || { echo "bench-native-x64: $tool is missing" >&2; exit 2; }
done

units=(foundation/Cloneable.cpp foundation/Ubaserefcnt.cpp foundation/Voskellib_stdafx.cpp
       foundation/Vskalgorithm.cpp foundation/Vskcheckers.cpp foundation/Vskrefcnt.cpp
       foundation/Vskserializeif.cpp foundation/Vskstr.cpp foundation/Vskstrbase.cpp
       foundation/Vskstringbuffer.cpp foundation/Vskstrrefcnt.cpp foundation/Vskstrw.cpp
       files/VskFile.cpp files/Dirinfo.cpp platform/File.cpp platform/Mbcs.cpp platform/Stdio.cpp
       platform/Process.cpp diagnostics/Filelogger.cpp gui/Vskdib.cpp hostfw/AnsiString.cpp)
benches=(Vskdib_bench Vskstr_bench Vskstrw_bench Loadfile_bench Filelogger_bench)

# The package frame (foundation/Voskellib.cpp) starts every unit, most of
# which are 32-bit only; here the units' start-up counters do nothing.
cat >"$out/UnitCounters.cpp" <<'EOF'
#include "foundation/Voskellib_stdafx.h"
void vsk::detail::CUnitCounter::Initialize() {}
void vsk::detail::CUnitCounter::Finalize() {}
EOF

flags=(-O2 -std=c++17 -I"$root" -DVOSKELLIB_BUILDING_DLL -DHOSTFW_BUILDING_DLL)
objects=()
for src in "${units[@]}" "$out/UnitCounters.cpp"; do
    obj="$out/$(basename "$src" .cpp).o"
    case "$src" in /*) ;; *) src="$root/$src" ;; esac
    "$cxx" "${flags[@]}" -c "$src" -o "$obj"
    objects+=("$obj")
done
for bench in "${benches[@]}"; do
    "$cxx" "${flags[@]}" -static -o "$out/$bench.exe" "$root/bench/$bench.cpp" "${objects[@]}" -lgdi32 -lpsapi
done

# A private prefix and display; both go when the script ends.
export WINEPREFIX="$out/wineprefix" WINEDEBUG=-all
display=$((200 + RANDOM % 100))
Xvfb ":$display" -screen 0 1024x768x24 -nolisten tcp >/dev/null 2>&1 &
xvfb=$!
trap 'WINEPREFIX="$WINEPREFIX" wineserver -k 2>/dev/null || true; kill $xvfb 2>/dev/null || true' EXIT
export DISPLAY=":$display"
"$wine64" wineboot -i >/dev/null 2>&1 || true
for bench in "${benches[@]}"; do
    echo "== $bench (x86-64, native Wine)"
    "$wine64" "$out/$bench.exe"
done
