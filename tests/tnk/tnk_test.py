"""Drives the built program on small pictures.

    tnk_test.py [RUNNER] PROGRAM     (RUNNER starts a Windows program elsewhere)
"""

import hashlib
import io
import os
import pathlib
import random
import re
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest

from PIL import Image

import pictures
from pictures import HEIGHT, WIDTH

COMMAND = []
WINDOWS = False
SUPER = False  # the codec module is there
METHODS = "none floyd-steinberg stucki burkes sierra stevenson-arce jarvis ordered clustered".split()
DATA = pathlib.Path(__file__).parent / "data"


class ToolTest(unittest.TestCase):
    def setUp(self):
        self.place = pathlib.Path(tempfile.mkdtemp(prefix="tnk-"))
        self.addCleanup(shutil.rmtree, self.place, ignore_errors=True)
        self.rows = pictures.scene()
        self.pixels = [pixel for row in self.rows for pixel in row]
        self.write("in.ppm", pictures.ppm(self.rows))

    def write(self, name, data):
        (self.place / name).write_bytes(data)
        return name

    def read(self, name):
        return (self.place / name).read_bytes()

    def save(self, name, image, **options):
        image.save(self.place / name, **options)
        return name

    def image(self, name):
        image = Image.open(self.place / name)
        image.load()
        return image

    def names(self):
        return sorted(p.name for p in self.place.iterdir())

    def tnk(self, *arguments, code=0, **options):
        done = subprocess.run([*COMMAND, *arguments], cwd=self.place, capture_output=True, timeout=240, **options)
        out, err = (text.decode().replace("\r\n", "\n") for text in (done.stdout, done.stderr))
        self.assertEqual(done.returncode, code, f"{arguments}\n{out}{err}")
        return out, err

    def convert(self, source, target, *options, **more):
        return self.tnk("convert", source, target, "--bits", *options, **more)

    def scene_image(self, mode="RGB"):
        image = Image.new("RGB", (WIDTH, HEIGHT))
        image.putdata(self.pixels)
        return image.convert(mode)


