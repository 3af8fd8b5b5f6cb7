"""Drives the built program on small pictures.

    tnk_test.py [RUNNER] PROGRAM     (RUNNER starts a Windows program elsewhere)
"""

import hashlib
import json
import os
import pathlib
import random
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest

from PIL import Image, ImageChops, ImageCms, ImageOps, ImageStat, PngImagePlugin

import pictures
from pictures import HEIGHT, WIDTH

COMMAND = []
WINDOWS = False
SUPER = False  # the codec module is there
SMALL_JPEG = pathlib.Path(__file__).parent / "data" / "small.jpg"
GPL = b"GIMP Palette\nName: x\nColumns: 3\n# 1 2 3\n"


def distance(pixel, other):
    return sum((a - b) ** 2 for a, b in zip(pixel, other))


class ToolTest(unittest.TestCase):
    def setUp(self):
        self.place = pathlib.Path(tempfile.mkdtemp(prefix="tnk-"))
        self.addCleanup(shutil.rmtree, self.place, ignore_errors=True)
        self.pixels = [pixel for row in pictures.scene() for pixel in row]
        self.rgb = Image.frombytes("RGB", (WIDTH, HEIGHT), bytes(sum(self.pixels, ())))
        self.gray, self.rgba = self.rgb.getchannel(0), self.rgb.convert("RGBA")
        self.rgba.putalpha(self.rgb.getchannel(1))
        self.save("in.ppm", self.rgb)

    def write(self, name, data):
        (self.place / name).write_bytes(data)
        return name

    def read(self, name):
        return (self.place / name).read_bytes()

    def save(self, name, image, **options):
        image.save(self.place / name, **options)
        return name

    def image(self, name):
        with Image.open(self.place / name) as image:
            image.load()
        return image

    def same(self, name, expected, mode="RGB"):
        found, expected = self.image(name).convert(mode), expected.convert(mode)
        self.assertEqual((found.size, found.tobytes()), (expected.size, expected.tobytes()), name)

    def names(self):
        return sorted(p.name for p in self.place.iterdir())

    def tnk(self, *arguments, code=0, **options):
        done = subprocess.run([*COMMAND, *arguments], cwd=self.place, capture_output=True, timeout=240, **options)
        out, err = (text.decode().replace("\r\n", "\n") for text in (done.stdout, done.stderr))
        self.assertEqual(done.returncode, code, f"{arguments}\n{out}{err}")
        return out, err

    def convert(self, source, target, options="", **more):
        return self.tnk("convert", source, target, *options.split(), **more)

    def entries(self, source, *options):
        self.tnk("palette", source, "entries.gpl", *options)
        return [tuple(map(int, line.split()[:3])) for line in self.read("entries.gpl").splitlines()[4:]]

    def large(self):
        """A picture of several times the memory that --memory tiled allows."""
        rows = (bytes(sum(row, ())) * 16 for row in pictures.scene())
        return self.save("large.ppm", Image.frombytes("RGB", (16 * WIDTH, 32 * HEIGHT), b"".join(rows) * 32))


