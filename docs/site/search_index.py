"""The index of the site's search: what site.js looks through, one entry for each section of each page."""

import html.parser
import json
import os
import re
import sys

HEADINGS = {"h1", "h2", "h3"}
# Elements whose text is no text of the page, by name or class.
SKIPPED_NAMES = {"script", "style", "nav", "head", "header", "footer"}
SKIPPED_CLASSES = {"toc", "ttc", "permalink", "navpath", "memberdecls", "summary"}
VOID = {"br", "hr", "img", "input", "link", "meta", "col"}


class Sections(html.parser.HTMLParser):
    """The sections of one page: place in the page, heading, text. The first has the page's title."""

    def __init__(self):
        super().__init__()
        self.sections = [["", "", ""]]
        self.open = []
        self.skipped = None
        self.anchor = ""
        self.is_heading = False

    def handle_starttag(self, name, attributes):
        if name in VOID:
            return
        attributes = dict(attributes)
        classes = set((attributes.get("class") or "").split())
        self.open.append(name)
        if self.skipped is None and (name in SKIPPED_NAMES or classes & SKIPPED_CLASSES):
            self.skipped = len(self.open)
        if self.skipped is not None:
            return
        if attributes.get("id") and name in ("a", "h1", "h2", "h3"):
            self.anchor = attributes["id"]
        if "title" in classes:
            self.is_heading = True
        elif name in HEADINGS:
            self.sections.append([self.anchor, "", ""])
            self.is_heading = True
        elif self.is_heading and attributes.get("id"):
            self.sections[-1][0] = attributes["id"]

    def handle_endtag(self, name):
        while self.open and self.open[-1] != name and name in self.open:
            self.leave()
        if self.open and self.open[-1] == name:
            self.leave()
        if name in HEADINGS | {"div"}:
            self.is_heading = False
        if name in ("p", "td", "th", "li", "div", "dt", "dd"):
            self.handle_data(" ")

    def leave(self):
        if self.skipped == len(self.open):
            self.skipped = None
        self.open.pop()

    def handle_data(self, text):
        if self.skipped is None:
            self.sections[-1][1 if self.is_heading else 2] += text


def sections_of(name, page):
    """[address, title of the page, heading, text] for each section of a page."""
    parser = Sections()
    parser.feed(page)
    tidy = [[anchor] + [re.sub(r"\s+", " ", part).strip() for part in parts] for anchor, *parts in parser.sections]
    title = re.sub(r"(?:Drelvan::)?(\S+) (?:Class|Struct)(?: Template)? Reference", r"\1", tidy[0][1])
    tidy[0][1] = title
    return [[name + (f"#{anchor}" if anchor else ""), title, title if heading in ("", "Detailed Description") else heading, text]
            for anchor, heading, text in tidy if text or heading]


def is_searched(name, page_names):
    return name in page_names or re.fullmatch(r"(class|struct).*(?<!-members)\.html", name) is not None


def refuse_dead_entries(name, page, entries):
    if not entries:
        sys.exit(f"{name}: the search finds nothing on this page")
    for address, _, heading, _ in entries:
        _, mark, anchor = address.partition("#")
        if mark and f'id="{anchor}"' not in page:
            sys.exit(f"{name}: the search leads to '{heading}', which has no place #{anchor}")


def write_index(site, page_names):
    """Writes search-index.js for the pages in the folder."""
    found = []
    for name in sorted(os.listdir(site)):
        if is_searched(name, page_names):
            with open(os.path.join(site, name), encoding="utf-8") as file:
                page = file.read()
            entries = sections_of(name, page)
            refuse_dead_entries(name, page, entries)
            found += entries
    with open(os.path.join(site, "search-index.js"), "w", encoding="utf-8") as file:
        file.write("window.searchSections = " + json.dumps(found, ensure_ascii=False, separators=(",", ":")) + ";\n")
