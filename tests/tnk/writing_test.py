"""Picture files out. See program.py."""

import hashlib
import random
import struct
import subprocess
import sys
import unittest

from PIL import Image, ImageChops, ImageCms, ImageStat, PngImagePlugin

import pictures
from pictures import HEIGHT, WIDTH
from program import COMMAND, GPL, SMALL_JPEG, SUPER, ToolTest


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


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