class Reading(ToolTest):
    def test_pictures_of_every_kind(self):
        rgb = self.scene_image()
        rgba = rgb.copy()
        rgba.putalpha(rgb.convert("L"))
        palette = rgb.quantize(13)
        ga = Image.merge("LA", (rgb.getchannel(1), rgb.getchannel(0)))
        flat = [c for pixel in self.pixels for c in pixel]
        bits = [c & 1 for c in flat[: WIDTH * HEIGHT]]
        black = Image.new("1", (WIDTH, HEIGHT))
        black.putdata([0 if bit else 255 for bit in bits])
        cases = [
            (self.save("rgb.png", rgb, dpi=(300, 200)), rgb),
            (self.save("rgba.png", rgba), rgba),
            (self.save("gray.png", rgb.getchannel(0)), rgb.getchannel(0)),
            (self.save("ga.png", ga), ga),
            (self.save("palette.png", palette), palette),
            (self.save("bits.png", black), black),
            (self.save("rgb.bmp", rgb), rgb),
            (self.save("palette.bmp", palette), palette),
            (self.save("bits.bmp", black), black),
            (self.write("p1.pbm", pictures.pnm(1, WIDTH, HEIGHT, 1, bits)), black),
            (self.write("p4.pbm", pictures.pnm(4, WIDTH, HEIGHT, 1, bits)), black),
            (self.write("p2.pgm", pictures.pnm(2, WIDTH, HEIGHT, 255, flat[: WIDTH * HEIGHT])), None),
            (self.write("p3.ppm", pictures.pnm(3, WIDTH, HEIGHT, 255, flat)), rgb),
            (self.write("p6.ppm", pictures.pnm(6, WIDTH, HEIGHT, 255, flat)), rgb),
        ]
        for name, expected in cases:
            with self.subTest(name):
                self.convert(name, "out.png", "32")
                if expected is None:
                    expected = Image.new("L", (WIDTH, HEIGHT))
                    expected.putdata(flat[: WIDTH * HEIGHT])
                self.assertEqual(self.image("out.png").mode, "RGBA")
                self.assertEqual(self.image("out.png").tobytes(), expected.convert("RGBA").tobytes())
        # Gray with alpha is gray where no alpha is wanted.
        self.tnk("convert", "ga.png", "out.png", "--gray", "8")
        self.assertEqual(self.image("out.png").tobytes(), ga.getchannel(0).tobytes())

    def test_sixteen_bits_a_channel_stay_exact(self):
        color = [(x * 2711 + c * 17) & 0xFFFF for x in range(WIDTH) for c in range(3)]
        gray = color[::3]
        self.write("color.ppm", pictures.pnm(6, WIDTH, 1, 65535, color))
        self.write("gray.pgm", pictures.pnm(5, WIDTH, 1, 65535, gray))
        self.convert("color.ppm", "color.png", "48")
        self.assertEqual(pictures.samples16(self.read("color.png")), color)
        self.convert("color.png", "alpha.png", "64")
        with_alpha = [s for i in range(WIDTH) for s in (*color[3 * i : 3 * i + 3], 65535)]
        self.assertEqual(pictures.samples16(self.read("alpha.png")), with_alpha)
        self.convert("alpha.png", "color.png", "48", "--order", "bgr")
        self.assertEqual(pictures.samples16(self.read("color.png")), color)
        for bits in ("12", "16"):
            self.tnk("convert", "gray.pgm", "gray-{bits}.png", "--gray", bits)
        self.assertEqual(pictures.samples16(self.read("gray-16.png")), gray)
        # Twelve bits stand in a file of sixteen, spread over its range.
        twelve = [v * 65535 // 4095 for v in (g >> 4 for g in gray)]
        self.assertEqual(pictures.samples16(self.read("gray-12.png")), twelve)

    def test_largest_values_of_any_maps_are_scaled(self):
        for largest, top in ((1, 255), (7, 255), (1000, 65535)):
            samples = list(range(0, largest + 1, max(1, largest // 50)))
            self.write("in.pgm", pictures.pnm(5, len(samples), 1, largest, samples))
            self.tnk("convert", "in.pgm", "out.png", "--gray", "16")
            scaled = [(s * top + largest // 2) // largest * (65535 // top) for s in samples]
            self.assertEqual(pictures.samples16(self.read("out.png")), scaled, largest)

    def test_info(self):
        self.save("a.png", self.scene_image(), dpi=(300, 200))
        self.save("b.bmp", self.scene_image().quantize(13))
        self.write("c.pgm", pictures.pnm(5, 3, 2, 1000, [0] * 6))
        out, err = self.tnk("info", "a.png", "b.bmp", str(DATA / "small.jpg"), "gone.png", "c.pgm", code=1)
        for words in ("61 x 37 pixels", "300 x 200 dots per inch", "24 bits a pixel", "24 bits (red first)", "in memory",
                      "8 bits a pixel", "colours of its own", "JPEG", "240 x 120 dots per inch", "1 of 16 bits: gray"):
            self.assertIn(words, out)
        self.assertRegex(err, r"^tnk: gone\.png: \S")
        self.assertEqual(err.count("\n"), 1)

        self.convert("in.ppm", "fixed-{bits}.bmp", "1,4,8")
        self.convert("in.ppm", "web.png", "8", "--palette", "web")
        out, _ = self.tnk("info", "fixed-1.bmp", "fixed-4.bmp", "fixed-8.bmp", "web.png")
        for words in ("2 colours: a ramp of grays", "16 colours: the fixed palette of 4 bits",
                      "256 colours: the fixed palette of 8 bits", "216 colours: the web palette"):
            self.assertIn(words, out)


class Writing(ToolTest):
    def test_fixed_palettes_in_png_and_bmp(self):
        for kind in ("png", "bmp"):
            self.convert("in.ppm", "out-{bits}." + kind, "1,2,3,4,5,6,7,8", "--dither", "none")
            for bits in range(1, 9):
                with self.subTest(kind=kind, bits=bits):
                    expected = [pictures.nearest_fixed(bits, pixel) for pixel in self.pixels]
                    name = f"out-{bits}.{kind}"
                    self.assertEqual(list(self.image(name).convert("RGB").getdata()), expected)
                    data = self.read(name)
                    if kind == "png":
                        _, _, stored, color_type, _ = pictures.read_png(data)
                        self.assertEqual((stored, color_type), {1: (1, 0), 2: (2, 0), 3: (4, 3), 4: (4, 3)}.get(bits, (8, 3)))
                    else:
                        colors, = struct.unpack_from("<I", data, 46)
                        stored, = struct.unpack_from("<H", data, 28)
                        self.assertEqual((stored, colors), (1 if bits == 1 else 4 if bits <= 4 else 8, 1 << bits))
                        self.assertEqual(struct.unpack_from("<I", data, 2)[0], len(data))
        self.convert("in.ppm", "out.bmp", "8", "--colors", "16", "--dither", "none")
        self.assertEqual(self.image("out.bmp").convert("RGB").tobytes(), self.image("out-4.bmp").convert("RGB").tobytes())

    def test_direct_colours(self):
        rgba = self.scene_image("RGBA")
        rgba.putalpha(rgba.getchannel(1))
        self.save("in.png", rgba)
        rgb = rgba.convert("RGB").tobytes()
        # The reader of BMP widens five bits in its own way.
        five = {"png": bytes(c & 248 | c >> 5 for c in rgb), "bmp": bytes((c >> 3) * 255 // 31 for c in rgb)}
        for kind in ("png", "bmp"):
            self.convert("in.png", "out-{bits}." + kind, "16,24,32")
            self.assertEqual(self.image(f"out-16.{kind}").convert("RGB").tobytes(), five[kind])
            self.assertEqual(self.image(f"out-24.{kind}").tobytes(), rgb)
            self.assertEqual(self.image(f"out-32.{kind}").tobytes(), rgba.tobytes())
            before = self.read(f"out-24.{kind}"), self.read(f"out-32.{kind}")
            for order in ("rgb", "bgr"):
                self.convert("in.png", "out-{bits}." + kind, "24,32", "--order", order)
                self.assertEqual((self.read(f"out-24.{kind}"), self.read(f"out-32.{kind}")), before, order)
        self.assertEqual(struct.unpack_from("<H", self.read("out-16.bmp"), 28)[0], 16)

    def test_grays(self):
        self.convert("in.ppm", "gray-{bits}.png", "4,8", "--gray", "8")
        self.assertEqual(list(self.image("gray-8.png").getdata()), [pictures.level(p) for p in self.pixels])
        four = self.image("gray-4.png")
        self.assertEqual(pictures.read_png(self.read("gray-4.png"))[2:4], (4, 0))
        # Dithering keeps the brightness.
        mean = sum(four.convert("L").getdata()) / len(self.pixels)
        self.assertAlmostEqual(mean, sum(pictures.level(p) for p in self.pixels) / len(self.pixels), delta=3)
        self.tnk("convert", "in.ppm", "gray.bmp", "--gray", "8")
        self.assertEqual(self.image("gray.bmp").tobytes(), self.image("gray-8.png").tobytes())

    def test_resolution_goes_along(self):
        self.save("in.png", self.scene_image(), dpi=(300, 200))
        for name in ("out.png", "out.bmp"):
            self.convert("in.png", name, "8")
            self.assertEqual([round(v) for v in self.image(name).info["dpi"]], [300, 200])
        self.convert("in.ppm", "none.png", "8")
        self.assertNotIn("dpi", self.image("none.png").info)

    def test_palette_files(self):
        colors = [(0, 0, 0), (255, 255, 255), (200, 30, 40), (10, 20, 230), (250, 240, 20)]
        lines = "".join("%3d %3d %3d\tname\n" % c for c in colors)
        plain = bytes(v for c in colors for v in c)
        riff = b"PAL data\x18\0\0\0\0\3" + struct.pack("<H", 5) + b"".join(bytes((*c, 0)) for c in colors)
        strip = Image.new("P", (5, 1))
        strip.putpalette(plain)
        strip.putdata(range(5))
        files = [
            self.write("a.gpl", b"GIMP Palette\nName: x\nColumns: 3\n# 1 2 3\n" + lines.encode()),
            self.write("b.pal", b"JASC-PAL\r\n0100\r\n5\r\n" + lines.replace("\n", "\r\n").encode()),
            self.write("c.pal", b"RIFF" + struct.pack("<I", len(riff)) + riff),
            self.write("d.act", plain.ljust(768, b"\0") + b"\0\5\xff\xff"),
            self.save("e.png", strip, bits=4),
        ]
        # The file's colours are judged by the fifteen highest bits of a pixel.
        def nearest(pixel):
            return min(colors, key=lambda c: sum((a - (b & 248)) ** 2 for a, b in zip(c, pixel)))

        expected = [nearest(pixel) for pixel in self.pixels]
        results = set()
        for name in files:
            self.convert("in.ppm", "out.png", "4", "--palette", name, "--dither", "none")
            results.add(self.image("out.png").convert("RGB").tobytes())
        self.assertEqual(len(results), 1)
        off = sum(a != b for a, b in zip(self.image("out.png").convert("RGB").getdata(), expected))
        self.assertLess(off, len(expected) // 50)  # ties, and the first of a key
        self.assertEqual(bytes(self.image("out.png").getpalette()[:15]), plain)

        _, err = self.convert("in.ppm", "two.bmp", "2", "--palette", "a.gpl", code=1)
        self.assertIn("a.gpl: 5 colours do not fit 2 bits", err)
        self.convert("in.ppm", "two.bmp", "2", "--palette", "a.gpl", "--colors", "3")
        self.assertLessEqual(set(self.image("two.bmp").convert("RGB").getdata()), set(colors[:3]))

    def colors(self, name):
        """The palette of a picture file, by Pillow."""
        flat = self.image(name).getpalette()
        return list(zip(*[iter(flat)] * 3))

    def error(self, name):
        pixels = self.image(name).convert("RGB").getdata()
        return sum((a - b) ** 2 for p, q in zip(pixels, self.pixels) for a, b in zip(p, q))

    def test_optimized_palettes(self):
        for colors in ("2", "5", "16", "100"):
            for method in ("none", "stucki"):
                self.convert("in.ppm", f"{method}.png", "8", "--palette", "optimized", "--colors", colors, "--dither", method)
            self.tnk("palette", "in.ppm", "palette.gpl", "--colors", colors)
            lines = self.read("palette.gpl").decode().splitlines()[4:]
            chosen = [tuple(map(int, line.split()[:3])) for line in lines]
            self.assertEqual(chosen, sorted(chosen))
            self.assertEqual(len(chosen), int(colors))
            for name in ("none.png", "stucki.png"):
                self.assertEqual(self.colors(name)[: len(chosen)], chosen, name)
                self.assertLessEqual(set(self.image(name).convert("RGB").getdata()), set(chosen), name)
        self.convert("in.ppm", "best.bmp", "4", "--palette", "optimized", "--dither", "none", "--reserve-system")
        self.convert("in.ppm", "fixed.bmp", "4", "--dither", "none")
        self.assertLess(self.error("best.bmp") * 3, self.error("fixed.bmp"))

        # Colours that all fit are kept as they are.
        few = self.scene_image().quantize(9).convert("RGB")
        self.save("few.png", few)
        self.convert("few.png", "kept.png", "4", "--palette", "optimized")
        self.assertEqual(self.image("kept.png").convert("RGB").tobytes(), few.tobytes())
        self.assertEqual(self.colors("kept.png")[:9], sorted(set(few.getdata())))

    def test_palettes_in_every_form(self):
        self.save("ramp.png", Image.linear_gradient("L"))
        self.save("own.png", self.scene_image().quantize(37))
        for source, count in (("in.ppm", 256), ("in.ppm", 20), ("ramp.png", 256), ("own.png", 37), ("own.png", 7)):
            self.tnk("palette", source, "first.gpl", "--colors", str(count))
            first = self.read("first.gpl").splitlines()[4:]
            self.assertEqual(len(first), count)
            for form in ("pal", "act", "png", "bmp"):
                with self.subTest(source=source, count=count, form=form):
                    self.tnk("palette", "first.gpl", "form." + form)
                    self.tnk("palette", "form." + form, "back.gpl")
                    self.assertEqual(self.read("back.gpl").splitlines()[4:], first)
                    self.convert("in.ppm", "out.png", "8", "--palette", "form." + form)
            colors = [tuple(map(int, line.split()[:3])) for line in first]
            jasc = ["JASC-PAL", "0100", str(count), *("%d %d %d" % c for c in colors), ""]
            self.assertEqual(self.read("form.pal").decode(), "\r\n".join(jasc))
            table = bytes(v for c in colors for v in c).ljust(768, b"\0")
            self.assertEqual(self.read("form.act"), table + struct.pack(">HH", count, 0xFFFF))
            swatches = self.image("form.png").convert("RGB")
            columns = min(count, 16)
            self.assertEqual(swatches.size, (columns * 16, (count + columns - 1) // columns * 16))
            cells = [swatches.getpixel((i % columns * 16 + 8, i // columns * 16 + 8)) for i in range(count)]
            self.assertEqual(cells, colors)
        # A picture's own palette stays in its order.
        self.assertEqual(colors, sorted(colors))
        self.tnk("palette", "own.png", "first.gpl")
        own = [tuple(map(int, line.split()[:3])) for line in self.read("first.gpl").splitlines()[4:]]
        self.assertEqual(own, self.colors("own.png")[:37])
        self.tnk("palette", "first.gpl", "form.act", "--colors", "3")
        self.assertEqual(self.read("form.act")[:10], bytes(v for c in own[:3] for v in c) + b"\0")

    def test_count(self):
        rgb = self.scene_image()
        rgba = rgb.copy()
        rgba.putalpha(rgb.getchannel(1))
        palette = rgb.quantize(13)
        palette.putpalette([1, 2, 3] * 4 + [9, 9, 9] * 9)
        deep = [0x1234, 0x12FF, 0, 0x1299, 0x1200, 77, 0x1334, 0, 0]  # the first two are alike in their high bytes
        cases = [(self.save("a.png", rgb), len(set(self.pixels)), "colours"), (self.save("b.png", rgba), len(set(self.pixels)), "colours"),
                 (self.save("c.bmp", palette), 2, "colours"), (self.save("d.png", rgb.getchannel(0)), len(set(p[0] for p in self.pixels)), "colours"),
                 (self.write("e.ppm", pictures.pnm(6, 3, 1, 65535, deep)), 2, "colours by the high bytes"),
                 (self.write("f.pgm", pictures.pnm(5, 9, 1, 65535, deep)), len(set(deep)), "grays"),
                 (self.write("g.ppm", pictures.ppm([[(7, 7, 7)] * 5])), 1, "colour\n")]
        out, err = self.tnk("count", "gone.png", *(name for name, _, _ in cases), code=1)
        self.assertRegex(err, r"^tnk: gone\.png: .+\n$")
        for (name, count, words), line in zip(cases, out.splitlines(True), strict=True):
            self.assertTrue(line.startswith(f"{name}: {count} {words}"), line)

    def test_indexes_past_a_short_palette_have_an_entry(self):
        # A palette that starts like the fixed one is served by its rule, which may choose the fourth gray.
        self.write("three.gpl", b"GIMP Palette\n0 0 0\n85 85 85\n170 170 170\n")
        for name in ("out.png", "out.bmp"):
            self.convert("in.ppm", name, "2", "--palette", "three.gpl", "--dither", "none")
            expected = [((0,), (85,), (170,), (0,))[pictures.level(p) >> 6] * 3 for p in self.pixels]
            self.assertEqual(list(self.image(name).convert("RGB").getdata()), expected)

    def test_every_target_writes_the_same_bytes(self):
        total = hashlib.sha256()

        def add(source, *options):
            self.convert(source, "same-{bits}-{dither}.bmp" if "all" in options else "same-{bits}.bmp", *options)
            for path in sorted(self.place.glob("same-*")):
                total.update(path.name.encode() + path.read_bytes())
                path.unlink()

        self.write("own.gpl", b"GIMP Palette\n" + b"".join(b"%d %d %d\n" % (i * 5, 255 - i * 3, i * i % 256) for i in range(50)))
        add("in.ppm", "1,2,3,4,5,6,7,8", "--dither", "all")
        add("in.ppm", "8", "--dither", "all", "--palette", "web")
        add("in.ppm", "6", "--dither", "all", "--palette", "own.gpl")
        add("in.ppm", "1,4,7", "--dither", "all", "--gray", "8")
        add("in.ppm", "1,4,7", "--dither", "all", "--palette", "optimized")
        add("in.ppm", "16,24,32")
        add(str(DATA / "small.jpg"), "8,24")
        self.assertEqual(total.hexdigest(), "2967b45e84aebac5b96f3d79edf16e1970c137f00bd5eeb08159cc67cf1bd87e")


class Working(ToolTest):
    def test_crop(self):
        rgb = self.scene_image()
        rgba = self.scene_image("RGBA")
        rgba.putalpha(rgb.getchannel(2))
        for name, image in (("a.png", rgb), ("b.png", rgba), ("c.png", rgb.getchannel(0))):
            self.save(name, image, dpi=(300, 200))
            for left, top, width, height in ((5, 3, 40, 20), (-7, -9, 20, 30), (50, 30, 1000, 2147483647), (60, 36, 1, 1)):
                self.tnk("convert", name, "out.png", "--crop", f"{left},{top},{width},{height}")
                right, bottom = min(left + width, WIDTH), min(top + height, HEIGHT)
                part, out = image.crop((max(left, 0), max(top, 0), right, bottom)), self.image("out.png")
                self.assertEqual((out.mode, out.size, out.tobytes()), (part.mode, part.size, part.tobytes()))
                self.assertEqual([round(v) for v in out.info["dpi"]], [300, 200])
        for box in ("61,0,5,5", "0,-8,5,8"):
            _, err = self.tnk("convert", "a.png", "none.png", "--crop", box, code=1)
            self.assertIn("a.png: the part to crop lies outside its 61 x 37 pixels", err)
        self.assertNotIn("none.png", self.names())

    def large(self):
        """A picture of several times the memory that --memory tiled allows."""
        self.write("large.ppm", pictures.ppm([row * 10 for row in pictures.scene(100, 20)] * 60))
        return "large.ppm"

    def test_files_are_the_same_wherever_bitmaps_are_held(self):
        options = ["--crop", "3,5,990,1190", "--verbose"]
        runs = [["--bits", "1,4,8,24"], ["--bits", "1,4", "--gray", "8"], ["--gray", "16"], []]
        held = {"plain": "in memory", "disk": "in a temporary file", "tiled": r"in tiles: \d+ of \d+ bytes",
                "compressed": r"bytes compressed, \d+\.\d % of plain rows",
                "super": ", (1|8|24) bits?,.* super-compressed|, (4|16) bits,.* in memory"}
        self.large()
        files = {}
        for kind, words in held.items():
            for number, run in enumerate([["--bits", "1"]] if kind == "compressed" else runs):
                with self.subTest(kind=kind, run=run):
                    if kind == "super" and not SUPER:
                        _, err = self.tnk("convert", "large.ppm", "out-{bits}.png", *run, "--memory", kind, code=1)
                        self.assertIn("large.ppm: super-compression needs the module TFCMP15U", err)
                        continue
                    out, _ = self.tnk("convert", "large.ppm", "out-{bits}.png", *run, *options, "--memory", kind)
                    for line in out.splitlines():
                        self.assertRegex(line, words)
                        name = line.split(":")[0]
                        self.assertEqual(self.read(name), files.setdefault((number, name), self.read(name)), name)
        self.assertEqual(self.image("out-24.png").size, (990, 1190))

    def test_info_tells_how_a_picture_is_held(self):
        out, _ = self.tnk("info", self.large(), "--memory", "tiled")
        tiles, resident = map(int, re.search(r"in tiles: (\d+) of \d+ bytes, (\d+) in memory", out).groups())
        self.assertEqual((tiles, resident), (4, 2))
        self.assertIn("temporary file", self.tnk("info", "in.ppm", "--memory", "disk")[0])
        self.assertIn(f"in use      {len(set(self.pixels))} colours", self.tnk("info", "in.ppm")[0])
        self.write("bits.pbm", pictures.pnm(4, 800, 50, 1, [x // 70 % 2 for x in range(800)] * 50))
        out, _ = self.tnk("info", "bits.pbm", "--memory", "compressed")
        self.assertIn("1 bit a pixel", out)
        self.assertRegex(out, r"bytes compressed, [1-3]?\d\.\d % of plain rows")
        self.assertIn("in.ppm: only pictures of 1 bit", self.tnk("info", "in.ppm", "--memory", "compressed", code=1)[1])

    def test_pages(self):
        for i, image in enumerate((self.scene_image(), self.scene_image("L"), self.scene_image().quantize(9)), 1):
            self.save(f"{i}.png", image.crop((0, 0, 30 + i, 20 + i)))
        options = ["--crop", "2,2,31,99", "--gray", "8", "--bits", "2,8", "--dither", "stucki"]
        before = self.names()
        self.tnk("pages", "1.png", "2.png", "3.png", "--out", "p{page}-{bits}.png", "--select", "3,1-2", *options)
        made = [name for name in self.names() if name not in before]
        self.assertEqual(made, sorted(f"p{page}-{bits}.png" for page in (1, 2, 3) for bits in (2, 8)))
        for page, source in (("1", "3"), ("2", "1"), ("3", "2")):
            self.tnk("convert", source + ".png", "one-{bits}.png", *options)
            for bits in "28":
                self.assertEqual(self.read(f"p{page}-{bits}.png"), self.read(f"one-{bits}.png"))
        self.tnk("pages", *["1.png"] * 9, "2.png", "--out", "many{page}.bmp")
        self.assertEqual([n for n in self.names() if n.startswith("many")], [f"many{i:02}.bmp" for i in range(1, 11)])

        # One that fails, wherever it does, leaves none behind.
        self.write("bad.png", self.read("1.png")[:-20])
        (self.place / "folder2.png").mkdir()
        self.save("small.png", self.scene_image().crop((0, 0, 5, 5)))
        before = self.names()
        cases = [(["1.png", "bad.png"], "all{page}.png", "bad.png: "), (["1.png", "2.png"], "folder{page}.png", "folder2.png: "),
                 (["1.png", "small.png"], "all{page}.png", "small.png: the part")]
        for files, target, words in cases:
            _, err = self.tnk("pages", *files, "--out", target, "--crop", "6,6,9,9", code=1)
            self.assertIn(words, err)
            self.assertEqual(self.names(), before)


    def test_pages_share_a_palette(self):
        parts = [self.scene_image().crop((20 * i, 0, 20 * i + 20, HEIGHT)) for i in range(3)]
        names = [self.save(f"{i}.png", part) for i, part in enumerate(parts)]
        run = ["pages", *names, "--crop", "1,1,99,99", "--palette", "optimized"]

        def results(out, *options):
            self.tnk(*run, "--out", out, *options)
            made = [self.image(out.replace("{page}", str(page)).replace("{bits}", "8")) for page in (1, 2, 3)]
            return made, [self.read(pathlib.Path(image.filename).name) for image in made]

        shared, files = results("s{page}-{bits}.png", "--shared-palette", "--bits", "4,8", "--colors", "16")
        palettes = [image.getpalette()[:48] for image in shared]
        self.assertTrue(palettes[0] == palettes[1] == palettes[2])
        # That of all pixels, as of one picture.
        whole = Image.new("RGB", (sum(image.width for image in shared), shared[0].height))
        for i, part in enumerate(parts):
            whole.paste(part.crop((1, 1, *part.size)), (sum(image.width for image in shared[:i]), 0))
        self.tnk("palette", self.save("whole.png", whole), "whole.act", "--colors", "16")
        self.assertEqual(list(self.read("whole.act")[:48]), palettes[0])
        # Neither other jobs nor the memory that holds pictures change anything.
        for memory in ("plain", "disk", "tiled") + (("super",) if SUPER else ()):
            options = ["--shared-palette", "--bits", "8", "--colors", "16", "--memory", memory, "--verbose"]
            self.assertEqual(results("m{page}.png", *options)[1], files, memory)
        alone, _ = results("a{page}.png", "--bits", "8", "--colors", "16")
        self.assertNotEqual(alone[0].getpalette(), alone[2].getpalette())


class Failing(ToolTest):
    def test_usage(self):
        cases = [
            ([], "subcommand"),
            (["convert", "in.ppm"], "OUT"),
            (["convert", "in.ppm", "out.png", "--bits", "9"], "none of 1 to 8"),
            (["convert", "in.ppm", "out.png", "--bits", "x"], "--bits"),
            (["convert", "in.ppm", "out.gif", "--bits", "8"], "must end in .png or .bmp"),
            (["convert", "in.ppm", "out.png", "--bits", "8", "--dither", "magic"], "'magic'"),
            (["convert", "in.ppm", "out.png", "--bits", "8,4"], "{bits}"),
            (["convert", "in.ppm", "out.png", "--bits", "8", "--dither", "all"], "{dither}"),
            (["convert", "in.ppm", "out.png", "--bits", "4", "--palette", "web"], "--bits 8"),
            (["convert", "in.ppm", "out.png", "--bits", "24", "--dither", "none"], "no palette"),
            (["convert", "in.ppm", "out.png", "--dither", "none"], "go with --bits"),
            (["convert", "in.ppm", "out.png", "--gray", "9"], "--gray"),
            (["convert", "in.ppm", "out.png", "--bits", "24", "--gray", "8"], "--gray"),
            (["convert", "in.ppm", "out.png", "--bits", "8", "--gray", "8", "--palette", "web"], "--gray"),
            (["convert", "in.ppm", "out.bmp", "--gray", "16"], "BMP holds no grays"),
            (["convert", "in.ppm", "out.png", "--crop", "1,2,3"], "--crop"),
            (["convert", "in.ppm", "out.png", "--crop", "0,0,0,5"], "start at 1"),
            (["convert", "in.ppm", "out.png", "--bits", "1,8", "--memory", "compressed"], "--bits 1"),
            (["pages", "in.ppm", "in.ppm", "--out", "out.png"], "{page}"),
            (["pages", "in.ppm", "--out", "out.png", "--select", "1-2"], "from 1 to 1"),
            (["convert", "in.ppm", "out.png", "--bits", "8", "--colors", "9"], "2, 4, 8, ... 256 colours"),
            (["convert", "in.ppm", "out.png", "--bits", "4", "--colors", "32"], "no room for 32 colours"),
            (["convert", "in.ppm", "out.png", "--bits", "8", "--order", "rgb"], "--order"),
            (["convert", "in.ppm", "out.png", "--bits", "8", "--palette", "web", "--reserve-system"], "--palette optimized"),
            (["convert", "in.ppm", "out.png", "--bits", "4", "--palette", "optimized", "--colors", "17"], "no room for 17"),
            (["pages", "in.ppm", "--out", "out.png", "--bits", "8", "--shared-palette"], "--palette optimized"),
            (["palette", "in.ppm", "out.gif"], "must end in .act, .gpl, .pal, .png or .bmp"),
            (["palette", "in.ppm", "out.gpl", "--colors", "257"], "--colors"),
            (["convert", "in.ppm", "out.bmp", "--bits", "12"], "BMP holds no grays"),
            (["convert", "in.ppm", "out.bmp", "--bits", "64"], "BMP holds no channels of 16 bits"),
        ]
        before = self.names()
        for arguments, words in cases:
            with self.subTest(arguments):
                out, err = self.tnk(*arguments, code=2)
                self.assertTrue(err.startswith("tnk: "), err)
                self.assertIn(words, err)
        self.assertEqual(self.names(), before)
        for arguments in (["--help"], ["info", "--help"], ["convert", "--help"], ["pages", "--help"],
                          ["count", "--help"], ["palette", "--help"]):
            out, err = self.tnk(*arguments)
            self.assertIn("Examples:", out)
        self.assertRegex(self.tnk("--version")[0], r"^tnk 15\.0 \(")

    def damaged(self):
        """Files that end early, or whose checksum or numbers are wrong."""
        rgb = self.scene_image()
        for name in ("a.png", "b.bmp", "d.ppm"):
            rgb.save(self.place / name)
        whole = {name: self.read(name) for name in ("a.png", "b.bmp", "d.ppm")}
        whole["c.jpg"] = (DATA / "small.jpg").read_bytes()
        bad = {}
        for name, data in whole.items():
            for cut in (1, 2, 3, 5, 12, 30, 54, len(data) // 2, len(data) - 1):
                bad[f"cut{cut}-{name}"] = data[:cut]
        flipped = bytearray(whole["a.png"])
        flipped[len(flipped) // 2] ^= 4
        bad["flip.png"] = bytes(flipped)
        # A table of more codes than there are: decoders have written past their memory for it.
        codes = whole["c.jpg"].index(b"\xff\xc4") + 2
        bad["codes.jpg"] = b"\xff\xd8\xff\xc4\x07\xd3\x00" + b"\x7c" * 16 + bytes(1984) + whole["c.jpg"][codes - 2 :]
        bad["huge.ppm"] = b"P6\n1000000000 1000000000\n255\n" + b"x" * 100
        bad["huge.pgm"] = b"P2\n4000000000 1\n255\n1"
        bad["zero.pgm"] = b"P5\n0 5\n255\n"
        bad["range.pgm"] = b"P2\n2 1\n9\n3 10\n"
        bad["text.png"] = b"not a picture at all"
        bad["empty.png"] = b""
        bmp = bytearray(whole["b.bmp"])
        struct.pack_into("<i", bmp, 18, 0x7FFFFFFF)
        bad["wide.bmp"] = bytes(bmp)
        return bad

    def test_damaged_pictures(self):
        bad = self.damaged()
        for name, data in bad.items():
            self.write(name, data)
        out, err = self.tnk("info", *bad, "in.ppm", code=1)
        told = [line.split(": ")[1] for line in err.splitlines()]
        self.assertEqual(told, list(bad))
        self.assertIn("in.ppm\n", out)
        before = self.names()
        _, err = self.convert("flip.png", "out.png", "8", code=1)
        self.assertIn("flip.png: the file is damaged", err)
        _, err = self.convert("in.ppm", "out.png", "8", "--palette", "text.png", code=1)
        self.assertIn("text.png: neither a palette", err)
        self.assertEqual(self.names(), before)

    def test_random_damage_is_no_crash(self):
        rgb = self.scene_image()
        rgb.quantize(13).save(self.place / "p.bmp")
        rgb.save(self.place / "progressive.jpg", progressive=True)
        sources = [self.read("p.bmp"), self.read("progressive.jpg"), (DATA / "small.jpg").read_bytes(), self.read("in.ppm")]
        generator = random.Random(7)
        names = []
        for i in range(80):
            data = bytearray(sources[i % len(sources)])
            for _ in range(generator.randint(1, 6)):
                data[generator.randrange(2, min(len(data), 700))] = generator.randrange(256)
            names.append(self.write(f"r{i}", bytes(data)))
        out, err = self.tnk("info", *names, code=1)
        self.assertEqual(out.count("\n  format") + len(err.splitlines()), len(names))

    def test_output_that_cannot_be_or_is_there(self):
        (self.place / "folder.png").mkdir()
        for target, words in (("folder.png", "is a folder"), ("gone/out.png", "gone/out.png: ")):
            _, err = self.convert("in.ppm", target, "8", code=1)
            self.assertIn(words, err)
        self.assertEqual(self.names(), ["folder.png", "in.ppm"])
        # A result may replace its source.
        self.save("same.png", self.scene_image())
        self.convert("same.png", "same.png", "8")
        self.assertEqual(self.image("same.png").mode, "P")
        self.assertEqual(self.names(), ["folder.png", "in.ppm", "same.png"])

    def test_names_of_any_language(self):
        self.write("żółw ☃.ppm", self.read("in.ppm"))
        self.convert("żółw ☃.ppm", "日本 ß.png", "8")
        self.assertEqual(self.names(), sorted(["in.ppm", "żółw ☃.ppm", "日本 ß.png"]))
        _, err = self.tnk("info", "日本.png", code=1)
        self.assertIn("日本.png: ", err)


@unittest.skipIf(os.name != "posix", "uses signals and terminals")
class OnPosix(ToolTest):
    def setUp(self):
        super().setUp()
        if WINDOWS:
            self.skipTest("needs a native program")

    def test_no_room(self):
        import resource

        def small_files():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000))

        self.write("old.png", b"precious")
        for name in ("old.png", "new.bmp"):
            _, err = self.convert("in.ppm", name, "24", code=1, preexec_fn=small_files)
            self.assertRegex(err, rf"^tnk: {name}: .+")
        _, err = self.tnk("pages", "in.ppm", "in.ppm", "--out", "new{page}.bmp", code=1, preexec_fn=small_files)
        self.assertRegex(err, r"^tnk: new1.bmp: .+")
        self.assertEqual(self.names(), ["in.ppm", "old.png"])
        self.assertEqual(self.read("old.png"), b"precious")

    def test_devices_and_links(self):
        os.mkfifo(self.place / "pipe.png")
        _, err = self.convert("in.ppm", "pipe.png", "8", code=1)
        self.assertIn("not a regular file", err)
        (self.place / "real.png").write_bytes(b"old")
        (self.place / "link.png").symlink_to("real.png")
        self.convert("in.ppm", "link.png", "8")
        self.assertTrue((self.place / "link.png").is_symlink())
        self.assertEqual(self.image("real.png").size, (WIDTH, HEIGHT))

    def test_stop(self):
        self.write("large.ppm", pictures.ppm([row * 10 for row in pictures.scene(200, 20)] * 60))

        def left_after_stop(arguments, sign):
            """What is there after Ctrl-C, given when a file of such a name was there."""
            run = subprocess.Popen([*COMMAND, *arguments], cwd=self.place, stderr=subprocess.PIPE)
            while not list(self.place.glob(sign)):
                self.assertIsNone(run.poll())
                time.sleep(0.005)
            run.send_signal(signal.SIGINT)
            _, err = run.communicate(timeout=60)
            self.assertEqual((run.returncode, err), (130, b"tnk: interrupted\n"))
            return [name for name in self.names() if name not in ("in.ppm", "large.ppm")]

        options = ["--bits", "1,2,3,4,5,6,7,8", "--dither", "all"]
        self.assertEqual(left_after_stop(["pages", "large.ppm", "--out", "r-{bits}-{dither}.bmp", *options], "r-1*"), [])
        left = left_after_stop(["convert", "large.ppm", "r-{bits}-{dither}.bmp", *options], "r-*.bmp")
        self.assertLess(len(left), 72)
        for name in left:
            self.assertRegex(name, r"^r-[1-8]-[a-z-]+\.bmp$")
            self.assertEqual(self.image(name).size, (2000, 1200))

    def test_progress_on_a_terminal_only(self):
        import pty

        main, terminal = pty.openpty()
        run = subprocess.Popen([*COMMAND, "convert", "in.ppm", "out.png", "--bits", "8"], cwd=self.place, stderr=terminal)
        self.assertEqual(run.wait(timeout=60), 0)
        os.close(terminal)
        shown = b""
        try:
            while chunk := os.read(main, 65536):
                shown += chunk
        except OSError:
            pass
        os.close(main)
        self.assertIn(b"out.png [", shown)
        self.assertIn(b"] 100%", shown)
        self.assertTrue(shown.endswith(b" \r"))
        self.assertEqual(self.convert("in.ppm", "out.png", "8"), ("", ""))


if __name__ == "__main__":
    COMMAND = [os.path.abspath(argument) for argument in sys.argv[1:]]
    WINDOWS = COMMAND[-1].endswith(".exe")
    SUPER = any(pathlib.Path(COMMAND[-1]).parent.glob("TFCMP15U.*"))
    unittest.main(argv=sys.argv[:1])
