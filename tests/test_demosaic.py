"""Demosaicing: Classic against OpenCV, HighQuality against a NumPy model of its integer recipe and
against the 5x5 gradient-corrected filters on photographs, false colour on grey charts, borders,
and results equal for every thread count and SIMD setting."""

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


def directional_model(raw, pattern, bits=8):
    """HighQuality's integer recipe in NumPy, on a mosaic mirrored by 6 pixels (x = -1 reads x = 1).

    c4 = +-(P[-2] - 2P[-1] + 2P[0] - 2P[1] + P[2]) (+ at red/blue, - at green) along rows and columns;
    gradients |c4[+1] - c4[-1]| >> (bits - 8), capped at 255, summed over 5x5, plus 4; the row's
    weight q in quarters from the ratio of the sums; green from 64P minus the weighted 1-2-1 sums of
    c4; red and blue from green plus the rounded mean colour difference of the neighbours of that colour.
    """
    halo, top = 6, (1 << bits) - 1
    P = np.pad(raw.astype(np.int64), halo, mode="reflect")
    yy, xx = np.mgrid[-halo:P.shape[0] - halo, -halo:P.shape[1] - halo]
    green = ((xx + yy) % 2 == 0) == (pattern[0] == "G")
    red_row = (yy % 2 == 0) == ("R" in pattern)

    def at(a, dy, dx):  # a[y + dy, x + dx]; the wrap-around only reaches the halo
        return np.roll(a, (-dy, -dx), (0, 1))

    sign = np.where(green, -1, 1)
    c4h = sign * (at(P, 0, -2) - 2 * at(P, 0, -1) + 2 * P - 2 * at(P, 0, 1) + at(P, 0, 2))
    c4v = sign * (at(P, -2, 0) - 2 * at(P, -1, 0) + 2 * P - 2 * at(P, 1, 0) + at(P, 2, 0))
    shift = max(bits - 8, 0)
    dh = np.minimum(np.abs(at(c4h, 0, 1) - at(c4h, 0, -1)) >> shift, 255)
    dv = np.minimum(np.abs(at(c4v, 1, 0) - at(c4v, -1, 0)) >> shift, 255)
    window = [(i, j) for i in range(-2, 3) for j in range(-2, 3)]
    sh = 4 + sum(at(dh, i, j) for i, j in window)
    sv = 4 + sum(at(dv, i, j) for i, j in window)
    csh = at(c4h, 0, -1) + 2 * c4h + at(c4h, 0, 1)
    csv = at(c4v, -1, 0) + 2 * c4v + at(c4v, 1, 0)
    q = (8 * sv >= 3 * sh).astype(np.int64) + (4 * sv >= 3 * sh) + (3 * sv >= 4 * sh) + (3 * sv >= 8 * sh)
    G = np.where(green, P, np.clip((64 * P - (q * csh + (4 - q) * csv) + 32) >> 6, 0, top))
    D = P - G
    along_row = G + ((at(D, 0, -1) + at(D, 0, 1) + 1) >> 1)
    along_column = G + ((at(D, -1, 0) + at(D, 1, 0) + 1) >> 1)
    diagonal = G + ((at(D, -1, -1) + at(D, -1, 1) + at(D, 1, -1) + at(D, 1, 1) + 2) >> 2)
    R = np.where(green, np.where(red_row, along_row, along_column), np.where(red_row, P, diagonal))
    B = np.where(green, np.where(red_row, along_column, along_row), np.where(red_row, diagonal, P))
    rgb = np.clip(np.stack([R, G, B], -1), 0, top)[halo:-halo, halo:-halo]
    return rgb.astype(np.uint8 if bits == 8 else np.uint16)


