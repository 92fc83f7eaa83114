#!/usr/bin/env bash
# Builds everything and runs the windowed demo under Wine (the console tour
# where no display is set); it ends when the window is closed.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build_dir=${VSK_BUILD_DIR:-$root/build}
export VSK_BUILD_DIR=$build_dir

bash "$root/tools/build.sh" >/dev/null
trap 'bash "$root/tools/stop-wine.sh" "$build_dir"' EXIT
# The window wants a display; without one the console tour runs instead.
if [ -n "${DISPLAY:-}" ]; then
    "$root/cmake/wine-run.sh" "$build_dir" "$build_dir/bin/demo_window.exe"
else
    echo "run-demo: no display (DISPLAY is not set): the console tour instead of the window"
    "$root/cmake/wine-run.sh" "$build_dir" "$build_dir/bin/demo.exe"
fi
