"""Man pages as Markdown with parts in HTML."""

import os
import re
import subprocess


def output_of(command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def man_sections(mandoc, path):
    """The man page as (level, heading, body in HTML)."""
    page = output_of([mandoc, "-T", "html", "-O", "fragment", path])
    page = re.sub(r"<table class=\"(?:head|foot)\">.*?</table>", "", page, flags=re.S)
    page = re.sub(r"</?(?:section|div)[^>]*>", "", page)
    # Places are given to headings alone; line breaks in literal text stand there as such already.
    page = re.sub(r'<a class="permalink" href="#[^"]*">(.*?)</a>', r"\1", page, flags=re.S)
    page = re.sub(r'<dt id="[^"]*">', "<dt>", page)
    page = re.sub(r"<pre>.*?</pre>", lambda pre: literal(pre.group(0)), page, flags=re.S)
    page = re.sub(r'<p class="Pp">\s*</p>', "", page)
    parts = re.split(r'<h([12]) class="S[hs]" id="[^"]*">(.*?)</h\1>', page, flags=re.S)
    return [(int(parts[place]), " ".join(parts[place + 1].split()), parts[place + 2].strip())
            for place in range(1, len(parts), 3)]


def literal(block):
    text = re.sub(r"<br/>\n?", "", block)[len("<pre>"):-len("</pre>")].strip("\n")
    return f'<pre class="fragment">{text}</pre>' if text.strip() else ""


def man_page(mandoc, path):
    """The page in Markdown; the headings are those of the man page, in small letters."""
    lines = [f"# {os.path.splitext(os.path.basename(path))[0]}", ""]
    for level, heading, body in man_sections(mandoc, path):
        words = heading.capitalize() if heading.isupper() and heading not in ("JSON", "XML") else heading
        lines += ["#" * (level + 1) + " " + words, ""]
        if body:
            lines += ["@htmlonly[block]", body, "@endhtmlonly", ""]
    return "\n".join(lines) + "\n"
