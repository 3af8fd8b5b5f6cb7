"""Drives the built program on small pictures.

    *_test.py [RUNNER] PROGRAM     (RUNNER starts a Windows program elsewhere)
"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

from PIL import Image

import pictures
from pictures import HEIGHT, WIDTH

COMMAND = [os.path.abspath(argument) for argument in sys.argv[1:]]
WINDOWS = COMMAND[-1].endswith(".exe")
SUPER = any(pathlib.Path(COMMAND[-1]).parent.glob("TFCMP15U.*"))  # the codec module is there
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
