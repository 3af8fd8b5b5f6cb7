"""Palettes, thresholds and alpha. See program.py."""

import shutil
import struct
import sys
import unittest

from PIL import Image, ImageChops

import pictures
from pictures import HEIGHT, WIDTH
from program import GPL, ToolTest, distance


class Colors(ToolTest):
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


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
