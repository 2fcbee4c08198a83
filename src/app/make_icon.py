#!/usr/bin/env python3
"""Draws the program icon (a yellow folder with a green tick) and writes ablagix.ico.

The icon is plain geometry, so it is generated rather than drawn by hand: run this script
again after changing a colour or a shape and commit the new ablagix.ico.
"""
import struct
import sys


def pixel(x, y, n):
    """RGBA of pixel (x, y) in an n x n icon; y grows downwards."""
    u, v = (x + 0.5) / n, (y + 0.5) / n
    # The tick: two thick strokes, drawn over the folder.
    def near(ax, ay, bx, by, width):
        dx, dy = bx - ax, by - ay
        t = max(0.0, min(1.0, ((u - ax) * dx + (v - ay) * dy) / (dx * dx + dy * dy)))
        px, py = ax + t * dx - u, ay + t * dy - v
        return px * px + py * py <= width * width
    if near(0.36, 0.60, 0.50, 0.76, 0.075) or near(0.50, 0.76, 0.86, 0.34, 0.075):
        return (30, 140, 60, 255)
    # The folder: a tab on the upper left and the body below it.
    if 0.06 <= u <= 0.44 and 0.16 <= v <= 0.30:
        return (214, 160, 40, 255)
    if 0.06 <= u <= 0.94 and 0.26 <= v <= 0.86:
        edge = u < 0.10 or u > 0.90 or v < 0.30 or v > 0.82
        return (190, 135, 25, 255) if edge else (250, 200, 70, 255)
    return (0, 0, 0, 0)


def image(n):
    rows = []
    for y in range(n - 1, -1, -1):  # BMP rows are stored bottom-up
        for x in range(n):
            r, g, b, a = pixel(x, y, n)
            rows.append(struct.pack("<BBBB", b, g, r, a))
    xor = b"".join(rows)
    mask_row = ((n + 31) // 32) * 4
    and_mask = bytes(mask_row * n)  # the alpha channel decides; the mask stays empty
    header = struct.pack("<IiiHHIIiiII", 40, n, 2 * n, 1, 32, 0, len(xor) + len(and_mask), 0, 0, 0, 0)
    return header + xor + and_mask


def main(path):
    sizes = [16, 24, 32, 48]
    images = [image(n) for n in sizes]
    out = struct.pack("<HHH", 0, 1, len(sizes))
    offset = 6 + 16 * len(sizes)
    for n, data in zip(sizes, images):
        out += struct.pack("<BBBBHHII", n, n, 0, 0, 1, 32, len(data), offset)
        offset += len(data)
    with open(path, "wb") as f:
        f.write(out + b"".join(images))


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else "ablagix.ico")
