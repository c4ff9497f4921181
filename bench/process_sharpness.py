"""Sharpness against OpenCV and NumPy on the same 4096x3000 Mono8 frame, in one run.

The peer of Tenengrad is what a script would write: cv2.Sobel in x and y into 16 bits, then the
NumPy mean of the squared magnitudes. bench/process.py imports `rows()` for its table; run
alone, this prints its own.
"""

import cv2
import numpy as np

import umb_plox_ipl as ipl
from common import median_seconds, print_table

WIDTH, HEIGHT = 4096, 3000


def natural_frame(rng):
    # Smooth content with noise, as a camera frame near focus looks.
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH].astype(np.float32)
    frame = (np.sin(x / 37) * np.cos(y / 23) * 0.4 + 0.5) * 255 + rng.normal(0, 4, (HEIGHT, WIDTH))
    return np.clip(frame, 0, 255).astype(np.uint8)


def tenengrad_peer(frame):
    gx = cv2.Sobel(frame, cv2.CV_16S, 1, 0, ksize=3)
    gy = cv2.Sobel(frame, cv2.CV_16S, 0, 1, ksize=3)
    gx = gx.astype(np.int32)
    gy = gy.astype(np.int32)
    return float(np.mean(gx * gx + gy * gy))


def rows():
    rng = np.random.default_rng(1)
    frame = natural_frame(rng)
    image = ipl.Image.CreateFromSizeAndPythonBuffer(ipl.PixelFormatName_Mono8, frame, WIDTH, HEIGHT)
    mpix = WIDTH * HEIGHT / 1e6
    size = f"{WIDTH}x{HEIGHT}"
    sharpness = ipl.Sharpness()
    result = []
    peer = "cv2.Sobel x, y (16-bit) + np.mean of squares"
    theirs = median_seconds(lambda: tenengrad_peer(frame))
    for algorithm, target in (("Tenengrad", 2.0), ("Sobel", None), ("MeanScore", None), ("HistogramVariance", None)):
        sharpness.SetAlgorithm(getattr(ipl, "Sharpness_SharpnessAlgorithm_" + algorithm))
        ours = median_seconds(lambda: sharpness.Measure(image))
        row = (f"Sharpness {algorithm} Mono8", size, mpix / ours, peer, mpix / theirs)
        result.append(row + ((target,) if target else ()))
    return result


if __name__ == "__main__":
    print_table(rows())