def gradient_corrected(raw, pattern):
    """The 5x5 gradient-corrected filters of Malvar, He and Cutler (2004), 8-bit, mirrored border."""
    cells = {"RG": "RGGB", "GR": "GRBG", "GB": "GBRG", "BG": "BGGR"}[pattern]
    colour, row_colour = np.empty(raw.shape, "<U1"), np.empty(raw.shape, "<U1")
    for dy in range(2):
        row_colour[dy::2] = cells[2 * dy].replace("G", "") or cells[2 * dy + 1]
        for dx in range(2):
            colour[dy::2, dx::2] = cells[2 * dy + dx]
    green_at_rb = np.array([[0, 0, -1, 0, 0], [0, 0, 2, 0, 0], [-1, 2, 4, 2, -1], [0, 0, 2, 0, 0], [0, 0, -1, 0, 0]])
    along = np.array([[0, 0, .5, 0, 0], [0, -1, 0, -1, 0], [-1, 4, 5, 4, -1], [0, -1, 0, -1, 0], [0, 0, .5, 0, 0]])
    cross = np.array([[0, 0, -1.5, 0, 0], [0, 2, 0, 2, 0], [-1.5, 0, 6, 0, -1.5], [0, 2, 0, 2, 0], [0, 0, -1.5, 0, 0]])
    P = raw.astype(np.float64)
    f = {name: cv2.filter2D(P, -1, k / 8, borderType=cv2.BORDER_REFLECT_101)
         for name, k in (("g", green_at_rb), ("row", along), ("column", along.T), ("cross", cross))}
    out = [np.where(colour == "G", P, f["g"])]
    for k in "RB":
        at_green = np.where(row_colour == k, f["row"], f["column"])
        out.append(np.where(colour == k, P, np.where(colour == "G", at_green, f["cross"])))
    return np.clip(np.rint(np.stack([out[1], out[0], out[2]], -1)), 0, 255).astype(np.uint8)


def psnr(a, b):
    mse = np.mean((a.astype(float) - b.astype(float)) ** 2, axis=(0, 1))
    return float(np.mean(10 * np.log10(255.0 ** 2 / mse)))


@pytest.mark.parametrize("pattern", sorted(OPENCV_CODE))
@pytest.mark.parametrize("shape", [(1, 1), (1, 9), (9, 1), (2, 3), (5, 7), (8, 8), (13, 6), (37, 51), (70, 300),
                                   (7, 4401)])
@pytest.mark.parametrize("bits, target", [(8, "RGB8"), (10, "RGB10"), (12, "RGB12")])
def test_high_quality_equals_the_numpy_model(pattern, shape, bits, target):
    raw = np.random.default_rng(sum(shape) + bits).integers(0, 1 << bits, shape)
    raw = raw.astype(np.uint8 if bits == 8 else np.uint16)
    ours = demosaic(raw, pattern, ipl.ConversionMode_HighQuality, target, bits)
    np.testing.assert_array_equal(ours, directional_model(raw, pattern, bits))


@pytest.mark.parametrize("pattern", ["RG", "GB"])
@pytest.mark.parametrize("packed, bits", [("10p", 10), ("12p", 12)])
@pytest.mark.parametrize("target", ["RGB8", "BGRa8", "RGB12"])
def test_high_quality_from_packed_sources_equals_the_numpy_model(pattern, packed, bits, target):
    # 8-bit targets demosaic the values narrowed to 8 bits (the fused path); others at the smaller depth.
    raw = np.random.default_rng(bits).integers(0, 1 << bits, (29, 52), dtype=np.uint16)
    unpacked = ipl.Image.CreateFromSizeAndPythonBuffer(getattr(ipl, f"PixelFormatName_Bayer{pattern}{bits}"), raw,
                                                       raw.shape[1], raw.shape[0])
    source = unpacked.ConvertTo(ipl.PixelFormat(getattr(ipl, f"PixelFormatName_Bayer{pattern}{packed}")))
    ours = ipl.get_numpy(source.ConvertTo(ipl.PixelFormat(getattr(ipl, "PixelFormatName_" + target)),
                                          ipl.ConversionMode_HighQuality))
    target_bits = 12 if target == "RGB12" else 8
    depth = min(bits, target_bits)
    expected = directional_model(raw >> (bits - depth), pattern, depth)
    if target == "BGRa8":
        expected = np.dstack([expected[..., ::-1], np.full(raw.shape, 255, np.uint8)])
    elif target == "RGB12":
        expected = expected.astype(np.uint16) << (target_bits - depth)
    np.testing.assert_array_equal(ours, expected)


