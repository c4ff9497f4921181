"""Processing operations against their nearest OpenCV or NumPy peers on 4096x3000 frames, in one run.

Mirrors and quarter turns against cv2.flip / cv2.rotate, pixel lines against NumPy slicing; the
histogram, binning and decimation rows come from process_reduce.py.
"""

import cv2
import numpy as np

import umb_plox_ipl as ipl
from common import median_seconds, print_table

WIDTH, HEIGHT = 4096, 3000


def transform_rows(rng):
    rows = []
    mpix = WIDTH * HEIGHT / 1e6
    size = f"{WIDTH}x{HEIGHT}"
    transformer = ipl.ImageTransformer()
    quarter = ipl.ImageTransformer_RotationAngle_Degree90Counterclockwise
    for name, shape in (("Mono8", (HEIGHT, WIDTH)), ("RGB8", (HEIGHT, WIDTH, 3))):
        frame = rng.integers(0, 256, shape, dtype=np.uint8)
        image = ipl.Image.CreateFromSizeAndPythonBuffer(ipl.pixel_format(name).PixelFormatName(), frame, WIDTH,
                                                        HEIGHT)
        # Both sides make a new image each time, as a caller keeping the frame would.
        cases = (
            ("MirrorUpDown", lambda: transformer.MirrorUpDown(image), "cv2.flip 0", lambda: cv2.flip(frame, 0)),
            ("MirrorLeftRight", lambda: transformer.MirrorLeftRight(image), "cv2.flip 1", lambda: cv2.flip(frame, 1)),
            ("Rotate 90", lambda: transformer.Rotate(image, quarter), "cv2.rotate 90 CCW",
             lambda: cv2.rotate(frame, cv2.ROTATE_90_COUNTERCLOCKWISE)),
        )
        for operation, ours, peer, theirs in cases:
            rows.append((f"{operation} {name}", size, mpix / median_seconds(ours), peer,
                         mpix / median_seconds(theirs), 1.0))
    return rows


def pixel_line_rows(rng):
    rows = []
    frame = rng.integers(0, 256, (HEIGHT, WIDTH, 3), dtype=np.uint8)
    image = ipl.Image.CreateFromSizeAndPythonBuffer(ipl.PixelFormatName_RGB8, frame, WIDTH, HEIGHT)
    size = f"{WIDTH}x{HEIGHT}"
    # Per line, as a profile plot reads it: the values of every channel as Python-reachable lists.
    cases = (
        ("PixelRow RGB8", lambda: ipl.PixelRow(image, HEIGHT // 2).Channels(), WIDTH, "NumPy a[y].T.copy()",
         lambda: frame[HEIGHT // 2].T.copy()),
        ("PixelColumn RGB8", lambda: ipl.PixelColumn(image, WIDTH // 2).Channels(), HEIGHT, "NumPy a[:, x].T.copy()",
         lambda: frame[:, WIDTH // 2].T.copy()),
    )
    for operation, ours, pixels, peer, theirs in cases:
        mpix = pixels / 1e6
        rows.append((operation, size, mpix / median_seconds(ours), peer, mpix / median_seconds(theirs)))
    return rows


def main():
    rng = np.random.default_rng(1)
    rows = transform_rows(rng) + pixel_line_rows(rng)
    # Histogram, binning and decimation: the other operations' rows, same run.
    import process_colour
    import process_hotpixel
    import process_lut
    import process_reduce
    import process_sharpness

    rows += process_reduce.rows()
    rows += process_colour.rows()
    rows += process_lut.rows()
    rows += process_hotpixel.rows()
    rows += process_sharpness.rows()
    print_table(rows)


if __name__ == "__main__":
    main()
