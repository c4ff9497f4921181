"""Gamma and gain, the lookup-table point operations, against cv2.LUT and NumPy indexing on the same
4096x3000 frames, in one run.

bench/process.py imports `rows()` for its table; run alone, this prints its own.
"""

import cv2
import numpy as np

import umb_plox_ipl as ipl
from common import median_seconds, print_table

WIDTH, HEIGHT = 4096, 3000
GAMMA = 2.2


def gamma_table(bits):
    top = (1 << bits) - 1
    values = np.arange(top + 1) / top
    return np.floor(top * values ** (1 / GAMMA) + 0.5).astype(np.uint8 if bits == 8 else np.uint16)


def rows():
    rng = np.random.default_rng(1)
    mpix = WIDTH * HEIGHT / 1e6
    size = f"{WIDTH}x{HEIGHT}"
    result = []
    # Both sides make a new image each time, as a caller keeping the frame would.
    corrector = ipl.GammaCorrector()
    corrector.SetGammaCorrectionValue(GAMMA)
    rgb = rng.integers(0, 256, (HEIGHT, WIDTH, 3), dtype=np.uint8)
    image = ipl.Image.CreateFromSizeAndPythonBuffer(ipl.PixelFormatName_RGB8, rgb, WIDTH, HEIGHT)
    table8 = gamma_table(8)
    result.append(("Gamma RGB8", size, mpix / median_seconds(lambda: corrector.Process(image)), "cv2.LUT",
                   mpix / median_seconds(lambda: cv2.LUT(rgb, table8)), 1.0))
    mono = rng.integers(0, 4096, (HEIGHT, WIDTH), dtype=np.uint16)
    image = ipl.Image.CreateFromSizeAndPythonBuffer(ipl.PixelFormatName_Mono12, mono, WIDTH, HEIGHT)
    table12 = gamma_table(12)
    result.append(("Gamma Mono12", size, mpix / median_seconds(lambda: corrector.Process(image)), "NumPy lut[a]",
                   mpix / median_seconds(lambda: table12[mono]), 3.0))
    gain = ipl.Gain()
    gain.SetMasterGainValue(1.5)
    gain.SetRedGainValue(1.8)
    gain.SetBlueGainValue(1.3)
    bayer = rng.integers(0, 256, (HEIGHT, WIDTH), dtype=np.uint8)
    image = ipl.Image.CreateFromSizeAndPythonBuffer(ipl.PixelFormatName_BayerRG8, bayer, WIDTH, HEIGHT)
    # The peer maps every byte through one table: the same bytes, the same work per byte.
    table = np.minimum(np.floor(np.arange(256) * 1.5 * 1.8 + 0.5), 255).astype(np.uint8)
    result.append(("Gain BayerRG8", size, mpix / median_seconds(lambda: gain.Process(image)), "cv2.LUT",
                   mpix / median_seconds(lambda: cv2.LUT(bayer, table)), 0.8))
    return result


if __name__ == "__main__":
    print_table(rows())
