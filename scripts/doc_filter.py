"""Doxygen's input filter: turns the plain comments of the public headers into documentation comments, and names in
Markdown into links.

    doc_filter.py FILE     (written to the standard output)

A header is written for its reader: a banner begins a section, a comment stands for the declarations up to the next comment or
empty line, one behind a declaration for it alone, and one before an empty line belongs to the section.
"""
import pathlib
import re
import sys

INCLUDE = pathlib.Path(__file__).parent.parent / "include"
HEADERS = "\n".join(path.read_text(encoding="utf-8") for path in sorted(INCLUDE.glob("*.h")))
HIDDEN = {"TNKRN_H", "TNKRN_CODEC_H", "TNK_API", "TNK_CALL", "TNK_CODEC_API", "TNK_QUOTE_", "TNK_QUOTE_VERSION_"}
NAMES = set(re.findall(r"^TNK_\w*API .*?\b(\w+)\(", HEADERS, re.M)) | set(re.findall(r"^#define (\w+)", HEADERS, re.M))
NAMES |= set(re.findall(r"^} (\w+);", HEADERS, re.M)) | set(re.findall(r"TNK_CALL\* (\w+)\)", HEADERS))
NAMES |= set(re.findall(r"^typedef \w+ (\w+);", HEADERS, re.M))
NAMES -= HIDDEN
CODES = {number: name for name, number in re.findall(r"^#define (T_\w+) \((-\d+)\)", HEADERS, re.M)}
TITLES = {"tnkrn.h": "Conventions", "tnkrn_codec.h": "Codec modules"}  # of what the headers begin with
LONG = 12  # lines; what is longer stands once, and the block's other declarations point to it


def marked(text, codes=False):
    """Text as Doxygen must read it, with links at names and, where it tells of results, at their numbers."""
    text = re.sub(r"[&<>\\@#*`|]", lambda m: {"&": "&amp;", "<": "&lt;", ">": "&gt;"}.get(m[0], "\\" + m[0]), text)
    text = text.replace("--", "\\--").replace("KEEP: ", "Note: ")
    text = re.sub(r"\b\w+\b(?!\\\*)", lambda m: f'@ref {m[0]} "{m[0]}"' if m[0] in NAMES else m[0], text)
    if not codes:
        return text
    return re.sub(r"(?<![\w.\"^])-\d+\b(?!\^)", lambda m: f'@ref {CODES[m[0]]} "{m[0]}"' if m[0] in CODES else m[0], text)


def slug(title):
    return re.sub(r"\W+", "_", title.lower()).strip("_")


def body(comment):
    """The lines of a comment without its decoration."""
    lines = comment.strip().removeprefix("/*").removesuffix("*/").splitlines()
    lines = [re.sub(r"^ *\* ?", "", line) if i else line.lstrip() for i, line in enumerate(lines)]
    return [line.rstrip() for line in lines if not re.fullmatch(r" *-{20,}", line)]


def terms(lines):
    """A list of terms and what they mean, in two columns; deeper ones inside are kept as they stand."""
    indent = len(lines[0]) - len(lines[0].lstrip())
    column = next(m.end() for m in [re.match(r" *\S.*?  +", line) for line in lines] if m)
    rows = []
    for line in lines:
        if line[:column].strip():
            rows.append([line[indent:column].strip(), [line[column:]]])
        else:
            rows[-1][1].append(line[column:])
    cells = []
    for term, text in rows:
        # Runs of plain lines and of deeper lists, by turns.
        said, run = [], []
        for line in [*text, None]:
            if run and (line is None or line.startswith("  ") != run[-1].startswith("  ")):
                said.append(terms(run) if run[0].startswith("  ") else marked(" ".join(run)))
                run = []
            run.append(line)
        cells.append(f"<tr><td>{marked(term)}</td><td>{''.join(said)}</td></tr>")
    return '<table class="terms">' + "".join(cells) + "</table>"


