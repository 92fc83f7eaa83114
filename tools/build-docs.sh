#!/usr/bin/env bash
# Builds the API reference from the public headers with Doxygen into
# <build-dir>/docs/api and fails when Doxygen warns (an undocumented public
# class or function, a broken reference). Usage: build-docs.sh [build-dir]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build_dir=${1:-${VSK_BUILD_DIR:-$root/build}}
mkdir -p "$build_dir"
build_dir=$(cd "$build_dir" && pwd)

if ! command -v doxygen >/dev/null; then
    echo "build-docs: doxygen is missing (tools/setup.sh installs it)" >&2
    exit 1
fi

out="$build_dir/docs/api"
warnings="$build_dir/docs/doxygen-warnings.txt"
rm -rf "$out"
mkdir -p "$out"
cd "$root"
{
    cat docs/Doxyfile
    echo "OUTPUT_DIRECTORY = $out"
    echo "WARN_LOGFILE = $warnings"
} | doxygen - >/dev/null
if [ -s "$warnings" ]; then
    sed "s|$root/||" "$warnings" >&2
    echo "build-docs: $(wc -l <"$warnings") Doxygen warning line(s); the reference must build without any" >&2
    exit 1
fi
echo "build-docs: API reference in $out/html/index.html, no warnings"
