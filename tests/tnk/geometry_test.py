"""Crop, turns and sizes; combining, warps and planes. See program.py."""

import sys
import unittest

from PIL import Image, ImageChops, ImageOps, ImageStat

import pictures
from pictures import HEIGHT, WIDTH
from program import SMALL_JPEG, ToolTest


class Geometry(ToolTest):
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


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
