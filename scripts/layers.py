#!/usr/bin/env python3
"""Checks the order of the rooms under src/: each may use only those to its left, and nothing inside calls an export.

    scripts/layers.py [SOURCE_FOLDER]      names every violation; exit code 1 when there is one
"""

import collections
import os
import pathlib
import re
import sys

ROOMS = "platform base kernels system palette convert bitmap color geometry format collections library".split()
MOST_FILES = 13  # of one folder; a source and its header count once

COMMENT_OR_TEXT = re.compile(r'//[^\n]*|/\*.*?\*/|R"\((?:.*?)\)"|"(?:\\.|[^"\\\n])*"', re.S)
# A function that starts in the first column: its name, and whether a body or a declaration follows. Constructors, members
# and macros have other forms and are passed over.
FUNCTION = re.compile(r"^(?:extern |\[\[\w+\]\] |inline |constexpr |static )*(?!return|using|typedef|else|case)"
                      r"[A-Za-z_][\w:<>,*& ]*?[\s*&](\w+)\(([^;{}()]|\([^()]*\))*\)\s*(?:noexcept\s*)?([;{])", re.M)
EXPORT = re.compile(r"\bTNK_CALL\s+(T_\w+)\s*\(")


def code_of(path, keep_texts=False):
    """The file without comments, and without texts where these are not wanted; lines stay where they are."""
    def blank(match):
        text = match[0]
        return text if keep_texts and text[0] != "/" else '""' * (text[0] != "/") + "\n" * text.count("\n")

    return COMMENT_OR_TEXT.sub(blank, path.read_text())


def line_of(code, at):
    return code.count("\n", 0, at) + 1


def main():
    source = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else os.path.relpath(pathlib.Path(__file__).parent.parent / "src"))
    rank = {room: i for i, room in enumerate(ROOMS)}
    found = collections.defaultdict(list)
    files = sorted(p for p in source.rglob("*") if p.suffix in (".c", ".cpp", ".h"))
    codes = {path: code_of(path) for path in files}
    room_of = {path: path.relative_to(source).parts[0] for path in files}

    stems = collections.defaultdict(set)
    for path in files:
        stems[path.parent].add(path.stem)
        if room_of[path] not in rank or path.parent == source:
            found["outside the rooms"].append(f"{path}: its folder is none of {' '.join(ROOMS)}")
    for folder, names in stems.items():
        if len(names) > MOST_FILES:
            found["too many files in one room"].append(f"{folder}: {len(names)} files (at most {MOST_FILES})")

    for path in files:
        code = code_of(path, keep_texts=True)
        for match in re.finditer(r'^[ \t]*#[ \t]*include[ \t]*"([^"]+)"', code, re.M):
            target = next((f for f in (source / match[1], path.parent / match[1]) if f.exists()), None)
            if target is None:
                continue  # of the public interface or of the system
            other = target.resolve().relative_to(source.resolve()).parts[0]
            if rank.get(other, -1) > rank.get(room_of[path], len(ROOMS)):
                found["include to the right"].append(f"{path}:{line_of(code, match.start())}: {match[1]}")

    exports = {name for code in codes.values() for name in EXPORT.findall(code)}
    # Where a name is defined, by its file; what stands in a header is declared for everybody.
    defined = collections.defaultdict(set)
    for path, code in codes.items():
        for match in FUNCTION.finditer(code):
            if match[3] == "{":
                defined[match[1]].add(path)
    for path, code in codes.items():
        definitions = {match.start(1) for match in EXPORT.finditer(code)}
        for match in re.finditer(r"\bT_\w+", code):
            if match[0] in exports and match.start() not in definitions:
                found["use of an export"].append(f"{path}:{line_of(code, match.start())}: {match[0]}")
        if path.suffix == ".h":
            continue
        for match in FUNCTION.finditer(code):
            elsewhere = defined[match[1]] - {path}
            if match[3] == ";" and elsewhere and path not in defined[match[1]] and match[1] not in exports:
                where = ", ".join(str(p) for p in sorted(elsewhere))
                found["declaration beside the header"].append(
                    f"{path}:{line_of(code, match.start())}: {match[1]} of {where}")

    for kind, lines in found.items():
        print(f"{kind}: {len(lines)}", *lines, sep="\n    ")
    if not found:
        print(f"{len(files)} files in {len(set(room_of.values()))} rooms are in order")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
