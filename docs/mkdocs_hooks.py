"""What mkdocs does otherwise for this site: the manual is a part of it, made of the same sources as its pages for man."""

import re
import subprocess
import sys
import tempfile
from pathlib import Path

from mkdocs.structure.files import File

TOP = Path(__file__).resolve().parents[1]
FOLDER = "manual"  # of the site
made = tempfile.TemporaryDirectory(prefix="qor-trace-docs-")  # what is made for the site, anew each time


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def written_pages():
    """The manual's pages, in the order of the navigation: those of the programs, those of the C interface."""
    folder = Path(made.name) / "man"
    output_of("cmake", "-D", f"manual={folder}", "-P", TOP / "cmake" / "ManualPages.cmake")
    programs = sorted(folder.iterdir(), key=lambda page: (page.suffix, page.stem))
    interface = output_of(sys.executable, "-B", TOP / "docs/man/interface.py", TOP / "include/qor_api_trace.h", folder, "", "")
    return {"Programs": programs, "C interface": [folder / name for name in interface.split()]}


def title(page):
    return f"{page.stem}({page.suffix[1:]})"


def address(page):
    return f"{FOLDER}/{page.name}.md"


def linked(html, page, pages):
    """With references to the manual's other pages, and to those of this site, as links."""
    others = {title(other): f"{other.name}.html" for other in pages if other != page}

    def link(match):
        target = others.get(f"{match[1] or match[3]}({match[2] or match[4] or 3})")
        return f'<a href="{target}">{match[0]}</a>' if target else match[0]

    html = re.sub(r"<b>([\w-]+)</b>(?:\((\d)\))?|(?<![\"\w-])([\w-]+)\((\d)\)", link, html)
    return re.sub(r"docs/([\w-]+)\.md", r'<a href="../\1.html">\g<0></a>', html)


def as_markdown(page, pages):
    """A page with Markdown's headings, which the site makes its table of contents from, and HTML between them."""
    html = output_of("mandoc", "-T", "html", "-O", "fragment", page)
    html = html[html.index('<div class="manual-text">') : html.rindex('<table class="foot">')]
    html = re.sub(r"</?(?:div|section)\b[^>]*>", "", html)
    html = re.sub(r'<a class="permalink"[^>]*>(.*?)</a>', r"\1", html, flags=re.S)
    html = linked(html, page, pages)
    headings = r'<h([12]) class="S[hs]" id="[^"]*">(.*?)</h\1>'
    text = re.sub(headings, lambda match: f"\n\n{'#' * (1 + int(match[1]))} {' '.join(match[2].split()).capitalize()}\n\n", html, flags=re.S)
    return f"# {title(page)}\n{text}"


def on_config(config):
    """Writes the manual's pages as pages of the site, and puts them into the navigation."""
    chapters = written_pages()
    pages = [page for chapter in chapters.values() for page in chapter]
    folder = Path(made.name) / FOLDER
    folder.mkdir(exist_ok=True)
    for page in pages:
        (folder / f"{page.name}.md").write_text(as_markdown(page, pages))
    config["nav"].append({"Manual": [{name: [{title(page): address(page)} for page in chapter]} for name, chapter in chapters.items()]})
    return config


def on_files(files, config):
    """The manual's sources, and this file, are no pages; what was made of them is."""
    for file in list(files):
        if file.src_path.startswith("man/") or file.src_path.endswith(".py"):
            files.remove(file)
    for page in sorted(Path(made.name, FOLDER).glob("*.md")):
        files.append(File(f"{FOLDER}/{page.name}", made.name, config["site_dir"], config["use_directory_urls"]))
    return files
