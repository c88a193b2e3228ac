#!/usr/bin/env python3
"""Makes the pages of the manual ready for Doxygen, and finishes what Doxygen makes of them.

    pages.py prepare ROOT BUILD MANDOC    ROOT/docs/*.md and some others -> BUILD/pages/*.md
    pages.py finish ROOT BUILD            BUILD/html/*.html: navigation, search, files that the pages link to

The pages are plain Markdown with relative links, as a repository browser shows them. Here links to pages become
references that Doxygen checks, names of classes and operations become links to the reference, and links to other files
of the repository lead to copies within the site. The pages of programs are their man pages, made by mandoc.
"""

import html
import os
import re
import sys

import man_pages
import search_index

# Path of a page, its name in the site, its name in the navigation. The order is that of reading.
PAGES = [
    ("docs/README.md", "mainpage", "Overview"),
    ("docs/getting-started.md", "getting-started", "Getting started"),
    ("docs/package-format.md", "package-format", "Package format"),
    ("docs/writing-a-program.md", "writing-a-program", "Writing a program"),
    ("docs/packages-and-values.md", "packages-and-values", "Packages and values"),
    ("examples/parameter_sweep/README.md", "parameter-sweep", "Parameter sweep"),
    ("examples/parameter_sweep/man/sweep-client.1", "sweep-client", "sweep-client"),
    ("examples/parameter_sweep/man/sweep-server.1", "sweep-server", "sweep-server"),
    ("examples/parameter_sweep/man/sweep-job.1", "sweep-job", "sweep-job"),
    ("tools/dvrequest/dvrequest.1", "dvrequest", "dvrequest"),
    ("docs/service-layer.md", "service-layer", "Service layer"),
    ("docs/operating.md", "operating", "Operating"),
    ("docs/packages.md", "packages", "Debian"),
    ("docs/benchmarks.md", "benchmarks", "Benchmarks"),
    ("SECURITY.md", "security", "Security"),
    ("docs/api-reference.md", "api-reference", "Reference"),
]
# What the site adds to a man page, which has no drawings.
ADDITIONS = {
    "tools/dvrequest/dvrequest.1": "\n## How a file is checked\n\n![From a file to a report](docs/diagrams/check.svg)\n",
}
IDS = {path: identifier for path, identifier, _ in PAGES}
HEADERS = ["Platform/RemoteComputation/Service/RequestHandlingBase",
           "Platform/RemoteComputation/Service/RequestPackages", "service"]
# Headers that programs do not use.
INTERNAL = {"RequestNamespace.h", "PackageParser.h", "Failure.h", "Lexical.h", "Text.h"}
# A link or picture (mark, text, target), or inline code: whichever begins first.
LINK_OR_CODE = re.compile(r"(!?)\[((?:[^\[\]]|\[[^\]]*\])*)\]\(([^)\s]+)\)|`([^`]+)`")


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def write(path, text):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def slug(heading):
    """The anchor that repository browsers give to a heading."""
    text = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading).lower()
    return re.sub(r"[^\w\- ]", "", text).strip().replace(" ", "-")


def html_name(identifier):
    return "index.html" if identifier == "mainpage" else identifier + ".html"


def file_page(path):
    """The page of the site that shows a file or folder of the repository."""
    return "file-" + re.sub(r"[^A-Za-z0-9.]", "-", path.rstrip("/")) + ".html"


def symbols(root):
    """What may stand as inline code and has a place in the reference: text -> reference."""
    found = {}
    for folder in HEADERS:
        for name in sorted(os.listdir(os.path.join(root, folder))):
            if name.endswith(".h") and name not in INTERNAL:
                add_symbols(read(os.path.join(root, folder, name)), found)
    return found


def add_symbols(header, found):
    namespace = re.search(r"^namespace (\w+) \{", header, re.M)
    owner, before = None, ""
    for line in header.splitlines():
        declared = re.match(r"class (?:\w+_EXPORT )?(\w+)(?: final)?(?: :.*)? \{$", line)
        if declared and namespace:
            owner = declared.group(1)
            found[owner] = f"{namespace.group(1)}::{owner}"
        elif line == " private:":
            owner = None
        template = re.match(r"class (\w+);$", line)
        if template and before.startswith("template"):
            found[template.group(1)] = f"{namespace.group(1)}::{template.group(1)}"
        before = line
        operation = re.match(r"  (?:static |virtual |explicit )?(?:[\w:<>&*]+ )+[&*]?(\w+)\(", line)
        if owner and operation and operation.group(1) not in (owner, "operator"):
            found[f"{owner}::{operation.group(1)}"] = f"{found[owner]}::{operation.group(1)}"


