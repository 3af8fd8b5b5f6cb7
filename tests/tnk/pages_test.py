"""Several pictures and pages at once. See program.py."""

import shutil
import sys
import unittest

from PIL import Image, ImageOps

from program import ToolTest


class Pages(ToolTest):
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


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
