"""Pictures and plain rules that the tests of tnk compare with."""

import struct
import zlib

WIDTH, HEIGHT = 61, 37  # odd: every row has padding bits


def scene(width=WIDTH, height=HEIGHT):
    """Rows of (red, green, blue): gradients with noise, from a generator of its own so that it never changes."""
    seed = 1
    rows = []
    for y in range(height):
        row = []
        for x in range(width):
            seed = (seed * 1103515245 + 12345) & 0x7FFFFFFF
            noise = (seed >> 16) % 32
            row.append((min(255, x * 255 // width + noise), y * 255 // height, (x * y + noise * 3) % 256))
        rows.append(row)
    return rows


def pnm(kind, width, height, largest, samples):
    """A binary or text any-map; samples of more than a byte are big-endian."""
    head = b"P%d\n# a comment\n%d %d\n" % (kind, width, height) + (b"" if kind in (1, 4) else b"%d\n" % largest)
    if kind <= 3:
        return head + b" ".join(b"%d" % s for s in samples) + b"\n"
    if kind == 4:
        out = b""
        for y in range(height):
            bits = "".join(str(s) for s in samples[y * width : (y + 1) * width]).ljust((width + 7) // 8 * 8, "0")
            out += int(bits, 2).to_bytes(len(bits) // 8, "big")
        return head + out
    return head + struct.pack(">%d%s" % (len(samples), "H" if largest > 255 else "B"), *samples)


def ppm(rows):
    return pnm(6, len(rows[0]), len(rows), 255, [c for row in rows for pixel in row for c in pixel])


def level(pixel):
    red, green, blue = pixel
    return (2 * red + 5 * green + blue + 4) >> 3


FOUR = [0, 85, 170, 255]
EIGHT = [0, 36, 73, 109, 146, 182, 219, 255]
SIXTEEN = [
    (0, 0, 0), (128, 0, 0), (0, 128, 0), (128, 128, 0), (0, 0, 128), (128, 0, 128), (0, 128, 128), (128, 128, 128),
    (192, 192, 192), (255, 0, 0), (0, 255, 0), (255, 255, 0), (0, 0, 255), (255, 0, 255), (0, 255, 255),
    (255, 255, 255),
]


def nearest_fixed(bits, pixel):
    """The colour that a pixel has after a reduction to the fixed palette without dithering."""
    r, g, b = pixel
    if bits == 1:
        return (255,) * 3 if level(pixel) >= 128 else (0,) * 3
    if bits == 2:
        return (FOUR[level(pixel) >> 6],) * 3
    if bits == 4:
        index = r >> 7 | g >> 7 << 1 | b >> 7 << 2
        return SIXTEEN[index + 8 if index else 0]
    red, green, blue = {3: (1, 1, 1), 5: (2, 2, 1), 6: (2, 2, 2), 7: (2, 3, 2), 8: (3, 3, 2)}[bits]
    levels = {1: [0, 255], 2: FOUR, 3: EIGHT}
    return tuple(levels[n][c >> 8 - n] for n, c in ((red, r), (green, g), (blue, b)))


def read_png(data):
    """Header fields and unfiltered rows: (width, height, bits a channel, colour type, rows of bytes)."""
    assert data[:8] == b"\x89PNG\r\n\x1a\n"
    at, packed, header = 8, b"", None
    while at < len(data):
        (length,) = struct.unpack_from(">I", data, at)
        kind, body = data[at + 4 : at + 8], data[at + 8 : at + 8 + length]
        assert zlib.crc32(kind + body) == struct.unpack_from(">I", data, at + 8 + length)[0], kind
        if kind == b"IHDR":
            header = struct.unpack(">IIBB", body[:10])
        packed += body if kind == b"IDAT" else b""
        at += 12 + length
    width, height, bits, kind = header
    channels = {0: 1, 2: 3, 3: 1, 6: 4}[kind]
    distance, row_bytes = max(1, channels * bits // 8), (width * channels * bits + 7) // 8
    raw, above, rows = zlib.decompress(packed), bytearray(row_bytes), []
    assert len(raw) == (row_bytes + 1) * height
    for y in range(height):
        start = y * (row_bytes + 1)
        row = bytearray(raw[start + 1 : start + 1 + row_bytes])
        for i in range(row_bytes):
            left, corner = (row[i - distance], above[i - distance]) if i >= distance else (0, 0)
            up = above[i]
            nearest = min((left, up, corner), key=lambda v: abs(left + up - corner - v))  # first wins
            row[i] = (row[i] + (0, left, up, (left + up) // 2, nearest)[raw[start]]) & 255
        rows.append(bytes(row))
        above = row
    return width, height, bits, kind, rows


def samples16(data):
    """All samples of a PNG of 16-bit channels."""
    width, height, bits, kind, rows = read_png(data)
    assert bits == 16
    return [s for row in rows for s in struct.unpack(">%dH" % (len(row) // 2), row)]
