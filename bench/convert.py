"""Conversion throughput against OpenCV, NumPy unpacking and memcpy on the same frames, in one run."""

import os

import cv2
import numpy as np

import umb_plox_ipl as ipl
from common import median_seconds, print_table

MODES = (("Fast", ipl.ConversionMode_Fast), ("HighQuality", ipl.ConversionMode_HighQuality),
         ("Classic", ipl.ConversionMode_Classic))


def smooth_rgb(width, height, rng):
    # Smooth content with mild noise, so demosaic branches see realistic edges rather than pure noise.
    y, x = np.mgrid[0:height, 0:width].astype(np.float32)
    planes = [np.sin(x / 97 + k) * np.cos(y / 61 - k) * 100 + 128 + 40 * np.sin((x + y) / (13 + 7 * k))
              for k in range(3)]
    rgb = np.stack(planes, axis=-1) + rng.normal(0, 4, (height, width, 3))
    return np.clip(rgb, 0, 4095 / 16).astype(np.float32) * 16  # 12-bit range


def mosaic_rg(rgb):
    raw = np.empty(rgb.shape[:2], dtype=np.uint16)
    raw[0::2, 0::2] = rgb[0::2, 0::2, 0]
    raw[0::2, 1::2] = rgb[0::2, 1::2, 1]
    raw[1::2, 0::2] = rgb[1::2, 0::2, 1]
    raw[1::2, 1::2] = rgb[1::2, 1::2, 2]
    return raw


def pack12p(values):
    v = values.reshape(-1).astype(np.uint16)
    p0, p1 = v[0::2], v[1::2]
    return np.stack([p0 & 0xFF, (p0 >> 8) | ((p1 & 0xF) << 4), p1 >> 4], axis=-1).astype(np.uint8).reshape(-1)


def unpack12p_to8(packed, width, height):
    # The peer: vectorised NumPy unpacking to uint16, then a shift down to 8 bits.
    b = packed.reshape(-1, 3).astype(np.uint16)
    out = np.empty(width * height, dtype=np.uint16)
    out[0::2] = b[:, 0] | ((b[:, 1] & 0xF) << 8)
    out[1::2] = (b[:, 1] >> 4) | (b[:, 2] << 4)
    return (out >> 4).astype(np.uint8).reshape(height, width)


def pooled(source_name, target_name, array, width, height, mode=ipl.ConversionMode_Fast):
    """A call converting one frame into a pooled buffer and releasing it, as a camera stream does."""
    image = ipl.Image.CreateFromSizeAndPythonBuffer(source_name, array, width, height)
    converter = ipl.ImageConverter()
    converter.SetConversionMode(mode)
    target = ipl.PixelFormat(target_name)
    converter.PreAllocateConversion(ipl.PixelFormat(source_name), target, width, height, 2)

    def run():
        result = converter.Convert(image, target)
        del result  # hands the buffer back to the pool inside the timed call

    return run


def memcpy(nbytes):
    src, dst = np.ones(nbytes, dtype=np.uint8), np.empty(nbytes, dtype=np.uint8)
    return lambda: np.copyto(dst, src)


def rows_for(width, height, rng):
    size, mpix, rows = f"{width}x{height}", width * height / 1e6, []

    def rate(run):
        return mpix / median_seconds(run)

    rgb12 = smooth_rgb(width, height, rng)
    bayer8 = (mosaic_rg(rgb12) >> 4).astype(np.uint8)
    bayer12p = pack12p(mosaic_rg(rgb12))
    mono12p = pack12p(rng.integers(0, 4096, width * height, dtype=np.uint16))
    mono8 = rng.integers(0, 256, (height, width), dtype=np.uint8)
    rgb8 = rng.integers(0, 256, (height, width, 3), dtype=np.uint8)

    # Our BayerRG top-left cell is OpenCV's BayerBG code.
    cv_bilinear = rate(lambda: cv2.cvtColor(bayer8, cv2.COLOR_BayerBG2RGB))
    cv_edge = rate(lambda: cv2.cvtColor(bayer8, cv2.COLOR_BayerBG2RGB_EA))
    demosaic = {name: rate(pooled(ipl.PixelFormatName_BayerRG8, ipl.PixelFormatName_RGB8, bayer8, width, height, mode))
                for name, mode in MODES}
    rows.append(("BayerRG8->RGB8 Fast (pooled)", size, demosaic["Fast"], "cvtColor BayerBG2RGB", cv_bilinear, 0.8))
    for name in ("HighQuality", "Classic"):
        rows.append((f"BayerRG8->RGB8 {name} (pooled)", size, demosaic[name], "cvtColor BayerBG2RGB", cv_bilinear))
    rows.append(("BayerRG8->RGB8 HighQuality (pooled)", size, demosaic["HighQuality"], "cvtColor BayerBG2RGB_EA",
                 cv_edge))
    rows.append(("BayerRG8->RGB8 HighQuality vs our Fast", size, demosaic["HighQuality"], "our Fast",
                 demosaic["Fast"], 0.25))

    for target_name, label, code in ((ipl.PixelFormatName_RGB8, "RGB8", cv2.COLOR_BayerBG2RGB),
                                     (ipl.PixelFormatName_BGRa8, "BGRa8", cv2.COLOR_BayerBG2BGRA)):
        ours = rate(pooled(ipl.PixelFormatName_BayerRG12p, target_name, bayer12p, width, height))
        peer = rate(lambda: cv2.cvtColor(unpack12p_to8(bayer12p, width, height), code))
        rows.append((f"BayerRG12p->{label} Fast (pooled)", size, ours, "NumPy unpack + cvtColor", peer, 4))

    mono_ours = rate(pooled(ipl.PixelFormatName_Mono12p, ipl.PixelFormatName_Mono8, mono12p, width, height))
    rows.append(("Mono12p->Mono8 (pooled)", size, mono_ours, "memcpy output bytes", rate(memcpy(width * height)), 0.5))
    rows.append(("Mono12p->Mono8 (pooled)", size, mono_ours, "NumPy unpack",
                 rate(lambda: unpack12p_to8(mono12p, width, height))))
    for source_name, array, target_name, label, channels in (
            (ipl.PixelFormatName_Mono8, mono8, ipl.PixelFormatName_RGB8, "Mono8->RGB8", 3),
            (ipl.PixelFormatName_RGB8, rgb8, ipl.PixelFormatName_BGRa8, "RGB8->BGRa8", 4)):
        ours = rate(pooled(source_name, target_name, array, width, height))
        rows.append((f"{label} (pooled)", size, ours, "memcpy output bytes", rate(memcpy(width * height * channels)),
                     0.5))
    return rows


def main():
    print(f"cores: {os.cpu_count()}; ipl MaxConcurrentThreads={ipl.Library_MaxConcurrentThreads()} (0 = one per core),"
          f" multithreading={ipl.Library_MultiThreadingEnabled()}, SIMD={ipl.Library_SIMDEnabled()};"
          f" OpenCV {cv2.__version__} threads={cv2.getNumThreads()}; median of 15 after 3 warm-up runs")
    rng = np.random.default_rng(1)
    rows = []
    for width, height in ((1920, 1200), (4096, 3000)):
        rows += rows_for(width, height, rng)
    print_table(rows)


if __name__ == "__main__":
    main()
