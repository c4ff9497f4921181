"""Sharpness: the four algorithms against NumPy and OpenCV written from their definitions, on mono,
luma and a mosaic's green plane, with regions, sampling intervals and weights; the focus sweep of
photographs, agreement across bit depths and thread counts, the binding's settings and refusals."""

import cv2
import numpy as np
import pytest
from skimage import data as photos

import umb_plox_ipl as ipl
from image_data import make_image

ALGORITHMS = {
    "Tenengrad": ipl.Sharpness_SharpnessAlgorithm_Tenengrad,
    "MeanScore": ipl.Sharpness_SharpnessAlgorithm_MeanScore,
    "HistogramVariance": ipl.Sharpness_SharpnessAlgorithm_HistogramVariance,
    "Sobel": ipl.Sharpness_SharpnessAlgorithm_Sobel,
}
WEAK, MEDIUM, STRONG = (ipl.Sharpness_SharpnessROIWeight_Weak, ipl.Sharpness_SharpnessROIWeight_Medium,
                        ipl.Sharpness_SharpnessROIWeight_Strong)


def measure(image, algorithm, rois=None):
    sharpness = ipl.Sharpness()
    sharpness.SetAlgorithm(ALGORITHMS[algorithm])
    if rois is not None:
        sharpness.SetROIs(rois)
    return sharpness.Measure(image)


def widen(data8, bits):
    """8-bit data at more bits by bit replication, the way a camera's wider output looks."""
    wide = data8.astype(np.uint16)
    return (wide << (bits - 8)) | (wide >> (16 - bits))


def reference(algorithm, plane, region=(slice(None), slice(None))):
    """The definition on a float plane in 8-bit units; borders mirrored without repeating the edge."""
    border = cv2.BORDER_REFLECT_101
    if algorithm == "HistogramVariance":
        return plane[region].var()
    if algorithm == "MeanScore":
        kernel = -np.ones((3, 3))
        kernel[1, 1] = 8
        return np.abs(cv2.filter2D(plane, cv2.CV_64F, kernel, borderType=border))[region].mean() / 8
    gx = cv2.Sobel(plane, cv2.CV_64F, 1, 0, ksize=3, borderType=border)
    gy = cv2.Sobel(plane, cv2.CV_64F, 0, 1, ksize=3, borderType=border)
    squares = gx * gx + gy * gy
    return (squares if algorithm == "Tenengrad" else np.sqrt(squares))[region].mean()


def luma(rgb):
    rgb = rgb.astype(np.float64)
    return 0.299 * rgb[..., 0] + 0.587 * rgb[..., 1] + 0.114 * rgb[..., 2]


def mosaic(rgb, pattern):
    """The Bayer mosaic of an RGB picture; `pattern` names the top-left 2x2 cell, e.g. "RG"."""
    cells = {"RG": "RGGB", "GR": "GRBG", "GB": "GBRG", "BG": "BGGR"}[pattern]
    out = np.empty(rgb.shape[:2], rgb.dtype)
    for index, colour in enumerate(cells):
        dy, dx = divmod(index, 2)
        out[dy::2, dx::2] = rgb[dy::2, dx::2, "RGB".index(colour)]
    return out


def green_plane(data, pattern):
    """Green sites as they are, the others the mean of their four (mirrored) neighbours."""
    plane = data.astype(np.float64)
    padded = np.pad(plane, 1, mode="reflect")
    around = (padded[:-2, 1:-1] + padded[2:, 1:-1] + padded[1:-1, :-2] + padded[1:-1, 2:]) / 4
    y, x = np.indices(plane.shape)
    green = (y + x) % 2 == (0 if pattern[0] == "G" else 1)
    return np.where(green, plane, around)


def blurred(picture, sigma):
    return picture if sigma == 0 else cv2.GaussianBlur(picture, (0, 0), sigma)


