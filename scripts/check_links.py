"""Looks for dead links: in the pages of a site, and between the Markdown files of the tree.

    check_links.py SITE     (tells each and ends non-zero; links to other hosts are not followed)
"""
import html.parser
import pathlib
import re
import sys
import urllib.parse

ROOT = pathlib.Path(__file__).resolve().parent.parent


class Page(html.parser.HTMLParser):
    def __init__(self, path):
        super().__init__()
        self.links, self.anchors = [], set()
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if name in ("id", "name") and value:
                self.anchors.add(value)
            elif name in ("href", "src") and value:
                self.links.append(value)


def dead_in_site(site):
    pages = {path.resolve(): Page(path) for path in site.rglob("*.html")}
    if not pages:
        yield f"{site}: no pages"
    for path, page in pages.items():
        for link in page.links:
            parts = urllib.parse.urlsplit(link)
            if parts.scheme in ("http", "https", "javascript", "mailto"):
                continue
            target = (path.parent / urllib.parse.unquote(parts.path)).resolve() if parts.path else path
            if parts.scheme or not target.exists():
                yield f"{path.name}: {link}"
            elif parts.fragment and target in pages and urllib.parse.unquote(parts.fragment) not in pages[target].anchors:
                yield f"{path.name}: {link} has no such place"


def dead_in_tree():
    for path in (*ROOT.glob("*.md"), *ROOT.glob("docs/**/*.md")):
        for link in re.findall(r"\]\(([^)#\s]+)", path.read_text(encoding="utf-8")):
            if "://" not in link and not (path.parent / link).exists():
                yield f"{path.relative_to(ROOT)}: {link}"


dead = sorted({*dead_in_site(pathlib.Path(sys.argv[1])), *dead_in_tree()})
print("\n".join(f"dead link: {link}" for link in dead), end="\n" if dead else "")
sys.exit(bool(dead))