def prose(lines):
    """Paragraphs, lists of terms and fixed tables of a comment, in Doxygen's form."""
    out, at = [], 0
    while at < len(lines):
        end = at
        deep = lambda i: i < len(lines) and lines[i].startswith("  ")
        if not lines[at].strip():
            at += 1
            continue
        while end < len(lines) and lines[end].strip() and deep(end) == deep(at):
            end += 1
        part = lines[at:end]
        if not deep(at):
            # A paragraph of its own for the codes, wherever in the text they begin.
            first, *codes = re.split(r"(?:^|(?<=[.)] ))(?=Codes?\b[^:.]{0,30}: )", " ".join(part))
            out += [marked(first)] if first else []
            for head, rest in (text.split(": ", 1) for text in codes):
                out.append(f"<b>{head}:</b> {marked(rest, codes=True)}")
        elif part[0].startswith("    ") and at and not lines[at - 1]:
            out.append("<pre>" + "\n".join(marked(line[4:]) for line in part) + "</pre>")
        elif any(re.match(r" +\S.*?  +\S", line) for line in part):
            out.append(terms(part))
        else:
            out.append(marked(" ".join(line.strip() for line in part)))
        at = end
    return "\n\n".join(out)


def title_of(lines):
    """The heading that a comment over a run of constants makes, and what it says besides."""
    text = " ".join(lines)
    head = re.split(r"(?<=\w): |(?<=\w)[.] |, (?=bits)|[.]$|:$", text, maxsplit=1)[0]
    rest = text[len(head) :].lstrip(".:, ")
    return head, rest[:1].upper() + rest[1:]


