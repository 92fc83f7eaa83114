"""Turns the benchmarks' RESULT lines into the report table and chart data.

Input lines: bench|name|value|goal|verdict, as BenchSupport.h's PrintResult
writes them (the benchmark's name in front). The chart shows each result
against its goal, as a score where 1.0 is the goal itself and above is better.
Figures without a goal (bench|name|value|meaning, from PrintMeasure) are
listed under the table.
"""
import re
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


def main(raw_path, platform, table_path, data_path, measures_path=None):
    rows = [(bench, name, float(value), goal, verdict) for bench, name, value, goal, verdict in read_rows(raw_path, 5)]
    measures = read_rows(measures_path, 4) if measures_path else []
    with open(table_path, "w", encoding="utf-8") as table:
        table.write("# Benchmark report\n\n")
        table.write("Platform: %s.\n\n" % platform)
        table.write("Ratios are baseline time / library time (above 1: the library is faster), "
                    "measured in one run of each benchmark.\n\n")
        table.write("| benchmark | result | value | goal | met |\n|---|---|---|---|---|\n")
        for bench, name, value, goal, verdict in rows:
            table.write("| %s | %s | %.3f | %s | %s |\n" % (bench, shown(name), value, goal,
                                                           "yes" if verdict == "met" else "**no**"))
        met = sum(1 for row in rows if row[4] == "met")
        table.write("\n%d of %d goals met.\n" % (met, len(rows)))
        if measures:
            table.write("\nMeasured alongside, without a goal of their own:\n\n"
                        "| benchmark | figure | value | meaning |\n|---|---|---|---|\n")
            for bench, name, value, meaning in measures:
                table.write("| %s | %s | %.3f | %s |\n" % (bench, shown(name), float(value), meaning))
    with open(data_path, "w", encoding="utf-8") as data:
        for bench, name, value, goal, verdict in rows:
            label = (name[:45] + "...") if len(name) > 48 else name
            label = label.replace('"', "'")
            data.write("%s\t%.3f\n" % (label.replace("\t", " "), max(score(value, goal), 0.01)))


if __name__ == "__main__":
    main(*sys.argv[1:6])
