"""Peer of the benchmark: holds the photograph, does a job on each line of standard input, prints its seconds."""
import io
import sys
import time

from PIL import Image

print("ready", flush=True)
stream = sys.stdin.buffer
width, height = map(int, stream.readline().split())
colors = [int(c) for _ in range(256) for c in stream.readline().split()]
photo = Image.frombytes("RGB", (width, height), stream.read(width * height * 3))
gray = photo.convert("L")
palette = Image.new("P", (1, 1))
palette.putpalette(colors)
indexed = photo.convert("P")
mono = gray.convert("1", dither=Image.Dither.NONE)

def dithered_to_octree():
    octree = photo.quantize(256, method=Image.Quantize.FASTOCTREE)
    photo.quantize(palette=octree, dither=Image.Dither.FLOYDSTEINBERG)


def as_dib(image):
    stream = io.BytesIO()
    image.save(stream, "DIB")
    return stream


def from_dib(stream):
    stream.seek(0)
    Image.open(stream, formats=["DIB"]).load()


dibs = {1: mono, 8: gray, 24: photo}
packed = {bits: as_dib(image) for bits, image in dibs.items()}
jobs = {
    b"dither-any": lambda: photo.quantize(palette=palette, dither=Image.Dither.FLOYDSTEINBERG),
    b"dither-web": lambda: photo.convert("P", dither=Image.Dither.FLOYDSTEINBERG, palette=Image.Palette.WEB),
    b"dither-mono": lambda: gray.convert("1"),
    b"rgba": lambda: photo.convert("RGBA"),
    b"gray": lambda: photo.convert("L"),
    b"palette-rgb": lambda: indexed.convert("RGB"),
    b"threshold": lambda: photo.convert("1", dither=Image.Dither.NONE),
    b"mono-gray": lambda: mono.convert("L"),
    b"mono-rgb": lambda: mono.convert("RGB"),
    b"count": lambda: len(photo.getcolors(1 << 24)),
    b"octree": lambda: photo.quantize(256, method=Image.Quantize.FASTOCTREE),
    b"median-cut": lambda: photo.quantize(256, method=Image.Quantize.MEDIANCUT),
    b"octree-dither": dithered_to_octree,
    **{b"dib-out-%d" % bits: lambda image=image: as_dib(image) for bits, image in dibs.items()},
    **{b"dib-in-%d" % bits: lambda stream=stream: from_dib(stream) for bits, stream in packed.items()},
}
for line in stream:
    job = jobs[line.strip()]
    start = time.process_time()
    job()
    print(time.process_time() - start, flush=True)
