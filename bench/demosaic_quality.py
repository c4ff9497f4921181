"""Demosaicing quality and speed: our modes beside OpenCV's bilinear, EA and VNG on natural photographs.

Each photograph shipped with scikit-image is mosaicked as RGGB 8-bit, demosaiced back and compared
with the original: colour PSNR over all three channels, a 4-pixel border left out (every method
guesses there). Speed is measured on a 1920x1200 and a 4096x3000 mosaic tiled from the same
photographs, so the branches see natural edges rather than noise.
"""

import os

# OpenBLAS worker threads spin on the cores for a while after NumPy calls and slow down the library's own threads.
os.environ.setdefault("OPENBLAS_NUM_THREADS", "1")

import cv2  # noqa: E402
import numpy as np  # noqa: E402
from skimage import data  # noqa: E402

import umb_plox_ipl as ipl  # noqa: E402
from common import median_seconds  # noqa: E402

BORDER = 4
# Natural colour photographs that scikit-image installs with itself (nothing is fetched).
PHOTOGRAPHS = ("astronaut", "chelsea", "coffee", "rocket", "motorcycle_left", "motorcycle_right",
               "hubble_deep_field", "retina", "immunohistochemistry")
SPEED_SIZES = ((1920, 1200), (4096, 3000))


def photographs():
    left, right, _ = data.stereo_motorcycle()
    loaded = {"motorcycle_left": left, "motorcycle_right": right}
    return {name: np.ascontiguousarray(loaded[name] if name in loaded else getattr(data, name)())[..., :3]
            for name in PHOTOGRAPHS}


def mosaic_rggb(rgb):
    raw = np.empty(rgb.shape[:2], dtype=rgb.dtype)
    raw[0::2, 0::2] = rgb[0::2, 0::2, 0]
    raw[0::2, 1::2] = rgb[0::2, 1::2, 1]
    raw[1::2, 0::2] = rgb[1::2, 0::2, 1]
    raw[1::2, 1::2] = rgb[1::2, 1::2, 2]
    return raw


def colour_psnr(result, truth):
    a = result[BORDER:-BORDER, BORDER:-BORDER].astype(np.float64)
    b = truth[BORDER:-BORDER, BORDER:-BORDER].astype(np.float64)
    mse = np.mean((a - b) ** 2)
    return float("inf") if mse == 0 else 10 * np.log10(255.0 ** 2 / mse)


def ours(mode):
    """A demosaic function through ImageConverter in one of our modes, with a pooled output buffer."""
    converter = ipl.ImageConverter()
    converter.SetConversionMode(mode)
    target = ipl.PixelFormat(ipl.PixelFormatName_RGB8)
    pooled = set()

    def run(raw):
        height, width = raw.shape
        if (width, height) not in pooled:
            converter.PreAllocateConversion(ipl.PixelFormat(ipl.PixelFormatName_BayerRG8), target, width, height, 2)
            pooled.add((width, height))
        image = ipl.Image.CreateFromSizeAndPythonBuffer(ipl.PixelFormatName_BayerRG8, raw, width, height)
        return ipl.get_numpy(converter.Convert(image, target))

    return run


def opencv(code):
    return lambda raw: cv2.cvtColor(raw, code)


# Our BayerRG (red at the top-left) is OpenCV's BayerBG code.
METHODS = (
    ("ours Classic", ours(ipl.ConversionMode_Classic)),
    ("ours Fast", ours(ipl.ConversionMode_Fast)),
    ("ours HighQuality", ours(ipl.ConversionMode_HighQuality)),
    ("OpenCV bilinear", opencv(cv2.COLOR_BayerBG2RGB)),
    ("OpenCV EA", opencv(cv2.COLOR_BayerBG2RGB_EA)),
    ("OpenCV VNG", opencv(cv2.COLOR_BayerBG2RGB_VNG)),
)


def tiled(images, width, height):
    """A width x height photograph mosaic of the set, tiled in RGB so that the Bayer phase stays RGGB."""
    canvas = np.empty((height, width, 3), dtype=np.uint8)
    y = 0
    tiles = iter(images * (1 + width * height // min(im.shape[0] * im.shape[1] for im in images)))
    while y < height:
        x, row_height = 0, 0
        while x < width:
            tile = next(tiles)
            h, w = min(tile.shape[0], height - y), min(tile.shape[1], width - x)
            canvas[y:y + h, x:x + w] = tile[:h, :w]
            x, row_height = x + w, max(row_height, h)
        y += row_height
    return canvas


def print_rows(header, rows):
    lines = [header, *rows]
    widths = [max(len(str(line[i])) for line in lines) for i in range(len(header))]
    for line in lines:
        print("  ".join(str(cell).ljust(width) for cell, width in zip(line, widths)).rstrip())


def main():
    print(f"cores: {os.cpu_count()}; ipl MaxConcurrentThreads={ipl.Library_MaxConcurrentThreads()} (0 = one per core),"
          f" multithreading={ipl.Library_MultiThreadingEnabled()}, SIMD={ipl.Library_SIMDEnabled()};"
          f" OpenCV {cv2.__version__} threads={cv2.getNumThreads()}")
    photos = photographs()
    print(f"{len(photos)} photographs from scikit-image (RGGB 8-bit mosaics): "
          + ", ".join(f"{name} {im.shape[1]}x{im.shape[0]}" for name, im in photos.items()))
    print(f"colour PSNR over R, G and B with a {BORDER}-pixel border left out; Mpix/s is the median of 15 runs"
          " after 3 warm-up runs on a tiled photograph mosaic")
    mosaics = {name: mosaic_rggb(im) for name, im in photos.items()}
    frames = [mosaic_rggb(tiled(list(photos.values()), w, h)) for w, h in SPEED_SIZES]

    results = []
    for label, method in METHODS:
        psnr = [colour_psnr(method(mosaics[name]), photos[name]) for name in photos]
        rates = [frame.size / 1e6 / median_seconds(lambda: method(frame)) for frame in frames]
        results.append((label, psnr, rates))

    reference = dict((label, np.mean(psnr)) for label, psnr, _ in results)["OpenCV bilinear"]
    rates_of = dict((label, rates) for label, _, rates in results)
    fast, vng = rates_of["ours Fast"], rates_of["OpenCV VNG"]
    sizes = ["{}x{}".format(*size) for size in SPEED_SIZES]
    header = ("method", "mean PSNR dB", "min dB", "vs bilinear dB",
              *(f"{column} {size}" for size in sizes for column in ("Mpix/s", "/Fast", "/VNG")))
    rows = []
    for label, psnr, rates in results:
        speed = [cell for i, rate in enumerate(rates)
                 for cell in (f"{rate:.1f}", f"{rate / fast[i]:.2f}", f"{rate / vng[i]:.1f}")]
        rows.append((label, f"{np.mean(psnr):.2f}", f"{np.min(psnr):.2f}", f"{np.mean(psnr) - reference:+.2f}", *speed))
    print_rows(header, rows)
    high = rates_of["ours HighQuality"]
    print("HighQuality/Fast: " + ", ".join(f"{high[i] / fast[i]:.2f} at {size}" for i, size in enumerate(sizes))
          + "; HighQuality/VNG: " + ", ".join(f"{high[i] / vng[i]:.1f}x at {size}" for i, size in enumerate(sizes)))
    print()
    print_rows(("photograph", *(label for label, _, _ in results)),
               [(name, *(f"{psnr[i]:.2f}" for _, psnr, _ in results)) for i, name in enumerate(photos)])


if __name__ == "__main__":
    main()