MONO = photos.camera()
RGB = np.ascontiguousarray(photos.astronaut()[:, :, :3])


# --- values against the definitions -------------------------------------------------------------

@pytest.mark.parametrize("algorithm", ALGORITHMS)
@pytest.mark.parametrize("name, bits", [("Mono8", 8), ("Mono10", 10), ("Mono12", 12), ("Mono16", 16)])
def test_mono_matches_definition_in_8_bit_units(algorithm, name, bits):
    data = MONO if bits == 8 else widen(MONO, bits)
    want = reference(algorithm, data * (255 / ((1 << bits) - 1)))
    assert measure(make_image(name, data), algorithm) == pytest.approx(want, rel=1e-9)


@pytest.mark.parametrize("algorithm", ALGORITHMS)
@pytest.mark.parametrize("name", ["RGB8", "BGR8", "RGBa8", "BGRa8", "RGB12"])
def test_colour_is_measured_on_luma(algorithm, name):
    rgb = RGB if name.endswith("8") else widen(RGB, 12)
    scale = 255 / 4095 if name == "RGB12" else 1
    order = {"RGB": [0, 1, 2], "BGR": [2, 1, 0]}[name[:3]]
    data = rgb[..., order]
    if "a" in name:
        data = np.dstack([data, np.full(rgb.shape[:2], 77, rgb.dtype)])
    want = reference(algorithm, luma(rgb) * scale)
    assert measure(make_image(name, data), algorithm) == pytest.approx(want, rel=1e-5)


@pytest.mark.parametrize("algorithm", ALGORITHMS)
@pytest.mark.parametrize("pattern", ["RG", "GR", "GB", "BG"])
def test_bayer_is_measured_on_the_green_plane(algorithm, pattern):
    data = mosaic(RGB, pattern)
    want = reference(algorithm, green_plane(data, pattern))
    assert measure(make_image("Bayer" + pattern + "8", data), algorithm) == pytest.approx(want, rel=1e-5)


# Rectangles (x, y, width, height) and intervals: inside, on every border, a single strided column.
REGIONS = [((100, 50, 64, 40), 1, 1), ((0, 0, 512, 512), 3, 2), ((480, 470, 32, 42), 1, 5),
           ((7, 300, 9, 200), 8, 1), ((1, 1, 510, 510), 255, 255)]


@pytest.mark.parametrize("algorithm", ALGORITHMS)
@pytest.mark.parametrize("rect, sx, sy", REGIONS)
def test_region_samples_every_interval(algorithm, rect, sx, sy):
    x, y, w, h = rect
    region = (slice(y, y + h, sy), slice(x, x + w, sx))
    want = reference(algorithm, MONO.astype(np.float64), region)
    roi = ipl.SharpnessROI(ipl.Rect2D(*rect), sx, sy, MEDIUM)
    assert measure(make_image("Mono8", MONO), algorithm, [roi]) == pytest.approx(want, rel=1e-9)


# --- focus, depths, weights, threads -------------------------------------------------------------

def sweep_images(name):
    sigmas = (0, 1, 2, 4)
    if name == "Mono8":
        return [make_image(name, blurred(MONO, s)) for s in sigmas]
    if name == "Mono12":
        return [make_image(name, widen(blurred(MONO, s), 12)) for s in sigmas]
    if name == "RGB8":
        return [make_image(name, blurred(RGB, s)) for s in sigmas]
    return [make_image(name, mosaic(blurred(RGB, s), "GB")) for s in sigmas]


@pytest.mark.parametrize("algorithm", ALGORITHMS)
@pytest.mark.parametrize("name", ["Mono8", "Mono12", "RGB8", "BayerGB8"])
def test_focus_sweep_falls_strictly(algorithm, name):
    values = [measure(image, algorithm) for image in sweep_images(name)]
    assert all(a > b for a, b in zip(values, values[1:])), values


