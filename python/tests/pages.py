"""Runs the pages of docs that are programs; as a program itself it brings their outputs and pictures up to date.

    python3 python/tests/pages.py            the pictures: `make pictures`
    python3 python/tests/pages.py --text     what stands behind each block as well; the difference is to be read
"""

import contextlib
import io
import os
import pathlib
import re
import shutil
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
PAGES = ["python.md", "word_lengths.md"]
_PIECE = re.compile(r"^```(python|text)\n(.*?)^```$", re.S | re.M)


def run(page):
    """Runs a page's blocks in order, in the folder of now; gives each block, what it prints, and what the page says."""
    names = {}
    pieces = _PIECE.findall((ROOT / "docs" / page).read_text())
    for place, (kind, text) in enumerate(pieces):
        if kind == "text":
            continue
        printed = io.StringIO()
        with contextlib.redirect_stdout(printed):
            exec(compile(text, f"{page}, block {place}", "exec"), names)
        follower = pieces[place + 1 : place + 2]
        yield text, printed.getvalue(), follower[0][1] if follower and follower[0][0] == "text" else ""


def enter(folder):
    """Makes a folder one in which pages run."""
    import matplotlib

    matplotlib.use("Agg")
    os.chdir(folder)
    (pathlib.Path(folder) / "examples").symlink_to(ROOT / "examples")


def pictures(page):
    return re.findall(r"^!\[.*\]\((.*\.png)\)$", (ROOT / "docs" / page).read_text(), re.M)


def main(*options):
    for page in PAGES:
        path = ROOT / "docs" / page
        with tempfile.TemporaryDirectory() as folder:
            enter(folder)
            content = path.read_text()
            for text, printed, said in run(page):
                if "--text" in options and (printed or said):
                    content = content.replace(f"```python\n{text}```\n\n```text\n{said}```", f"```python\n{text}```\n\n```text\n{printed}```", 1)
            path.write_text(content)
            for name in pictures(page):
                shutil.copy(name, ROOT / "docs")
            os.chdir(ROOT)


if __name__ == "__main__":
    main(*sys.argv[1:])
