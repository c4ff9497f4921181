"""Demosaicing: Classic against OpenCV, HighQuality against Fast on photographs, borders, and
results equal for every thread count and SIMD setting."""

import cv2
import numpy as np
import pytest
from skimage import data as photos

import umb_plox_ipl as ipl

# OpenCV names a mosaic by the second row's cells; ours by the top-left cell.
OPENCV_CODE = {"RG": cv2.COLOR_BayerBG2RGB, "GR": cv2.COLOR_BayerGB2RGB,
               "GB": cv2.COLOR_BayerGR2RGB, "BG": cv2.COLOR_BayerRG2RGB}
CELL_CHANNEL = {"R": 0, "G": 1, "B": 2}


def mosaic(rgb, pattern):
    """The raw sensor image of `rgb` under a colour filter whose top-left cell is `pattern`."""
    colours = {"RG": "RGGB", "GR": "GRBG", "GB": "GBRG", "BG": "BGGR"}[pattern]
    out = np.empty(rgb.shape[:2], rgb.dtype)
    for dy in range(2):
        for dx in range(2):
            out[dy::2, dx::2] = rgb[dy::2, dx::2, CELL_CHANNEL[colours[2 * dy + dx]]]
    return out


def demosaic(raw, pattern, mode, target="RGB8", bits=8):
    name = f"Bayer{pattern}{bits}"
    image = ipl.Image.CreateFromSizeAndPythonBuffer(getattr(ipl, "PixelFormatName_" + name), raw,
                                                    raw.shape[1], raw.shape[0])
    return ipl.get_numpy(image.ConvertTo(ipl.PixelFormat(getattr(ipl, "PixelFormatName_" + target)), mode)).copy()


@pytest.mark.parametrize("pattern", sorted(OPENCV_CODE))
@pytest.mark.parametrize("bits, target", [(8, "RGB8"), (12, "RGB12")])
@pytest.mark.parametrize("shape", [(48, 64), (37, 51)])
def test_classic_equals_opencv_bilinear_away_from_the_border(pattern, bits, target, shape):
    rng = np.random.default_rng(3)
    raw = rng.integers(0, 1 << bits, shape).astype(np.uint8 if bits == 8 else np.uint16)
    ours = demosaic(raw, pattern, ipl.ConversionMode_Classic, target, bits)
    theirs = cv2.cvtColor(raw, OPENCV_CODE[pattern])
    np.testing.assert_array_equal(ours[2:-2, 2:-2], theirs[2:-2, 2:-2])


def psnr(a, b):
    mse = np.mean((a.astype(float) - b.astype(float)) ** 2, axis=(0, 1))
    return float(np.mean(10 * np.log10(255.0 ** 2 / mse)))


def test_high_quality_gains_on_photographs():
    gains = []
    for photo in (photos.astronaut(), photos.coffee(), photos.chelsea()):
        rgb = np.ascontiguousarray(photo[:, :, :3])
        for pattern in ("RG", "GB"):
            raw = mosaic(rgb, pattern)
            inner = (slice(4, -4), slice(4, -4))
            fast = psnr(demosaic(raw, pattern, ipl.ConversionMode_Fast)[inner], rgb[inner])
            high = psnr(demosaic(raw, pattern, ipl.ConversionMode_HighQuality)[inner], rgb[inner])
            gains.append(high - fast)
    assert np.mean(gains) >= 3.5, gains


@pytest.mark.parametrize("mode", [ipl.ConversionMode_Fast, ipl.ConversionMode_HighQuality])
@pytest.mark.parametrize("pattern", sorted(OPENCV_CODE))
@pytest.mark.parametrize("shape", [(5, 7), (6, 9), (1, 6), (2, 2)])
def test_flat_grey_stays_grey_up_to_the_border(mode, pattern, shape):
    raw = np.full(shape, 90, np.uint8)
    assert (demosaic(raw, pattern, mode) == 90).all()


def test_flat_colour_has_no_fringes_at_the_border():
    rgb = np.empty((9, 11, 3), np.uint8)
    rgb[:] = (200, 120, 40)
    for pattern in OPENCV_CODE:
        for mode in (ipl.ConversionMode_Fast, ipl.ConversionMode_HighQuality):
            assert (demosaic(mosaic(rgb, pattern), pattern, mode) == rgb).all(), (pattern, mode)


PAIRS = [("BayerRG12p", "RGB8", ipl.ConversionMode_Fast), ("BayerGB12p", "BGRa8", ipl.ConversionMode_HighQuality),
         ("BayerBG10g40UMB", "Mono8", ipl.ConversionMode_Fast), ("BayerGR8", "RGB12", ipl.ConversionMode_HighQuality),
         ("Mono12p", "Mono8", ipl.ConversionMode_Fast), ("RGB8", "YUV420_8_YY_UV_SemiplanarUMB",
                                                          ipl.ConversionMode_Fast),
         ("Mono10", "Mono12p", ipl.ConversionMode_Fast), ("RGB8", "BGRa8", ipl.ConversionMode_Fast)]


@pytest.mark.parametrize("source, target, mode", PAIRS)
def test_results_equal_for_every_thread_count_and_simd_setting(restore_settings, source, target, mode):
    # Large enough to be split into strips; odd where the target allows, so packed rows share bytes.
    width, height = (514, 302) if target.startswith("YUV") else (513, 301)
    fmt = ipl.PixelFormat(getattr(ipl, "PixelFormatName_" + source))
    raw = np.random.default_rng(5).integers(0, 256, fmt.CalculateStorageSizeOfPixels(width * height), np.uint8)
    if not fmt.IsPacked() and fmt.NumStorageBitsPerChannel() == 16:
        raw = (raw.view(np.uint16) & fmt.MaximumValuePerChannel()).view(np.uint8)
    image = ipl.Image.CreateFromSizeAndPythonBuffer(getattr(ipl, "PixelFormatName_" + source), raw, width, height)
    target_format = ipl.PixelFormat(getattr(ipl, "PixelFormatName_" + target))
    results = []
    for threads, multithreading, simd in [(1, False, True), (0, True, True), (3, True, True), (2, True, False),
                                          (1, False, False)]:
        ipl.Library.SetMaxConcurrentThreads(threads)
        ipl.Library.SetMultiThreadingEnabled(multithreading)
        ipl.Library.SetSIMDEnabled(simd)
        results.append(bytes(image.ConvertTo(target_format, mode).DataView()))
    assert all(result == results[0] for result in results[1:])
