"""Checks the library's #include lines against the layer map.

The map (docs/architecture.md explains it) says which subsystem folders each
folder may include, and names the few edges against the direction that the
library's behaviour itself needs, unit by unit. The check fails when
  - a unit includes a folder its own folder may not use and no named edge
    allows it, or
  - headers include each other in a circle.
Usage: check_layers.py [repository root]
"""
import os
import re
import sys

# Bottom to top. A folder may include itself and the folders listed.
ALLOWED = {
    "platform": set(),
    "hostfw": {"platform"},
    "foundation": {"platform", "hostfw"},
    "calendar": {"platform", "foundation"},
    "diagnostics": {"platform", "hostfw", "foundation"},
    "files": {"platform", "foundation", "diagnostics"},
    "threading": {"platform", "foundation", "diagnostics"},
    "gui": {"platform", "hostfw", "foundation", "files", "diagnostics", "threading"},
    "framework": {"platform", "hostfw", "foundation", "diagnostics"},
}

# Edges against the direction, each needed by a documented behaviour.
NAMED_EDGES = {
    # The string's whole-file load and save go through the file object.
    ("foundation/Vskstr.cpp", "files/VskFile.h"),
    # A failed code-page conversion of a string is written to the log.
    ("foundation/Vskstrbase.cpp", "diagnostics/Filelogger.h"),
}

# The package frame sits on top: its umbrella header and start-up code see
# every unit.
FRAME = {"foundation/Voskellib.h", "foundation/Voskellib.cpp"}

INCLUDE = re.compile(r'^\s*#\s*include\s+"([a-z0-9_]+)/([^"]+)"', re.MULTILINE)


def units(root):
    for folder in ALLOWED:
        path = os.path.join(root, folder)
        if not os.path.isdir(path):
            continue
        for name in sorted(os.listdir(path)):
            if name.endswith((".h", ".cpp")):
                yield folder + "/" + name


def includes(root, unit):
    with open(os.path.join(root, unit), encoding="utf-8", errors="replace") as source:
        for folder, name in INCLUDE.findall(source.read()):
            yield folder, folder + "/" + name


def layer_errors(root):
    errors = []
    for unit in units(root):
        own = unit.split("/")[0]
        for folder, target in includes(root, unit):
            if folder == own or folder not in ALLOWED or unit in FRAME:
                continue
            if folder in ALLOWED[own] or (unit, target) in NAMED_EDGES:
                continue
            errors.append("%s includes %s: %s may not use %s" % (unit, target, own, folder))
    return errors


def header_cycles(root):
    graph = {}
    for unit in units(root):
        if unit.endswith(".h"):
            graph[unit] = [t for f, t in includes(root, unit) if f in ALLOWED and t.endswith(".h")]
    cycles, state = [], {}

    def visit(node, stack):
        state[node] = "open"
        stack.append(node)
        for nxt in graph.get(node, []):
            if state.get(nxt) == "open":
                cycles.append(" -> ".join(stack[stack.index(nxt):] + [nxt]))
            elif nxt not in state:
                visit(nxt, stack)
        stack.pop()
        state[node] = "done"

    for node in sorted(graph):
        if node not in state:
            visit(node, [])
    return ["headers include each other in a circle: " + c for c in cycles]


def main(root):
    errors = layer_errors(root) + header_cycles(root)
    for error in errors:
        print("check-layers: " + error, file=sys.stderr)
    if errors:
        print("check-layers: %d problem(s); see docs/architecture.md" % len(errors), file=sys.stderr)
        return 1
    print("check-layers: every include follows the layer map")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "..")))
