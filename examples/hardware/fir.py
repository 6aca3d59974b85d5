"""The electrocardiogram's filter as a model and in hardware: the same bits.

    python3 examples/hardware/fir.py iverilog|ghdl FOLDER [SAMPLES] [--keep]

Writes the model's words to FOLDER, simulates fir.v or fir.vhd there, and compares. With --keep the words that are there stay.
"""

import pathlib
import subprocess
import sys

import numpy as np
import qfcore as qf
from qfcore import hardware

HERE = pathlib.Path(__file__).resolve().parent
RATE, ORDER = 360, 64


def coefficients():
    n = np.arange(ORDER + 1) - ORDER / 2
    low, high = 5 / RATE, 20 / RATE
    return (2 * high * np.sinc(2 * high * n) - 2 * low * np.sinc(2 * low * n)) * np.hamming(ORDER + 1)


def model(signal, samples="s11,8", taps="s9,11", results="s11,9"):
    """Samples, coefficients and results in words: sums are exact, and each result is rounded once, ties to even."""
    even = qf.fimath(round_mode="convergent")
    x = qf.fi(signal, samples, even)
    c = qf.fi(coefficients(), taps, even)
    y = np.convolve(x, c)[: len(x)].astype(results)
    return x, c, y


def simulate(simulator, folder):
    """Runs the design on the words in `folder` and returns the file that it wrote."""
    if simulator == "iverilog":
        steps = [["iverilog", "-g2012", "-Wall", "-o", "fir", HERE / "fir_bench.v", HERE / "fir.v"], ["vvp", "-n", "fir"]]
    else:
        sources = ["vectors.vhd", HERE / "fir.vhd", HERE / "fir_bench.vhd"]
        steps = [["ghdl", "-a", "--std=08", *sources], ["ghdl", "-e", "--std=08", "fir_bench"],
                 ["ghdl", "-r", "--std=08", "fir_bench", "--ieee-asserts=disable-at-0"]]
    for step in steps:
        subprocess.run(step, cwd=folder, check=True)
    return pathlib.Path(folder) / ("y_found.memh" if simulator == "iverilog" else "y_found.bits")


def main(simulator, folder, count="21600", *options):
    ecg = np.loadtxt(HERE.parent / "data" / "ecg.csv")[: int(count)]
    x, c, y = model(ecg)
    if "--keep" not in options:
        hardware.write_vectors(folder, x=x, c=c, y=y)
    wrong = hardware.mismatches(simulate(simulator, folder), y)
    print(f"{simulator}: {y.size} words, {len(wrong)} of them differ from the model's")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
