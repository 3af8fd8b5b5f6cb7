"""How good pictures reduced to few colours look: the figure, two peers to compare with, and the table of all of them.

    quality.py --tnk PROGRAM --write DOCUMENT PICTURE ...     scripts/demo --quality calls it

The figure is the mean distance in CIELAB (CIE76) between picture and original, both blurred a little first, as the eye
does at a distance: dithering is judged by the colours that it gives, not by its dots.
"""
import argparse
import ctypes
import datetime
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

os.environ["OMP_NUM_THREADS"] = "1"  # all contenders run on one thread; read when libimagequant is loaded
import numpy as np
from PIL import Image
from PIL import __version__ as PILLOW

BITS = [1, 2, 4, 6, 8]  # 2 to 256 colours
METHODS = ["none", "floyd-steinberg"]
OPTIMIZED = (BITS, METHODS, ["--palette", "optimized"])
PRESCRIBED = (BITS, METHODS, ["--palette", "prescribed"])  # of 5 bits a channel
OWN = {"Tarnkit": OPTIMIZED, "Tarnkit, 5 bits": PRESCRIBED}
SIGMA = 1.5  # pixels
RADIUS = 6
STEP = 2  # blurred pictures say no more at every pixel than at every second one
WHITE = np.float32([0.95047, 1, 1.08883])  # D65
TO_XYZ = np.float32([[0.4124564, 0.3575761, 0.1804375], [0.2126729, 0.7151522, 0.0721750], [0.0193339, 0.1191920, 0.9503041]])


def blurred(image):
    """Channels of 0 to 1, blurred as they stand in the file, at every STEP-th pixel."""
    taps = np.exp(-0.5 * (np.arange(-RADIUS, RADIUS + 1) / SIGMA) ** 2).astype(np.float32)
    taps /= 255 * taps.sum()
    data = np.pad(np.asarray(image.convert("RGB")), ((RADIUS, RADIUS), (RADIUS, RADIUS), (0, 0)), "reflect")
    for axis in (0, 1):
        length = data.shape[axis] - 2 * RADIUS
        parts = (data[i : i + length : STEP] if axis == 0 else data[:, i : i + length : STEP] for i in range(len(taps)))
        data = sum(part * tap for part, tap in zip(parts, taps))
        taps = taps * 255
    return data


def lab(channels):
    linear = np.where(channels <= 0.04045, channels / 12.92, ((np.maximum(channels, 0) + 0.055) / 1.055) ** 2.4)
    xyz = linear @ TO_XYZ.T / WHITE
    x, y, z = np.moveaxis(np.where(xyz > 216 / 24389, np.cbrt(xyz), (24389 / 27 * xyz + 16) / 116), -1, 0)
    return np.stack([116 * y - 16, 500 * (x - y), 200 * (y - z)], -1)


class Judge:
    def __init__(self, original):
        self.original = lab(blurred(original))

    def error(self, picture):
        return float(np.sqrt(((lab(blurred(picture)) - self.original) ** 2).sum(-1)).mean())


