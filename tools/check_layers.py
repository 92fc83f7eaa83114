"""Checks the library's #include lines against the layer map.

The map (cmake/VskLayers.cmake; docs/architecture.md explains it) says which
subsystem folders each folder may include, and names the few edges against
the direction that the library's behaviour itself needs, unit by unit. The check fails when
  - a unit includes a folder its own folder may not use and no named edge
    allows it, or
  - headers include each other in a circle.
Usage: check_layers.py [repository root]
"""
import os
import re
import sys

def read_layer_map(root):
    """The map as cmake/VskLayers.cmake states it (the build compiles each
    folder against a view of the same map): the folders each folder may
    include, the named edges as (unit, header) pairs, and the frame's files."""
    with open(os.path.join(root, "cmake", "VskLayers.cmake"), encoding="utf-8") as source:
        text = source.read()
    allowed = {}
    for folder, listed in re.findall(r'set\(VSK_LAYER_([a-z]+) "([^"]*)"\)', text):
        allowed[folder] = set(filter(None, listed.split(";")))
    edges_block = re.search(r"set\(VSK_NAMED_EDGES(.*?)\)", text, re.S).group(1)
    edges = {tuple(edge.split("|")) for edge in re.findall(r'"([^"]+)"', edges_block)}
    frame = set(re.search(r"set\(VSK_FRAME ([^)]*)\)", text).group(1).split())
    return allowed, edges, frame


ALLOWED, NAMED_EDGES, FRAME = read_layer_map(os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))

INCLUDE = re.compile(r'^\s*#\s*include\s+"([a-z0-9_]+)/([^"]+)"', re.MULTILINE)


def units(root):
    # A folder's units and its internal headers (the tests' hooks).
    for folder in ALLOWED:
        for sub in ("", "/internal"):
            path = os.path.join(root, folder + sub)
            if not os.path.isdir(path):
                continue
            for name in sorted(os.listdir(path)):
                if name.endswith((".h", ".cpp")):
                    yield folder + sub + "/" + name


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
    global ALLOWED, NAMED_EDGES, FRAME
    ALLOWED, NAMED_EDGES, FRAME = read_layer_map(root)
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
