"""Words in files: what simulators and compilers make of them is what was written."""

import pathlib
import subprocess
import sys

import numpy as np
import pytest
import qfcore as qf
from hypothesis import given, settings, strategies as st
from qfcore import hardware

ROOT = pathlib.Path(__file__).resolve().parents[2]


def words(data, most):
    """Any words of any length up to `most`."""
    signed, length = data.draw(st.booleans()), data.draw(st.integers(2, most))
    low, high = (-(1 << length - 1), (1 << length - 1) - 1) if signed else (0, (1 << length) - 1)
    stored = data.draw(st.lists(st.integers(low, high), min_size=1, max_size=12)) + [low, high]
    return qf.fi.from_int(np.array(stored, dtype=object), qf.numerictype(signed, length, data.draw(st.integers(-3, 20))))


@settings(max_examples=60)
@given(st.data())
def test_words_come_back(tmp_path_factory, data):
    a = words(data, 150)
    folder = tmp_path_factory.mktemp("words")
    hardware.write_vectors(folder, a=a.reshape(1, -1))
    patterns = [int(n) % (1 << a.word_length) for n in a.int]
    assert [int(line, 16) for line in (folder / "a.memh").read_text().split()] == patterns
    assert (folder / "a.bits").read_text().split() == [f"{n:0{a.word_length}b}" for n in patterns]
    for read, name in ((hardware.read_memh, "a.memh"), (hardware.read_bits, "a.bits")):
        back = read(folder / name, a.numerictype, qf.fimath(round_mode="floor"))
        assert back.int.tolist() == a.int.tolist() and back.shape == a.shape and back.round_mode == "floor"
        assert not hardware.mismatches(folder / name, a)
        changed = a.copy()
        changed[1] = -changed[1] if int(a[1].int) % (1 << a.word_length - 1) else a[-1]
        differs = int(changed[1].int) != int(a[1].int)
        assert [place for place, *_ in hardware.mismatches(folder / name, changed)] == ([1] if differs else [])
    sparse = "".join(f"@{7 * k + 3:x} /* {k}\n*/ 0_0{n:X} // {n}\n" for k, n in enumerate(patterns))
    (folder / "sparse").write_text(sparse)
    assert hardware.read_memh(folder / "sparse", a.numerictype)[3::7].int.tolist() == a.int.tolist()


@settings(max_examples=8)
@given(st.data())
def test_a_c_compiler_reads_the_header(tmp_path_factory, data):
    a, folder = words(data, 64), tmp_path_factory.mktemp("header")
    hardware.write_header(folder / "a.h", a, "samples")
    (folder / "a.c").write_text("""#include "a.h"
#include <stdio.h>
int main(void) {
  printf("%d %d %d\\n", SAMPLES_LENGTH, SAMPLES_FRACTION_LENGTH, (int)sizeof samples[0]);
  for (int k = 0; k < SAMPLES_LENGTH; ++k) FORMAT;
}
""".replace("FORMAT", 'printf("%lld\\n", (long long)samples[k])' if a.signed else 'printf("%llu\\n", (unsigned long long)samples[k])'))
    subprocess.run(["cc", "-std=c99", "-Wall", "-Wextra", "-Wno-unused", "-Werror", "-o", folder / "a", folder / "a.c"], check=True)
    said = subprocess.run([folder / "a"], check=True, capture_output=True, text=True).stdout.split()
    bytes_each = next(size for size in (1, 2, 4, 8) if 8 * size >= a.word_length)
    assert [int(n) for n in said] == [a.size, a.fraction_length, bytes_each, *(int(n) for n in a.int)]


@pytest.mark.parametrize("text, fault", [("12\nxx", "'xx' \\(word 2"), ("1ff", "no word of 8 bits"), ("@g 1", "no address"),
                                         ("@ffffffff 1", "no address"), ("-1", "'-1'"), ("1 0.5", "word 2")])
def test_what_is_no_word_is_refused(tmp_path, text, fault):
    (tmp_path / "words").write_text(text)
    with pytest.raises(qf.Error, match=fault):
        hardware.read_memh(tmp_path / "words", "s8,4")


def test_what_cannot_be_written_is_refused(tmp_path):
    a = qf.fi([0.5, -1], "s16,15")
    for path, value, name, fault in ((tmp_path / "no" / "a.h", a, "a", "cannot be written"), (tmp_path / "a.h", a, "1a", "identifier"),
                                     (tmp_path / "a.h", qf.fi([1], "s80,3"), "a", "64 bits"), (tmp_path / "a.h", a + 1j, "a", "real"),
                                     (tmp_path / "a.h", qf.fi(1, qf.numerictype("double")), "a", "fixed-point")):
        with pytest.raises(qf.Error, match=fault):
            hardware.write_header(path, value, name)
    with pytest.raises(qf.Error, match="cannot be read"):
        hardware.read_bits(tmp_path, "s8,4")
    assert not list(tmp_path.iterdir())


@pytest.mark.parametrize("simulator", ["iverilog", "ghdl"])
def test_the_filter_in_hardware_gives_the_model_s_bits(tmp_path, simulator):
    said = subprocess.run([sys.executable, ROOT / "examples" / "hardware" / "fir.py", simulator, tmp_path, "1500"], text=True,
                          capture_output=True)
    assert said.returncode == 0, said.stdout + said.stderr
    assert "1500 words, 0 of them differ" in said.stdout
    # A test that cannot fail proves nothing: one coefficient is changed behind the model's back.
    path = tmp_path / ("c.memh" if simulator == "iverilog" else "c.bits")
    lines = path.read_text().split()
    lines[32] = lines[31]
    path.write_text("\n".join(lines) + "\n")
    said = subprocess.run([sys.executable, ROOT / "examples" / "hardware" / "fir.py", simulator, tmp_path, "1500", "--keep"], text=True,
                          capture_output=True)
    assert said.returncode == 1 and " 0 of them" not in said.stdout
