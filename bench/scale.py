"""Scale against cv2.resize on the same frames, in one run."""

import cv2
import numpy as np

import umb_plox_ipl as ipl
from common import median_seconds, print_table


def main():
    rng = np.random.default_rng(1)
    rows = []
    for width, height in ((1920, 1200), (4096, 3000)):
        frame = rng.integers(0, 256, (height, width, 3), dtype=np.uint8)
        image = ipl.Image.CreateFromSizeAndPythonBuffer(ipl.PixelFormatName_RGB8, frame, width, height)
        half = ipl.Size2D.New(width // 2, height // 2)
        for name, algorithm, flag in (("linear", ipl.InterpolationAlgorithm_linear, cv2.INTER_LINEAR),
                                      ("area", ipl.InterpolationAlgorithm_area, cv2.INTER_AREA)):
            ours = median_seconds(lambda: image.Scale(half, algorithm))
            theirs = median_seconds(lambda: cv2.resize(frame, (width // 2, height // 2), interpolation=flag))
            mpix = width * height / 1e6
            # Within 1.5x of the peer's time is a ratio of at least 1 / 1.5.
            rows.append((f"Scale RGB8 1/2 {name}", f"{width}x{height}", mpix / ours, "cv2.resize", mpix / theirs, 0.67))
    print_table(rows)


if __name__ == "__main__":
    main()
