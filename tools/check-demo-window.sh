#!/usr/bin/env bash
# The windowed demo's test: runs the demo under Wine on the test display with
# --screenshot, which paints every panel and saves the window's picture into
# the build folder, then checks that no panel stayed blank.
# Usage: check-demo-window.sh <build folder>
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build_dir=$(cd "$1" && pwd)
picture="$build_dir/artifacts/demo_window.bmp"
mkdir -p "$build_dir/artifacts"
rm -f "$picture" "$picture.panels"
"$root/cmake/wine-run.sh" "$build_dir" "$build_dir/bin/demo_window.exe" --screenshot "Z:${picture//\//\\}"
python3 "$root/tools/check_demo_screenshot.py" "$picture" "$picture.panels" --png "$build_dir/artifacts/demo_window.png"