def reference(place, text):
    return f'<code>@ref {place} "{text}"</code>'


def marked_code(match):
    return f"<code>{match.group(4)}</code>" if match.group(4) else match.group(0)


class Page:
    def __init__(self, root, path, names):
        self.root, self.path, self.names = root, path, names
        self.identifier = IDS[path]
        self.linked = set()
        self.files = set()
        self.anchors = {}

    def target(self, link):
        """What Doxygen is to make of the target of a link."""
        path, _, anchor = link.partition("#")
        if re.match(r"[a-z]+:", link):
            return link
        here = self.path if not path else os.path.normpath(os.path.join(os.path.dirname(self.path), path))
        if here in IDS:
            return "@ref " + (f"{IDS[here]}_{anchor}" if anchor else IDS[here])
        if not os.path.exists(os.path.join(self.root, here)):
            sys.exit(f"{self.path}: there is no {here}")
        self.files.add(here)
        return file_page(here)

    def link(self, mark, text, target):
        if mark:
            return f"![{text}]({os.path.basename(target)})"
        place = self.target(target)
        if not place.startswith("@ref "):
            return f'<a href="{place}">{LINK_OR_CODE.sub(marked_code, text)}</a>'
        if re.fullmatch("`[^`]+`", text):
            return reference(place[len("@ref "):], text.strip("`"))
        return f"[{text.replace('`', '')}]({place})"

    def code(self, name):
        """Inline code: its first mention within a section or a row leads to the reference."""
        place = self.names.get(name)
        if place is None or name in self.linked:
            return f"`{name}`"
        self.linked.add(name)
        return reference(place, name)

    def prose(self, line):
        def replace(match):
            mark, text, target, code = match.groups()
            return self.code(code) if code else self.link(mark, text, target)

        if line.startswith("|"):
            self.linked = set()
        # Doxygen takes no code marks within marks of emphasis.
        return LINK_OR_CODE.sub(replace, re.sub(r"\*\*(`[^`]+`)\*\*", r"<b>\1</b>", line))

    def heading(self, level, text):
        self.linked = set()
        # Doxygen takes code marks in headings as they stand.
        text = text.replace("`", "")
        if level == 1:
            return f"# {text} {{#{self.identifier}}}\n\n[TOC]"
        return f"{'#' * level} {text} {{#{self.identifier}_{self.anchor(text)}}}"

    def anchor(self, heading):
        """As repository browsers do, numbers headings of the same text."""
        name = slug(heading)
        count = self.anchors[name] = self.anchors.get(name, -1) + 1
        return f"{name}-{count}" if count else name

    def prepared(self, text):
        lines, is_code = [], False
        for line in text.splitlines():
            heading = re.match(r"(#+) (.*)", line)
            if line.startswith("@htmlonly") or line.startswith("@endhtmlonly"):
                is_code = not is_code
                lines.append(line)
            elif line.startswith("```"):
                is_code = not is_code
                lines.append(re.sub(r"^```(console|sh|text|cmake)$", "```unparsed", line))
            elif is_code:
                lines.append(line)
            elif heading:
                lines.append(self.heading(len(heading.group(1)), heading.group(2)))
            else:
                lines.append(self.prose(line))
        return "\n".join(lines) + "\n"


def refuse_unlisted(root):
    for name in sorted(os.listdir(os.path.join(root, "docs"))):
        if name.endswith(".md") and f"docs/{name}" not in IDS:
            sys.exit(f"docs/{name} has no place in the manual: list it in docs/site/pages.py")


def text_of(root, path, mandoc):
    """The Markdown of a page, whatever it is made from."""
    full = os.path.join(root, path)
    text = man_pages.man_page(mandoc, full) if path.endswith(".1") else read(full)
    return text + ADDITIONS.get(path, "")


