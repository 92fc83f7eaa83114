#!/usr/bin/env bash
# Runs every benchmark (bench/*_bench.cpp) five times under Wine and gathers
# their results into one table: each figure's median with its lowest and
# highest value, printed, written as build/bench-report.md and drawn as
# build/bench-report.png (each result's score against its goal, with a bar
# from the lowest to the highest run). The test run only runs each benchmark
# once in its quick mode, which this script refuses.
# Usage: run-bench.sh [build-dir]   (VSK_BENCH_RUNS changes the number of runs)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build_dir=${1:-${VSK_BUILD_DIR:-$root/build}}
export VSK_BUILD_DIR=$build_dir
runs=${VSK_BENCH_RUNS:-5}
# The quick mode's counts are too small for a report.
unset VSK_BENCH_QUICK

bash "$root/tools/build.sh" >/dev/null
build_dir=$(cd "$build_dir" && pwd)
trap 'bash "$root/tools/stop-wine.sh" "$build_dir"' EXIT

# The chart is drawn by gnuplot; installed here, since only this script needs it.
if ! command -v gnuplot >/dev/null; then
    apt-get install -y -q gnuplot-nox >/dev/null
fi

if [ -r /proc/sys/fs/binfmt_misc/qemu-i386 ] && grep -qx enabled /proc/sys/fs/binfmt_misc/qemu-i386; then
    platform="32-bit code emulated by qemu user mode (ratios of library code against system work are skewed)"
else
    platform="32-bit code run natively"
fi
processor=$(sed -n 's/^model name[[:space:]]*: *//p' /proc/cpuinfo | head -n 1)
platform="$platform; ${processor:-unknown processor}, $(nproc) cores; Wine $(wine --version 2>/dev/null || echo '?'); $(date -u +%Y-%m-%d)"

raw="$build_dir/bench-raw.txt"
measures="$build_dir/bench-measures.txt"
: >"$raw"
: >"$measures"
for run in $(seq 1 "$runs"); do
    for exe in "$build_dir"/bin/*_bench.exe; do
        name=$(basename "$exe" .exe)
        out="$build_dir/$name.run$run.txt"
        echo "run-bench: $name, run $run of $runs" >&2
        if ! "$root/cmake/wine-run.sh" "$build_dir" "$exe" >"$out" 2>&1; then
            echo "$run|$name|$name: the benchmark failed (see $(basename "$out"))|0|-|NOT MET" >>"$raw"
        fi
        sed -n "s/^RESULT|/$run|$name|/p" "$out" | tr -d '\r' >>"$raw"
        sed -n "s/^MEASURE|/$run|$name|/p" "$out" | tr -d '\r' >>"$measures"
    done
done

python3 "$root/tools/bench_report.py" "$raw" "$platform" "$build_dir/bench-report.md" "$build_dir/bench-report.dat" \
    "$measures"
cat "$build_dir/bench-report.md"

gnuplot <<GNUPLOT
set terminal png size 1400,900 font ",9"
set output "$build_dir/bench-report.png"
set title "VoskelLIB benchmarks: median result / goal over $runs runs, bar from lowest to highest (1.0 = goal just met; above is better; log scale)\n$platform" noenhanced
set style data histograms
set style histogram errorbars gap 1 lw 1
set style fill solid 0.8 border -1
set boxwidth 0.8
set xtics rotate by -60 noenhanced
set bmargin 16
set grid ytics
set logscale y
set yrange [0.01:*]
set datafile separator "\t"
set key off
plot "$build_dir/bench-report.dat" using 2:3:4:xtic(1) lc rgb "#4477aa", 1 with lines lc rgb "#cc3311" lw 2
GNUPLOT
echo "run-bench: wrote $build_dir/bench-report.md and $build_dir/bench-report.png" >&2
