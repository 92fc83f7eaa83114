#!/usr/bin/env bash
# Checks the includes against the layer map, builds everything and runs every
# test under Wine (CTest), then checks the installed package against a
# consumer project and builds the API reference, which must have no Doxygen
# warning. Extra arguments go to ctest.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build_dir=${VSK_BUILD_DIR:-$root/build}
export VSK_BUILD_DIR=$build_dir

python3 "$root/tools/check_layers.py" "$root"
bash "$root/tools/build.sh"
trap 'bash "$root/tools/stop-wine.sh" "$build_dir"' EXIT
(cd "$build_dir" && ctest --output-on-failure -j 2 "$@")
bash "$root/tools/test-install.sh" "$build_dir"
bash "$root/tools/build-docs.sh" "$build_dir"