PHOTOGRAPHS = (photos.astronaut, photos.coffee, photos.chelsea)


def test_high_quality_gains_on_photographs():
    gains_over_fast, gains_over_gradient_corrected = [], []
    for photo in PHOTOGRAPHS:
        rgb = np.ascontiguousarray(photo()[:, :, :3])
        for pattern in ("RG", "GB"):
            raw = mosaic(rgb, pattern)
            inner = (slice(4, -4), slice(4, -4))
            fast = psnr(demosaic(raw, pattern, ipl.ConversionMode_Fast)[inner], rgb[inner])
            high = psnr(demosaic(raw, pattern, ipl.ConversionMode_HighQuality)[inner], rgb[inner])
            corrected = psnr(gradient_corrected(raw, pattern)[inner], rgb[inner])
            gains_over_fast.append(high - fast)
            gains_over_gradient_corrected.append(high - corrected)
    assert np.mean(gains_over_fast) >= 3.5, gains_over_fast
    assert np.mean(gains_over_gradient_corrected) >= 1.0, gains_over_gradient_corrected


def grey_chart(name, n=256):
    y, x = np.mgrid[0:n, 0:n].astype(float) - n / 2
    if name == "zone plate":
        grey = 127.5 + 110 * np.cos(np.pi * (x ** 2 + y ** 2) / (2 * n))
    else:  # a black-white edge slanted by the given angle from the vertical
        grey = np.where(x > y * np.tan(np.radians(float(name.split()[-1]))), 230, 20)
    return np.repeat(np.rint(grey).astype(np.uint8)[..., None], 3, -1)


def false_colour(rgb):
    """Max and mean of max(|R - G|, |B - G|) inside a 4-pixel border: on a grey chart all of it is artefact."""
    c = rgb[4:-4, 4:-4].astype(int)
    chroma = np.maximum(np.abs(c[..., 0] - c[..., 1]), np.abs(c[..., 2] - c[..., 1]))
    return chroma.max(), chroma.mean()


# Bounds on the false colour (max, mean), and the methods that exceed them on that chart.
CHARTS = {"zone plate": ((16, 2.0), ("bilinear", "gradient-corrected")),
          "edge slanted 5": ((60, 0.3), ("bilinear", "gradient-corrected")),
          "edge slanted 30": ((60, 0.5), ("bilinear", "gradient-corrected"))}


@pytest.mark.parametrize("chart", sorted(CHARTS))
@pytest.mark.parametrize("pattern", sorted(OPENCV_CODE))
def test_high_quality_bounds_false_colour_on_grey_charts(chart, pattern):
    (max_bound, mean_bound), exceeding = CHARTS[chart]
    raw = mosaic(grey_chart(chart), pattern)
    peak, mean = false_colour(demosaic(raw, pattern, ipl.ConversionMode_HighQuality))
    assert peak <= max_bound and mean <= mean_bound, (peak, mean)
    others = {"bilinear": demosaic(raw, pattern, ipl.ConversionMode_Fast),
              "gradient-corrected": gradient_corrected(raw, pattern)}
    for name in exceeding:
        peak, mean = false_colour(others[name])
        assert peak > max_bound or mean > mean_bound, (name, peak, mean)


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
         ("BayerRG8", "RGB8", ipl.ConversionMode_HighQuality), ("BayerBG10", "RGB10", ipl.ConversionMode_HighQuality),
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
