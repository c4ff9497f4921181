"""Histogram, binning and decimation against OpenCV and NumPy on the same 4096x3000 frames, in one run.

bench/process.py imports `rows()` for its table; run alone, this prints its own.
"""

import cv2
import numpy as np

import umb_plox_ipl as ipl
from common import median_seconds, print_table

WIDTH, HEIGHT = 4096, 3000


def natural_frame(channels, rng, top=256, dtype=np.uint8):
    # Smooth content with noise: histograms of real frames have runs of equal values, which is
    # what makes counting slow.
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH].astype(np.float32)
    planes = [(np.sin(x / 211 + k) * np.cos(y / 157 - k) * 0.4 + 0.5) * (top - 1) for k in range(channels)]
    frame = np.stack(planes, axis=-1) + rng.normal(0, top / 64, (HEIGHT, WIDTH, channels))
    frame = np.clip(frame, 0, top - 1).astype(dtype)
    return frame[..., 0].copy() if channels == 1 else frame


def histogram_rows(rng):
    rows = []
    mpix = WIDTH * HEIGHT / 1e6
    size = f"{WIDTH}x{HEIGHT}"
    for name, channels in (("Mono8", 1), ("RGB8", 3)):
        frame = natural_frame(channels, rng)
        image = ipl.Image.CreateFromSizeAndPythonBuffer(ipl.pixel_format(name).PixelFormatName(), frame, WIDTH,
                                                        HEIGHT)
        ours = median_seconds(lambda: ipl.Histogram(image))
        theirs = median_seconds(lambda: [cv2.calcHist([frame], [c], None, [256], [0, 256]) for c in range(channels)])
        rows.append((f"Histogram {name}", size, mpix / ours, "cv2.calcHist per channel", mpix / theirs, 1.0))
    frame = natural_frame(1, rng, top=4096, dtype=np.uint16)
    image = ipl.Image.CreateFromSizeAndPythonBuffer(ipl.PixelFormatName_Mono12, frame, WIDTH, HEIGHT)
    ours = median_seconds(lambda: ipl.Histogram(image))
    theirs = median_seconds(lambda: np.bincount(frame.ravel(), minlength=4096))
    rows.append(("Histogram Mono12", size, mpix / ours, "np.bincount", mpix / theirs, 4.0))
    return rows


def reduction_rows(rng):
    rows = []
    mpix = WIDTH * HEIGHT / 1e6
    size = f"{WIDTH}x{HEIGHT}"
    binning, decimation = ipl.Binning(), ipl.Decimation()
    binning.SetBinningX(2)
    binning.SetBinningY(2)
    decimation.SetDecimationX(2)
    decimation.SetDecimationY(2)
    for name, channels in (("Mono8", 1), ("RGB8", 3)):
        frame = natural_frame(channels, rng)
        image = ipl.Image.CreateFromSizeAndPythonBuffer(ipl.pixel_format(name).PixelFormatName(), frame, WIDTH,
                                                        HEIGHT)
        ours = median_seconds(lambda: binning.Process(image))
        theirs = median_seconds(lambda: cv2.resize(frame, (WIDTH // 2, HEIGHT // 2), interpolation=cv2.INTER_AREA))
        rows.append((f"Binning 2x2 average {name}", size, mpix / ours, "cv2.resize INTER_AREA", mpix / theirs, 1.0))
        ours = median_seconds(lambda: decimation.Process(image))
        theirs = median_seconds(lambda: frame[::2, ::2].copy())
        rows.append((f"Decimation 2x2 {name}", size, mpix / ours, "a[::2, ::2].copy()", mpix / theirs, 1.0))
    return rows


def rows():
    rng = np.random.default_rng(1)
    return histogram_rows(rng) + reduction_rows(rng)


if __name__ == "__main__":
    print_table(rows())
