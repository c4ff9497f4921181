"""EdgeEnhancement: the 3x3 unsharp mask against a NumPy reference written from its definition
(mirrored border, luma detail added to R, G and B, round half up, saturate), OpenCV's filter2D
with the equivalent kernel, factor 0 and flat images unchanged, contrast growing with the
factor, the same bytes for every thread count and SIMD setting, rows of every width around the
vector lengths at unaligned addresses, in place across strip borders, settings and refusals."""

import cv2
import numpy as np
import pytest

import umb_plox_ipl as ipl
from image_data import make_image, random_data

LUMA = np.array([19595, 38470, 7471], np.int64)


def reference(name, data, factor):
    maximum = (1 << ipl.pixel_format(name).NumSignificantBitsPerChannel()) - 1
    values = data.astype(np.int64)
    if values.ndim == 2:
        grey = values
    else:
        order = [2, 1, 0] if name.startswith("BGR") else [0, 1, 2]
        grey = (values[..., order] @ LUMA + 32768) >> 16
    padded = np.pad(grey, 1, mode="reflect")  # -1 reads 1
    h, w = grey.shape
    neighbours = sum(padded[1 + dy:1 + dy + h, 1 + dx:1 + dx + w] for dy in (-1, 0, 1) for dx in (-1, 0, 1)) - grey
    delta = np.floor((factor * (8 * grey - neighbours) + 32) / 64).astype(np.int64)
    out = values.copy()
    if values.ndim == 2:
        out = values + delta
    else:
        out[..., :3] = values[..., :3] + delta[..., None]
    return np.clip(out, 0, maximum).astype(data.dtype) if values.ndim == 2 else np.concatenate(
        [np.clip(out[..., :3], 0, maximum), out[..., 3:]], axis=-1).astype(data.dtype)


def enhancement(factor):
    e = ipl.EdgeEnhancement()
    e.SetFactor(factor)
    return e


@pytest.mark.parametrize("name", ["Mono8", "Mono10", "Mono12", "Mono16", "RGB8", "BGR8", "RGBa8", "BGRa12"])
@pytest.mark.parametrize("factor, width, height", [(16, 37, 23), (64, 20, 9), (1, 5, 3), (7, 1, 6), (30, 8, 2)])
def test_against_reference(name, factor, width, height):
    data = random_data(name, width, height, np.random.default_rng(width * 100 + height))
    e = enhancement(factor)
    expected = reference(name, data, factor)
    np.testing.assert_array_equal(ipl.get_numpy(e.Process(make_image(name, data))), expected)
    in_place = data.copy()
    e.ProcessInPlace(make_image(name, in_place))
    np.testing.assert_array_equal(in_place, expected)


def test_mono8_equals_filter2d_with_the_equivalent_kernel():
    # Away from saturation the mask is the 3x3 kernel: centre 1 + 8f/64, neighbours -f/64.
    data = np.random.default_rng(4).integers(60, 190, (48, 64), dtype=np.uint8)
    factor = 16
    kernel = np.full((3, 3), -factor / 64, np.float64)
    kernel[1, 1] = 1 + 8 * factor / 64
    theirs = cv2.filter2D(data.astype(np.float64), -1, kernel, borderType=cv2.BORDER_REFLECT_101)
    ours = ipl.get_numpy(enhancement(factor).Process(make_image("Mono8", data))).astype(np.int64)
    assert np.abs(ours - np.clip(np.floor(theirs + 0.5), 0, 255)).max() <= 1


@pytest.mark.parametrize("name", ["Mono8", "Mono12", "RGB8", "BGRa10"])
def test_factor_zero_and_flat_images_are_unchanged(name):
    data = random_data(name, 31, 17, np.random.default_rng(6))
    if ipl.pixel_format(name).NumStorageBitsPerChannel() == 16:
        data |= np.uint16(0xF000)  # stray high bits too: factor 0 gives the bytes back
    np.testing.assert_array_equal(ipl.get_numpy(enhancement(0).Process(make_image(name, data))), data)
    flat = np.full_like(data, 77)
    for factor in (1, 16, 64):
        np.testing.assert_array_equal(ipl.get_numpy(enhancement(factor).Process(make_image(name, flat))), flat)


def test_contrast_across_an_edge_grows_with_the_factor_and_colours_stay_grey():
    data = np.full((9, 16, 3), 100, np.uint8)
    data[:, 8:] = 140
    steps = []
    for factor in (0, 4, 8, 16, 32):
        out = ipl.get_numpy(enhancement(factor).Process(make_image("RGB8", data))).astype(np.int64)
        assert (out[..., 0] == out[..., 1]).all() and (out[..., 1] == out[..., 2]).all()
        steps.append(out[4, 8, 0] - out[4, 7, 0])
    assert steps == sorted(steps) and len(set(steps)) == len(steps)


@pytest.mark.parametrize("name", ["Mono8", "RGB8", "BGRa12"])
def test_same_bytes_for_every_thread_count_and_simd_setting(restore_settings, name):
    data = random_data(name, 517, 1031, np.random.default_rng(9))
    expected = reference(name, data, 24)
    e = enhancement(24)
    image = make_image(name, data)
    for simd in (True, False):
        for threads, multithreading in ((1, True), (2, True), (8, True), (0, False)):
            ipl.Library.SetSIMDEnabled(simd)
            ipl.Library.SetMaxConcurrentThreads(threads)
            ipl.Library.SetMultiThreadingEnabled(multithreading)
            np.testing.assert_array_equal(ipl.get_numpy(e.Process(image)), expected)


