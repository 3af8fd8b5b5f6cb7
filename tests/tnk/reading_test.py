"""Picture files in, what is told of them, and what they are compared by. See program.py."""

import json
import os
import random
import shutil
import struct
import sys
import unittest

from PIL import Image, ImageChops

import pictures
from pictures import HEIGHT, WIDTH
from program import SMALL_JPEG, SUPER, WINDOWS, ToolTest


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


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
