"""Runs tnk over pictures and writes a page that shows the results. scripts/demo calls it."""
import argparse
import filecmp
import functools
import hashlib
import html
import json
import pathlib
import re
import shutil
import subprocess
import sys

from PIL import Image, ImageStat

import quality
from quality import OPTIMIZED, OWN, PEERS, PRESCRIBED, convert

METHODS = ["none", "floyd-steinberg", "stucki", "burkes", "sierra", "stevenson-arce", "jarvis", "ordered", "clustered"]
CROP = (288, 216)  # shown pixel by pixel; the original and nine methods make two rows of five

# The first picture shows every method at every depth, the others the depths in one method and every method at 8 bits.
ALL = [([1, 2, 4, 8], METHODS, []), OPTIMIZED, PRESCRIBED]
SOME = [([1, 2, 4], ["floyd-steinberg"], []), ([8], METHODS, []), ([8], ["floyd-steinberg"], ["--palette", "web"]), OPTIMIZED, PRESCRIBED]

PAGE = """<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"><meta name="viewport" content="width=device-width">
<title>Tarnkit: {title}</title>
<style>
:root {{ --zoom: 1; }}
body {{ margin: 0 auto; max-width: 1600px; padding: 1.5rem; font: 15px/1.45 system-ui, sans-serif; color: #222; background: #f6f6f4; }}
h1 {{ font-size: 1.5rem; margin: 0; }} h2 {{ font-size: 1.15rem; margin: 2.2rem 0 .2rem; }} h3 {{ font-size: 1rem; margin: 1.2rem 0 .4rem; }}
p {{ margin: .3rem 0; color: #555; }}
.row {{ display: flex; flex-wrap: wrap; gap: 14px; }}
figure {{ margin: 0; background: #fff; border: 1px solid #ddd; border-radius: 4px; padding: 6px; }}
.view {{ width: {width}px; height: {height}px; overflow: hidden; display: block; }}
.view img {{ width: {width}px; height: {height}px; display: block; image-rendering: pixelated; transform: scale(var(--zoom)); }}
.whole {{ width: {width}px; height: {height}px; display: grid; place-items: center; }}
figcaption {{ font-size: 13px; padding-top: 5px; display: flex; justify-content: space-between; }}
figcaption span {{ color: #777; }}
.bar {{ position: sticky; top: 0; background: #f6f6f4; padding: .6rem 0; border-bottom: 1px solid #ddd; z-index: 1; }}
a {{ color: inherit; }}
</style></head><body>
<h1>Tarnkit kernel: {title}</h1>
<p>Made by {program} under Wine with {library}. Each view is {width} x {height} pixels of the result, one to one; a click opens
the whole picture. {intro}{compared}</p>
<div class="bar"><label>Zoom <input type="range" min="1" max="6" step="1" value="1"
 oninput="document.documentElement.style.setProperty('--zoom', this.value)"></label></div>
{body}
</body></html>
"""
INTRO = """Times are those of <code>T_ColorResBitmap</code> for the whole picture, as measured in that run. Optimized palettes
are shown beside those of {peers}, native programs, with all their times for the whole picture. The figure before the time is the
mean colour difference (CIE76, in CIELAB) from the original, both blurred by {sigma} pixels: less is better.
<a href="geometry.html">The second page</a> shows turns and sizes, <a href="combining.html">the third</a> combinations."""
FIGURE = """<figure><a class="view" href="{link}"><img src="{crop}" alt="{name}" loading="lazy"></a>
<figcaption>{name}<span>{note}</span></figcaption></figure>
"""
WHOLE = """<figure><a class="whole" href="{link}"><img src="{picture}" alt="original"></a>
<figcaption>original<span>the whole, scaled</span></figcaption></figure>
"""


def checksum(*parts):
    digest = hashlib.sha256()
    for part in parts:
        digest.update(part.read_bytes() if isinstance(part, pathlib.Path) else json.dumps(part).encode())
    return digest.hexdigest()


def known_items(options, stamp, state):
    """The figures of an earlier run, or None where something is not up to date."""
    known = json.loads(stamp.read_text()) if stamp.exists() else {}
    complete = known.get("state") == state and all((options.out / item["crop"]).exists() for item in known["items"])
    return known["items"] if complete else None


def save_items(stamp, state, items):
    stamp.write_text(json.dumps({"state": state, "items": items}))


def check_native(file, native):
    if not filecmp.cmp(file, native, shallow=False):
        sys.exit(f"{file} and {native} differ")