def prepare(root, build, mandoc):
    refuse_unlisted(root)
    names = symbols(root)
    files = set()
    for path, _, _ in PAGES:
        page = Page(root, path, names)
        write(os.path.join(build, "pages", f"{page.identifier}.md"), page.prepared(text_of(root, path, mandoc)))
        files |= page.files
    write(os.path.join(build, "files.txt"), "".join(f"{path}\n" for path in sorted(files)))


def navigation(current):
    links = []
    for _, identifier, title in PAGES:
        mark = ' aria-current="page"' if html_name(identifier) == current else ""
        links.append(f'<a href="{html_name(identifier)}"{mark}>{title}</a>')
    return "\n".join(links)


def sequence(current):
    """Links to the pages before and after, in the order of reading."""
    names = [html_name(identifier) for _, identifier, _ in PAGES]
    if current not in names:
        return ""
    place, links = names.index(current), []
    for step, mark in ((-1, "prev"), (1, "next")):
        if 0 <= place + step < len(PAGES):
            links.append(f'<a rel="{mark}" href="{names[place + step]}">{PAGES[place + step][2]}</a>')
    return '<nav class="sequence" aria-label="Pages">' + "\n".join(links) + "</nav>\n"


def finished(page, name):
    page = page.replace("<!-- navigation -->", navigation(name)).replace("</main>", sequence(name) + "</main>")
    # Doxygen makes links of addresses that are shown as code, and embeds drawings without saying what they show.
    page = re.sub(r'<code><a href="https?:[^"]*">([^<]*)</a></code>', r"<code>\1</code>", page)
    page = re.sub(r'<object type="image/svg\+xml" data="([^"]*)"[^>]*></object>\s*<div class="caption">\s*([^<]*)</div>',
                  r'<img src="\1" alt="\2"/>\n<div class="caption">\2</div>', page)
    page = re.sub(r"<code>([^<]{1,24})</code>", r'<code class="short">\1</code>', page)
    # Doxygen announces nested classes that it then does not list.
    if 'id="nested-classes"' not in page:
        page = re.sub(r'<a href="#nested-classes">Classes</a>\s*(?:&#124;\s*)?', "", page)
    # A table that is wider than the window is scrolled by itself.
    page = page.replace('<table class="markdownTable">', '<div class="wide" tabindex="0"><table class="markdownTable">')
    page = re.sub(r'(<table class="markdownTable">.*?</table>)', r"\1</div>", page, flags=re.S)
    return page.replace("<h3>Table of Contents</h3>", "<h3>On this page</h3>")


def listing(root, path):
    """The body of the page that shows a file, or the names of the files in a folder."""
    full = os.path.join(root, path)
    title = f'<div class="header"><h1 class="title"><code>{html.escape(path)}</code></h1></div>'
    if not os.path.isdir(full):
        return f'{title}<div class="contents"><pre class="fragment">{html.escape(read(full))}</pre></div>\n'
    items = []
    for name in sorted(os.listdir(full)):
        inner = os.path.join(path, name)
        items.append(f'<li><a href="{file_page(inner)}">{html.escape(name)}</a></li>')
    return f'{title}<div class="contents"><div class="textblock"><ul>{"".join(items)}</ul></div></div>\n'


def with_contents(root, paths):
    """The paths, and everything below those that are folders."""
    found = set()
    for path in paths:
        found.add(path)
        full = os.path.join(root, path)
        if os.path.isdir(full):
            found |= with_contents(root, [os.path.join(path, name) for name in os.listdir(full)])
    return found


def finish(root, build):
    site = os.path.join(build, "html")
    head = read(os.path.join(root, "docs/site/header.html")).replace(
        "$extrastylesheet", '<link href="style.css" rel="stylesheet">').replace('<div id="top">\n', "")
    foot = read(os.path.join(root, "docs/site/footer.html")).replace("$projectnumber", "")
    for path in with_contents(root, read(os.path.join(build, "files.txt")).split()):
        page = head.replace("$title", html.escape(path)) + listing(root, path) + foot
        write(os.path.join(site, file_page(path)), page)
    for name in sorted(os.listdir(site)):
        if name.endswith(".html"):
            write(os.path.join(site, name), finished(read(os.path.join(site, name)), name))
    search_index.write_index(site, {html_name(identifier) for _, identifier, _ in PAGES})


if __name__ == "__main__":
    {"prepare": prepare, "finish": finish}[sys.argv[1]](*sys.argv[2:])
