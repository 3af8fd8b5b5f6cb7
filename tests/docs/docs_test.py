"""Runs the command lines of README.md and of the guide, document by document, and compares the output that they show.

    docs_test.py ROOT BUILD     (a block of indented lines counts where one begins with a command below; lines behind a
                                 command that are none are its output)
"""

import pathlib
import re
import subprocess
import sys
import tempfile

from PIL import Image, ImageDraw

COMMANDS = re.compile(r"tnk |build/linux-x64/tnk |gcc ")
ROOT, BUILD = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])


def pictures(place):
    """The files that the documents name."""

    def save(name, mode, size, light=255):
        picture = Image.linear_gradient("L").resize(size).convert(mode)
        draw = ImageDraw.Draw(picture)
        for i in range(10, size[0], 90):
            draw.ellipse((i, i / 2, i + 60, i / 2 + 50), (light, i % 256, 90, 120)[: len(mode)] if len(mode) > 1 else light)
        picture.save(place / name)

    for name in ("photo.jpg", "team.jpg", "frame1.png", "frame2.png", "before.png", "after.png", "old.bmp"):
        save(name, "RGB", (640, 520), 200 if name == "after.png" else 255)
    for name in ("scan.png", "scan1.png", "scan2.png", "scan3.png", "mask.png"):
        save(name, "L", (640, 520))
    for name in ("fax.png", "mark.png"):
        save(name, "1", (640, 520))
    save("desk.jpg", "RGB", (1700, 2100))
    save("logo.png", "RGBA", (120, 80))


def commands(text):
    """(command, the lines of output shown) of each block that has a command."""
    for block in re.findall(r"(?:^ {4}.*\n(?:\n(?= {4}))*)+", text, re.M):
        found = None
        for line in block.splitlines():
            line = line[4:].rstrip()
            if COMMANDS.match(line):
                if found:
                    yield found
                found = line, []
            elif found and line:
                found[1].append(line)
        if found:
            yield found


def check(document):
    """The number of commands that ran; tells what differs."""
    ran = failed = 0
    with tempfile.TemporaryDirectory(prefix="docs-") as folder:
        place = pathlib.Path(folder)
        pictures(place)
        (place / "build").mkdir()
        (place / "build/linux-x64").symlink_to(BUILD)
        for name in ("include", "examples"):
            (place / name).symlink_to(ROOT / name)
        for command, shown in commands(document.read_text(encoding="utf-8")):
            done = subprocess.run(["bash", "-c", f'PATH="$PWD/build/linux-x64:$PATH"; {command}'], cwd=place, capture_output=True, text=True)
            ran += 1
            if done.returncode or (shown and [line.rstrip() for line in done.stdout.splitlines() if line] != shown):
                failed += 1
                print(f"{document.name}: {command}\nended with {done.returncode} and said\n{done.stdout}{done.stderr}")
    return ran, failed


results = [check(path) for path in (ROOT / "README.md", *sorted(ROOT.glob("docs/guide/*.md")))]
ran, failed = map(sum, zip(*results))
print(f"{ran} commands, {failed} failed")
sys.exit(failed > 0 or ran < 20)
