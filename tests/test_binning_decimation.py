"""Binning and Decimation: block means, sums and picks against NumPy written from the rules (whole
blocks only; Bayer mosaics per colour plane), OpenCV's INTER_AREA and demosaicing, the same bytes
for every thread count and SIMD setting, settings and refusals."""

import cv2
import numpy as np
import pytest

import umb_plox_ipl as ipl
from image_data import make_image, random_data

BAYER_TO_CV2 = {"RG": cv2.COLOR_BayerBG2RGB, "GR": cv2.COLOR_BayerGB2RGB,
                "GB": cv2.COLOR_BayerGR2RGB, "BG": cv2.COLOR_BayerRG2RGB}


def reduce_plane(plane, fx, fy, mode, maximum, alpha):
    """Whole fx x fy blocks of an (h, w, c) plane: 'first', 'average' (half up) or 'sum' (saturated)."""
    h, w = plane.shape[0] // fy, plane.shape[1] // fx
    if mode == "first":
        return plane[: h * fy : fy, : w * fx : fx]
    n = fx * fy
    total = sum(plane[j : h * fy : fy, i : w * fx : fx].astype(np.int32) for j in range(fy) for i in range(fx))
    mean = (total + n // 2) // n
    if mode == "average":
        return mean
    result = np.minimum(total, maximum)
    if alpha:
        result[..., 3] = mean[..., 3]
    return result


def reference(name, data, fx, fy, mode):
    fmt = ipl.pixel_format(name)
    maximum = (1 << fmt.NumSignificantBitsPerChannel()) - 1
    alpha = name.startswith(("RGBa", "BGRa"))
    if not fmt.IsBayered():
        planes = data.reshape(data.shape[0], data.shape[1], -1)
        return reduce_plane(planes, fx, fy, mode, maximum, alpha).reshape(-1).astype(data.dtype), None
    # Each colour plane on its own, woven back into a mosaic whose top-left site is unchanged.
    planes = {(dy, dx): reduce_plane(data[dy::2, dx::2, None], fx, fy, mode, maximum, False)[..., 0]
              for dy in (0, 1) for dx in (0, 1)}
    height = planes[0, 0].shape[0] + planes[1, 0].shape[0]
    width = planes[0, 0].shape[1] + planes[0, 1].shape[1]
    out = np.zeros((height, width), data.dtype)
    for (dy, dx), plane in planes.items():
        out[dy::2, dx::2] = plane
    return out.reshape(-1), (width, height)


def reducer(kind, fx, fy, mode="average"):
    if kind == "binning":
        r = ipl.Binning()
        r.SetBinningX(fx)
        r.SetBinningY(fy)
        r.SetMode({"average": ipl.Binning_BinningMode_Average, "sum": ipl.Binning_BinningMode_Sum}[mode])
    else:
        r = ipl.Decimation()
        r.SetDecimationX(fx)
        r.SetDecimationY(fy)
    return r


def check(name, data, kind, fx, fy, mode):
    r = reducer(kind, fx, fy, mode)
    image = make_image(name, data)
    result = r.Process(image)
    expected, bayer_size = reference(name, data, fx, fy, "first" if kind == "decimation" else mode)
    size = r.ExpectedOutputSize(image.Size(), image.PixelFormat().PixelFormatName())
    assert (result.Width(), result.Height()) == (size.width, size.height)
    if bayer_size:
        assert (result.Width(), result.Height()) == bayer_size
    else:
        assert (result.Width(), result.Height()) == (data.shape[1] // fx, data.shape[0] // fy)
    assert result.PixelFormat() == image.PixelFormat()
    np.testing.assert_array_equal(ipl.get_numpy(result).reshape(-1), expected)


@pytest.mark.parametrize("kind, mode", [("binning", "average"), ("binning", "sum"), ("decimation", None)])
@pytest.mark.parametrize("name, width, height, fx, fy", [
    ("Mono8", 64, 40, 2, 2), ("Mono8", 67, 33, 2, 2), ("Mono8", 50, 31, 3, 5), ("Mono12", 70, 35, 2, 2),
    ("Mono16", 33, 18, 4, 1), ("Mono10", 16, 16, 16, 16), ("RGB8", 75, 21, 2, 2), ("BGR12", 40, 30, 2, 3),
    ("RGBa8", 67, 20, 2, 2), ("BGRa12", 35, 12, 3, 2), ("RGB10", 9, 9, 1, 1),
    ("BayerRG8", 128, 64, 2, 2), ("BayerGR8", 131, 67, 2, 2), ("BayerGB12", 66, 41, 3, 2), ("BayerBG10", 7, 5, 2, 2),
    ("BayerRG8", 9, 11, 1, 3),
])
def test_against_block_references(kind, mode, name, width, height, fx, fy):
    data = random_data(name, width, height, np.random.default_rng(width * 1000 + height))
    check(name, data, kind, fx, fy, mode)


@pytest.mark.parametrize("name, maximum", [("Mono8", 255), ("RGB12", 4095), ("RGBa8", 255), ("BayerGB12", 4095)])
def test_sum_saturates_and_alpha_is_averaged(name, maximum):
    data = random_data(name, 37, 26, np.random.default_rng(2), top=maximum + 1)
    data[:, : data.shape[1] // 2] = maximum // 2  # some sums stay below the maximum, others reach it
    check(name, data, "binning", 2, 2, "sum")


@pytest.mark.parametrize("name", ["Mono8", "RGB8"])
def test_2x2_average_equals_opencv_inter_area(name):
    data = random_data(name, 322, 242, np.random.default_rng(4))
    result = reducer("binning", 2, 2).Process(make_image(name, data))
    np.testing.assert_array_equal(ipl.get_numpy(result), cv2.resize(data, (161, 121), interpolation=cv2.INTER_AREA))


@pytest.mark.parametrize("kind", ["binning", "decimation"])
@pytest.mark.parametrize("pattern", BAYER_TO_CV2)
@pytest.mark.parametrize("width, height, fx, fy", [(48, 32, 2, 2), (51, 37, 2, 3), (45, 30, 3, 1)])
def test_bayer_result_keeps_its_pattern(kind, pattern, width, height, fx, fy):
    # A flat colour mosaic, reduced: OpenCV demosaics it back to the same flat colour only if every
    # site still holds its own filter colour.
    colour = {"R": 200, "G": 100, "B": 40}
    cell = {"RG": "RGGB", "GR": "GRBG", "GB": "GBRG", "BG": "BGGR"}[pattern]
    sites = np.array([[colour[cell[0]], colour[cell[1]]], [colour[cell[2]], colour[cell[3]]]], np.uint8)
    data = np.tile(sites, (height // 2 + 1, width // 2 + 1))[:height, :width].copy()
    result = reducer(kind, fx, fy).Process(make_image("Bayer" + pattern + "8", data))
    rgb = cv2.cvtColor(np.ascontiguousarray(ipl.get_numpy(result)), BAYER_TO_CV2[pattern])
    assert (rgb == [200, 100, 40]).all()


@pytest.mark.parametrize("kind", ["binning", "decimation"])
@pytest.mark.parametrize("name, fx, fy", [("Mono8", 2, 2), ("RGB8", 2, 2), ("BGRa8", 2, 2), ("Mono12", 2, 2),
                                          ("RGBa12", 2, 2), ("BayerRG8", 2, 2), ("BayerGB12", 2, 2),
                                          ("RGB8", 3, 3), ("BayerBG8", 2, 3)])
def test_same_bytes_for_every_thread_count_and_simd_setting(restore_settings, kind, name, fx, fy):
    data = random_data(name, 1027, 541, np.random.default_rng(9))  # several strips on any thread count
    expected, _ = reference(name, data, fx, fy, "first" if kind == "decimation" else "average")
    r = reducer(kind, fx, fy)
    image = make_image(name, data)
    for simd in (True, False):
        for threads, multithreading in ((1, True), (2, True), (8, True), (0, False)):
            ipl.Library.SetSIMDEnabled(simd)
            ipl.Library.SetMaxConcurrentThreads(threads)
            ipl.Library.SetMultiThreadingEnabled(multithreading)
            got = ipl.get_numpy(r.Process(image)).reshape(-1)
            assert np.array_equal(got, expected), (simd, threads, multithreading)


@pytest.mark.parametrize("kind", ["binning", "decimation"])
def test_expected_output_size_is_the_size_of_the_result(kind):
    rng = np.random.default_rng(8)
    for name in ("Mono8", "RGB12", "BayerRG8", "BayerGB10"):
        for width, height in ((1, 1), (2, 3), (5, 4), (7, 9), (16, 17), (33, 30)):
            data = random_data(name, width, height, rng)
            image = make_image(name, data)
            for fx, fy in ((1, 1), (2, 2), (3, 2), (1, 4), (5, 3)):
                r = reducer(kind, fx, fy)
                try:
                    size = r.ExpectedOutputSize(ipl.Size2D.New(width, height), image.PixelFormat().PixelFormatName())
                except ipl.InvalidArgumentException:
                    with pytest.raises(ipl.InvalidArgumentException, match=f"{width}x{height}"):
                        r.Process(image)
                    continue
                result = r.Process(image)
                assert (result.Width(), result.Height()) == (size.width, size.height), (name, width, height, fx, fy)


def test_settings_defaults_limits_and_sharing():
    binning, decimation = ipl.Binning(), ipl.Decimation()
    assert (binning.BinningX(), binning.BinningY(), binning.Mode()) == (1, 1, ipl.Binning_BinningMode_Average)
    assert (decimation.DecimationX(), decimation.DecimationY()) == (1, 1)
    assert binning.BinningMin() == decimation.DecimationMin() == 1
    assert binning.BinningMax() == decimation.DecimationMax() >= 8
    copy = ipl.Binning(binning)
    binning.SetBinningX(binning.BinningMax())
    binning.SetMode(ipl.Binning_BinningMode_Sum)
    assert (copy.BinningX(), copy.Mode()) == (binning.BinningMax(), ipl.Binning_BinningMode_Sum)
    other = ipl.Decimation(decimation)
    decimation.SetDecimationY(3)
    assert other.DecimationY() == 3


@pytest.mark.parametrize("kind", ["binning", "decimation"])
def test_refused_settings_name_the_value_and_change_nothing(kind):
    r = reducer(kind, 2, 3)
    prefix = "Binning" if kind == "binning" else "Decimation"
    set_x, set_y = getattr(r, f"Set{prefix}X"), getattr(r, f"Set{prefix}Y")
    too_large = getattr(r, f"{prefix}Max")() + 1
    for setter, value in ((set_x, 0), (set_y, too_large)):
        with pytest.raises(ipl.InvalidArgumentException, match=rf"\b{value}\b"):
            setter(value)
    with pytest.raises(OverflowError, match=f"in method '{prefix}_Set{prefix}X', argument 2 of type 'uint8_t'"):
        set_x(256)
    assert (getattr(r, f"{prefix}X")(), getattr(r, f"{prefix}Y")()) == (2, 3)
    if kind == "binning":
        with pytest.raises(ipl.InvalidArgumentException, match=r"\b7\b"):
            r.SetMode(7)
        assert r.Mode() == ipl.Binning_BinningMode_Average


@pytest.mark.parametrize("kind", ["binning", "decimation"])
@pytest.mark.parametrize("name, width, height", [("Mono8", 3, 8), ("RGB8", 8, 2), ("BayerRG8", 4, 9)])
def test_image_smaller_than_one_block_is_refused(kind, name, width, height):
    data = random_data(name, width, height, np.random.default_rng(1))
    before = data.copy()
    with pytest.raises(ipl.InvalidArgumentException, match=f"{width}x{height}"):
        reducer(kind, 4, 3).Process(make_image(name, data))
    np.testing.assert_array_equal(data, before)


@pytest.mark.parametrize("kind", ["binning", "decimation"])
@pytest.mark.parametrize("name", ["Mono12p", "BayerRG12g24UMB", "RGB10p32", "YUV422_8_UYVY", "Coord3D_C32f",
                                  "Confidence8"])
def test_unsupported_formats_are_refused_by_every_call(kind, name):
    r = reducer(kind, 2, 2)
    fmt = ipl.pixel_format(name).PixelFormatName()
    assert not r.IsPixelFormatSupported(fmt)
    with pytest.raises(ipl.ImageFormatNotSupportedException, match=name):
        r.Process(ipl.Image.CreateFromSize(fmt, 8, 8))
    with pytest.raises(ipl.InvalidArgumentException, match=name):
        r.ExpectedOutputSize(ipl.Size2D.New(8, 8), fmt)


def test_supported_formats_are_the_unpacked_integer_mono_bayer_and_rgb_ones():
    r = ipl.Binning()
    supported = {name for name, code in ipl.pixel_format_names().items() if r.IsPixelFormatSupported(code)}
    assert {"Mono8", "Mono16", "BayerBG12", "RGB10", "BGRa8"} <= supported
    assert all(ipl.Decimation().IsPixelFormatSupported(code) == (name in supported)
               for name, code in ipl.pixel_format_names().items())
    assert not supported & {"Mono10p", "BayerRG10g40UMB", "BGR10p32", "YUV420_8_YY_UV_SemiplanarUMB",
                            "Coord3D_ABC32f"}


def test_expected_output_size_argument_types():
    with pytest.raises(TypeError, match="in method 'Binning_ExpectedOutputSize', argument 2 of type "
                                        "'plox::ipl::Size2D'"):
        ipl.Binning().ExpectedOutputSize((8, 8), ipl.PixelFormatName_Mono8)
    with pytest.raises(ValueError, match="invalid null reference in method 'Decimation_ExpectedOutputSize', "
                                         "argument 2 of type 'plox::ipl::Size2D'"):
        ipl.Decimation().ExpectedOutputSize(None, ipl.PixelFormatName_Mono8)
