"""What cannot be done, and being stopped. See program.py."""

import os
import random
import signal
import struct
import subprocess
import sys
import time
import unittest

from PIL import Image

import pictures
from pictures import HEIGHT, WIDTH
from program import COMMAND, SMALL_JPEG, SUPER, WINDOWS, ToolTest


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
    unittest.main(argv=sys.argv[:1])
