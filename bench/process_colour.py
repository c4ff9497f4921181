"""Colour correction against cv2.transform with the same matrix, edge enhancement against cv2.filter2D with
the equivalent 3x3 kernel, on 4096x3000 frames in one run.

bench/process.py imports `rows()` for its table; run alone, this prints its own.
"""

import cv2
import numpy as np

import umb_plox_ipl as ipl
from common import median_seconds, print_table

WIDTH, HEIGHT = 4096, 3000
MATRIX = (1.2, -0.1, -0.05, -0.15, 1.1, 0.05, 0.0, -0.3, 1.35)


def colour_matrix_rows(rng):
    mpix = WIDTH * HEIGHT / 1e6
    size = f"{WIDTH}x{HEIGHT}"
    corrector = ipl.ColorCorrector()
    corrector.SetColorCorrectionFactors(ipl.ColorCorrectionFactors(*MATRIX))
    frame = rng.integers(0, 256, (HEIGHT, WIDTH, 3), dtype=np.uint8)
    image = ipl.Image.CreateFromSizeAndPythonBuffer(ipl.PixelFormatName_RGB8, frame, WIDTH, HEIGHT)
    matrix = np.array(MATRIX, np.float32).reshape(3, 3)
    # Both sides make a new image each time.
    ours = median_seconds(lambda: corrector.Process(image))
    theirs = median_seconds(lambda: cv2.transform(frame, matrix))
    return [("ColorCorrector RGB8", size, mpix / ours, "cv2.transform 3x3", mpix / theirs, 1.5)]


def edge_rows(rng):
    mpix = WIDTH * HEIGHT / 1e6
    size = f"{WIDTH}x{HEIGHT}"
    enhancement = ipl.EdgeEnhancement()
    factor = enhancement.DefaultFactor()
    frame = rng.integers(0, 256, (HEIGHT, WIDTH, 3), dtype=np.uint8)
    image = ipl.Image.CreateFromSizeAndPythonBuffer(ipl.PixelFormatName_RGB8, frame, WIDTH, HEIGHT)
    # Our mask as a kernel: centre 1 + 8f/64, neighbours -f/64 (OpenCV applies it per channel).
    kernel = np.full((3, 3), -factor / 64, np.float32)
    kernel[1, 1] = 1 + 8 * factor / 64
    ours = median_seconds(lambda: enhancement.Process(image))
    theirs = median_seconds(lambda: cv2.filter2D(frame, -1, kernel, borderType=cv2.BORDER_REFLECT_101))
    return [("EdgeEnhancement RGB8", size, mpix / ours, "cv2.filter2D 3x3", mpix / theirs, 1.0)]


def rows():
    rng = np.random.default_rng(1)
    return colour_matrix_rows(rng) + edge_rows(rng)


if __name__ == "__main__":
    print_table(rows())