def pillow(image, colors, dither):
    """Its default method (median cut). It dithers to palettes only, so that takes a second step."""
    begin = time.perf_counter()
    result = image.quantize(colors)
    if dither:
        # All 256 entries would take part, those behind the chosen ones as black.
        chosen = result.getpalette()[: 3 * colors]
        result.putpalette(chosen + chosen[-3:] * (256 - len(chosen) // 3))
        result = image.quantize(palette=result, dither=Image.Dither.FLOYDSTEINBERG)
    return result, (time.perf_counter() - begin) * 1000


class LiqPalette(ctypes.Structure):
    _fields_ = [("count", ctypes.c_uint), ("entries", ctypes.c_ubyte * 4 * 256)]


def libimagequant(image, colors, dither):
    """Its default speed and quality; the library of pngquant, called directly so that no file is in the time."""
    lib = ctypes.CDLL("libimagequant.so.0")
    for name in ("liq_attr_create", "liq_image_create_rgba"):
        getattr(lib, name).restype = ctypes.c_void_p
    lib.liq_get_palette.restype = ctypes.POINTER(LiqPalette)
    pixels, target = image.convert("RGBA").tobytes(), ctypes.create_string_buffer(image.width * image.height)
    begin = time.perf_counter()
    attributes = ctypes.c_void_p(lib.liq_attr_create())
    lib.liq_set_max_colors(attributes, colors)
    source = ctypes.c_void_p(lib.liq_image_create_rgba(attributes, pixels, image.width, image.height, ctypes.c_double(0)))
    result = ctypes.c_void_p()
    if lib.liq_image_quantize(source, attributes, ctypes.byref(result)) != 0:
        raise RuntimeError("libimagequant failed")
    lib.liq_set_dithering_level(result, ctypes.c_float(1 if dither else 0))
    if lib.liq_write_remapped_image(result, source, target, ctypes.c_size_t(len(target))) != 0:
        raise RuntimeError("libimagequant failed")
    ms = (time.perf_counter() - begin) * 1000
    palette = lib.liq_get_palette(result).contents
    out = Image.frombytes("P", image.size, target.raw)
    out.putpalette(bytes(v for entry in palette.entries[: palette.count] for v in entry[:3]))
    lib.liq_result_destroy(result)
    lib.liq_image_destroy(source)
    lib.liq_attr_destroy(attributes)
    return out, ms


PEERS = {"Pillow": pillow, "libimagequant": libimagequant}


def convert(command, picture, pattern, run):
    """Runs tnk once; file name -> (bits, method, milliseconds)"""
    bits, methods, extra = run
    arguments = ["--bits", ",".join(map(str, bits)), "--dither", ",".join(methods), "--verbose", *extra]
    done = subprocess.run([*command, "convert", str(picture), str(pattern), *arguments],
                          capture_output=True, encoding="utf-8", errors="replace")
    if done.returncode != 0:
        sys.exit(f"{picture}: tnk ended with {done.returncode}\n{done.stderr}")
    results = {}
    for line in done.stdout.splitlines():
        match = re.match(r"(.*): \d+ x \d+, (\d+) bits?, (\S+), converted in ([\d.]+) ms", line.strip())
        if match:
            results[pathlib.PurePosixPath(match[1].replace("\\", "/")).name] = (int(match[2]), match[3], float(match[4]))
    return results


def measure(tnk, picture, repeats=3):
    """(bits, method) -> contender -> (figure, milliseconds: the least of several)"""
    with Image.open(picture) as file:
        image = file.convert("RGB")
    judge, cells = Judge(image), {}
    with tempfile.TemporaryDirectory() as folder:
        for own, options in OWN.items():
            runs = [convert([tnk], picture, pathlib.Path(folder) / "{bits}-{dither}.png", options) for _ in range(repeats)]
            for name, (bits, method, _) in runs[0].items():
                with Image.open(pathlib.Path(folder) / name) as result:
                    error = judge.error(result)
                cells.setdefault((bits, method), {})[own] = error, min(run[name][2] for run in runs)
        for (bits, method), cell in cells.items():
            for peer, reduce in PEERS.items():
                results = [reduce(image, 1 << bits, method != "none") for _ in range(repeats)]
                cell[peer] = judge.error(results[0][0]), min(ms for _, ms in results)
    return cells


def table(measured):
    """Markdown; `measured` is name of picture -> cells."""
    names = [*OWN, *PEERS]
    means = {key: {name: tuple(np.mean([cells[key][name] for cells in measured.values()], 0)) for name in names}
             for key in next(iter(measured.values()))}
    lines = [f"Measured {datetime.date.today()}, Pillow {PILLOW}, native build, one thread.", "",
             f"| Picture | colours | dithering | {' | '.join(f'{name} | ms' for name in names)} |",
             "|---|---|---|" + "---|---|" * len(names)]
    for picture, cells in [*measured.items(), ("mean of all", means)]:
        for (bits, method), cell in sorted(cells.items(), key=lambda item: (METHODS.index(item[0][1]), item[0][0])):
            figures = " | ".join(f"{error:.2f} | {ms:.0f}" for error, ms in (cell[name] for name in names))
            lines.append(f"| {picture} | {1 << bits} | {method} | {figures} |")
    return "\n".join(lines)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tnk", required=True)
    parser.add_argument("--write", type=pathlib.Path, required=True)
    parser.add_argument("pictures", type=pathlib.Path, nargs="+")
    options = parser.parse_args()
    measured = {}
    for picture in options.pictures:
        print(f"{picture.name} ...", flush=True)
        measured[picture.name] = measure(options.tnk, picture)
    text = table(measured)
    print(text)
    document = options.write.read_text(encoding="utf-8")
    begin, end = "<!-- quality -->\n", "<!-- end of quality -->"
    head, rest = document.split(begin)
    options.write.write_text(head + begin + text + "\n" + end + rest.split(end)[1], encoding="utf-8")


if __name__ == "__main__":
    main()
