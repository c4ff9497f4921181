"""What the library does, on a synthetic camera frame: the steps behind ``plox-ipl demo``."""

import os
import time

import numpy as np

from . import (ConversionMode_Classic, ConversionMode_Fast, ConversionMode_HighQuality, Image, ImageConverter,
               ImageReader, ImageWriter, InterpolationAlgorithm_area, PixelFormat, PixelFormatName_BayerRG12p,
               PixelFormatName_RGB8, Point2D, Size2D, get_numpy)


def chart(width, height):
    """A test chart: colour gradients, a zone plate in the middle and fine lines at the bottom."""
    y, x = np.mgrid[0:height, 0:width].astype(np.float32)
    rgb = np.empty((height, width, 3), np.float32)
    rgb[..., 0] = x / width
    rgb[..., 1] = y / height
    rgb[..., 2] = 1 - (x / width + y / height) / 2
    r2 = (x - width / 2) ** 2 + (y - height / 2) ** 2
    zone = r2 < (min(width, height) / 3) ** 2
    rgb[zone] = (0.5 + 0.5 * np.cos(np.pi * r2[zone] / (min(width, height) * 1.5)))[:, None]
    rgb[int(height * 0.9):, ::4] = 1.0
    return (rgb * 255 + 0.5).astype(np.uint8)


def bayer_rg12p(rgb):
    """What a camera sends: the RG mosaic of the chart in 12 bits, packed two pixels in three bytes."""
    raw = np.empty(rgb.shape[:2], np.uint16)
    raw[0::2, 0::2] = rgb[0::2, 0::2, 0]
    raw[0::2, 1::2] = rgb[0::2, 1::2, 1]
    raw[1::2, 0::2] = rgb[1::2, 0::2, 1]
    raw[1::2, 1::2] = rgb[1::2, 1::2, 2]
    values = (raw.astype(np.uint32) << 4).ravel().reshape(-1, 2)
    word = values[:, 0] | values[:, 1] << 12
    return np.stack([word & 0xFF, word >> 8 & 0xFF, word >> 16], axis=1).astype(np.uint8).ravel()


def _timed(step, repeat=5):
    result = step()
    start = time.perf_counter()
    for _ in range(repeat):
        result = step()
    return result, (time.perf_counter() - start) / repeat


def _psnr(a, b):
    mse = np.mean((a[4:-4, 4:-4].astype(float) - b[4:-4, 4:-4].astype(float)) ** 2)
    return 10 * np.log10(255.0 ** 2 / mse)


def run(output="plox-demo", width=1920, height=1200):
    truth = chart(width, height)
    stream = bayer_rg12p(truth)
    frame = Image.CreateFromSizeAndPythonBuffer(PixelFormatName_BayerRG12p, stream, width, height)
    print(f"Synthetic {width}x{height} chart, mosaicked and packed as BayerRG12p: {frame.ByteCount()} bytes,"
          " shared with NumPy, not copied")
    rgb8 = PixelFormat(PixelFormatName_RGB8)
    converter = ImageConverter(frame.PixelFormat(), rgb8, width, height, 2)
    os.makedirs(output, exist_ok=True)
    # The camera dump itself, for trying the README's example and `plox-ipl convert --format`.
    dump = os.path.join(output, "frame.bin")
    stream.tofile(dump)
    print(f"Camera dump: {dump} ({width}x{height} BayerRG12p, {stream.size} bytes, no header)")
    rows = []
    results = {}
    for name, mode in (("Fast", ConversionMode_Fast), ("Classic", ConversionMode_Classic),
                       ("HighQuality", ConversionMode_HighQuality)):
        converter.SetConversionMode(mode)
        image, seconds = _timed(lambda: converter.Convert(frame, rgb8))
        results[name] = image
        rows.append((f"BayerRG12p -> RGB8 {name}", seconds, width * height,
                     f"PSNR {_psnr(get_numpy(image), truth):.1f} dB against the chart"))
    image = results["HighQuality"]
    for ending, write in ((".png", ImageWriter.WriteAsPNG), (".jpg", ImageWriter.WriteAsJPG),
                          (".bmp", ImageWriter.WriteAsBMP), (".raw", ImageWriter.WriteAsRAW)):
        path = os.path.join(output, "chart" + ending)
        _, seconds = _timed(lambda: write(path, image), repeat=2)
        back = ImageReader.Read(path)
        rows.append((f"write {path}", seconds, width * height,
                     f"{os.path.getsize(path)} bytes, read back as {back.PixelFormat().Name()}"))
    crop, seconds = _timed(lambda: image.Crop(Point2D.New(width // 4, height // 4), Size2D.New(width // 2, height // 2)))
    rows.append((f"crop {crop.Width()}x{crop.Height()}", seconds, crop.Width() * crop.Height(),
                 f"get_numpy {get_numpy(crop).shape}"))
    small, seconds = _timed(lambda: crop.Scale(Size2D.New(width // 8, height // 8), InterpolationAlgorithm_area))
    rows.append((f"scale to {small.Width()}x{small.Height()} (area)", seconds, crop.Width() * crop.Height(),
                 f"get_numpy_1D {small.get_numpy_1D().shape}, DataView {len(small.DataView())} bytes"))
    for label, seconds, pixels, note in rows:
        print(f"  {label:<32} {seconds * 1e3:7.2f} ms  {pixels / seconds / 1e6:8.1f} Mpix/s  {note}")
    print(f"Files are in {output}/")
