"""Pictures that the tests of tnk are made of."""

import struct
import zlib

WIDTH, HEIGHT = 61, 37  # odd: every row has padding bits


def scene():
    """Rows of (red, green, blue): gradients with noise, from a generator of its own so that it never changes."""
    seed = 1
    rows = [[] for _ in range(HEIGHT)]
    for y in range(HEIGHT):
        for x in range(WIDTH):
            seed = (seed * 1103515245 + 12345) & 0x7FFFFFFF
            noise = (seed >> 16) % 32
            rows[y].append((min(255, x * 255 // WIDTH + noise), y * 255 // HEIGHT, (x * y + noise * 3) % 256))
    return rows


def pnm(kind, height, largest, samples):
    """A binary or text any-map; samples of more than a byte are big-endian."""
    head = b"P%d\n# a comment\n%d %d# another\n" % (kind, len(samples) // height // (3 if kind in (3, 6) else 1), height)
    head += b"%d\n" % largest if kind > 1 else b""
    if kind <= 3:
        return head + b" ".join(b"%d" % s for s in samples) + b"\n"
    return head + struct.pack(">%d%s" % (len(samples), "H" if largest > 255 else "B"), *samples)


def pam(kind, depth, largest, samples):
    """Of HEIGHT rows of samples of a byte."""
    head = f"P7\n# a comment\nTUPLTYPE {kind}\nDEPTH {depth}\nMAXVAL {largest}\nHEIGHT {HEIGHT}\nWIDTH {WIDTH}\nENDHDR\n"
    return head.encode() + samples


def chunk(kind, body):
    return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))


def png(bits, kind, rows, *chunks, interlaced=0):
    """A PNG of unfiltered rows of bytes, WIDTH pixels each; `chunks` stand before them. Interlaced pixels are whole bytes."""
    head = b"IHDR", struct.pack(">IIBBBBB", WIDTH, len(rows), bits, kind, 0, 0, int(interlaced > 0))
    if interlaced:  # by its bytes a pixel
        passes = (0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4), (0, 2, 2, 4), (1, 0, 2, 2), (0, 1, 1, 2)
        rows = [b"".join(row[x * interlaced : (x + 1) * interlaced] for x in range(left, WIDTH, right))
                for left, top, right, down in passes for row in rows[top::down]]
    # As some writers do, it says a window of 512 bytes, whatever its distances are.
    data = b"IDAT", b"\x18\x19" + zlib.compress(b"".join(b"\0" + row for row in rows))[2:]
    return b"\x89PNG\r\n\x1a\n" + b"".join(chunk(*parts) for parts in (head, *chunks, data, (b"IEND", b"")))


def bmp(height, bits, rows, palette=(), header=40, compression=0, masks=(), width=WIDTH, gap=0, offset=None):
    """A BMP whose rows stand in the order of the file; a negative height says that this is from the top."""
    table = b"".join(bytes(reversed(c)) + b"\0" * (header > 12) for c in palette)
    fields = struct.pack("<Ihh" if header == 12 else "<Iii", header, width, height) + struct.pack("<HH", 1, bits)
    if header > 12:
        compression = int.from_bytes(compression, "little") if isinstance(compression, bytes) else compression
        fields += struct.pack(f"<6I{len(masks)}I", compression, 0, 0, 0, len(palette), 0, *masks)
        fields = fields.ljust(header, b"\0")
    data = b"".join(row + b"\0" * (-len(row) % 4) for row in rows)
    start = 14 + len(fields) + len(table) + gap
    place = start if offset is None else offset
    return b"BM" + struct.pack("<III", start + len(data), 0, place) + fields + table + b"\xee" * gap + data


def packed(values, bits, order=">"):
    """A row of samples, the highest bit first."""
    if bits == 16:
        return struct.pack(f"{order}{len(values)}H", *values)
    row = "".join(f"{value:0{bits}b}" for value in values)
    row += "0" * (-len(row) % 8)
    return int(row, 2).to_bytes(len(row) // 8, "big")


def turned(data):
    """Bytes whose lowest bit comes first."""
    return bytes(int(f"{byte:08b}"[::-1], 2) for byte in data)


def tiff(height, bits, photometric, blocks, tags=(), samples=1, order="<", width=WIDTH):
    """A strip a row, or tiles where `tags` say their size, uncompressed; all numbers are of four bytes."""
    tags = {256: [width], 257: [height], 258: [bits] * samples, 262: [photometric], 277: [samples], 278: [1]} | dict(tags)
    data = b"".join(blocks) + b"\0" * (sum(map(len, blocks)) % 2)
    places = [8 + sum(map(len, blocks[:i])) for i in range(len(blocks))]
    tags |= dict(zip((324, 325) if 322 in tags else (273, 279), (places, list(map(len, blocks)))))
    entries, more, end = b"", b"", 8 + len(data) + 6 + 12 * len(tags)
    for tag, values in sorted(tags.items()):
        body = struct.pack(f"{order}{len(values)}I", *values)
        entries += struct.pack(order + "HHI", tag, 4, len(values))
        entries += body if len(values) == 1 else struct.pack(order + "I", end + len(more))
        more += body if len(values) > 1 else b""
    head = (b"II" if order == "<" else b"MM") + struct.pack(order + "HI", 42, 8 + len(data))
    return head + data + struct.pack(order + "H", len(tags)) + entries + bytes(4) + more


def exif(orientation, order=">", kind=3, count=1, entries=2, at=8):
    """A directory with the orientation as its second entry."""
    head = struct.pack(order + "2sHI", b"II" if order == "<" else b"MM", 42, at)
    tag = struct.pack(order + "HHIHH", 0x112, kind, count, orientation, 0)
    return head + struct.pack(order + "HHHII", entries, 0x10F, 4, 1, 7) + tag + bytes(4)


def with_exif(data, body):
    """A JPEG or PNG file with this data spliced in."""
    if data[:2] == b"\xff\xd8":
        return data[:2] + b"\xff\xe1" + struct.pack(">H", len(body) + 8) + b"Exif\0\0" + body + data[2:]
    return data[:33] + chunk(b"eXIf", body) + data[33:]


def palette(data):
    """The entries that a PNG or BMP file has."""
    if data[:2] == b"BM":
        entries = data[54 : 54 + 4 * struct.unpack_from("<I", data, 46)[0]]
        return [tuple(reversed(entries[i : i + 3])) for i in range(0, len(entries), 4)]
    start = data.index(b"PLTE") if b"PLTE" in data else 4
    entries = data[start + 4 : start + 4 + struct.unpack_from(">I", data, start - 4)[0]] if start > 4 else b""
    return list(zip(*[iter(entries)] * 3))


def samples16(data):
    """All samples of a PNG of one row of 16-bit channels."""
    raw = zlib.decompressobj().decompress(data[data.index(b"IDAT") + 4 :])
    assert data[20:25] == b"\0\0\0\1\x10"
    row, step = bytearray(), 2 * {0: 1, 2: 3, 6: 4}[data[25]]
    for i, value in enumerate(raw[1:]):
        left = row[i - step] if i >= step else 0
        row.append((value + (0, left, 0, left // 2, left)[raw[0]]) & 255)
    return list(struct.unpack(">%dH" % (len(row) // 2), row))
