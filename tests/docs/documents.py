#!/usr/bin/python3
"""Runs the blocks of documents and compares what they print with the text behind them.

    documents.py [--renew] BUILD PAGE...
    documents.py --reference BUILD      whether the pages of docs/reference are those that the tables make

BUILD is a build folder. A block is a program by the word at its fence; a `text` block behind it is what it prints:

    tessel   the script language; all blocks of a page are one program, errors end their block alone
    python   all blocks of a page share their names
    cpp      all blocks of a page are one program, whose output stands behind the last
    sh       commands; those of make are not run, but their targets exist
    cmake    lines of the project that tests the installed package
    diagram  no program

A file named behind the word is what the block shows. Pages run in a folder where `examples` and `build/release` are found.
Links and pictures of a page lead to something. --renew writes outputs and pictures in place of comparing them.
"""

import contextlib
import difflib
import io
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
FENCE = re.compile(r"^```(\w*) ?(\S*)\n(.*?)^```$", re.S | re.M)
MARK = "\x01"
KINDS = {"tessel", "python", "cpp", "sh", "cmake", "diagram", "text"}


class Block:
    """A block of a page: kind, line of its fence, text, and the output that the page tells of it."""

    def __init__(self, match, page):
        self.kind, self.shows, self.text = match.groups()
        self.line = page.count("\n", 0, match.start()) + 1
        self.place, self.end = match.start(), match.end()
        self.told = None  # the `text` block behind
        self.printed = None


def blocks_of(page):
    found = []
    for match in FENCE.finditer(page):
        block = Block(match, page)
        if block.kind == "text" and found and found[-1].told is None and found[-1].kind != "diagram":
            found[-1].told = block
        else:
            found.append(block)
    return found


def tidy(output):
    """Output as it stands on a page: no blank lines at its ends, one between others, no blanks at the ends of lines."""
    lines = "\n".join(line.rstrip() for line in output.splitlines())
    lines = re.sub(r"\n{3,}", "\n\n", lines).strip("\n")
    return lines + "\n" if lines else ""


def run(command, **options):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **options)
    return done.stdout.decode(errors="replace"), done.returncode


def run_tessel(blocks, name):
    """One program whose lines are those of the page, so that errors name them."""
    lines = []
    for block in blocks:
        isolated = not re.search(r"^\s*function\b", block.text, re.M)
        lines += [""] * (block.line - 1 - len(lines))
        lines.append(f"fprintf('{MARK}');" + (" try" if isolated else ""))
        lines += block.text.splitlines()
        lines.append("catch error__, fprintf('Error: %s\\n', error__.message), clear error__, end" if isolated else "")
    pathlib.Path(name + ".tsl").write_text("\n".join(lines) + "\n")
    output, _ = run(["tessel", name + ".tsl"], stdin=subprocess.DEVNULL)
    before, *parts = output.split(MARK)
    for block, part in zip(blocks, parts + [""] * len(blocks)):
        block.printed = before + part
        before = ""


def run_python(blocks, name):
    names = {}
    for block in blocks:
        printed = io.StringIO()
        with contextlib.redirect_stdout(printed):
            try:
                exec(compile("\n" * block.line + block.text, name, "exec"), names)
            except Exception as error:
                print(f"{type(error).__name__}: {error}")
        block.printed = printed.getvalue()


def run_cpp(blocks, name):
    pathlib.Path(name + ".cpp").write_text("\n".join(block.text for block in blocks))
    libraries = os.environ["BUILD"] + "/lib"
    output, status = run([os.environ.get("CXX", "c++"), "-std=c++20", "-Wall", "-Wextra", "-Werror", f"-I{ROOT}", f"-I{ROOT}/tessel/include",
                          name + ".cpp", f"-L{libraries}", f"-Wl,-rpath,{libraries}", "-lqfcore", "-ltessel", "-o", name])
    for block in blocks:
        block.printed = ""
    blocks[-1].printed = output if status else run(["./" + name + " 2>/dev/null"], shell=True)[0]


def run_sh(blocks, name):
    makefile = (ROOT / "Makefile").read_text()
    for block in blocks:
        targets = [target for line in re.findall(r"^make ([^#\n]*)", block.text, re.M) for target in re.findall(r"(?<!\S)[\w-]+(?!\S)", line)]
        unknown = [target for target in targets if not re.search(rf"^{target}:", makefile, re.M)]
        commands = re.sub(r"^make .*", "", block.text, flags=re.M)
        block.printed = "".join(f"no target {target}\n" for target in unknown) + run(["sh", "-ec", commands])[0]


def run_cmake(blocks, name):
    known = set((ROOT / "tests/library/CMakeLists.txt").read_text().replace("  ", "").splitlines())
    for block in blocks:
        block.printed = "".join(f"not tested: {line}\n" for line in block.text.splitlines() if line.strip() not in known)


def slug(heading):
    return re.sub(r"[^\w\- ]", "", re.sub(r"[`*]|\[([^\]]*)\]\([^)]*\)", r"\1", heading).strip().lower()).replace(" ", "-")