def test_settings_range_default_and_sharing():
    e = ipl.EdgeEnhancement()
    r = e.Range()
    assert (r.Minimum(), r.Increment()) == (0, 1) and r.Maximum() >= 32
    assert e.Factor() == e.DefaultFactor() and r.InRange(e.DefaultFactor()) and e.DefaultFactor() > 0
    copy = ipl.EdgeEnhancement(e)
    e.SetFactor(r.Maximum())
    assert copy.Factor() == r.Maximum()
    with pytest.raises(ipl.InvalidArgumentException, match=rf"\b{r.Maximum() + 1}\b.*0 to {r.Maximum()}"):
        e.SetFactor(r.Maximum() + 1)
    assert e.Factor() == r.Maximum()
    with pytest.raises(OverflowError, match="in method 'EdgeEnhancement_SetFactor', argument 2 of type 'std::uint32_t'"):
        e.SetFactor(-1)
    with pytest.raises(TypeError, match="in method 'EdgeEnhancement_IsPixelFormatSupported', argument 2 of type "
                                        "'plox::ipl::PixelFormatName'"):
        e.IsPixelFormatSupported("Mono8")


@pytest.mark.parametrize("name", ["BayerRG8", "BayerGB12", "Mono12p", "RGB10p32", "YUV422_8_UYVY", "Coord3D_C32f",
                                  "Confidence8"])
def test_unsupported_formats_are_refused_and_left_untouched(name):
    fmt = ipl.pixel_format(name)
    e = enhancement(16)
    assert not e.IsPixelFormatSupported(fmt.PixelFormatName())
    data = bytearray(np.random.default_rng(2).integers(0, 256, fmt.CalculateStorageSizeOfPixels(8 * 4), np.uint8))
    before = bytes(data)
    image = ipl.Image.CreateFromSizeAndPythonBuffer(fmt.PixelFormatName(), data, 8, 4)
    with pytest.raises(ipl.ImageFormatNotSupportedException, match=name):
        e.Process(image)
    with pytest.raises(ipl.ImageFormatNotSupportedException, match=name):
        e.ProcessInPlace(image)
    assert bytes(data) == before


def extreme_data(name, width, height, rng):
    """Mostly 0 and max, so details reach +-8 max and sums saturate both ways."""
    data = random_data(name, width, height, rng)
    maximum = (1 << ipl.pixel_format(name).NumSignificantBitsPerChannel()) - 1
    pick = rng.integers(0, 3, data.shape)
    return np.where(pick == 0, data, np.where(pick == 1, maximum, 0)).astype(data.dtype)


@pytest.mark.parametrize("name", ["Mono8", "RGB8", "BGRa8", "Mono12", "RGB12", "BGRa12", "Mono16"])
@pytest.mark.parametrize("simd", [True, False])
def test_every_row_width_around_the_vector_lengths(restore_settings, name, simd):
    # Below one vector, exact multiples, one either side, and rows starting at odd addresses.
    ipl.Library.SetSIMDEnabled(simd)
    rng = np.random.default_rng(len(name))
    for width in (1, 2, 7, 15, 16, 17, 31, 32, 33, 63, 64, 65, 127, 130):
        for factor in (1, 64):
            data = extreme_data(name, width, 5, rng)
            expected = reference(name, data, factor)
            np.testing.assert_array_equal(ipl.get_numpy(enhancement(factor).Process(make_image(name, data))),
                                          expected, err_msg=f"width {width} factor {factor}")
            # The same pixels one sample past an aligned start.
            raw = np.zeros(data.size + 1, data.dtype)
            shifted = raw[1:].reshape(data.shape)
            shifted[...] = data
            assert shifted.ctypes.data % 64 != 0
            enhancement(factor).ProcessInPlace(make_image(name, shifted))
            np.testing.assert_array_equal(shifted, expected, err_msg=f"in place, width {width} factor {factor}")


@pytest.mark.parametrize("name, width, height", [("Mono8", 517, 1031), ("RGB8", 70000, 3), ("BGRa12", 40000, 2),
                                                 ("Mono16", 300000, 4), ("RGBa8", 333, 777)])
def test_in_place_across_strips_for_every_thread_count_and_simd_setting(restore_settings, name, width, height):
    # Wide, low images give strips of one or two rows: every row is some strip's border, and the
    # row mirrored below the last lies in another strip.
    data = extreme_data(name, width, height, np.random.default_rng(width + height))
    expected = reference(name, data, 40)
    e = enhancement(40)
    for simd in (True, False):
        for threads in (1, 2, 8):
            ipl.Library.SetSIMDEnabled(simd)
            ipl.Library.SetMaxConcurrentThreads(threads)
            ipl.Library.SetMultiThreadingEnabled(True)
            in_place = data.copy()
            e.ProcessInPlace(make_image(name, in_place))
            np.testing.assert_array_equal(in_place, expected, err_msg=f"simd {simd} threads {threads}")
