"""Peer of the benchmark: holds the photograph, does a job on each line of standard input, prints its seconds."""
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
}
for line in stream:
    job = jobs[line.strip()]
    start = time.process_time()
    job()
    print(time.process_time() - start, flush=True)
