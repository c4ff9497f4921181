"""File writing and reading against OpenCV and Pillow on the same photograph, in one run."""

import os
import tempfile

import cv2
import numpy as np
from PIL import Image as PILImage
from skimage import data as photos

import umb_plox_ipl as ipl
from common import median_seconds, print_table


def photograph(width=1920, height=1200):
    return np.ascontiguousarray(cv2.resize(photos.astronaut(), (width, height), interpolation=cv2.INTER_CUBIC))


def main():
    rgb = photograph()
    height, width = rgb.shape[:2]
    mpix = width * height / 1e6
    image = ipl.Image.CreateFromSizeAndPythonBuffer(ipl.PixelFormatName_RGB8, rgb, width, height)
    bgr = np.ascontiguousarray(rgb[..., ::-1])
    folder = tempfile.mkdtemp()
    ours_jpg, theirs_jpg = os.path.join(folder, "ours.jpg"), os.path.join(folder, "cv2.jpg")
    ours_png, theirs_png = os.path.join(folder, "ours.png"), os.path.join(folder, "pillow.png")
    jpeg95 = ipl.ImageWriterJPEGParameter()
    jpeg95.Quality = 95

    def cv2_write():
        with open(theirs_jpg, "wb") as f:
            f.write(cv2.imencode(".jpg", bgr, [cv2.IMWRITE_JPEG_QUALITY, 95])[1])

    rows = []
    ours = median_seconds(lambda: ipl.ImageWriter.WriteAsJPG(ours_jpg, image, jpeg95), repeat=9)
    theirs = median_seconds(cv2_write, repeat=9)
    rows.append(("JPEG write q95", f"{width}x{height}", mpix / ours, "cv2.imencode", mpix / theirs, 0.9))
    ours = median_seconds(lambda: ipl.ImageReader.Read(ours_jpg), repeat=9)
    theirs = median_seconds(lambda: cv2.imdecode(np.fromfile(theirs_jpg, np.uint8), cv2.IMREAD_COLOR), repeat=9)
    rows.append(("JPEG read", f"{width}x{height}", mpix / ours, "cv2.imdecode", mpix / theirs, 0.9))
    pillow_image = PILImage.fromarray(rgb)
    ours = median_seconds(lambda: ipl.ImageWriter.WriteAsPNG(ours_png, image), repeat=5, warmup=1)
    theirs = median_seconds(lambda: pillow_image.save(theirs_png), repeat=5, warmup=1)
    rows.append(("PNG write default", f"{width}x{height}", mpix / ours, "Pillow save", mpix / theirs, 1.0))
    ours = median_seconds(lambda: ipl.ImageReader.Read(ours_png), repeat=5, warmup=1)
    theirs = median_seconds(lambda: np.asarray(PILImage.open(theirs_png)), repeat=5, warmup=1)
    rows.append(("PNG read", f"{width}x{height}", mpix / ours, "Pillow open", mpix / theirs))
    print_table(rows)
    ours_size, theirs_size = os.path.getsize(ours_png), os.path.getsize(theirs_png)
    print(f"PNG size: ours {ours_size} bytes, Pillow {theirs_size} bytes ({ours_size / theirs_size:.3f}x, "
          f"target <= 1.0x {'met' if ours_size <= theirs_size else 'MISSED'})")
    print(f"JPEG q95 size: ours {os.path.getsize(ours_jpg)} bytes, cv2 {os.path.getsize(theirs_jpg)} bytes")


if __name__ == "__main__":
    main()