@pytest.mark.parametrize("algorithm", ALGORITHMS)
@pytest.mark.parametrize("narrow, wide, bits", [("Mono8", "Mono12", 12), ("RGB8", "RGB10", 10),
                                                ("BayerRG8", "BayerRG12", 12)])
def test_bit_depths_of_one_picture_agree(algorithm, narrow, wide, bits):
    data = MONO if narrow == "Mono8" else RGB if narrow == "RGB8" else mosaic(RGB, "RG")
    a = measure(make_image(narrow, data), algorithm)
    b = measure(make_image(wide, widen(data, bits)), algorithm)
    assert b == pytest.approx(a, rel=0.02)


def half_blurred():
    picture = MONO.copy()
    picture[:, 256:] = cv2.GaussianBlur(MONO, (0, 0), 4)[:, 256:]
    return make_image("Mono8", picture)


@pytest.mark.parametrize("algorithm", ALGORITHMS)
def test_weights_move_the_result_between_regions(algorithm):
    image = half_blurred()
    sharp_rect, soft_rect = ipl.Rect2D(16, 16, 200, 480), ipl.Rect2D(296, 16, 200, 480)
    sharp = measure(image, algorithm, [ipl.SharpnessROI(sharp_rect, 1, 1, MEDIUM)])
    soft = measure(image, algorithm, [ipl.SharpnessROI(soft_rect, 1, 1, MEDIUM)])
    assert sharp > soft
    results = {}
    for w_sharp, w_soft in [(STRONG, WEAK), (MEDIUM, MEDIUM), (WEAK, STRONG)]:
        rois = [ipl.SharpnessROI(sharp_rect, 1, 1, w_sharp), ipl.SharpnessROI(soft_rect, 1, 1, w_soft)]
        results[w_sharp] = measure(image, algorithm, rois)
        assert results[w_sharp] == pytest.approx((w_sharp * sharp + w_soft * soft) / (w_sharp + w_soft), rel=1e-12)
    assert results[STRONG] > results[MEDIUM] > results[WEAK]


@pytest.mark.usefixtures("restore_settings")
@pytest.mark.parametrize("algorithm", ALGORITHMS)
@pytest.mark.parametrize("name", ["Mono8", "Mono16", "RGB8", "BayerBG8"])
def test_same_value_for_every_thread_count(algorithm, name):
    rng = np.random.default_rng(7)
    channels = 3 if name == "RGB8" else 1
    dtype = np.uint16 if name == "Mono16" else np.uint8
    shape = (1537, 1201, channels) if channels > 1 else (1537, 1201)
    data = rng.integers(0, np.iinfo(dtype).max, shape, dtype=dtype)
    image = make_image(name, data)
    rois = [ipl.SharpnessROI(ipl.Rect2D(0, 0, 1201, 1537), 1, 1, WEAK),
            ipl.SharpnessROI(ipl.Rect2D(3, 5, 1100, 1400), 2, 3, STRONG)]
    values = set()
    for threads, multithreading in [(1, True), (2, True), (3, True), (8, True), (0, False)]:
        ipl.Library.SetMaxConcurrentThreads(threads)
        ipl.Library.SetMultiThreadingEnabled(multithreading)
        values.add(measure(image, algorithm, rois))
    assert len(values) == 1, values


# --- settings and the binding --------------------------------------------------------------------

def test_new_object_and_constants():
    sharpness = ipl.Sharpness()
    assert sharpness.Algorithm() == ipl.Sharpness_SharpnessAlgorithm_Tenengrad
    assert len(sharpness.GetROIs()) == 0
    size = sharpness.ROIMinSize()
    assert (size.width, size.height) == (8, 8)
    assert list(ALGORITHMS.values()) == [0, 1, 2, 3]
    assert (WEAK, MEDIUM, STRONG) == (33, 66, 99)
    roi = ipl.SharpnessROI()
    assert (roi.xSamplingInterval, roi.ySamplingInterval, roi.weight) == (1, 1, 66)


