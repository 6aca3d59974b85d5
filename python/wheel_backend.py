"""Makes the wheel: builds the package with CMake and packs it together with both libraries.

`QFCORE_BUILD_DIR` names a build folder that is configured already; otherwise one is made below `build`, for the Python
that runs this.
"""

from __future__ import annotations

import base64
import hashlib
import os
import pathlib
import re
import subprocess
import sys
import sysconfig
import zipfile
from typing import Any

ROOT = pathlib.Path(__file__).resolve().parent.parent


def _version() -> str:
    found = re.search(r"project\(qfcore VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text())
    assert found is not None
    return found[1]


def _build() -> pathlib.Path:
    given = os.environ.get("QFCORE_BUILD_DIR")
    folder = pathlib.Path(given) if given else ROOT / "build" / "wheel"
    if not given:
        options = ["-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release", "-DQFCORE_TESTS=OFF", "-DQFCORE_BENCH=OFF",
                   f"-DPython_EXECUTABLE={sys.executable}"]
        subprocess.run(["cmake", "-S", ROOT, "-B", folder, *options], check=True)
    subprocess.run(["cmake", "--build", folder, "--target", "python"], check=True)
    return folder


def _files(folder: pathlib.Path) -> dict[str, bytes]:
    """Names in the wheel, and contents. A library goes by the name that the extension asks for."""
    package = folder / "python" / "qfcore"
    sources = (path for path in sorted(package.rglob("*")) if path.is_file() and path.suffix != ".pyc")
    files = {f"qfcore/{path.relative_to(package)}": path.read_bytes() for path in sources}
    for library in ("qfcore", "tessel"):
        # Of the names with a version that lead to one file it is the shortest.
        path = min((folder / "lib").glob(f"lib{library}.so.*"), key=lambda each: len(each.name))
        files[f"qfcore/{path.name}"] = path.read_bytes()
    return files


def _record_line(name: str, content: bytes) -> str:
    digest = base64.urlsafe_b64encode(hashlib.sha256(content).digest()).rstrip(b"=").decode()
    return f"{name},sha256={digest},{len(content)}\n"


def build_wheel(wheel_directory: str, config_settings: Any = None, metadata_directory: Any = None) -> str:
    version = _version()
    python = f"cp{sys.version_info.major}{sys.version_info.minor}"
    tag = f"{python}-{python}-{sysconfig.get_platform().replace('-', '_').replace('.', '_')}"
    files = _files(_build())
    info = f"qfcore-{version}.dist-info"
    files[f"{info}/METADATA"] = (
        f"Metadata-Version: 2.1\nName: qfcore\nVersion: {version}\nSummary: Bit-true fixed-point arrays\n"
        "Requires-Python: >=3.11\nRequires-Dist: numpy\n"
    ).encode()
    files[f"{info}/WHEEL"] = f"Wheel-Version: 1.0\nGenerator: qfcore\nRoot-Is-Purelib: false\nTag: {tag}\n".encode()
    record = f"{info}/RECORD"
    files[record] = ("".join(_record_line(*each) for each in files.items()) + f"{record},,\n").encode()
    wheel = f"qfcore-{version}-{tag}.whl"
    with zipfile.ZipFile(os.path.join(wheel_directory, wheel), "w", zipfile.ZIP_DEFLATED) as packed:
        for name, content in files.items():
            packed.writestr(name, content)
    return wheel
