#!/usr/bin/env python3
"""Writes the reference table of the full/relative path test.

For 10,000 generated (base, relative path) pairs the expected full path is
ntpath.normpath(ntpath.join(base, rel)); for 10,000 generated (base, path)
pairs the expected relative path is ntpath.relpath(path, base). Python's
ntpath does this on any host, so the table is made on the build machine.

The pairs keep out, by construction, the places where the library answers
differently on purpose (the test lists them too):
  - component names are all 4 characters long and never begin with ".", so no
    name is a case-insensitive prefix of another name, of "." or of "..";
  - relative paths and the second path of MakeRelPath never end in a
    separator (the library keeps a trailing separator);
  - no full result is a bare root (the library gives "C:" and "\\\\srv\\share"
    where ntpath gives "C:\\" and "\\\\srv\\share\\");
  - relative paths never begin with a separator or hold a drive (ntpath reads
    "\\x" as the drive's root, the library as relative to the base);
  - the inputs of MakeRelPath hold no "." or ".." (it does not resolve them);
  - every base is absolute (a base without root is an opaque prefix to the
    library, so ntpath's "." for an empty relative result never arises);
  - UNC roots have single separators between server and share.
Pairs on different drives or shares, for which ntpath.relpath raises
ValueError, are kept as kind "X": the library gives the path back whole with
"/" turned into "\\".

Lines: <kind> TAB <base> TAB <path> TAB <expected>, encoded in code page 932.
Usage: gen_path_table.py <output file>
"""

import ntpath
import random
import sys

SEED = 20240523
COUNT = 10000

ASCII = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-"
# Kanji and kana only: they have no case, in Python as in the C runtime. The
# first ones end in the byte 0x5C ('\') in code page 932.
DOUBLE_BYTE = "表ソ十能予申構貼日本語漢字あいう"
SEPARATORS = ["\\"] * 8 + ["/", "\\\\", "/\\", "//"]


def name(rng):
    """A component name of exactly 4 characters that does not begin with '.'."""
    chars = []
    for i in range(4):
        roll = rng.random()
        if roll < 0.2:
            chars.append(rng.choice(DOUBLE_BYTE))
        elif roll < 0.25 and i > 0:
            chars.append(rng.choice(". "))
        else:
            chars.append(rng.choice(ASCII))
    if chars[3] == " ":
        chars[3] = "x"
    return "".join(chars)


def recase(rng, text):
    """The same name with the case of some ASCII letters changed."""
    return "".join(c.swapcase() if c.isascii() and rng.random() < 0.5 else c for c in text)


def sep(rng):
    return rng.choice(SEPARATORS)


def single_sep(rng):
    return rng.choice(["\\", "\\", "/"])


def root(rng):
    if rng.random() < 0.8:
        return rng.choice("CDEcdXz") + ":" + single_sep(rng)
    server = "".join(rng.choice(ASCII) for _ in range(4))
    share = "".join(rng.choice(ASCII) for _ in range(4))
    s = single_sep(rng)
    return s + s + server + single_sep(rng) + share


def join_components(rng, start, components):
    text = start
    for component in components:
        if text and not text.endswith(("\\", "/")):
            text += sep(rng)
        text += component
    return text


def is_bare_root(path):
    return ntpath.splitdrive(path)[1] in ("", "\\")


def full_case(rng):
    while True:
        base = join_components(rng, root(rng), [name(rng) for _ in range(rng.randint(0, 6))])
        if rng.random() < 0.3:
            base += sep(rng)
        items = []
        for _ in range(rng.randint(0, 6)):
            roll = rng.random()
            items.append(name(rng) if roll < 0.6 else (".." if roll < 0.85 else "."))
        rel = ""
        for item in items:
            rel = item if not rel else rel + sep(rng) + item
        expected = ntpath.normpath(ntpath.join(base, rel))
        if not is_bare_root(expected):
            return "F", base, rel, expected


def other_root(rng, r):
    while True:
        candidate = root(rng)
        if ntpath.normcase(ntpath.splitdrive(candidate)[0]) != ntpath.normcase(ntpath.splitdrive(r)[0]):
            return candidate


def recased_root(rng, r):
    drive = ntpath.splitdrive(r)[0]
    if drive.endswith(":"):
        return recase(rng, drive) + single_sep(rng)
    return recase(rng, r).replace("/", single_sep(rng))


def rel_case(rng):
    base_root = root(rng)
    different = rng.random() < 0.1
    path_root = other_root(rng, base_root) if different else recased_root(rng, base_root)
    common = [name(rng) for _ in range(rng.randint(0, 4))]
    base_tail = [name(rng) for _ in range(rng.randint(0, 3))]
    # At least one component: a bare drive root would end in its separator.
    path_tail = [name(rng) for _ in range(rng.randint(0 if common else 1, 3))]
    if base_tail and path_tail:
        while base_tail[0].lower() == path_tail[0].lower():
            path_tail[0] = name(rng)
    base = join_components(rng, base_root, common + base_tail)
    if rng.random() < 0.3:
        base += sep(rng)
    path = join_components(rng, path_root, [recase(rng, c) for c in common] + path_tail)
    if different:
        try:
            ntpath.relpath(path, base)
        except ValueError:
            return "X", base, path, path.replace("/", "\\")
        raise AssertionError("ntpath found a relative form across roots: %r %r" % (base, path))
    return "R", base, path, ntpath.relpath(path, base)


def check_prefix_free(components):
    lowered = [c.lower() for c in components if c not in (".", "..")]
    for a in lowered:
        assert not a.startswith("."), a
        for b in lowered:
            assert a == b or not a.startswith(b), (a, b)


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: gen_path_table.py <output file>")
    rng = random.Random(SEED)
    rows = [full_case(rng) for _ in range(COUNT)] + [rel_case(rng) for _ in range(COUNT)]
    for kind, base, path, expected in rows:
        for text in (base, path, expected):
            assert "\t" not in text and "\n" not in text
        check_prefix_free([c for c in base.replace("/", "\\").split("\\") + path.replace("/", "\\").split("\\") if c])
        if kind in ("F", "R"):
            assert not path.endswith(("\\", "/")), path
    with open(sys.argv[1], "wb") as out:
        out.write(("# ntpath reference table, Python %s, seed %d\n" % (sys.version.split()[0], SEED)).encode("cp932"))
        for row in rows:
            out.write(("\t".join(row) + "\n").encode("cp932"))


if __name__ == "__main__":
    main()