def busiest(picture):
    """The window of CROP pixels, of a few spread over the picture, with the strongest contrast."""
    with Image.open(picture) as image:
        gray = image.convert("L")
        width, height = min(CROP[0], gray.width), min(CROP[1], gray.height)
        steps = [i / 6 for i in range(7)]
        corners = [(int((gray.width - width) * x), int((gray.height - height) * y)) for x in steps for y in steps]
        windows = [(left, top, left + width, top + height) for left, top in corners]
        return max(windows, key=lambda window: ImageStat.Stat(gray.crop(window)).stddev[0])


def original(picture):
    """The name of the copy that makes the page complete in itself."""
    return "original" + picture.suffix


def crop(picture, window, target):
    with Image.open(picture) as image:
        image.crop(window).save(target)


def peer_items(options, picture, folder, window, judge):
    """What the peers make of a picture. Slow, and kept apart from our own results, which change more often."""
    stamp = folder / "peers.json"
    state = checksum(pathlib.Path(quality.__file__), picture, CROP)
    if known := known_items(options, stamp, state):
        return known
    items = []
    with Image.open(picture) as file:
        image = file.convert("RGB")
    bits, methods, _ = OPTIMIZED
    for peer, reduce in PEERS.items():
        for depth, method in ((depth, method) for depth in bits for method in methods):
            result, ms = reduce(image, 1 << depth, method != "none")
            file = f"{depth}-{method}-{peer}.png"
            result.save(folder / file)
            crop(folder / file, window, folder / f"crop-{file}")
            items.append({"file": f"{folder.name}/{file}", "crop": f"{folder.name}/crop-{file}", "bits": depth, "by": peer,
                          "method": method, "palette": "optimized", "ms": ms, "error": judge().error(result)})
    save_items(stamp, state, items)
    return items


def reduce_picture(options, picture, number, runs):
    """Makes what is missing of one picture; returns its figures and whether it was made now."""
    folder = options.out / f"{number:02}-{re.sub('[^A-Za-z0-9]+', '-', picture.stem)}"
    stamp = folder / "stamp.json"
    state = checksum(options.library, options.tnk, pathlib.Path(quality.__file__), picture, runs, CROP, bool(options.native))
    if known := known_items(options, stamp, state):
        return folder, known, False
    folder.mkdir(parents=True, exist_ok=True)
    window = busiest(picture)

    @functools.cache
    def judge():
        with Image.open(picture) as image:
            return quality.Judge(image)

    items = []
    for run in runs:
        name = "{bits}-{dither}" + ("-" + run[2][-1] if run[2] else "") + ".png"
        results = convert([options.wine, options.tnk], picture, folder / name, run)
        if options.native:
            native = folder / "native"
            native.mkdir(exist_ok=True)
            convert([options.native], picture, native / name, run)
            for file in results:
                check_native(folder / file, native / file)
                (native / file).unlink()
        own = next((name for name, options in OWN.items() if options is run), None)
        for file, (bits, method, ms) in results.items():
            crop(folder / file, window, folder / f"crop-{file}")
            item = {"file": f"{folder.name}/{file}", "crop": f"{folder.name}/crop-{file}", "bits": bits, "by": own or "Tarnkit",
                    "method": method, "palette": "optimized" if own else run[2][-1] if run[2] else "fixed", "ms": ms}
            if own:
                with Image.open(folder / file) as result:
                    item["error"] = judge().error(result)
            items.append(item)
    items += peer_items(options, picture, folder, window, judge)
    crop(picture, window, folder / "crop-original.png")
    shutil.copyfile(picture, folder / original(picture))
    with Image.open(picture) as image:
        whole = image.convert("RGB")
        whole.thumbnail(CROP)
        whole.save(folder / "whole.png")
    save_items(stamp, state, items)
    return folder, items, True