def test_default_region_is_the_whole_image():
    image = make_image("Mono8", MONO)
    whole = [ipl.SharpnessROI(ipl.Rect2D(0, 0, 512, 512), 1, 1, STRONG)]
    assert measure(image, "Sobel") == measure(image, "Sobel", whole)


def test_set_roi_overloads_replace_every_region():
    sharpness = ipl.Sharpness()
    sharpness.SetROIs([ipl.SharpnessROI(ipl.Rect2D(0, 0, 8, 8), 2, 3, WEAK),
                       ipl.SharpnessROI(ipl.Rect2D(1, 2, 30, 40), 4, 5, STRONG)])
    got = sharpness.GetROIs()
    assert isinstance(got, ipl.SharpnessROIList)
    assert [(r.rect.left(), r.rect.top(), r.rect.size().width, r.rect.size().height, r.xSamplingInterval,
             r.ySamplingInterval, r.weight) for r in got] == [(0, 0, 8, 8, 2, 3, 33), (1, 2, 30, 40, 4, 5, 99)]
    sharpness.SetROI(ipl.Rect2D(5, 6, 9, 10))
    (roi,) = sharpness.GetROIs()
    assert (roi.rect.left(), roi.rect.top(), roi.rect.right(), roi.rect.bottom()) == (5, 6, 14, 16)
    assert (roi.xSamplingInterval, roi.ySamplingInterval, roi.weight) == (1, 1, 66)
    sharpness.SetROI(ipl.SharpnessROI(ipl.Rect2D(0, 0, 16, 16), 7, 7, WEAK))
    assert [(r.xSamplingInterval, r.weight) for r in sharpness.GetROIs()] == [(7, 33)]
    sharpness.SetROIs(ipl.SharpnessROIList())
    assert len(sharpness.GetROIs()) == 0


def test_copies_share_settings():
    sharpness = ipl.Sharpness()
    copy = ipl.Sharpness(sharpness)
    copy.SetAlgorithm(ipl.Sharpness_SharpnessAlgorithm_Sobel)
    copy.SetROI(ipl.Rect2D(0, 0, 9, 9))
    assert sharpness.Algorithm() == ipl.Sharpness_SharpnessAlgorithm_Sobel
    assert len(sharpness.GetROIs()) == 1


def test_supported_formats():
    sharpness = ipl.Sharpness()
    listed = set(sharpness.SupportedPixelFormats())
    every = ipl.pixel_format_names()
    assert listed == {code for code in every.values() if sharpness.IsPixelFormatSupported(code)}
    names = {name for name, code in every.items() if code in listed}
    assert {"Mono8", "Mono10", "Mono12", "Mono16", "BayerRG8", "BayerBG12", "RGB8", "BGRa12"} <= names
    assert not names & {"Mono12p", "BayerRG10p", "RGB10p32", "YUV422_8_UYVY", "Coord3D_C32f", "Confidence8"}


@pytest.mark.parametrize("call, error, text", [
    (lambda s: s.SetAlgorithm(7), ipl.InvalidArgumentException, "sharpness algorithm 7 is not"),
    (lambda s: s.SetROI(ipl.Rect2D(0, 0, 7, 100)), ipl.OutOfRangeException,
     "region 0 of 7x100 pixels is smaller than the minimum of 8x8"),
    (lambda s: s.SetROIs([ipl.SharpnessROI(ipl.Rect2D(0, 0, 8, 8), 1, 1, 33),
                          ipl.SharpnessROI(ipl.Rect2D(0, 0, 8, 8), 0, 1, 33)]),
     ipl.InvalidArgumentException, "region 1 has sampling intervals 0 and 1"),
    (lambda s: s.SetROI(ipl.SharpnessROI(ipl.Rect2D(0, 0, 8, 8), 1, 1, 50)), ipl.InvalidArgumentException,
     "region 0 has weight 50; weights are 33, 66 or 99"),
], ids=["algorithm", "small-region", "zero-interval", "weight"])
def test_refused_settings_keep_the_old_ones(call, error, text):
    sharpness = ipl.Sharpness()
    sharpness.SetAlgorithm(ipl.Sharpness_SharpnessAlgorithm_MeanScore)
    sharpness.SetROI(ipl.Rect2D(2, 3, 20, 30))
    with pytest.raises(error, match=text):
        call(sharpness)
    assert sharpness.Algorithm() == ipl.Sharpness_SharpnessAlgorithm_MeanScore
    ((rect_x, rect_w),) = [(r.rect.left(), r.rect.size().width) for r in sharpness.GetROIs()]
    assert (rect_x, rect_w) == (2, 20)