class Header:
    def __init__(self, text):
        self.lines, self.at, self.out = text.splitlines(), 0, []
        self.open = False      # a section
        self.doc = []          # the block's comment
        self.told = None       # the first declaration that it was given to

    def comment(self):
        begin = self.at
        while "*/" not in self.lines[self.at]:
            self.at += 1
        self.at += 1
        return "\n".join(self.lines[begin : self.at])

    def close(self):
        if self.open:
            self.out.append("/** @} */")
        self.open = False

    def section(self, lines):
        self.close()
        head, _, rest = lines[0].partition(". ")
        lines = [rest, *lines[1:]]
        self.out.append(f"/** @defgroup {slug(head)} {head.rstrip('.')}\n{prose(lines)}\n\n")
        self.opening, self.open = len(self.out), True
        self.out.append("@{ */")
        self.doc = [f"See the head of section {head.rstrip('.')}."]

    def leading(self):
        first = self.at
        text = self.comment()
        lines = body(text)
        while lines and not lines[0]:
            lines.pop(0)
        follows = self.lines[self.at] if self.at < len(self.lines) else ""
        self.doc, self.told = [], None
        if re.match(r"/\* -{20}", text):
            self.section(lines)
        elif first == 0:
            name, _, brief = lines[0].partition(" - ")
            self.out.append(f"/** @file {name}\n@brief {marked(brief)} */")
            self.section([TITLES[name], *[line for line in lines[1:] if line != TITLES[name]]])
        elif not follows.strip():
            self.out[self.opening - 1] += prose(lines) + "\n\n"
        elif follows.startswith("#define") and "API" not in self.lines[self.at]:
            self.constants(lines)
        else:
            self.doc = lines

    def constants(self, lines):
        """A run of constants under one comment."""
        head, rest = title_of(lines)
        end = self.at
        while end < len(self.lines) and (not re.match(r"/\*|TNK_|typedef|$", self.lines[end])):
            end += 1
        run = end - self.at > 1
        self.doc = lines
        if run:
            self.out.append(f"/** @name {head}\n{marked(rest)}\n@{{ */")
            self.doc = [rest or head]
        while self.at < end:
            self.declaration()
        if run:
            self.out.append("/** @} */")
        if self.at < len(self.lines) and self.lines[self.at].startswith("TNK_"):
            self.doc = lines

    def statement(self):
        """The lines of a declaration or directive, and the comment behind it."""
        code = ""
        while True:
            line = self.lines[self.at]
            found = re.match(r"(.*?)\s*(/\*.*)$", line)
            code += (found[1] if found else line) + "\n"
            if found:
                self.lines[self.at] = found[2]
                return code, body(self.comment())
            self.at += 1
            directive = code.startswith("#")
            if (directive and not line.endswith("\\")) or (not directive and re.search(r"[;{}]\s*$", line)):
                return code, []

    def declaration(self):
        code, behind = self.statement()
        defined = re.match(r"#define (\w+)(?: (\w+))?", code)
        named = defined or re.search(r"TNK_CALL (\w+)\(|TNK_CALL\* (\w+)\)", code)
        if defined and defined[1] in HIDDEN:
            return
        if not (defined or re.match(r"TNK_|typedef|class", code)):
            self.out.append(code.rstrip("\n"))
            return
        name = next(filter(None, named.groups())) if named else ""
        said = []
        if behind and defined:
            pass  # says more than the comment over the run
        elif self.doc and self.told and len(self.doc) > LONG:
            said.append(f'Described with @ref {self.told} "{self.told}".')
        elif self.doc:
            said.append(prose(self.doc))
            self.told = self.told or name
        if behind and code.startswith("TNK_"):
            said.append("@return " + marked(" ".join(behind), codes=True))
        elif behind:
            said.append(marked(" ".join(behind)))
        elif defined and not said and defined[2] in NAMES:
            said.append(f'Short for @ref {defined[2]} "{defined[2]}".')
        if said:
            self.out.append("/** " + "\n\n".join(said) + " */")
        self.out.append(code.rstrip("\n"))
        if re.match(r"typedef struct", code):
            self.fields()
        elif code.startswith("class"):
            self.members()

    def fields(self):
        while not self.lines[self.at].startswith("}"):
            code, behind = self.statement()
            # Fields that only their name explains are listed too.
            self.out.append(f"{code.rstrip()} /**< {marked(' '.join(behind)) or '&#160;'} */")
        self.out.append(self.lines[self.at])
        self.at += 1

    def members(self):
        """The routines of a class say what they do by their names."""
        template = False
        while not self.lines[self.at].startswith("}"):
            line = self.lines[self.at]
            if re.match(r"    (template|[\w~].*\(.*\{)", line) and not template:
                self.out.append("    /** &#160; */")
            template = line.startswith("    template")
            self.out.append(line)
            self.at += 1

    def run(self):
        while self.at < len(self.lines):
            line = self.lines[self.at]
            if line.startswith("/*"):
                self.leading()
            elif not line.strip():
                self.doc, self.told = [], None
                self.at += 1
            elif line == "#endif" and self.at == len(self.lines) - 1:
                self.close()
                self.at += 1
            else:
                self.declaration()
        return "\n".join(self.out)


def linked(text):
    """Markdown whose `T_Names` lead to their description, and which shows the programs that it links to."""
    text = re.sub(r"^\[\S+\]\([./]+/(\w[\w/]+\.c)\)$", r"\\include \1", text, flags=re.M)
    text = re.sub(r"\[(\w+)\]\([./]+/include/tnkrn.h\)", lambda m: f'@ref {slug(m[1])} "{m[1]}"', text)
    parts = re.split(r"(^```.*?^```)", text, flags=re.M | re.S)
    for i in range(0, len(parts), 2):
        parts[i] = re.sub(r"`(\w+)`", lambda m: f'@ref {m[1]} "{m[1]}"' if m[1] in NAMES else m[0], parts[i])
    return "".join(parts)


def main():
    path = pathlib.Path(sys.argv[1])
    text = path.read_text(encoding="utf-8")
    sys.stdout.reconfigure(encoding="utf-8")
    print(Header(text).run() if path.suffix == ".h" else linked(text))


main()
