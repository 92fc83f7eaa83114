"""Checks the windowed demo's picture: every panel has painted something
below its title (more than one colour), so a panel left blank fails.

Usage: check_demo_screenshot.py <picture.bmp> <picture.bmp.panels> [--png <out.png>]
The picture is the demo's 24-bit BMP (bottom row first); the panel list has
one "name|left|top|right|bottom" line per panel. --png also writes the
picture as a PNG (for the README).
"""
import struct
import sys
import zlib

TITLE_HEIGHT = 20
INSET = 4


def read_bmp(path):
    with open(path, "rb") as source:
        data = source.read()
    if data[:2] != b"BM":
        raise SystemExit("%s is not a BMP file" % path)
    offset = struct.unpack_from("<I", data, 10)[0]
    width, height = struct.unpack_from("<ii", data, 18)
    bits = struct.unpack_from("<H", data, 28)[0]
    if bits != 24:
        raise SystemExit("%s has %d bits per pixel, not 24" % (path, bits))
    stride = (width * 3 + 3) & ~3
    rows = []
    for y in range(abs(height)):
        stored = height - 1 - y if height > 0 else y
        start = offset + stored * stride
        row = data[start:start + width * 3]
        rows.append([(row[x * 3 + 2], row[x * 3 + 1], row[x * 3]) for x in range(width)])
    return width, abs(height), rows


def write_png(path, width, height, rows):
    raw = b"".join(b"\0" + bytes(c for pixel in row for c in pixel) for row in rows)

    def chunk(kind, body):
        return (struct.pack(">I", len(body)) + kind + body
                + struct.pack(">I", zlib.crc32(kind + body) & 0xFFFFFFFF))

    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    with open(path, "wb") as out:
        out.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header)
                  + chunk(b"IDAT", zlib.compress(raw, 9)) + chunk(b"IEND", b""))


def main(args):
    if len(args) not in (2, 4) or (len(args) == 4 and args[2] != "--png"):
        raise SystemExit(__doc__)
    width, height, rows = read_bmp(args[0])
    failures = 0
    with open(args[1], encoding="utf-8") as panels:
        for line in panels:
            name, left, top, right, bottom = line.rstrip("\n").split("|")
            left, top, right, bottom = int(left), int(top), int(right), int(bottom)
            colours = set()
            for y in range(top + TITLE_HEIGHT + INSET, min(bottom - INSET, height)):
                colours.update(rows[y][max(left + INSET, 0):min(right - INSET, width)])
            painted = len(colours) > 1
            print("demo panel %-32s %5d colour(s) %s" % (name, len(colours), "painted" if painted else "BLANK"))
            failures += not painted
    if len(args) == 4:
        write_png(args[3], width, height, rows)
        print("wrote " + args[3])
    if failures:
        print("%d panel(s) of the demo stayed blank" % failures)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
