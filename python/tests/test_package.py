"""The package as users get it: the wheel in a fresh environment, the stub under mypy, import."""

import os
import pathlib
import re
import subprocess
import sys

import numpy as np
import pytest
import qfcore as qf

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(qf.__file__).resolve().parents[2]
PROGRAM = """
import numpy as np
import qfcore as qf
a = qf.fi(np.arange(4.0), "s16,8", round_mode="floor")
b = a + a * 2
total: qf.fi = b.sum()
length: int = total.word_length
mode: str = a.round_mode
T: qf.numerictype = a.numerictype
a[0] = 3
shape: tuple[int, ...] = b.shape
with qf.logging(a=a) as log:
    c = a.plus(b)
best: dict[str, object] | None = qf.design.minimize(lambda k: k, {"k": range(9)}, at_least=4).best
assert best and best["k"] == 4
qf.hardware.write_memh("/dev/null", a)
c.fimath = qf.fimath(sum_mode=qf.ArithmeticMode.KEEP_LSB)
print(log.report(), a.reshape(2, 2).T, np.asarray(a), a.int, float(a[0]), qf.quantizer("fixed", [16, 15]).quantize(0.1))
"""


def environment(**more):
    kept = {name: value for name, value in os.environ.items() if not name.startswith("PYTHON")}
    return kept | more


def run(*command, **options):
    done = subprocess.run([str(part) for part in command], capture_output=True, text=True, **options)
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


def test_stub_is_strict(tmp_path):
    program = tmp_path / "program.py"
    program.write_text(PROGRAM + "x: str = a.word_length\na.no_such_name\n")
    checked = subprocess.run(
        [sys.executable, "-m", "mypy", "--strict", "--cache-dir", str(tmp_path / "cache"), str(program)],
        capture_output=True, text=True, env=environment(MYPYPATH=str(BUILD / "python")), cwd=tmp_path)
    errors = [line for line in checked.stdout.splitlines() if ": error:" in line]
    assert len(errors) == 2, checked.stdout + checked.stderr
    assert "assignment" in errors[0] and "no_such_name" in errors[1]


def test_wheel_works_in_a_fresh_environment(tmp_path):
    env = environment(QFCORE_BUILD_DIR=str(BUILD))
    run(sys.executable, "-m", "pip", "wheel", ".", "--no-deps", "--no-index", "-w", tmp_path, cwd=ROOT, env=env)
    wheel = next(tmp_path.glob("qfcore-*.whl"))
    run(sys.executable, "-m", "venv", "--system-site-packages", tmp_path / "venv", env=env)
    python = tmp_path / "venv" / "bin" / "python"
    run(python, "-m", "pip", "install", "--no-index", "--no-deps", wheel, env=environment())
    loaded = run(python, "-c", PROGRAM + "print(open('/proc/self/maps').read())", env=environment(), cwd=tmp_path)
    libraries = {line.split()[-1] for line in loaded.splitlines() if re.search(r"lib(qfcore|tessel)", line)}
    assert len(libraries) == 2 and all(name.startswith(str(tmp_path.resolve())) for name in libraries)


def test_pictures():
    pytest.importorskip("matplotlib").use("Agg")
    x = np.array([0.001, 0.3, -0.7, 5.0])
    a = qf.fi(x, "s8,6")
    labels = [text.get_text() for text in qf.plot.range_histogram(a, x).get_legend().get_texts()]
    assert {"kept: 2", "overflow: 1", "underflow: 1"} <= set(labels)
    assert np.allclose(qf.plot.error(x, a).lines[0].get_ydata(), (np.asarray(a) - x) * 64)
    assert qf.plot.rounding("convergent").lines[-1].get_ydata().tolist() == [-2, -2, 0, 0, 2, 2]
