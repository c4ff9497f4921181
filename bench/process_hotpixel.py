"""Hot-pixel detection against a detection built from OpenCV (3x3 median, subtract, threshold,
np.nonzero) on the same 4096x3000 Mono8 frame: a noisy grey frame with 2000 planted hot pixels.

bench/process.py imports `rows()` for its table; run alone, this prints its own.
"""

import cv2
import numpy as np

import umb_plox_ipl as ipl
from common import median_seconds, print_table

WIDTH, HEIGHT = 4096, 3000


def noisy_frame_with_hot_pixels(rng):
    frame = np.clip(rng.normal(60, 3, (HEIGHT, WIDTH)), 0, 255).astype(np.uint8)
    frame[rng.integers(0, HEIGHT, 2000), rng.integers(0, WIDTH, 2000)] = 230
    return frame


def rows():
    rng = np.random.default_rng(1)
    frame = noisy_frame_with_hot_pixels(rng)
    image = ipl.Image.CreateFromSizeAndPythonBuffer(ipl.PixelFormatName_Mono8, frame, WIDTH, HEIGHT)
    hotpixel = ipl.HotpixelCorrection()

    def peer():
        excess = cv2.subtract(frame, cv2.medianBlur(frame, 3))
        _, mask = cv2.threshold(excess, 40, 255, cv2.THRESH_BINARY)
        return np.nonzero(mask)

    mpix = WIDTH * HEIGHT / 1e6
    ours = median_seconds(lambda: hotpixel.Detect(image))
    theirs = median_seconds(peer)
    return [("HotpixelCorrection Detect Mono8", f"{WIDTH}x{HEIGHT}", mpix / ours,
             "medianBlur+subtract+threshold+nonzero", mpix / theirs, 1.0)]


if __name__ == "__main__":
    print_table(rows())