@pytest.mark.parametrize("name, size, rect, error, text", [
    ("Mono8", (64, 48), (60, 0, 8, 8), ipl.OutOfRangeException,
     r"region 0 at \(60, 0\) of 8x8 pixels lies outside the 64x48 image"),
    ("Mono8", (64, 48), (0, 20, 64, 29), ipl.OutOfRangeException, "outside the 64x48 image"),
    ("Mono8", (7, 48), None, ipl.OutOfRangeException,
     "the 7x48 image is smaller than the minimum region of 8x8 pixels"),
    ("Mono12p", (64, 48), None, ipl.ImageFormatNotSupportedException,
     "a sharpness measure cannot be applied to Mono12p"),
    ("YUV422_8_UYVY", (64, 48), None, ipl.ImageFormatNotSupportedException, "YUV422_8_UYVY"),
], ids=["right", "bottom", "small-image", "packed", "yuv"])
def test_measure_refusals(name, size, rect, error, text):
    fmt = ipl.pixel_format(name)
    buffer = bytearray(fmt.CalculateStorageSizeOfPixels(size[0] * size[1]))
    image = ipl.Image.CreateFromSizeAndPythonBuffer(fmt.PixelFormatName(), buffer, *size)
    sharpness = ipl.Sharpness()
    if rect:
        sharpness.SetROI(ipl.Rect2D(*rect))
    with pytest.raises(error, match=text):
        sharpness.Measure(image)


def test_binding_messages():
    sharpness = ipl.Sharpness()
    with pytest.raises(TypeError, match="in method 'Sharpness_SetAlgorithm', argument 2 of type "
                                        "'plox::ipl::Sharpness::SharpnessAlgorithm'"):
        sharpness.SetAlgorithm("Sobel")
    with pytest.raises(ValueError) as info:
        sharpness.SetROIs(None)
    assert str(info.value) == ("invalid null reference in method 'Sharpness_SetROIs', argument 2 of type "
                               "'std::vector< plox::ipl::SharpnessROI,std::allocator< plox::ipl::SharpnessROI > > "
                               "const &'")
    with pytest.raises(TypeError, match="in method 'Sharpness_SetROIs', argument 2"):
        sharpness.SetROIs([1, 2])
    with pytest.raises(TypeError) as info:
        sharpness.SetROI(5)
    assert str(info.value) == (
        "Wrong number or type of arguments for overloaded function 'Sharpness_SetROI'.\n"
        "  Possible C/C++ prototypes are:\n"
        "    plox::ipl::Sharpness::SetROI(plox::ipl::Sharpness::SharpnessROI const &)\n"
        "    plox::ipl::Sharpness::SetROI(plox::ipl::Rect2D const &)\n"
        "    plox::ipl::Sharpness::SetROI(plox::ipl::SharpnessROI const &)\n")
    roi = ipl.SharpnessROI()
    for value in (256, -1):
        with pytest.raises(OverflowError, match="in method 'SharpnessROI_xSamplingInterval_set', argument 2 "
                                                "of type 'uint8_t'"):
            roi.xSamplingInterval = value