def make_pages(options):
    """One run of the program over all pictures: a part of each in grays. Returns the section that shows it."""
    folder, stamp = options.out / "pages", options.out / "pages" / "stamp.json"
    sizes = []
    for picture in options.pictures:
        with Image.open(picture) as image:
            sizes.append(image.size)
    left, top = (max(0, (min(size) - length) // 2) for size, length in zip(zip(*sizes), CROP))
    arguments = ["--crop", f"{left},{top},{CROP[0]},{CROP[1]}", "--gray", "8", "--bits", "8,2"]
    names = [f"{page:0{len(str(len(sizes)))}}-{bits}.png" for bits in (8, 2) for page in range(1, len(sizes) + 1)]
    state = checksum(options.library, options.tnk, arguments, bool(options.native), *options.pictures)
    if not stamp.exists() or json.loads(stamp.read_text()) != state or not all((folder / n).exists() for n in names):
        shutil.rmtree(folder, ignore_errors=True)
        native = folder / "native"
        native.mkdir(parents=True)
        runs = [([options.wine, options.tnk], folder)] + ([([options.native], native)] if options.native else [])
        for command, place in runs:
            out = str(place / "{page}-{bits}.png")
            if subprocess.run([*command, "pages", *map(str, options.pictures), "--out", out, *arguments]).returncode:
                sys.exit("tnk pages failed")
        for name in names if options.native else ():
            check_native(folder / name, native / name)
        shutil.rmtree(native)
        stamp.write_text(json.dumps(state))
    shown = " ".join(["tnk pages", *(picture.name for picture in options.pictures), "--out {page}-{bits}.png", *arguments])
    figures = [FIGURE.format(link=f"pages/{name}", crop=f"pages/{name}", name=name, note="") for name in names]
    return "\n".join(["<h2>A part of each, in 256 and in 4 grays</h2>", f"<p><code>{html.escape(shown)}</code></p>",
                      "<div class=row>", *figures, "</div>"]), len(names)


def section(picture, folder, items):
    link = f"{folder.name}/{original(picture)}"
    part = FIGURE.format(link=link, crop=f"{folder.name}/crop-original.png", name="original", note="the same part")
    body = [f"<h2>{html.escape(picture.name)}</h2>\n<div class=row>",
            WHOLE.format(link=link, picture=f"{folder.name}/whole.png"), "</div>"]
    groups = {}
    for item in items:
        # Of an optimized palette the contenders stand side by side, without and with dithering in a row each.
        row = METHODS.index(item["method"]) if item["palette"] == "optimized" else 0
        groups.setdefault((item["bits"], item["palette"], row), []).append(item)
    for (bits, palette, row), members in sorted(groups.items()):
        if row == 0:
            what = f"{1 << bits} colours" if palette == "optimized" else f"{bits} {'bit' if bits == 1 else 'bits'}"
            body.append(f"<h3>{what}, {palette} palette</h3>")
        body += ["<div class=row>", part]
        for item in members:
            name = f"{item['by']}, {item['method']}" if palette == "optimized" else item["method"]
            note = (f"{item['error']:.2f} / " if "error" in item else "") + f"{item['ms']:.0f} ms"
            body.append(FIGURE.format(link=item["file"], crop=item["crop"], name=name, note=note))
        body.append("</div>")
    return "\n".join(body)


def command_line():
    parser = argparse.ArgumentParser()
    parser.add_argument("--out", type=pathlib.Path, required=True)
    parser.add_argument("--library", type=pathlib.Path, required=True)
    parser.add_argument("--tnk", type=pathlib.Path, required=True)
    parser.add_argument("--wine", required=True)
    parser.add_argument("--native")
    parser.add_argument("pictures", type=pathlib.Path, nargs="+")
    options = parser.parse_args()
    for picture in options.pictures:
        if not picture.is_file():
            sys.exit(f"{picture}: there is no such picture")
    return options


def write_page(options, name, title, intro, body, total):
    compared = f" All {total} results equal those of the native build, byte by byte." if options.native else ""
    page = options.out / name
    page.write_text(PAGE.format(title=title, width=CROP[0], height=CROP[1], program=options.tnk.name, library=options.library.name,
                                intro=intro, compared=compared, body="\n".join(body)), encoding="utf-8")
    print(f"open {page.resolve()}" + (f" ({total} results equal the native build's)" if options.native else ""))


def main():
    options = command_line()
    body = []
    total = 0
    for number, picture in enumerate(options.pictures, 1):
        folder, items, fresh = reduce_picture(options, picture, number, ALL if number == 1 else SOME)
        total += sum(item["by"] not in PEERS for item in items)
        print(f"{picture.name}: {len(items)} results" + ("" if fresh else ", up to date"), flush=True)
        body.append(section(picture, folder, items))
    part, made = make_pages(options)
    body.append(part)
    intro = INTRO.format(peers=" and ".join(PEERS), sigma=quality.SIGMA)
    write_page(options, "index.html", "photographs in 2 to 256 colours", intro, body, total + made)


if __name__ == "__main__":
    main()
