"""The electrocardiogram's band-pass filter in word lengths that are to be chosen, for tests in this and in other processes."""

import os
import pathlib
import time

import numpy as np
import qfcore as qf
from qfcore import design

ROOT = pathlib.Path(__file__).resolve().parents[2]
RATE, ORDER = 360, 64
ecg = np.loadtxt(ROOT / "examples" / "data" / "ecg.csv")[:1500]
_n = np.arange(ORDER + 1) - ORDER / 2


def _lowpass(cutoff):
    return 2 * cutoff * np.sinc(2 * cutoff * _n)


h = (_lowpass(20 / RATE) - _lowpass(5 / RATE)) * np.hamming(ORDER + 1)
exact = np.convolve(ecg, h, "valid")


def tagged(signal, samples="s12,11"):
    settings = design.registers("s24,22", "filtered")
    y = np.convolve(qf.fi(signal, samples, settings, tag="samples"), qf.fi(h, "s16,18", settings, tag="coefficients"), "valid")
    y.tag = "filtered"
    return y


def simulate(samples, coefficients, accumulator):
    settings = design.registers(qf.numerictype(True, accumulator, accumulator - 2))
    x, c = qf.fi(ecg, True, samples, samples - 3, settings), qf.fi(h, True, coefficients, coefficients + 2, settings)
    return np.asarray(np.convolve(x, c, "valid"))


def snr(y):
    return 10 * np.log10(np.sum(exact**2) / np.sum((y - exact) ** 2))


def eventful(k, folder):
    """Leaves a file for each time that it began; some points fail, kill their worker, or take very long."""
    (pathlib.Path(folder) / f"{k}-{time.time_ns()}").touch()
    time.sleep(0.02)
    if k == 7:
        raise ValueError("seven")
    if k == 8:
        os.kill(os.getpid(), 9)
    if k == 9:
        time.sleep(60)
    return {"score": k, "pid": os.getpid()}
