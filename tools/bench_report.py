"""Turns the benchmarks' RESULT and MEASURE lines of several runs into the
report table and the chart data.

Input lines: run|bench|name|value|goal|verdict, as BenchSupport.h's
PrintResult writes them (the run's number and the benchmark's name in front),
and run|bench|name|value|meaning for the figures without a goal (PrintMeasure).
Each figure is reported as the median of its runs with the lowest and highest
value; a goal is judged on the median: met when the run (or, with an even
number of runs, both runs) in the middle met it. The chart shows each result
against its goal, as a score where 1.0 is the goal itself and above is
better, with a bar from the lowest to the highest run.
Output of the benchmarks' quick mode (verdict "quick") is refused: its
counts are too small for its figures to mean anything.
"""
import re
import statistics
import sys


def score(value, goal):
    within = re.match(r"\s*within\s*([0-9.]+)x", goal)
    if within:  # the library may take up to N times the baseline's time
        return value * float(within.group(1))
    # The bound may stand inside a longer goal text: "cost at most 1.2x
    # (ratio >= 0.83)".
    match = re.search(r"(>=|<=|<|>)\s*([0-9.]+)", goal)
    if not match:
        return 0.0
    bound = float(match.group(2))
    if match.group(1) in (">=", ">"):
        return value / bound if bound else 0.0
    return bound / value if value else 0.0


def read_rows(path, fields):
    """The lines of `path` that split into exactly `fields` parts at "|"."""
    with open(path, encoding="utf-8", errors="replace") as raw:
        parts = (line.rstrip("\n").split("|") for line in raw)
        return [p for p in parts if len(p) == fields]


def shown(name):
    # A backslash is doubled: both the Markdown viewers and the API
    # reference's page builder show a doubled one as one.
    return name.replace("|", "/").replace("\\", "\\\\")


def gather(rows, value_index):
    """The rows' figures by (bench, name), in the order first seen: a list of
    (value, row) over the runs."""
    figures = {}
    for row in rows:
        figures.setdefault((row[1], row[2]), []).append((float(row[value_index]), row))
    return figures


def spread(runs):
    values = [value for value, _ in runs]
    return statistics.median(values), min(values), max(values)


def median_met(runs):
    """Whether the middle run (both middle runs, for an even count) met its goal."""
    ordered = sorted(runs, key=lambda run: run[0])
    middle = (len(ordered) - 1) // 2
    chosen = ordered[middle:len(ordered) - middle]
    return all(row[5] == "met" for _, row in chosen)


EXPLANATION = """\
Each benchmark ran {runs} times; every figure is the median of its runs, with
the lowest and highest value beside it, and a goal is judged on the median.
Ratios against a baseline are baseline time / library time (above 1: the
library is faster). Where the library's behaviour fixes the step that bounds
its speed (the C runtime's `_vsnprintf` under `Format`, the `GWL_USERDATA`
read and the virtual handler of every message of the window procedure, the
balanced tree of handed-out addresses of the block pool), that step is
measured alone in the same run and listed under the table as the bound; the
result is library time / bound time and the goal is "within 5%" (at most 1.05).

Figures without a goal are listed under the table. Some explain a result; some
compare different work and so cannot carry a goal: `Format` against the
toolchain's `snprintf` (a formatter of its own, while `Format` must call the C
runtime's), `LoadFromFile` into a fresh string against one `ReadFile` into
memory touched beforehand (only the library's side allocates and first touches
its memory), and the block pool against `malloc` and `operator new` (which
keep no set of handed-out addresses). Every benchmark's peak working set is
listed there too.
"""


def main(raw_path, platform, table_path, data_path, measures_path=None):
    results = read_rows(raw_path, 6)
    measures = read_rows(measures_path, 5) if measures_path else []
    if any(row[5] == "quick" for row in results):
        sys.exit("bench_report: the benchmarks ran in their quick mode (VSK_BENCH_QUICK); "
                 "its figures are not a report")
    runs = len({row[0] for row in results + measures})
    figures = gather(results, 3)
    with open(table_path, "w", encoding="utf-8") as table:
        table.write("# Benchmark report\n\n")
        table.write("Platform: %s.\n\n" % platform)
        table.write(EXPLANATION.format(runs=runs) + "\n")
        table.write("| benchmark | result | median | lowest | highest | goal | met |\n"
                    "|---|---|---|---|---|---|---|\n")
        met = 0
        for (bench, name), figure_runs in figures.items():
            median, low, high = spread(figure_runs)
            goal = figure_runs[0][1][4]
            ok = median_met(figure_runs)
            met += ok
            table.write("| %s | %s | %.3f | %.3f | %.3f | %s | %s |\n"
                        % (bench, shown(name), median, low, high, goal, "yes" if ok else "**no**"))
        table.write("\n%d of %d goals met (on the median of %d runs).\n" % (met, len(figures), runs))
        if measures:
            table.write("\nMeasured alongside, without a goal of their own:\n\n"
                        "| benchmark | figure | median | lowest | highest | meaning |\n"
                        "|---|---|---|---|---|---|\n")
            for (bench, name), figure_runs in gather(measures, 3).items():
                median, low, high = spread(figure_runs)
                table.write("| %s | %s | %.3f | %.3f | %.3f | %s |\n"
                            % (bench, shown(name), median, low, high, figure_runs[0][1][4]))
    with open(data_path, "w", encoding="utf-8") as data:
        for (bench, name), figure_runs in figures.items():
            goal = figure_runs[0][1][4]
            median, _, _ = spread(figure_runs)
            scores = [max(score(value, goal), 0.01) for value, _ in figure_runs]
            label = (name[:45] + "...") if len(name) > 48 else name
            label = label.replace('"', "'").replace("\t", " ")
            data.write("%s\t%.3f\t%.3f\t%.3f\n"
                       % (label, max(score(median, goal), 0.01), min(scores), max(scores)))


if __name__ == "__main__":
    main(*sys.argv[1:6])