class Reading(ToolTest):
    def test_pictures_of_every_kind_keep_their_depth_and_palette(self):
        """Each picture as it is expected, and what it is without --bits: the mode of a result, or the colours of its palette."""
        few, gray, key = self.rgb.quantize(13), self.gray, self.pixels[7]
        ga = Image.merge("LA", (self.rgb.getchannel(1), gray))
        black = gray.point(lambda v: 255 * (v & 1)).convert("1")
        bits = [int(not v) for v in black.getdata()]
        holes = self.rgb.quantize(4)
        holes.putpalette(holes.getpalette()[:9] + [0, 0, 0])  # the last entry is not in the files
        three = [tuple(holes.getpalette()[3 * i : 3 * i + 3]) for i in range(3)]
        rows8 = [holes.tobytes()[y * WIDTH : (y + 1) * WIDTH] for y in range(HEIGHT)]
        rows4 = [bytes(a << 4 | b for a, b in zip(row[::2], row[1::2] + b"\0")) for row in rows8]
        words = [b"".join(struct.pack("<H", p[0] >> 3 << 10 | p[1] >> 3 << 5 | p[2] >> 3) for p in row) for row in pictures.scene()]
        keyed, keyed_gray, fifteen = self.rgb.convert("RGBA"), gray.convert("RGBA"), self.rgb.point(lambda v: v & 248 | v >> 5)
        keyed.putdata([(*p, 0 if p == key else 255) for p in self.pixels])
        keyed_gray.putalpha(gray.point(lambda v: 0 if v == key[0] else 255))
        few_key = self.image(self.save("fewkey.png", few, transparency=3)).convert("RGBA")
        rgb_rows = [bytes(sum(row, ())) for row in pictures.scene()]
        ink = self.save("ink.jpg", Image.merge("CMYK", [*self.rgb.split(), gray]), quality=95)
        jpegs = [self.save("fine.jpg", self.rgb, progressive=True, subsampling="4:2:0"), self.save("gray.jpg", gray), ink]
        for name, expected, kept in [
            *((name, self.image(name).convert("RGB"), "L" if name == "gray.jpg" else "RGB") for name in jpegs),
            (self.write("passes.png", pictures.png(8, 2, rgb_rows, interlaced=3)), self.rgb, "RGB"),
            (self.write("low.png", pictures.png(4, 0, [row[: (WIDTH + 1) // 2] for row in rgb_rows], (b"gAMA", b"\0\0\x40\0"))), None, "L"),
            (self.write("bits.pam", pictures.pam("BLACKANDWHITE", 1, 1, bytes(not b for b in bits))), black, "1"),
            (self.write("ga.pam", pictures.pam("GRAYSCALE_ALPHA", 2, 255, ga.tobytes())), ga, "RGBA"),
            (self.write("rgba.pam", pictures.pam("RGB_ALPHA", 4, 255, self.rgba.tobytes())), self.rgba, "RGBA"),
            *((self.save("rgb." + form, self.rgb), self.rgb, "RGB") for form in ("png", "bmp", "ppm")),
            (self.save("rgba.png", self.rgba), self.rgba, "RGBA"),
            (self.save("rgba.bmp", self.rgba), self.rgb, "RGB"),  # the writer has no mask for its alpha
            *((self.save("bits." + form, black), black, "1") for form in ("png", "bmp", "pbm")),
            *((self.save("gray." + form, gray), gray, "L") for form in ("png", "pgm")),
            (self.save("few.bmp", self.rgb.quantize(256)), self.rgb.quantize(256), 256), (self.save("few.png", few), few, 13),
            (self.save("ga.png", ga), ga, "RGBA"), (self.save("graykey.png", gray, transparency=key[0]), keyed_gray, "RGBA"),
            (self.save("key.png", self.rgb, transparency=key), keyed, "RGBA"), ("fewkey.png", few_key, "RGBA"),
            (self.write("holes.png", pictures.png(4, 3, rows4, (b"PLTE", bytes(sum(three, ()))))), holes, 4),
            (self.write("down.bmp", pictures.bmp(-HEIGHT, 8, rows8, three)), holes, 4),
            (self.write("core8.bmp", pictures.bmp(HEIGHT, 8, rows8[::-1], three, 12)), holes, 4),
            (self.write("core4.bmp", pictures.bmp(HEIGHT, 4, rows4[::-1], three, 12)), holes, 4),
            (self.write("words.bmp", pictures.bmp(-HEIGHT, 16, words)), fifteen, "RGB"),
            (self.write("text.pbm", pictures.pnm(1, HEIGHT, 1, bits)), black, "1"),
            (self.write("text.ppm", pictures.pnm(3, HEIGHT, 255, self.rgb.tobytes())), self.rgb, "RGB"),
        ]:
            expected = expected or self.image(name)
            has_palette = kept not in ("RGB", "RGBA") or name in ("ga.png", "ga.pam", "graykey.png", "fewkey.png")
            self.convert(name, "{bits}.png", "--bits " + "8,32" * has_palette + "32" * (not has_palette))
            self.same("32.png", expected, "RGBA")
            if has_palette:
                self.same("8.png", expected.convert("RGBA"))
            for out in ("out.png", "out.bmp"):
                self.convert(name, out)
                colors = pictures.palette(self.read(out))
                if name == "fewkey.png":  # the entry stays transparent where the format has a place for it
                    kept = 13 if out == "out.png" else "RGBA"
                if name == "low.png" and out == "out.bmp":
                    kept = 16
                self.assertEqual(len(colors) if isinstance(kept, int) else self.image(out).mode, kept, name)
                self.assertTrue(not name.startswith("core") or colors == [*three, (0, 0, 0)])
                if name == "words.bmp" and out == "out.bmp":  # the reader widens five bits in its own way
                    self.assertEqual(self.read(out)[54:54 + 122], words[-1])
                else:
                    self.same(out, expected, "RGBA")
        for name, plain in (("ga.png", ga.getchannel(0)), ("graykey.png", gray)):  # no alpha is wanted
            self.convert(name, "out.png", "--gray 8")
            self.same("out.png", plain, "L")

    def test_bmp_of_every_form(self):
        """Files as others write them, against Pillow; what it does not read against colours worked out here."""
        generator = random.Random(3)
        colors = [tuple(generator.randbytes(3)) for _ in range(256)]
        rows = {bits: [generator.randbytes((WIDTH * bits + 7) // 8) for _ in range(HEIGHT)] for bits in (1, 2, 4, 8, 16, 24, 32)}
        bgra, wide = (0xFF0000, 0xFF00, 0xFF, 0xFF000000), (0xF800, 0x7E0, 0x1F)
        runs = {8: b"\5\1\0\0\7\3\0\3\4\5\6\0\0\0\1\2\0\0\75\3\0\0\200\7\0\1", 4: b"\7\x12\0\4\x34\x56\0\0\1\x77\0\0\74\x89\0\0\2\x12\0\0\200\x67\0\1"}
        cases = [pictures.bmp(sign * HEIGHT, bits, rows[bits], colors[:1 << bits] if bits <= 8 else (), header)
                 for bits in (1, 4, 8, 24) for header in (12, 40, 64, 108, 124) for sign in (1, -1) if header > 12 or sign > 0]
        cases += [pictures.bmp(HEIGHT, bits, rows[bits], (), header, 3, masks)
                  for header in (40, 124) for bits, masks in ((16, wide), (16, (0x7C00, 0x3E0, 0x1F)), (32, bgra[:3]))]
        cases += [pictures.bmp(5, bits, [runs[bits]], colors[:1 << bits], compression=compression) for bits, compression in ((8, 1), (4, 2))]
        cases += [pictures.bmp(HEIGHT, 8, rows[8], colors, gap=9), pictures.bmp(HEIGHT, 8, rows[8], colors, offset=0),
                  pictures.bmp(HEIGHT, 32, rows[32], (), 124, 3, bgra)]
        for i, data in enumerate(cases):
            expected = self.image(self.write("in.bmp", data))
            self.convert("in.bmp", "out.png", "--bits 32")
            pairs = zip(expected.convert("RGBA").tobytes(), self.image("out.png").convert("RGBA").tobytes())
            rounded = struct.unpack_from("<H", data, 28)[0] == 16 and data[14] > 12
            self.assertLessEqual(max(abs(a - b) for a, b in pairs), int(rounded), i)  # Pillow rounds five bits down

        four = [colors[i] for row in rows[2] for i in [row[x // 4] >> 6 - x % 4 * 2 & 3 for x in range(WIDTH)]]
        nibbles = [struct.unpack("<%dH" % WIDTH, row) for row in rows[16]]
        ten = struct.pack("<I", 0x3FF << 20 | 512 << 10 | 1)
        cases = {"2": (pictures.bmp(-HEIGHT, 2, rows[2], colors[:4]), [(*c, 255) for c in four]),
                 "4444": (pictures.bmp(-HEIGHT, 16, rows[16], (), 56, 3, (0xF00, 0xF0, 0xF, 0xF000)),
                          [tuple((v >> s & 15) * 17 for s in (8, 4, 0, 12)) for row in nibbles for v in row]),
                 "alpha masks": (pictures.bmp(1, 32, [bytes((1, 2, 3, 4, 5, 6, 7, 0))], (), 40, 6, bgra, 2), [(3, 2, 1, 4), (7, 6, 5, 0)]),
                 "no alpha": (pictures.bmp(1, 32, [bytes((1, 2, 3, 0, 5, 6, 7, 0))], (), 108, 3, bgra, 2), [(3, 2, 1, 255), (7, 6, 5, 255)]),
                 "10": (pictures.bmp(1, 32, [ten], (), 40, 3, (0x3FF00000, 0xFFC00, 0x3FF), 1), [(255, 128, 0, 255)]),
                 "yuv": (pictures.bmp(1, 16, [bytes((50, 228, 200, 128))], compression=b"YUY2", width=2), [(50, 17, 227, 255), (200, 167, 255, 255)])}
        for name, (data, expected) in cases.items():
            self.write("in.bmp", data)
            self.convert("in.bmp", "out.png")
            self.assertEqual(list(self.image("out.png").convert("RGBA").getdata()), expected, name)
        self.convert(str(SMALL_JPEG), "small.png")
        for letters in (4, b"JPEG", b"MJPG", b"dmb1") if SUPER else ():
            self.write("in.bmp", pictures.bmp(32, 24, [SMALL_JPEG.read_bytes()], compression=letters, width=48))
            self.convert("in.bmp", "out.png")
            difference = ImageChops.difference(self.image("out.png"), self.image("small.png"))
            self.assertLess(max(high for _, high in difference.getextrema()), 8)  # the module has a decoder of its own

    def test_tiff_of_every_form(self):
        """As Pillow reads it, or where it does not, as the samples say."""
        few, gray16 = self.rgb.quantize(13), Image.frombytes("I;16", (WIDTH, HEIGHT), struct.pack(f"<{WIDTH * HEIGHT}H", *(p[0] * 251 for p in self.pixels)))
        ga = Image.merge("LA", (self.gray, self.rgb.getchannel(1)))
        for compression in ("raw", "tiff_lzw", "packbits", "tiff_adobe_deflate", "group3", "group4", "jpeg"):
            for image in (self.gray.convert("1"), self.gray, few, self.rgb, self.rgba, ga, self.rgb.convert("CMYK"), gray16):
                if (image.mode == "1" or "group" not in compression) and (image.mode in ("L", "RGB", "CMYK") or compression != "jpeg"):
                    self.save("in.tif", image, compression=compression, dpi=(300, 150))
                    self.convert("in.tif", "out.png")
                    mode = "I" if image is gray16 else "RGBA"
                    self.same("out.png", self.image("in.tif").convert("I" if image is gray16 else "RGBA" if "A" in image.mode else "RGB"), mode)
                    self.assertAlmostEqual(self.image("out.png").info["dpi"][1], 150, delta=0.1)

        samples, size = [p[0] * 257 for p in self.pixels], range(HEIGHT)
        for bits in (1, 2, 3, 4, 6, 8, 9, 12, 16):
            most, full = (1 << bits) - 1, 255 if bits <= 8 else 65535
            for white, order in ((0, "<"), (1, ">")):  # 1: zero is black
                values = [v >> 16 - bits for v in samples]
                rows = [pictures.packed(values[y * WIDTH : (y + 1) * WIDTH], bits, order) for y in size]
                turn = 2 if bits < 8 and white else 1
                self.write("in.tif", pictures.tiff(HEIGHT, bits, white, [pictures.turned(r) for r in rows] if turn == 2 else rows, {266: [turn], 274: [3]}, 1, order))
                self.convert("in.tif", "out.png")
                expected = [((v if white else most - v) * full * 2 + most) // (2 * most) for v in values]
                self.assertEqual(list(self.image("out.png").convert("L" if bits <= 8 else "I").getdata()), expected[::-1], (bits, white))

        # Planes, tiles over the edges, colours that alpha is multiplied into, colour maps of 8 bits.
        planes = [[min(p[c], p[1]) for p in self.pixels] for c in range(3)] + [[p[1] for p in self.pixels]]
        strips = [bytes(plane[y * WIDTH : (y + 1) * WIDTH]) for plane in planes for y in size]
        rows = [[tuple(plane[y * WIDTH + x] if x < WIDTH and y < HEIGHT else 9 for plane in planes) for x in range(64)] for y in range(32 * (HEIGHT // 32 + 1))]
        tiles = [[rows[y + j][x + i] for j in range(32) for i in range(32)] for y in range(0, len(rows), 32) for x in range(0, 64, 32)]
        square, whole = {322: [32], 323: [32]}, [tuple(plane[i] for plane in planes) for i in range(WIDTH * HEIGHT)]
        bright = [(*(min(v * 255 // p[3], 255) if p[3] else 0 for v in p[:3]), p[3]) for p in whole]
        colors = self.rgb.quantize(4).getpalette()[:12]
        for name, data, expected in (
                ("separate", pictures.tiff(HEIGHT, 8, 2, strips, {284: [2], 338: [2]}, 4), whole), ("associated", pictures.tiff(HEIGHT, 8, 2, strips, {284: [2], 338: [1]}, 4), bright),
                ("tiles", pictures.tiff(HEIGHT, 8, 2, [bytes(sum(tile, ())) for tile in tiles], {338: [2]} | square, 4), whole),
                ("tile planes", pictures.tiff(HEIGHT, 8, 2, [bytes(p[c] for p in tile) for c in range(4) for tile in tiles], {338: [2], 284: [2]} | square, 4), whole),
                ("inks", pictures.tiff(HEIGHT, 8, 5, strips, {284: [2]}, 4), [(*(((255 - v) * (255 - p[3]) + 127) // 255 for v in p[:3]), 255) for p in whole]),
                ("bit tiles", pictures.tiff(HEIGHT, 1, 0, [b"".join(pictures.packed([p[1] & 1 for p in tile[j * 32 : j * 32 + 32]], 1) for j in range(32)) for tile in tiles], square),
                 [(0, 0, 0, 255) if p[1] & 1 else (255,) * 4 for p in whole]),
                ("old map", pictures.tiff(HEIGHT, 2, 3, [pictures.packed([v & 3 for v in planes[1][y * WIDTH : (y + 1) * WIDTH]], 2) for y in size], {320: [*colors[::3], *colors[1::3], *colors[2::3]]}),
                 [(*colors[3 * (p[1] & 3) :][:3], 255) for p in whole])):
            self.write("in.tif", data)
            self.convert("in.tif", "out.png")
            self.assertEqual(list(self.image("out.png").convert("RGBA").getdata()), expected, name)

    def test_tiff_is_written_as_asked_for(self):
        codes = dict(zip(("none", "g3", "g4", "lzw", "jpeg", "deflate", "packbits"), (1, 3, 4, 5, 7, 8, 32773)))
        samples = [v * 257 - v % 3 for p in self.pixels[:WIDTH] for v in p]
        deep = self.write("deep.ppm", pictures.pnm(6, 1, 65535, samples))
        shallow = [self.save("bits.png", self.gray.convert("1"), dpi=(300, 300)), self.save("few.png", self.rgb.quantize(13)), self.save("gray.png", self.gray), "in.ppm"]
        for name in (*shallow, self.save("alpha.png", self.rgba), deep):
            for compression in ("", *codes):
                fax, lossy = compression in ("g3", "g4"), compression == "jpeg"
                possible = name == "bits.png" if fax else name in shallow if lossy else True
                _, err = self.convert(name, "out.tif", "--compression " * bool(compression) + compression, code=0 if possible else 1)
                if not possible:
                    self.assertIn("compression", err)
                    continue
                self.convert("out.tif", "again.png")
                self.assertLess(max(ImageStat.Stat(ImageChops.difference(*(self.image(n).convert("RGBA") for n in ("out.tif", "again.png")))).sum), 1)
                tags = self.image("out.tif").tag_v2
                self.assertEqual(tags[259], codes[compression or ("g4" if name == "bits.png" else "lzw")], (name, compression))
                self.assertEqual((tags[262] == 0, tags.get(282)), (fax or not compression and name == "bits.png", 300) if name == "bits.png" else (False, None))
                if not lossy and name != deep:
                    self.same("again.png", self.image(name), "RGBA")
        self.convert(deep, "out.tif")
        self.convert("out.tif", "again.png")
        self.assertEqual(pictures.samples16(self.read("again.png")), samples)
        # One file for all pages, the same bytes every time; --page takes one of them.
        for out in ("all.tif", "again.tif"):
            self.tnk("pages", *shallow, "--out", out, "--rotate", "90", "--jobs", "2")
        self.assertEqual(self.read("all.tif"), self.read("again.tif"))
        for page, name in enumerate(shallow, 1):
            self.convert("all.tif", "out.png", f"--page {page}")
            self.same("out.png", self.image(name).convert("RGB").transpose(Image.Transpose.ROTATE_270))
        self.assertIn("--compression goes", self.convert("in.ppm", "out.png", "--compression lzw", code=2)[1])

    def test_sixteen_bits_a_channel_stay_exact(self):
        color = [(x * 2711 + c * 17) & 0xFFFF for x in range(WIDTH) for c in range(3)]
        gray, key = color[::3], (b"tRNS", struct.pack(">3H", *color[6:9]))
        with_alpha = [s for i in range(WIDTH) for s in (*color[3 * i : 3 * i + 3], 65535)]
        cases = [(self.write("color.ppm", pictures.pnm(6, 1, 65535, color)), "--bits 48", color),
                 ("color.ppm", "--bits 64", with_alpha), ("color.ppm", "--bits 48 --order bgr", color),
                 (self.write("key.png", pictures.png(16, 2, [struct.pack(">183H", *color)], key)), "", [*with_alpha[:11], 0, *with_alpha[12:]]),
                 (self.write("gray.pgm", pictures.pnm(5, 1, 65535, gray)), "--gray 16", gray),
                 # Twelve bits stand in a file of sixteen, spread over its range.
                 ("gray.pgm", "--gray 12", [(g >> 4) * 65535 // 4095 for g in gray])]
        for largest, top in ((7, 255), (1000, 65535)):
            samples = [g % (largest + 1) for g in gray]
            scaled = [(s * top + largest // 2) // largest * (65535 // top) for s in samples]
            cases.append((self.write(f"{largest}.pgm", pictures.pnm(5, 1, largest, samples)), "--gray 16", scaled))
        for name, options, expected in cases:
            self.convert(name, "out.png", options)
            self.assertEqual(pictures.samples16(self.read("out.png")), expected, (name, options))

    def test_info_and_count(self):
        self.save("a.png", self.rgb, dpi=(300, 200))
        self.save("b.bmp", self.rgb.quantize(13))
        deep = [0x1234, 0x12FF, 0x12FF, 0x1299, 0x1200, 77, 0x1334] + [0] * 176  # alike in their high bytes
        self.write("c.pgm", pictures.pnm(5, 3, 65535, deep))
        self.write("d.ppm", pictures.pnm(6, 1, 65535, deep))
        self.convert("in.ppm", "f{bits}.bmp", "--bits 1,8")
        self.convert("in.ppm", "web.png", "--bits 8 --palette web")
        names = ["a.png", "b.bmp", str(SMALL_JPEG), "gone.png", "c.pgm", "f1.bmp", "f8.bmp", "web.png"]
        out, err = self.tnk("info", *names, code=1)
        distinct = len(set(self.pixels))
        for words in ("61 x 37 pixels/300 x 200 dots per inch/24 bits a pixel/24 bits (red first)/in memory/8 bits a pixel/colours of its own"
                      "/JPEG/240 x 120 dots per inch/1 of 16 bits: gray/2 colours: a ramp of grays/256 colours: the fixed palette of 8 bits"
                      f"/216 colours: the web palette/in use      {distinct} colours").split("/"):
            self.assertIn(words, out)
        self.assertRegex(err, r"^tnk: gone\.png: .+\n$")
        out, _ = self.tnk("count", "a.png", "b.bmp", "c.pgm", "d.ppm")
        counts = f"{distinct} colours/13 colours/7 grays/4 colours by the high bytes of the channels".split("/")
        self.assertEqual([line.split(": ")[1] for line in out.splitlines()], counts)
        self.assertRegex(self.tnk("info", self.large(), "--memory", "tiled")[0], r"in tiles: 4 of \d+ bytes, 2 in memory")
        self.assertIn("temporary file", self.tnk("info", "in.ppm", "--memory", "disk")[0])
        self.assertIn("in.ppm: only pictures of 1 bit", self.tnk("info", "in.ppm", "--memory", "compressed", code=1)[1])


class Writing(ToolTest):
    def test_how_each_depth_stands_in_a_file(self):
        self.save("in.png", self.rgba, dpi=(300, 200))
        for form in ("png", "bmp"):
            for depths in ("1,2,3,4,5,6,7,8", "16,24,32"):
                self.convert("in.png", "{bits}." + form, "--bits " + depths)
        for depth, layout in {1: (1, 0), 2: (2, 0), 3: (4, 3), 4: (4, 3), 5: (8, 3), 8: (8, 3), 16: (8, 2), 24: (8, 2), 32: (8, 6)}.items():
            data, image = self.read(f"{depth}.bmp"), self.image(f"{depth}.png")
            self.assertEqual(tuple(self.read(f"{depth}.png")[24:26]), layout)
            stored = depth if depth in (1, 16, 24, 32) else 4 if depth <= 4 else 8
            self.assertEqual([struct.unpack_from("<H", data, at)[0] for at in (2, 28, 46)],
                             [len(data) & 0xFFFF, stored, 1 << depth if depth <= 8 else 0])
            if depth != 16:
                self.same(f"{depth}.bmp", image, "RGBA")
            for info in (self.image(f"{depth}.bmp").info, image.info):
                self.assertEqual([round(v) for v in info["dpi"]], [300, 200])
        self.same("32.png", self.rgba, "RGBA")
        for header, size in (("info", 40), ("v4", 108), ("v5", 124)):
            for bits in (8, 32):
                self.convert("in.png", "h.bmp", f"--bits {bits} --bmp-header {header}")
                self.assertEqual(self.read("h.bmp")[14], size)
                self.same("h.bmp", self.image(f"{bits}.png"), "RGB" if header == "info" else "RGBA")
                self.convert("h.bmp", "back.png", "--bits 32")
                self.same("back.png", self.image("h.bmp"), "RGBA")
        self.convert("in.ppm", "none.png", "--bits 8 --colors 16")
        self.assertNotIn("dpi", self.image("none.png").info)
        self.same("none.png", self.image("4.bmp"))

    def test_formats_of_results(self):
        one, few, gray = self.gray.convert("1"), self.rgb.quantize(9), self.gray
        deep = Image.frombytes("I;16", (WIDTH, HEIGHT), random.Random(5).randbytes(2 * WIDTH * HEIGHT))
        for image in (one, few, gray, self.rgb, self.rgba, deep):
            source = self.save("source.png", image)
            for out, word in (("o.pbm", b"P4"), ("o.pgm", b"P5"), ("o.ppm", b"P6"), ("o.pnm", b""), ("o.pam", b"P7"), ("o.tif", b""), ("o.jpg", b"\xff\xd8")):
                gray_image, alpha = image in (one, gray, deep), image is self.rgba
                refused = {"o.pbm": image is not one, "o.pgm": not gray_image, "o.jpg": image not in (gray, self.rgb)}.get(out, False)
                refused |= alpha and out[2:4] in ("pb", "pg", "pp", "pn")
                _, err = self.convert(source, out, code=int(refused))
                if refused:
                    self.assertRegex(err, "use --(gray 8|bits 1|bits 24)")
                    continue
                self.assertTrue(self.read(out).startswith(word))
                if out != "o.jpg":
                    self.assertIn("equal", self.tnk("compare", source, out)[0], (out, image.mode))
                if out in ("o.pgm", "o.pnm") and image is not deep:
                    self.same(out, image)
        self.save("in.png", self.rgb, dpi=(300, 200))
        sizes = []
        for options in ("--quality 20", "--quality 89", "", "--quality 100", "--progressive", "--gray 8"):
            self.convert("in.png", "out.jpg", options)
            found = self.image("out.jpg")
            sizes.append(len(self.read("out.jpg")))
            if "100" in options:
                self.assertLess(max(ImageStat.Stat(ImageChops.difference(found, self.rgb)).mean), 3)
            self.assertEqual((found.info["dpi"], "progressive" in found.info, found.mode), ((300, 200), "prog" in options, "L" if "gray" in options else "RGB"))
        self.assertEqual(sizes[:4], sorted(sizes[:4]))
        for options in ("--bits 8", "--bits 32", "--gray 16"):
            self.assertIn("JPEG holds", self.convert("in.png", "none.jpg", options, code=2)[1])

    def test_standard_input_and_output(self):
        for form in ("png", "jpeg", "tiff", "bmp", "pnm", "pam"):
            self.convert("in.ppm", "out.dat", "--to " + form)
            done = subprocess.run([*COMMAND, "convert", "-", "-", "--to", form, "--verbose"], input=self.read("in.ppm"), cwd=self.place, capture_output=True)
            self.assertEqual((done.returncode, done.stdout), (0, self.read("out.dat")), done.stderr)
            self.assertIn(b"-: 61 x 37", done.stderr)
            back = subprocess.run([*COMMAND, "count", "-"], input=done.stdout, capture_output=True, check=True)
            self.assertIn(b"-: ", back.stdout)
        self.assertIn("needs --to", self.convert("in.ppm", "-", code=2)[1])

    def test_metadata(self):
        profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
        info, exif = PngImagePlugin.PngInfo(), Image.Exif()
        info.add_text("Title", "T\xe4st")
        info.add_itxt("XML:com.adobe.xmp", "<x/>")
        exif.update({0x112: 6, 0x131: "camera"})
        self.save("in.png", self.rgb, icc_profile=profile, exif=exif, pnginfo=info)
        for unit, dots in ((2, (300, 150)), (3, (762, 381))):  # a JPEG without a density of its own
            exif.update({0x11A: 300.0, 0x11B: 150.0, 0x128: unit})
            self.save("dots.jpg", self.rgb, exif=exif)
            self.convert("dots.jpg", "dots.png", "--keep-view --strip")
            self.assertEqual(tuple(round(dot) for dot in self.image("dots.png").info["dpi"]), dots)
        def carried(name):
            found = self.image(name)
            self.assertLess(self.read(name).count(b"eXIf"), 2)
            return found.info.get("icc_profile") == profile, dict(found.getexif()).get(0x131), dict(found.getexif()).get(0x112), b"<x/>" in self.read(name)

        for out, options, wanted, note in (
            ("o.png", "", (True, "camera", 1, True), ""), ("o.png", "--keep-view", (True, "camera", 6, True), ""),
            ("o.png", "--bits 8", (True, "camera", 1, True), ""), ("o.png", "--gray 8", (False, "camera", 1, True), "the colour profile of in.png is"),
            ("o.png", "--strip", (False, None, None, False), ""), ("o.jpg", "", (True, "camera", 1, True), "texts of in.png are"),
            ("o.jpg", "--keep-view --strip", (False, None, 6, False), ""), ("o.jpg", "--strip", (False, None, None, False), ""),
            ("o.bmp", "", (False, None, None, False), "the colour profile, EXIF data, XMP data and texts of in.png are"), ("o.bmp", "--strip", (False, None, None, False), "")):
            _, err = self.convert("in.png", out, options)
            self.assertEqual((carried(out), err), (wanted, f"tnk: note: {out}: {note} left out\n" * bool(note)), (out, options))
            if out == "o.png" and wanted[3]:
                self.assertEqual(self.image(out).text["Title"], "T\xe4st")
        self.convert("in.png", "o.jpg", "--keep-view")
        self.convert("o.jpg", "o.png")
        self.assertEqual(carried("o.png"), (True, "camera", 1, True))
        self.convert("in.png", "o.tif")
        self.assertEqual(self.image("o.tif").info["icc_profile"], profile)

    def test_every_target_writes_the_same_bytes(self):
        self.write("own.gpl", GPL + b"".join(b"%d %d %d\n" % (i * 5, 255 - i * 3, i * i % 256) for i in range(50)))
        total = hashlib.sha256()
        for options in ("in.ppm --bits 1,2,3,4,5,6,7,8 --dither all", "in.ppm --bits 8 --dither all --palette web",
                        "in.ppm --bits 6 --dither all --palette own.gpl", "in.ppm --bits 1,4,7 --dither all --gray 8",
                        "in.ppm --bits 1,4,7 --dither all --palette optimized", "in.ppm --bits 16,24,32", "{jpeg} --bits 8,24",
                        "in.ppm --rotate 7 --size 99x70 --shear 9", "in.ppm --bits 24,1 --rotate 7 --size 99x70 --filter bicubic",
                        "in.ppm {jpeg} --bits 3,8 --palette optimized --shared-palette --crop 1,1,50,50"):
            sources = [word.format(jpeg=SMALL_JPEG) if word == "{jpeg}" else word for word in options.split()]
            self.tnk("pages", *sources, "--out", "same-{page}-{bits}-{dither}.bmp")
            for path in sorted(self.place.glob("same-*")):
                total.update(path.name.encode() + path.read_bytes())
                path.unlink()
        self.assertEqual(total.hexdigest(), "fe76ed88a77b05b6efc9517716e4c1d15d5a8cf5d85792d6cec4fcc85cd6e697")

    def test_palettes_of_files(self):
        colors = [(0, 0, 0), (255, 255, 255), (200, 30, 40), (10, 20, 230), (250, 240, 20), (253, 240, 20)]
        lines = "".join("%3d %3d %3d\tname\n" % c for c in colors)
        riff = b"PAL data\x1c\0\0\0\0\3" + struct.pack("<H", 6) + b"".join(bytes((*c, 0)) for c in colors)
        for name in (self.write("a.gpl", GPL + lines.encode()),
                     self.write("b.pal", b"JASC-PAL\r\n0100\r\n6\r\n" + lines.replace("\n", "\r\n").encode()),
                     self.write("c.pal", b"RIFF" + struct.pack("<I", len(riff)) + riff),
                     self.write("d.act", bytes(sum(colors, ())).ljust(768, b"\0") + b"\0\6\xff\xff")):
            self.assertEqual(self.entries(name), colors, name)
        for options, choice in (("--bits 4 --palette a.gpl --dither none", colors), ("--bits 2 --palette a.gpl --dither none --colors 3", colors[:3]),
                                ("--bits 3 --gray 12 --dither none", [(255 * i // 7,) * 3 for i in range(8)])):
            self.convert("in.ppm", "out.bmp", options)
            pixels = self.image("out.bmp").convert("RGB").getdata()
            self.assertEqual(set(pixels), set(choice))
            sources = [((2 * p[0] + 5 * p[1] + p[2] + 4) >> 3,) * 3 for p in self.pixels] if "gray" in options else self.pixels
            for source, found in zip(sources, pixels):
                self.assertEqual(distance(source, found), min(distance(source, color) for color in choice), options)
        self.assertIn("a.gpl: 6 colours do not fit 2 bits", self.convert("in.ppm", "two.bmp", "--bits 2 --palette a.gpl", code=1)[1])
        # A palette that starts like the fixed one is dithered to by its rule, which may choose the fourth gray.
        self.write("three.gpl", GPL + b"0 0 0\n85 85 85\n170 170 170\n")
        for name in ("out.png", "out.bmp"):
            self.convert("in.ppm", name, "--bits 2 --palette three.gpl --dither ordered")
            self.assertEqual(set(self.image(name).convert("RGB").getdata()), {(v, v, v) for v in (0, 85, 170)})

    def test_palettes_from_pictures(self):
        own = self.save("own.png", self.rgb.quantize(37))
        for source, count in (("in.ppm", 20), (self.save("ramp.png", Image.linear_gradient("L")), 256), (own, 37), (own, 7)):
            colors = self.entries(source, "--colors", str(count))
            self.assertEqual(len(colors), count)
            shutil.copy(self.place / "entries.gpl", self.place / "first.gpl")
            for form in ("pal", "act", "png", "bmp"):
                self.tnk("palette", "first.gpl", "form." + form)
                self.assertEqual(self.entries("form." + form), colors, (source, form))
            self.assertEqual(self.read("form.act"), bytes(sum(colors, ())).ljust(768, b"\0") + struct.pack(">HH", count, 0xFFFF))
            swatches = self.image("form.png").convert("RGB")
            self.assertEqual([swatches.getpixel((i % min(count, 16) * 16 + 8, i // 16 * 16 + 8)) for i in range(count)], colors)
        self.assertEqual(self.entries("first.gpl", "--colors", "3"), colors[:3])
        self.assertEqual(self.entries(own), pictures.palette(self.read(own)))
        self.convert("in.ppm", "out.png", "--bits 8 --palette optimized --colors 20")
        best = pictures.palette(self.read("out.png"))
        self.assertEqual(best, self.entries("in.ppm", "--colors", "20"))
        self.convert("in.ppm", "out.png", "--bits 8 --palette prescribed --colors 20")
        widened = pictures.palette(self.read("out.png"))
        self.assertTrue(all(v % 8 == v >> 5 for entry in widened for v in entry) and widened != best)


class Working(ToolTest):
    def test_crop(self):
        for name in (self.save("a.png", self.rgba), self.save("b.png", self.rgb.quantize(9))):
            for left, top, width, height in ((5, 3, 40, 20), (-7, -9, 20, 30), (50, 30, 1000, 2147483647)):
                self.convert(name, "out.png", f"--crop {left},{top},{width},{height}")
                box = max(left, 0), max(top, 0), min(left + width, WIDTH), min(top + height, HEIGHT)
                self.same("out.png", self.image(name).crop(box), "RGBA")
            _, err = self.convert(name, "none.png", "--crop 0,-8,5,8", code=1)
            self.assertIn(name + ": the part to crop lies outside its 61 x 37 pixels", err)

    def test_steps_of_geometry_in_their_order(self):
        flip, mirror, left, half, right = (getattr(Image.Transpose, name) for name in (
            "FLIP_TOP_BOTTOM", "FLIP_LEFT_RIGHT", "ROTATE_90", "ROTATE_180", "ROTATE_270"))
        kinds = [self.save(f"{image.mode}.png", image) for image in (self.rgb, self.rgba, self.gray, self.rgb.quantize(9), self.gray.convert("1"))]
        cases = {"--flip": [flip], "--mirror": [mirror], "--rotate 90": [right], "--rotate -450.00": [left], "--rotate 180 --keep-size": [half],
                 "--flip --rotate 90": [flip, right], "--rotate 90 --flip": [right, flip], "--mirror --rotate 90 --rotate 270 --mirror": []}
        sizes = {"30x50": (30, 50), "183": (183, 111), "x111": (183, 111), "200%": (122, 74), "0.5%": (1, 1), "61x90": (61, 90)}
        for name in kinds:
            source = self.image(name)
            for options, steps in cases.items():
                expected = source.crop((5, 3, 45, 23))
                for step in steps:
                    expected = expected.transpose(step)
                self.convert(name, "out.png", "--crop 5,3,40,20 " + options)
                self.same("out.png", expected, "RGBA")
            for size, (width, height) in sizes.items():
                self.convert(name, "out.png", f"--filter nearest --size {size}")
                expected = source.convert("RGBA").resize((width, height))
                expected.putdata([source.convert("RGBA").getpixel((x * WIDTH // width, y * HEIGHT // height)) for y in range(height) for x in range(width)])
                self.same("out.png", expected, "RGBA")
        for box, size in {"30x90": (30, 18), "90x18": (30, 18), "99x99": (WIDTH, HEIGHT), "1x1": (1, 1)}.items():
            self.convert("in.ppm", "out.png", f"--fit {box}")
            self.assertEqual(self.image("out.png").size, size)

    def test_filters_and_backgrounds(self):
        def mean(image, other):
            return sum(ImageStat.Stat(ImageChops.difference(image, other)).mean)

        smooth = self.rgb.resize((366, 222), Image.Resampling.BICUBIC)
        for source in (smooth, smooth.convert("L")):
            self.save("smooth.png", source)
            for options in ("--size 200", "--size 800", "--rotate 7.25 --background gray", "--rotate -100.5 --keep-size"):
                for name in ("nearest", "linear", "bicubic"):
                    self.convert("smooth.png", name + ".png", f"{options} --filter {name}")
                self.convert("smooth.png", "out.png", options)
                self.assertEqual(self.read("out.png"), self.read("linear.png"))
                self.assertNotIn(self.read("nearest.png"), (self.read("linear.png"), self.read("bicubic.png")))
                found = self.image("bicubic.png")
                if options.startswith("--size"):
                    expected = source.resize(found.size, Image.Resampling.BOX if found.width == 200 else Image.Resampling.BICUBIC)
                else:
                    expand = "keep" not in options
                    expected = source.rotate(-float(options.split()[1]), Image.Resampling.BICUBIC, expand, fillcolor="#808080" if expand else "white")
                    self.assertTrue(all(abs(a - b) <= 2 for a, b in zip(found.size, expected.size)))
                    expected = expected.crop((0, 0, *found.size))
                self.assertLess(mean(found, expected), 12, (options, source.mode))

        # Palettes stay, and thin black lines, unless grays are asked for.
        few, line = self.rgb.quantize(9), Image.new("1", (WIDTH, HEIGHT), 1)
        line.paste(0, (0, 19, WIDTH, 20))
        self.save("few.png", few)
        self.save("line.png", line)
        for options in ("--size 30", "--rotate 30", "--size 90 --filter bicubic", "--shear 20 --background #ff0000"):
            self.convert("few.png", "out.png", options)
            self.assertEqual(pictures.palette(self.read("out.png")), pictures.palette(self.read("few.png")))
        for options, expected in (("", (0, 255)), ("--filter nearest", (255, 255)), ("--gray 8", (213, 255))):
            self.convert("line.png", "out.png", f"--size 10x6 {options}")
            low, high = self.image("out.png").convert("L").getextrema()
            self.assertTrue(abs(low - expected[0]) < 5 and high == expected[1], (options, low, high))

    def test_alpha_out_and_in(self):
        self.save("alpha.png", self.rgba)
        self.tnk("alpha", "alpha.png", "--out", "mask.png")
        self.same("mask.png", self.rgba.getchannel("A"), "L")
        self.convert("in.ppm", "whole.png", "--alpha mask.png")
        self.same("whole.png", self.rgba, "RGBA")
        self.write("gray.pgm", pictures.pnm(5, 1, 65535, [0, 0x1234, 0xFFFF]))
        self.save("bits.png", Image.frombytes("1", (3, 1), b"\x40"))
        self.convert("gray.pgm", "deep.png", "--alpha bits.png")
        self.assertEqual(pictures.samples16(self.read("deep.png"))[2::4], [0, 0x1234, 0xFFFF])
        self.assertEqual(pictures.samples16(self.read("deep.png"))[3::4], [0, 0xFFFF, 0])
        self.assertIn("no alpha channel", self.tnk("alpha", "in.ppm", "--out", "none.png", code=1)[1])
        self.assertIn("3 x 1 pixels", self.convert("in.ppm", "none.png", "--alpha bits.png", code=1)[1])
        self.convert("in.ppm", "none.png", "--alpha mask.png --bits 8", code=2)
        self.assertNotIn("none.png", self.names())

    def test_combining(self):
        self.save("over.png", self.rgba)
        small = self.save("small.png", self.rgb.crop((0, 0, 9, 7)))
        self.tnk("combine", "in.ppm", "over.png", "out.png")
        expected = Image.alpha_composite(self.rgb.convert("RGBA"), self.rgba).convert("RGB")
        self.assertLessEqual(max(high for _, high in ImageChops.difference(self.image("out.png"), expected).getextrema()), 1)
        for mode, rule in (("difference", ImageChops.difference), ("maximum", ImageChops.lighter), ("add", ImageChops.add)):
            whole = self.rgb.copy()
            whole.paste(rule(self.rgb.crop((5, 3, 14, 10)), self.image(small)), (5, 3))
            self.tnk("combine", "in.ppm", small, "out.png", "--mode", mode, "--at", "5,3")
            self.same("out.png", whole, "RGB")
        self.tnk("combine", "in.ppm", small, "out.png", "--mode", "copy", "--at", "-4,-3", "--channels", "gb")
        green = self.rgb.copy()
        green.paste(self.image(small).crop((4, 3, 9, 7)), (0, 0))
        self.same("out.png", Image.merge("RGB", [self.rgb.getchannel(0), *green.split()[1:]]), "RGB")
        bits = [self.save(f"{i}.png", self.rgb.getchannel(i).convert("1")) for i in range(2)]
        self.tnk("combine", *bits, "out.png", "--mode", "xor")
        self.same("out.png", ImageChops.logical_xor(*map(self.image, bits)), "1")
        self.save("gray.png", self.gray)
        self.tnk("combine", "gray.png", "in.ppm", "out.png")
        self.same("out.png", self.rgb, "RGB")
        self.assertIn("lies outside", self.tnk("combine", "in.ppm", small, "none.png", "--at", "999,0", code=1)[1])
        self.tnk("combine", "in.ppm", small, "none.png", "--channels", "X", code=2)
        self.assertNotIn("none.png", self.names())

    def test_warp(self):
        corners = f"{WIDTH},0,0,0,0,{HEIGHT},{WIDTH},{HEIGHT}"
        for options in ("", "--filter nearest"):
            self.tnk("warp", "in.ppm", "out.png", "--to", corners, *options.split())
            self.same("out.png", ImageOps.mirror(self.rgb), "RGB")
        self.tnk("warp", "in.ppm", "out.png", "--from", "2,3,12,3,12,9,2,9", "--size", "10x6")
        self.same("out.png", self.rgb.crop((2, 3, 12, 9)), "RGB")
        self.save("bits.png", self.gray.convert("1"))
        self.tnk("warp", "bits.png", "out.png", "--to", "2,2,9,2,9,9,2,9", "--filter", "nearest", "--background", "black")
        self.assertEqual((self.image("out.png").size, self.image("out.png").getpixel((0, 0))), ((9, 9), 0))
        self.assertEqual(self.image("out.png").mode, "1")
        for wrong in (["--to", "0,0,5,5,0,5,5,0"], [], ["--to", "-9,-9,-1,-9,-1,-1,-9,-1"]):
            self.tnk("warp", "in.ppm", "none.png", *wrong, code=2)
        self.assertNotIn("none.png", self.names())

    def test_scramble(self):
        self.save("palette.png", self.rgb.quantize(5))
        self.save("alpha.png", self.rgba)
        for name, mode in (("in.ppm", "RGB"), ("palette.png", "RGB"), ("alpha.png", "RGBA")):
            for source, out in ((name, "hidden.png"), ("hidden.png", "back.png")):
                self.tnk("scramble", source, out, "--rect", "3,2,20,15", "--key", "77")
            self.same("back.png", self.image(name), mode)
            hidden, clear = self.image("hidden.png").convert(mode), self.image(name).convert(mode)
            self.assertEqual(ImageChops.difference(hidden, clear).convert("RGB").getbbox(), (3, 2, 23, 17))

    def test_planes_out_and_in(self):
        self.save("gray.png", self.gray)
        self.tnk("planes", "gray.png", "--out", "p{plane}.png")
        for plane in range(8):
            self.same(f"p{plane}.png", self.gray.point(lambda v, plane=plane: 255 * (v >> plane & 1)), "L")
        self.save("mark.bmp", ImageOps.flip(self.gray))
        self.tnk("planes", "gray.png", "--out", "out.png", "--put", "0=mark.bmp", "--put", "6=p7.png", "--memory", "tiled")
        marks, grays = ImageOps.flip(self.gray).getdata(), self.gray.getdata()
        self.assertEqual(list(self.image("out.png").getdata()), [v & 0xBE | v >> 1 & 0x40 | (m > 127) for v, m in zip(grays, marks)])
        self.write("deep.pgm", pictures.pnm(5, 1, 65535, [0x8000, 0x7FFF, 0x1234]))
        self.tnk("planes", "deep.pgm", "--out", "deep.png", "--planes", "15")
        self.assertEqual(list(self.image("deep.png").convert("L").getdata()), [255, 0, 0])
        self.save("bit.png", Image.frombytes("1", (3, 1), b"\x60"))
        self.tnk("planes", "deep.pgm", "--out", "back.png", "--put", "15=bit.png")
        self.assertEqual(pictures.samples16(self.read("back.png")), [0, 0xFFFF, 0x9234])
        self.tnk("planes", "in.ppm", "--gray", "12", "--out", "top.png", "--planes", "11")
        self.assertIn("--gray", self.tnk("planes", "in.ppm", "--out", "none{plane}.png", code=1)[1])
        self.assertIn("planes 0 to 7", self.tnk("planes", "gray.png", "--out", "none.png", "--planes", "8", code=1)[1])
        self.assertIn("3 x 1 pixels", self.tnk("planes", "gray.png", "--out", "none.png", "--put", "1=bit.png", code=1)[1])
        for options in ("--out none.png", "--out none.png --put x=bit.png", "--out none.png --put 0=p0.png --planes 3"):
            self.tnk("planes", "gray.png", *options.split(), code=2)
        self.assertFalse([name for name in self.names() if name.startswith("none")])

    def test_threshold(self):
        def level_by_otsu(grays):  # the variance between the classes, as a fraction
            split = lambda at: ([v for v in grays if v < at], [v for v in grays if v >= at])
            sides = [(at, *split(at)) for at in sorted(set(grays))[1:]]
            return max(sides, key=lambda s: (len(s[1]) * len(s[2]) * (sum(s[1]) / len(s[1]) - sum(s[2]) / len(s[2])) ** 2, -s[0]))[0] if sides else 128

        self.write("deep.pgm", pictures.pnm(5, HEIGHT, 65535, [257 * v for v in self.gray.getdata()]))
        names = [self.save("few.png", self.rgb.quantize(9)), self.save("rgba.png", self.rgba), self.save("gray.png", self.gray.point(lambda v: v // 3 + 90)),
                 self.save("bits.png", self.gray.convert("1")), self.save("flat.png", self.gray.point(lambda v: 130))]
        for name in ("in.ppm", "deep.pgm", *names):
            source = self.gray if name == "deep.pgm" else self.image(name).convert("RGB")
            grays = [v if name == "deep.pgm" else (2 * v[0] + 5 * v[1] + v[2] + 4) >> 3 for v in source.getdata()]
            best = level_by_otsu(grays)
            for text, options in (("auto", ""), ("auto", " --gray 8 --memory tiled"), ("1", ""), ("117", " --memory compressed"), ("255", "")):
                told, _ = self.convert(name, "out.png", f"--bits 1 --verbose --threshold {text}{options}")
                level = int(text) if text != "auto" else int(told.split("threshold ")[1].split(",")[0])
                if text == "auto":  # levels between two that occur part the same pixels
                    self.assertEqual([v >= level for v in grays], [v >= best for v in grays], (name, level, best))
                self.assertEqual([v // 255 for v in self.image("out.png").getdata()], [int(v >= level) for v in grays], (name, text))

    def test_pictures_with_alpha_over_a_background(self):
        few = self.image(self.save("few.png", self.rgb.quantize(13), transparency=3)).convert("RGBA")
        gray = Image.merge("LA", (self.rgb.getchannel(1), self.gray))
        self.write("turned.png", pictures.with_exif(self.read(self.save("a.png", self.rgba.transpose(Image.Transpose.ROTATE_90))), pictures.exif(6)))
        self.save("mask.png", self.gray)
        masked = self.rgb.convert("RGBA")
        masked.putalpha(self.gray)
        for name, image, options in ((self.save("rgba.png", self.rgba), self.rgba, ""), ("few.png", few, ""), (self.save("gray.png", gray), gray.convert("RGBA"), ""),
                                     ("turned.png", self.rgba, "--memory tiled"), ("in.ppm", masked, "--alpha mask.png"), ("in.ppm", self.rgb.convert("RGBA"), ""),
                                     ("turned.png", self.rgba.transpose(Image.Transpose.ROTATE_90), "--keep-view")):
            for color in ("#208040", "white"):
                self.convert(name, "out.png", f"--background {color} {options}")
                expected = Image.alpha_composite(Image.new("RGBA", image.size, color), image).convert("RGB")
                found = self.image("out.png")
                self.assertEqual(found.mode, "L" if (name, color) == ("gray.png", "white") else "RGB")
                self.assertLessEqual(max(high for _, high in ImageChops.difference(found.convert("RGB"), expected).getextrema()), 1, (name, color))
                self.convert(name, "flat.png", f"--background {color} --rotate 30 --bits 32 {options}")
                self.assertEqual(self.image("flat.png").getpixel((0, 0))[3], 255)
                self.convert("out.png", "direct.png", "--bits 4")
                self.convert(name, "flat.png", f"--background {color} --bits 4 {options}")
                if "--keep-view" not in options and name != "in.ppm":
                    self.same("flat.png", self.image("direct.png"))
        deep = [(i * 2711 + i % 4 * 17) & 0xFFFF for i in range(4 * WIDTH)]
        self.write("deep.png", pictures.png(16, 6, [struct.pack(">%dH" % len(deep), *deep)]))
        self.convert("deep.png", "out.png", "--background #208040")
        for i, found in enumerate(pictures.samples16(self.read("out.png"))):
            alpha, ground = deep[i // 3 * 4 + 3], (0x2020, 0x8080, 0x4040)[i % 3]
            self.assertLessEqual(abs(found - (deep[i // 3 * 4 + i % 3] * alpha + ground * (65535 - alpha)) / 65535), 1)

    def test_compare(self):
        self.save("rgba.png", self.rgba)
        self.save("gray.png", self.gray)
        self.write("deep.pgm", pictures.pnm(5, HEIGHT, 65535, [257 * v + (i == 70) for i, v in enumerate(self.gray.getdata())]))
        other = self.rgb.copy()
        other.putpixel((9, 2), tuple(v ^ 21 for v in self.rgb.getpixel((9, 2))))
        other.putpixel((3, 7), (0, 0, 0))
        turned = pictures.with_exif(self.read(self.save("turned.png", other.transpose(Image.Transpose.ROTATE_90))), pictures.exif(6))
        self.write("turned.png", turned)
        self.save("few.png", self.rgb.quantize(9))
        holes = self.save("holes.png", self.rgb.quantize(9), transparency=3)
        colors = self.save("colors.png", self.gray.convert("RGB"))
        small = self.save("small.bmp", self.rgb.crop((0, 0, 9, 9)))
        for a, b, mode, options in (("in.ppm", "turned.png", "RGB", ""), ("few.png", "in.ppm", "RGB", "--tolerance 40 --memory tiled"), ("gray.png", "in.ppm", "RGB", ""),
                                    ("rgba.png", "in.ppm", "RGBA", ""), ("in.ppm", "rgba.png", "RGBA", "--tolerance 255"), (holes, "in.ppm", "RGBA", ""), ("gray.png", colors, "RGB", "")):
            sides = [(other if name == "turned.png" else self.image(name)).convert(mode) for name in (a, b)]
            limit = int(options.split()[1]) if options else 0
            found = [[abs(v - w) for v, w in zip(p, q)] for p, q in zip(*(side.getdata() for side in sides))]
            places = [i for i, values in enumerate(found) if max(values) > limit]
            [told] = json.loads(self.tnk("compare", a, b, "--json", *options.split(), code=int(bool(places)))[0])
            self.assertEqual([told[key] for key in ("equal", "bits", "pixels", "pixelsDifferent", "first", "tolerance")],
                             [not places, 8, len(found), len(places), {"x": places[0] % WIDTH, "y": places[0] // WIDTH} if places else None, limit], (a, b))
            for i, channel in enumerate(told["differences"]):
                values = [value[i] for value in found]
                self.assertEqual((channel["name"], channel["largest"]), (("red", "green", "blue", "alpha")[i], max(values)))
                self.assertAlmostEqual(channel["mean"], sum(values) / len(values))
            self.assertEqual(len(told["differences"]), len(mode))
        [told] = json.loads(self.tnk("compare", "gray.png", "deep.pgm", "--json", code=1)[0])
        self.assertEqual((told["bits"], told["first"], told["differences"]), (16, {"x": 70 - WIDTH, "y": 1}, [{"name": "gray", "largest": 1, "mean": 1 / (WIDTH * HEIGHT)}]))
        self.assertEqual((told["b"]["file"], told["b"]["bitsPerPixel"], told["b"]["width"]), ("deep.pgm", 16, WIDTH))
        self.assertIn("equal within 1 of 65535\n  gray    largest 1, mean", self.tnk("compare", "gray.png", "deep.pgm", "--tolerance", "1")[0])
        self.assertIn("2 of 2257 pixels (0.0886 %), the first at 9,2", self.tnk("compare", "in.ppm", "turned.png", code=1)[0])
        self.assertIn("different: the sizes", self.tnk("compare", "in.ppm", small, code=1)[0])
        pages = self.save("pages.tif", self.rgb, save_all=True, append_images=[self.gray, self.rgba])
        less = self.save("less.tif", self.rgb, save_all=True, append_images=[other])
        told = json.loads(self.tnk("compare", pages, less, "--json", code=1)[0])
        self.assertEqual([(page["page"], page["equal"], page["b"] and page["b"]["file"]) for page in told], [(1, True, less), (2, False, less), (3, False, None)])
        self.assertTrue(self.tnk("compare", pages, less, code=1)[0].endswith("different: pages.tif has 3 pages, less.tif has 2\n"))
        self.assertEqual(self.tnk("compare", pages, pages)[0].count("equal\n"), 3)
        for arguments in (("in.ppm", "gone.png"), ("in.ppm",), ("in.ppm", "in.ppm", "--tolerance", "-1")):
            self.assertIn("tnk: ", self.tnk("compare", *arguments, code=2)[1])

    def test_info_as_json(self):
        turned = self.write("żółw ☃.png", pictures.with_exif(self.read(self.save("a.png", self.rgba, dpi=(300, 200))), pictures.exif(6)))
        few = self.save("few.png", self.rgb.quantize(13))
        self.write("deep.pgm", pictures.pnm(5, 1, 65535, [0, 700, 65535]))
        names = ["gone.png", turned, few, "deep.pgm", self.write("bad.bmp", b"BM"), self.save("pages.tif", self.rgb, save_all=True, append_images=[self.gray, self.rgba])]
        odd = [] if WINDOWS or os.name != "posix" else [b'"\\\n.ppm', b"\xff\xc3.ppm"]
        for name in odd:
            shutil.copy(self.place / "in.ppm", os.fsencode(self.place) + b"/" + name)
        out, err = self.tnk("info", "--json", *names, *odd, code=1)
        told = json.loads(out)
        self.assertEqual((err, [entry["file"] for entry in told]), ("", [*names, *[name.decode(errors="replace") for name in odd]]))
        self.assertEqual([list(entry) for entry in told if "error" in entry], [["file", "error"]] * 2)
        self.assertIn("o such file", told[0]["error"])
        keys = "format pages width height orientation seenWidth seenHeight bitsPerPixel channels bitsPerChannel resolution palette colorsInUse".split()
        rgba, colors = ["red", "green", "blue", "alpha"], len(set(self.pixels))
        for i, values in {1: ("PNG", 1, 61, 37, 6, 37, 61, 32, rgba, 8, {"x": 300, "y": 200}, None, colors),
                          2: ("PNG", 1, 61, 37, None, 61, 37, 4, rgba[:3], 8, None, {"colors": 13, "kind": "colours of its own"}, 13),
                          3: ("PNM", 1, 3, 1, None, 3, 1, 16, ["gray"], 16, None, None, 3),
                          5: ("TIFF", 3, 61, 37, None, 61, 37, 24, rgba[:3], 8, None, None, colors)}.items():
            self.assertEqual([told[i][key] for key in keys], list(values), names[i])
        [second] = json.loads(self.tnk("info", "--json", "--page", "2", "pages.tif")[0])
        self.assertEqual([second[key] for key in ("pages", "page", "channels")], [3, 2, ["gray"]])
        self.assertIn("pages       3; this is page 3", self.tnk("info", "--page", "3", "pages.tif")[0])
        self.assertIn("has 3 pages, not 4", self.tnk("info", "--page", "4", "pages.tif", code=1)[1])
        large = json.loads(self.tnk("info", self.large(), "--json", "--memory", "tiled")[0])[0]["bitmap"]
        self.assertEqual((large["memory"], large["bytesPerRow"], large["order"]), ("tiled", 16 * WIDTH * 3, "rgb"))
        self.assertGreaterEqual(large["tiles"]["count"] * large["tiles"]["bytes"], 32 * HEIGHT * large["bytesPerRow"])

    def test_shear(self):
        for options, turn in (("--shear 20", None), ("--shear 20 --vertical", Image.Transpose.TRANSPOSE)):
            self.save("in.png", self.rgb.transpose(turn) if turn else self.rgb)
            self.convert("in.png", "out.png", options + " --background #102030")
            found = self.image("out.png").transpose(turn) if turn else self.image("out.png")
            self.assertEqual(found.height, HEIGHT)
            self.assertLess(abs(found.width - WIDTH - HEIGHT * 0.364), 2)
            starts = []
            for y in range(HEIGHT):
                row = [found.getpixel((x, y)) for x in range(found.width)]
                start = next(x for x, pixel in enumerate(row) if pixel != (16, 32, 48))
                self.assertEqual(row[start : start + WIDTH], self.pixels[y * WIDTH : (y + 1) * WIDTH])
                starts.append(start)
            self.assertEqual((starts, min(starts)), (sorted(starts, reverse=bool(turn)), 0))

    def test_orientation(self):
        turns = [None, None, *(getattr(Image.Transpose, name) for name in (
            "FLIP_LEFT_RIGHT", "ROTATE_180", "FLIP_TOP_BOTTOM", "TRANSPOSE", "ROTATE_270", "TRANSVERSE", "ROTATE_90"))]
        plain, jpeg = self.read(self.save("plain.png", self.rgb, dpi=(300, 200))), SMALL_JPEG.read_bytes()
        self.tnk("convert", str(SMALL_JPEG), "jpeg.png")
        for view in range(1, 9):
            self.write("in.png", pictures.with_exif(plain, pictures.exif(view, "<>"[view % 2])))
            self.write("in.jpg", pictures.with_exif(jpeg, pictures.exif(view, "><"[view % 2])))
            upright = {name: image.transpose(turns[view]) if view > 1 else image
                       for name, image in (("in.png", self.rgb), ("in.jpg", self.image("jpeg.png")))}
            for name, expected in upright.items():
                box = 2, 3, expected.width - 4, expected.height - 9
                for options, want in (("", expected), ("--keep-view --auto-orient", expected), ("--crop 2,3,%d,%d" % (box[2] - 2, box[3] - 3), expected.crop(box)),
                                      ("--bits 24 --flip --rotate 90", expected.transpose(turns[4]).transpose(turns[6]))):
                    self.convert(name, "out.png", options)
                    self.same("out.png", want)
                    self.assertEqual(self.image("out.png").getexif().get(0x112), 1)
                    if "--auto" not in options:
                        self.convert(name, "out.png", options + " --keep-view")
                        kept = ImageOps.exif_transpose(self.image("out.png"))
                        self.assertEqual((kept.size, kept.tobytes()), (want.size, want.tobytes()), (name, options, view))
            words = ["upright", "mirrored", "upside down", "flipped", "on its side and", "on its side: a quarter turn clock", "the first", "counter"][view - 1]
            self.assertRegex(self.tnk("info", "in.png")[0], rf"61 x 37 pixels{', seen as 37 x 61' * (view > 4)}\n  orientation .*{words}")
        self.convert("in.png", "out.png")
        self.assertEqual([round(v) for v in self.image("out.png").info["dpi"]], [200, 300])
        self.assertIn("note: out.bmp", self.convert("in.png", "out.bmp", "--keep-view")[1])
        self.same("out.bmp", self.rgb)

        # Data that is not sound says nothing.
        good = pictures.exif(6)
        bad = [good[:cut] for cut in (0, 7, 9, 20, 33)] + [pictures.exif(*values) for values in (
            (0,), (9,), (6, ">", 4), (6, ">", 3, 2), (6, ">", 3, 1, 0xFFFF), (6, ">", 3, 1, 2, 0xFFFFFFF0), (6, ">", 3, 1, 2, len(good) - 1))] + [b"XX" + good[2:]]
        names = [self.write(f"{i}{form}", pictures.with_exif(data, body)) for i, body in enumerate(bad) for form, data in ((".png", plain), (".jpg", jpeg))]
        self.assertEqual(self.tnk("info", *names)[0].count("orientation not in the file"), len(names))

    def test_files_are_the_same_wherever_bitmaps_are_held(self):
        self.save("page.png", self.image(self.large()).convert("1"))
        held = {"plain": "in memory", "disk": "in a temporary file", "tiled": r"in tiles: \d+ of \d+ bytes",
                "compressed": r"bytes compressed, \d+\.\d % of plain rows", "super": ", (1|8|24) bits?,.* super-compressed"}
        files = {}
        for kind, words in held.items():
            missing = kind == "super" and not SUPER
            out, err = self.convert("large.ppm", "{bits}.bmp", f"--bits {'1' if kind == 'compressed' else '1,8,24'} --crop 3,5,970,1170 "
                                    f"--verbose --memory {kind}", code=missing)
            self.assertTrue(not missing or "large.ppm: super-compression needs the codec module TFCMP15U" in err)
            for source, options in (("page.png", "--bits 1 --flip --rotate 90 --mirror --size 70% --shear 9 --rotate 7 --rotate 180 --fit 400x900"),
                                    ("large.ppm", "--bits 24 --flip --rotate 90 --mirror --size 70% --shear 9 --rotate 7 --size x650")):
                if not missing and (kind != "compressed" or source == "page.png"):
                    out += self.convert(source, source[:4] + ".bmp", f"{options} --verbose --memory {kind}")[0]
            for line in out.splitlines():
                self.assertRegex(line, words)
                name = line.split(":")[0]
                self.assertEqual(self.read(name), files.setdefault(name, self.read(name)), kind)

    def test_pages(self):
        for i, image in enumerate((self.rgb, self.gray, self.rgb.quantize(9)), 1):
            self.save(f"{i}.png", image.crop((0, 0, 30 + i, 20 + i)))
        for options in ("--crop 2,2,31,99 --gray 8 --bits 2,8 --dither stucki", "--bits 4", ""):
            self.tnk("pages", "1.png", "2.png", "3.png", "--out", "p{page}-{bits}.png", "--select", "3,1-2", "--jobs", str(1 + len(options) % 3), *options.split())
            for page, source in enumerate("312", 1):
                self.convert(source + ".png", "one-{bits}.png", options)
                for path in list(self.place.glob("one*")):
                    self.assertEqual(self.read(path.name.replace("one", f"p{page}")), path.read_bytes())
                    path.unlink()
        self.tnk("pages", *["1.png"] * 10, "--out", "many{page}.bmp")
        self.assertEqual([n for n in self.names() if n.startswith("many")], [f"many{i:02}.bmp" for i in range(1, 11)])

        # One that fails, wherever it does, is told, and the rest is there; with one palette for all none is.
        self.write("bad.png", self.read("1.png")[:-20])
        (self.place / "folder2.png").mkdir()
        before = self.names()
        for file, target, options, words in (("bad.png", "all{page}.png", "", "bad.png: "), ("gone.png", "all{page}.png", "--bits 8", "gone.png: "),
                                             ("1.png", "all{page}.png", "--crop 31,6,9,9", "1.png: the part"), ("2.png", "folder{page}.png", "", "folder2.png: ")):
            for jobs in ("1", "3"):
                rest = [target.replace("{page}", page) for page in "13"]
                self.assertIn(words, self.tnk("pages", "2.png", file, "3.png", "--out", target, "--jobs", jobs, *options.split(), code=1)[1])
                self.assertEqual(self.names(), sorted(before + rest))
                for name in rest:
                    (self.place / name).unlink()
            self.assertIn(words, self.tnk("pages", "2.png", file, "--out", target, *options.replace("--bits 8", "").split(), "--bits", "8", "--palette", "optimized", "--shared-palette", code=1)[1])
            self.assertEqual(self.names(), before)

        # Results may replace pictures that are still to be read, and those that must not are kept.
        (self.place / "sub").mkdir()
        shutil.copy(self.place / "2.png", self.place / "sub" / "1.png")
        images = {page: self.image(page + ".png") for page in "123"}
        for jobs in ("1", "2"):
            self.tnk("pages", "./1.png", "2.png", "3.png", "--out", "{page}.png", "--select", "3,1-2", "--mirror", "--jobs", jobs)
            images = {page: ImageOps.mirror(images[old]) for page, old in zip("123", "312")}
            for page, image in images.items():
                self.same(page + ".png", image)
        self.tnk("pages", "1.png", "2.png", "--out", "{name}.png", "--bits", "1")
        self.assertEqual([self.image(f"{name}.png").mode == "1" for name in "123"], [True, True, False])
        before = self.read("2.png")
        for arguments in ("pages 1.png 2.png 3.png --out k{name}.png", "convert 1.png k1-{bits}.png --bits 4,8", "palette 1.png k2.png", "alpha a.png --out k2.png"):
            self.save("a.png", self.rgba)
            self.write("k2.png", before)
            self.write("k1-4.png", before)
            self.assertRegex(self.tnk(*arguments.split(), "--keep", code=1)[1], r"tnk: k(2|1-4)\.png: exists already")
            self.assertEqual([self.read("k2.png"), self.read("k1-4.png")], [before] * 2)
        self.assertEqual([self.image(f"k{name}.png").size for name in ("1", "3", "1-8")], [self.image(f"{name}.png").size for name in "131"])
        for arguments, words in (("1.png sub/1.png --out {name}.png", "1.png would be the result of 1.png and sub/1.png"), ("1.png 1.png --out {name}.png", "several pages|1.png and 1.png")):
            self.assertRegex(self.tnk("pages", *arguments.split(), code=2)[1], words)
        self.assertIn("has 1 page, not 2", self.convert("1.png", "none.png", "--page 2", code=1)[1])

    def test_files_of_several_pages(self):
        sources = [self.rgb, self.gray.crop((0, 0, 9, 30)), self.rgba, self.rgb.quantize(7), self.gray.convert("1")]
        self.save("in.tif", sources[0], save_all=True, append_images=sources[1:3])
        singles = [self.save(f"{i}.png", image) for i, image in enumerate(sources[3:])]

        def sizes(name):
            with Image.open(self.place / name) as file:
                return [(file.seek(i), file.size)[1] for i in range(file.n_frames)]

        def frames(name):
            for i in range(len(sizes(name))):  # opened anew: Pillow takes a palette along to the next page
                with Image.open(self.place / name) as file:
                    file.seek(i)
                    yield file.convert("RGBA")

        def hold(name, expected):
            self.assertEqual([(f.size, f.tobytes()) for f in frames(name)], [(f.size, f.tobytes()) for f in (e.convert("RGBA") for e in expected)], name)

        for jobs in ("1", "3"):
            self.tnk("pages", "in.tif", *singles, "--out", "all.tif", "--jobs", jobs)
            hold("all.tif", sources)
            self.tnk("pages", "all.tif", "in.tif", "--out", "p{page}.png", "--select", "8,2-1", "--jobs", jobs)
            for name, expected in zip(("p1.png", "p2.png", "p3.png"), (sources[2], sources[1], sources[0])):
                self.same(name, expected, "RGBA")
            self.tnk("pages", "all.tif", singles[0], "--out", "{name}-{bits}.tif", "--bits", "24,8", "--jobs", jobs)
            hold("all-24.tif", [image.convert("RGB") for image in sources])
            self.assertEqual([len(sizes(name)) for name in ("all-8.tif", "0-24.tif", "0-8.tif")], [5, 1, 1])
            self.tnk("pages", "all.tif", "--out", "all.tif", "--mirror", "--jobs", jobs)
            hold("all.tif", map(ImageOps.mirror, sources))
        for page, options in ((0, ""), (2, "--page 3")):
            told = self.convert("in.tif", "out.png", options)[1]
            self.assertEqual("note: in.tif: the first of 3 pages" in told, page == 0)
            self.same("out.png", sources[page], "RGBA")
        self.assertIn("in.tif: has 3 pages, not 4", self.convert("in.tif", "none.png", "--page 4", code=1)[1])
        self.tnk("pages", "in.tif", *singles, "--out", "shared.tif", *"--bits 8 --palette optimized --colors 9 --shared-palette".split())
        self.assertEqual(sizes("shared.tif"), [image.size for image in sources])

        # A file is whole or absent, whatever fails and wherever; others are made.
        before = self.names()
        for inputs in (("in.tif", "gone.png", "1.png"), ("gone.png", "in.tif"), ("in.tif", "1.png", "gone.png")):
            for out, made in (("none.tif", []), ("new-{name}.tif", [f"new-{name[:-4]}.tif" for name in inputs if name != "gone.png"])):
                err = self.tnk("pages", *inputs, "--out", out, "--jobs", "2", code=1)[1]
                self.assertRegex(err, r"gone.png: [^:]*\n.*tnk: (none|new-gone).tif: not written")
                self.assertEqual(self.names(), sorted(before + made))
                for name in made:
                    (self.place / name).unlink()
        self.assertIn("in.tif (page 2): the part to crop", self.tnk("pages", "in.tif", "--out", "none{page}.png", "--crop", "20,0,5,5", code=1)[1])
        (self.place / "none1.png").unlink()
        (self.place / "none3.png").unlink()
        old = self.read("all-8.tif")
        self.assertIn("all-8.tif: exists already", self.tnk("pages", *singles, "--out", "all-{bits}.tif", "--bits", "8,4", "--keep", code=1)[1])
        self.assertEqual((self.read("all-8.tif"), len(sizes("all-4.tif"))), (old, 2))
        for out in ("{name}.png", "all-{bits}.tif"):
            self.assertRegex(self.tnk("pages", "in.tif", "--out", out, code=2)[1], "several pages of in.tif|needs --bits")


class Failing(ToolTest):
    def test_usage(self):
        cases = {
            "": "subcommand", "frobnicate in.ppm": "'frobnicate'", "convert in.ppm": "OUT", "convert in.ppm {bits}.gif --bits 8": ".png, .jpg,",
            "palette in.ppm out.gif": "must end in .act, .gpl, .pal, .png, .jpg, ", "palette in.ppm out.gpl --colors 257": "--colors",
            "pages in.ppm in.ppm --out out.png": "{page}", "pages in.ppm --out out.png --select 1-2": "from 1 to 1",
            "pages in.ppm --out out.png --bits 8 --shared-palette": "--palette optimized",
        } | {"convert in.ppm out.png " + options: words for options, words in {
            "--bits 9": "none of 1 to 8", "--bits 0": "none of 1 to 8", "--bits x": "--bits", "--bits 8,4": "{bits}",
            "--bits 8 --dither magic": "'magic'", "--bits 8 --dither all": "{dither}", "--bits 4 --palette web": "--bits 8",
            "--bits 24 --dither none": "no palette", "--dither none": "go with --bits", "--gray 9": "--gray",
            "--bits 24 --gray 8": "--gray", "--bits 8 --gray 8 --palette web": "--gray", "--crop 1,2,3": "--crop",
            "--crop 0,0,0,5": "start at 1", "--bits 8 --memory compressed": "--bits 1", "--bits 8 --colors 9": "2, 4, 8, ... 256 colours",
            "--bits 4 --colors 32": "no room for 32 colours", "--bits 8 --order rgb": "--order",
            "--bits 8 --palette web --reserve-system": "--palette optimized", "--rotate x": "no angle", "--rotate 1.234": "no angle",
            "--shear 90": "no angle", "--size 0": "--size 0", "--size 5x": "--size 5x", "--size 0%": "percent", "--fit 5": "no WxH",
            "--flip --keep-size": "behind a --rotate", "--vertical": "behind a --shear", "--filter linear --flip": "--filter goes",
            "--size 5 --filter cubic": "--filter", "--bmp-header v4": "--bmp-header goes", "--threshold 9": "--bits 1", "--bits 1 --threshold 256": "0 to 255", "--bits 1 --threshold 9 --dither none": "the place of --dither",
            "--bits 1 --palette x.gpl --threshold 9": "no --palette", "--rotate 5 --background #12345": "no #RRGGBB",
        }.items()} | {"convert in.ppm out.bmp --" + options: words for options, words in {
            "gray 16": "BMP holds no grays", "bits 12": "BMP holds no grays", "bits 64": "no channels of 16 bits"}.items()}
        for arguments, words in cases.items():
            _, err = self.tnk(*arguments.split(), code=2)
            self.assertTrue(err.startswith("tnk: ") and words in err, (arguments, err))
        self.assertEqual(self.names(), ["in.ppm"])
        for command in ("", "info", "convert", "pages", "count", "palette"):
            self.assertIn("Examples:", self.tnk(*command.split(), "--help")[0])
        self.assertRegex(self.tnk("--version")[0], r"^tnk 15\.0\.0 \(build \S+, (Linux|Windows), (32|64) bits\)\n$")

    def test_damaged_pictures(self):
        """Files that end early, or whose checksum or numbers are wrong; every one is told in a line of its own."""
        whole = {name: self.read(self.save(name, self.rgb)) for name in ("a.png", "b.bmp", "d.ppm", "e.tif")} | {"c.jpg": SMALL_JPEG.read_bytes()}
        bad = {f"cut{cut}-{name}": data[:cut] for name, data in whole.items() for cut in (1, 2, 3, 5, 12, 30, 54, len(data) // 2, len(data) - 1)}
        png, wide = bytearray(whole["a.png"]), bytearray(whole["b.bmp"])
        png[len(png) // 2] ^= 4
        struct.pack_into("<i", wide, 18, 0x7FFFFFFF)
        lowest = pictures.bmp(-(2**31), 1, [])
        strip = [bytes(4 * WIDTH)] * HEIGHT
        bad |= {"deep.tif": pictures.tiff(HEIGHT, 32, 1, strip), "float.tif": pictures.tiff(HEIGHT, 32, 1, strip, {339: [3]}), "map.tif": pictures.tiff(HEIGHT, 4, 3, strip),
                "mask.tif": pictures.tiff(HEIGHT, 1, 4, strip), "tall.tif": pictures.tiff(HEIGHT, 8, 1, strip, {322: [1 << 20], 323: [1 << 20]})}
        bad |= {"flip.png": bytes(png), "wide.bmp": bytes(wide), "lowest.bmp": lowest, "header.pam": b"P7\nWIDTH 1\n" * 2000,
                "huge.ppm": b"P6\n1000000000 1000000000\n255\n" + b"x" * 100, "huge.pgm": b"P2\n4000000000 1\n255\n1",
                "zero.pgm": b"P5\n0 5\n255\n", "range.pgm": b"P2\n2 1\n9\n3 10\n", "text.png": b"not a picture", "empty.png": b"",
                "png.bmp": pictures.bmp(1, 24, [b"x"], compression=5), "video.bmp": pictures.bmp(1, 24, [b"x"], compression=b"XVID"),
                "odd.bmp": pictures.bmp(1, 16, [bytes(122)], compression=b"YUY2"), "short.bmp": pictures.bmp(2, 16, [bytes(8)], compression=b"YUY2", width=4),
                "fax.bmp": pictures.bmp(1, 1, [b"x"], header=64, compression=3), "short header.bmp": pictures.bmp(1, 8, [bytes(61)], [(1, 2, 3)], 16),
                "jpeg.bmp": pictures.bmp(32, 24, [whole["c.jpg"]], compression=b"JPEG"), "dmb1.bmp": pictures.bmp(1, 24, [b"x"], compression=b"dmb1")}
        for name, data in bad.items():
            self.write(name, data)
        out, err = self.tnk("info", *bad, "in.ppm", code=1)
        self.assertEqual([line.split(": ")[1] for line in err.splitlines()], list(bad))
        self.assertIn("in.ppm\n", out)
        for words in ("deep.tif: TIFF pictures of 32 bits", "float.tif: TIFF pictures of floating", "map.tif: the file is damaged", "mask.tif: TIFF pictures of this kind", "tall.tif: the ", 'png.bmp: BMP pictures of compression 5', 'video.bmp: BMP pictures coded as "XVID" of 61 x 1', 'odd.bmp: BMP pictures coded as "YUY2"',
                      "short.bmp: the file ends", "fax.bmp: BMP pictures coded as faxes", "short header.bmp: BMP headers of 16 bytes",
                      "jpeg.bmp: " + ("the picture in the file is damaged, or of another size" if SUPER else 'pictures coded as "JPEG" need'),
                      "dmb1.bmp: " + ('how this picture ("dmb1") is coded' if SUPER else 'pictures coded as "dmb1" need')):
            self.assertIn(words, err)
        _, err = self.convert("in.ppm", "out.png", "--bits 8 --palette text.png", code=1)
        self.assertIn("text.png: neither a palette", err)

        # Random damage is told, or gives a picture; it never ends the program.
        self.save("p.bmp", self.rgb.quantize(13))
        self.save("progressive.jpg", self.rgb, progressive=True)
        self.save("fax.tif", self.gray.convert("1"), compression="group4")
        self.save("ink.jpg", Image.merge("CMYK", [*self.rgb.split(), self.gray]))
        sources = [self.read("p.bmp"), self.read("progressive.jpg"), whole["c.jpg"], self.read("in.ppm"), whole["e.tif"], self.read("fax.tif"), self.read("ink.jpg"),
                   pictures.pam("RGB_ALPHA", 4, 255, self.rgba.tobytes())]
        generator, names = random.Random(7), []
        for i in range(80):
            data = bytearray(sources[i % len(sources)])
            for _ in range(generator.randint(1, 6)):
                data[generator.randrange(2, min(len(data), 700))] = generator.randrange(256)
            names.append(self.write(f"r{i}", bytes(data)))
        out, err = self.tnk("info", *names, code=1)
        self.assertEqual(out.count("\n  format") + len(err.splitlines()), len(names))

    def test_names_and_targets(self):
        (self.place / "folder.png").mkdir()
        for target, words in (("folder.png", "is a folder"), ("gone/out.png", "gone/out.png: ")):
            self.assertIn(words, self.convert("in.ppm", target, "--bits 8", code=1)[1])
        # A result may replace its source, and names are of any language.
        self.convert(self.save("żółw ☃.png", self.rgb), "żółw ☃.png", "--bits 8")
        self.assertEqual(self.image("żółw ☃.png").mode, "P")
        self.assertIn("日本.png: ", self.tnk("info", "日本.png", code=1)[1])
        self.assertEqual(self.names(), ["folder.png", "in.ppm", "żółw ☃.png"])


@unittest.skipIf(os.name != "posix", "uses signals and terminals")
class OnPosix(ToolTest):
    def setUp(self):
        super().setUp()
        if WINDOWS:
            self.skipTest("needs a native program")

    def test_no_room_devices_and_links(self):
        import resource

        def small_files():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000))

        self.write("old.png", b"precious")
        for arguments, name in (("convert in.ppm old.png", "old.png"), ("convert in.ppm new.bmp", "new.bmp"),
                                ("pages in.ppm in.ppm --out new{page}.bmp", "new1.bmp")):
            _, err = self.tnk(*arguments.split(), code=1, preexec_fn=small_files)
            self.assertRegex(err, rf"(?m)^tnk: {name}: .+")
        self.assertEqual((self.names(), self.read("old.png")), (["in.ppm", "old.png"], b"precious"))
        os.mkfifo(self.place / "pipe.png")
        self.assertIn("not a regular file", self.convert("in.ppm", "pipe.png", code=1)[1])
        end, start = os.pipe()
        os.close(end)
        done = subprocess.run([*COMMAND, "convert", "in.ppm", "-", "--to", "pam"], cwd=self.place, stdout=start, stderr=subprocess.PIPE)
        os.close(start)
        self.assertEqual((done.returncode, done.stderr), (1, b"tnk: -: Broken pipe\n"))
        (self.place / "link.png").symlink_to("old.png")
        self.convert("in.ppm", "link.png")
        self.assertTrue((self.place / "link.png").is_symlink())
        self.same("old.png", self.rgb)

    def test_stop(self):
        self.large()
        options = ["--bits", "1,2,3,4,5,6,7,8", "--dither", "all"]
        for arguments in (["pages", *["large.ppm"] * 4, "--jobs", "3", "--out"], ["convert", "large.ppm"]):
            sign = arguments[0] + "-*.bmp"
            run = subprocess.Popen([*COMMAND, *arguments, arguments[0] + "-{bits}-{dither}{page}.bmp", *options], cwd=self.place, stderr=subprocess.PIPE)
            while not list(self.place.glob(sign)):
                self.assertIsNone(run.poll())
                time.sleep(0.005)
            run.send_signal(signal.SIGINT)
            self.assertEqual((run.communicate(timeout=60)[1], run.returncode), (b"tnk: interrupted\n", 130))
            left = [name for name in self.names() if name.startswith(arguments[0])]
            self.assertLess(len(left), 72)
            for name in left:
                self.assertEqual(self.image(name).size, (16 * WIDTH, 32 * HEIGHT))


if __name__ == "__main__":
    COMMAND = [os.path.abspath(argument) for argument in sys.argv[1:]]
    WINDOWS = COMMAND[-1].endswith(".exe")
    SUPER = any(pathlib.Path(COMMAND[-1]).parent.glob("TFCMP15U.*"))
    unittest.main(argv=sys.argv[:1])
