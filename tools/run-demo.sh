#!/usr/bin/env bash
# Builds everything and runs the demo program under Wine.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build_dir=${VSK_BUILD_DIR:-$root/build}
export VSK_BUILD_DIR=$build_dir

bash "$root/tools/build.sh" >/dev/null
trap 'bash "$root/tools/stop-wine.sh" "$build_dir"' EXIT
"$root/cmake/wine-run.sh" "$build_dir" "$build_dir/bin/demo.exe"
