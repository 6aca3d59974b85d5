"""A signal of any length through a fixed-point filter, in blocks: in memory are only those that are worked on.

    python3 examples/long_signal.py FOLDER [GIGABYTES [BLOCK]]

Makes a file of doubles by repeating the electrocardiogram with noise, filters it into a file of 32-bit integers, and says how
much memory that took. The result does not depend on BLOCK, the samples in a block: its checksum is the same.
"""

import hashlib
import os
import pathlib
import resource
import sys
import time

import dask
import numpy as np
import qfcore as qf
from qfcore import blocks

DATA = pathlib.Path(__file__).parent / "data" / "ecg.csv"


def coefficients(settings, order=64, low=5 / 360, high=20 / 360):
    n = np.arange(order + 1) - order / 2
    h = (2 * high * np.sinc(2 * high * n) - 2 * low * np.sinc(2 * low * n)) * np.hamming(order + 1)
    return qf.fi(h, "s16,18", settings)


def make_signal(path, count):
    ecg = np.loadtxt(DATA)
    rng = np.random.default_rng(1)
    with open(path, "wb") as file:
        while count > 0:
            piece = (ecg + rng.normal(0, 0.02, ecg.size))[:count]
            file.write(piece.tobytes())
            count -= piece.size


def checksum(path):
    digest = hashlib.sha256()
    with open(path, "rb") as file:
        while piece := file.read(1 << 20):
            digest.update(piece)
    return digest.hexdigest()


def main(folder, gigabytes="0.01", block=str(1 << 16)):
    source, target = pathlib.Path(folder) / "signal.f64", pathlib.Path(folder) / "filtered.i32"
    count = int(float(gigabytes) * 2**30) // 8
    if not source.exists() or source.stat().st_size != 8 * count:
        make_signal(source, count)
    settings = qf.fimath(sum_mode="SpecifyPrecision", sum_word_length=32, sum_fraction_length=29, round_mode="convergent")
    began = time.perf_counter()
    with dask.config.set(scheduler="threads", num_workers=2):
        x = blocks.quantized(blocks.from_file(source, block=int(block)), "s16,12", settings)
        written = blocks.to_file(blocks.stored(blocks.filtered(x, coefficients(settings)), np.int32), target)
    seconds = time.perf_counter() - began
    memory = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 2**20
    print(f"{written} samples, {os.path.getsize(source) / 2**30:.3g} GB in {seconds:.0f} s, at most {memory:.2f} GB of memory")
    print("sha256", checksum(target))


if __name__ == "__main__":
    main(*sys.argv[1:])
