#!/usr/bin/env bash
# Stops the wineserver and the private Xvfb that cmake/wine-run.sh started
# for a build folder.
build_dir=$(cd "${1:?usage: stop-wine.sh <build-dir>}" && pwd)
WINEPREFIX="$build_dir/wineprefix" wineserver -k >/dev/null 2>&1 || true
# Waits until the server is gone, so that a run right after this one starts
# its own detached server instead of meeting one that is going down.
WINEPREFIX="$build_dir/wineprefix" timeout 30 wineserver -w >/dev/null 2>&1 || true
display_file="$build_dir/wine-run/display"
if [ -f "$display_file" ]; then
    pkill -f "^Xvfb :$(cat "$display_file") " >/dev/null 2>&1 || true
    rm -f "$display_file"
fi
exit 0