def dead_links(path, page):
    """Links of a page, and their lines, that lead to no file or to no heading in it."""
    bare = re.sub(FENCE, lambda match: "\n" * match.group().count("\n"), page)
    bare = re.sub(r"`[^`\n]*`", "", bare)
    for match in re.finditer(r"\]\(([^)\s]+)\)", bare):
        file, _, heading = match.group(1).partition("#")
        if re.match(r"https?:|mailto:", file):
            continue
        target = path.parent / file if file else path
        headings = re.findall(r"^#+ (.*)$", target.read_text(), re.M) if heading and target.is_file() else []
        if not target.exists() or (heading and heading not in map(slug, headings)):
            yield bare.count("\n", 0, match.start()) + 1, match.group(1)


def pictures_of(page):
    return [name for name in re.findall(r"^!\[.*\]\((\S+)\)$", page, re.M) if not name.startswith("http")]


@contextlib.contextmanager
def folder_for(build, page):
    """A folder in which a page runs: its examples, its build and a place for each of its pictures are there."""
    home = os.getcwd()
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        os.symlink(ROOT / "examples", "examples")
        os.mkdir("build")
        os.symlink(build, "build/release")
        for name in pictures_of(page):
            pathlib.Path(name).parent.mkdir(parents=True, exist_ok=True)
        os.environ.update(BUILD=str(build), PATH=f"{build}/bin:" + os.environ["PATH"], PYTHONPATH=f"{build}/python", MPLBACKEND="Agg")
        for screen in ("DISPLAY", "WAYLAND_DISPLAY"):  # pages open no windows
            os.environ.pop(screen, None)
        sys.path.insert(0, f"{build}/python")
        try:
            yield
        finally:
            os.chdir(home)


def faults_of(path, page, blocks):
    """What is wrong with a page that has run: line and text."""
    for block in blocks:
        if block.kind not in KINDS or (block.kind == "text"):
            yield block.line, f"a block of kind '{block.kind}' that nothing can compare\n"
        if block.shows and (ROOT / block.shows).read_text().strip() != block.text.strip():
            yield block.line, f"the block is not {block.shows}\n"
        told = block.told.text if block.told else ""
        printed = tidy(block.printed or "")
        if printed != told:
            difference = difflib.unified_diff(told.splitlines(True), printed.splitlines(True), "the page tells", "it prints", n=1)
            yield block.line, "the block prints something else\n" + "".join(difference)
    for line, target in dead_links(path, page):
        yield line, f"the link leads nowhere: {target}\n"
    for name in pictures_of(page):
        if blocks and not pathlib.Path(name).exists():
            yield 1, f"no block makes the picture {name}\n"


def renew(path, page, blocks):
    """The page with what its blocks have printed; pictures beside it."""
    for block in reversed(blocks):
        printed = tidy(block.printed or "")
        place = slice(block.told.place, block.told.end) if block.told else slice(block.end, block.end)
        lead = "" if block.told else "\n\n"
        if printed:
            page = page[: place.start] + f"{lead}```text\n{printed}```" + page[place.stop :]
        elif block.told:
            page = page[: block.end] + page[place.stop :]
    path.write_text(page)
    for name in pictures_of(page):
        if pathlib.Path(name).exists():
            (path.parent / name).parent.mkdir(exist_ok=True)
            shutil.copy(name, path.parent / name)


def check(path, build, is_renewal):
    """The number of faults of a page, each of them printed."""
    page = path.read_text()
    blocks = blocks_of(page)
    count = 0
    with folder_for(build, page):
        for kind, runner in {"tessel": run_tessel, "python": run_python, "cpp": run_cpp, "sh": run_sh, "cmake": run_cmake}.items():
            mine = [block for block in blocks if block.kind == kind]
            if mine:
                runner(mine, path.stem)
        if is_renewal:
            renew(path, page, blocks)
            return 0
        for line, text in faults_of(path, page, blocks):
            count += 1
            print(f"{path.relative_to(ROOT)}:{line}: {text}", end="")
    return count


def report(faults):
    if faults:
        print("`make docs` writes what tables tell and blocks print; the difference is to be read.")
    return faults > 0


def check_reference(build):
    """The number of reference pages that are not what `make docs` writes, and of functions without an example."""
    with tempfile.TemporaryDirectory() as folder:
        told, status = run([f"{build}/bin/reference", folder])
        print(told, end="")
        bare = lambda path: re.sub(r"\s+", " ", re.sub(r"^```text\n.*?^```$", "", path.read_text(), flags=re.S | re.M))
        made = {path.name: bare(path) for path in pathlib.Path(folder).iterdir()}
    kept = {path.name: bare(path) for path in (ROOT / "docs/reference").iterdir()}
    changed = [name for name in made.keys() | kept.keys() if made.get(name) != kept.get(name)]
    print("".join(f"docs/reference/{name} is not what the tables make\n" for name in sorted(changed)), end="")
    return len(changed) + (status != 0)


def main(arguments):
    if arguments[:1] == ["--reference"]:
        return report(check_reference(arguments[1]))
    is_renewal = arguments[:1] == ["--renew"]
    build, *pages = arguments[is_renewal:]
    faults = sum(check(pathlib.Path(page).resolve(), pathlib.Path(build).resolve(), is_renewal) for page in pages)
    return report(faults)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
