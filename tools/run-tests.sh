#!/usr/bin/env bash
# Builds everything and runs every test under Wine (CTest).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build_dir=${VSK_BUILD_DIR:-$root/build}
export VSK_BUILD_DIR=$build_dir

bash "$root/tools/build.sh"
trap 'bash "$root/tools/stop-wine.sh" "$build_dir"' EXIT
cd "$build_dir"
ctest --output-on-failure -j 2 "$@"
