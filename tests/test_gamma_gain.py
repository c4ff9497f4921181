"""GammaCorrector and Gain: float references in NumPy written from the formulas (gamma curve, gain per
Bayer site), identities byte for byte, in-place equal to new-image, the same bytes for every thread
count and SIMD setting, settings shared by copies, and refusals that change nothing."""

import math

import numpy as np
import pytest

import umb_plox_ipl as ipl
from image_data import make_image, random_data

CELLS = {"RG": "RGGB", "GR": "GRBG", "GB": "GBRG", "BG": "BGGR"}


def maximum(name):
    return (1 << ipl.pixel_format(name).NumSignificantBitsPerChannel()) - 1


def gamma_reference(name, data, gamma):
    top = maximum(name)
    out = np.floor(top * (data / top) ** (1.0 / np.float64(np.float32(gamma))) + 0.5).astype(data.dtype)
    if name.startswith(("RGBa", "BGRa")):
        out[..., 3] = data[..., 3]
    return out


def gain_reference(name, data, master, red, green, blue):
    gains = np.full(data.shape, np.float64(np.float32(master)))
    if name.startswith("Bayer"):
        colour = {"R": red, "G": green, "B": blue}
        cell = CELLS[name[5:7]]
        for site, (dy, dx) in enumerate(((0, 0), (0, 1), (1, 0), (1, 1))):
            gains[dy::2, dx::2] *= np.float64(np.float32(colour[cell[site]]))
    return np.minimum(np.floor(data * gains + 0.5), maximum(name)).astype(data.dtype)


def corrector(gamma):
    c = ipl.GammaCorrector()
    c.SetGammaCorrectionValue(gamma)
    return c


def gain(master=1.0, red=1.0, green=1.0, blue=1.0):
    g = ipl.Gain()
    g.SetMasterGainValue(master)
    g.SetRedGainValue(red)
    g.SetGreenGainValue(green)
    g.SetBlueGainValue(blue)
    return g


def check_both_forms(operation, name, data, expected, tolerance):
    image = make_image(name, data)
    result = operation.Process(image)
    assert result.PixelFormat() == image.PixelFormat()
    got = ipl.get_numpy(result)
    assert np.abs(got.astype(np.int64) - expected).max() <= tolerance
    operation.ProcessInPlace(image)
    np.testing.assert_array_equal(data, got)  # the in-place form wrote the same bytes over the buffer


GAMMA_FORMATS = ["Mono8", "Mono10", "Mono12", "Mono16", "BayerRG8", "BayerGB12", "RGB8", "BGR10", "RGBa8",
                 "BGRa12"]


@pytest.mark.parametrize("name", GAMMA_FORMATS)
@pytest.mark.parametrize("gamma", [0.3, 0.45, 2.2, 3.0])
def test_gamma_follows_the_curve_and_keeps_alpha(name, gamma):
    data = random_data(name, 53, 17, np.random.default_rng(len(name)))
    data.reshape(-1)[:2] = (0, maximum(name))  # the ends of the curve stay where they are
    expected = gamma_reference(name, data, gamma)
    check_both_forms(corrector(gamma), name, data, expected, 1)
    if name.startswith(("RGBa", "BGRa")):
        np.testing.assert_array_equal(data[..., 3], expected[..., 3])


@pytest.mark.parametrize("name", ["Mono8", "Mono12", "Mono16", "BayerBG10", "RGB12", "BGRa8"])
def test_gamma_one_and_gain_one_change_no_byte(name):
    data = random_data(name, 41, 9, np.random.default_rng(3))
    expected = data.copy()
    operations = [ipl.GammaCorrector()]
    if ipl.Gain().IsPixelFormatSupported(ipl.pixel_format(name).PixelFormatName()):
        operations.append(ipl.Gain())
    for operation in operations:
        check_both_forms(operation, name, data, expected, 0)


def test_a_gamma_above_one_brightens_the_mid_tones():
    data = np.arange(256, dtype=np.uint8).reshape(16, 16)
    bright = ipl.get_numpy(corrector(2.2).Process(make_image("Mono8", data)))
    dark = ipl.get_numpy(corrector(0.5).Process(make_image("Mono8", data)))
    assert (bright[1:-1] >= data[1:-1]).all() and bright[8, 0] > 128 + 40
    assert (dark[1:-1] <= data[1:-1]).all() and dark[8, 0] < 128 - 40


@pytest.mark.parametrize("name", ["BayerRG8", "BayerGR8", "BayerGB12", "BayerBG10", "BayerRG12", "Mono8", "Mono12",
                                  "Mono16"])
@pytest.mark.parametrize("gains", [(1.0, 1.5, 1.0, 2.25), (0.5, 2.0, 1.25, 0.75), (2.0, 0.0, 1.0, 4.0),
                                   (1.3, 1.1, 0.9, 1.7)])
def test_gain_multiplies_each_site_by_its_colour(name, gains):
    data = random_data(name, 37, 23, np.random.default_rng(7))  # odd sides: the last cells are cut
    check_both_forms(gain(*gains), name, data, gain_reference(name, data, *gains), 1)


def test_mono_takes_the_master_gain_alone():
    data = random_data("Mono8", 32, 8, np.random.default_rng(5))
    result = gain(1.5, 4.0, 0.0, 2.0).Process(make_image("Mono8", data))
    np.testing.assert_array_equal(ipl.get_numpy(result), np.minimum(np.floor(data * 1.5 + 0.5), 255))


def test_stray_high_bits_are_not_part_of_the_value():
    data = random_data("Mono12", 16, 4, np.random.default_rng(2))
    dirty = data | np.uint16(0xF000)
    for operation in (corrector(2.0), gain(1.5)):
        clean = ipl.get_numpy(operation.Process(make_image("Mono12", data)))
        np.testing.assert_array_equal(ipl.get_numpy(operation.Process(make_image("Mono12", dirty))), clean)


@pytest.mark.parametrize("kind, name", [("gamma", "RGB8"), ("gamma", "Mono12"), ("gamma", "BGRa8"),
                                        ("gain", "BayerRG8"), ("gain", "BayerGB12"), ("gain", "Mono16")])
def test_same_bytes_for_every_thread_count_and_simd_setting(restore_settings, kind, name):
    data = random_data(name, 1027, 541, np.random.default_rng(9))  # several strips on any thread count
    if kind == "gamma":
        operation, expected = corrector(1.8), gamma_reference(name, data, 1.8)
    else:
        operation, expected = gain(1.2, 0.7, 1.1, 1.9), gain_reference(name, data, 1.2, 0.7, 1.1, 1.9)
    image = make_image(name, data)
    first = None
    for simd in (True, False):
        for threads, multithreading in ((1, True), (2, True), (8, True), (0, False)):
            ipl.Library.SetSIMDEnabled(simd)
            ipl.Library.SetMaxConcurrentThreads(threads)
            ipl.Library.SetMultiThreadingEnabled(multithreading)
            got = ipl.get_numpy(operation.Process(image))
            if first is None:
                first = got
                assert np.abs(got.astype(np.int64) - expected).max() <= 1
            assert np.array_equal(got, first), (simd, threads, multithreading)


def odd_address_copy(data):
    """The same samples in a buffer starting one byte past an aligned address."""
    raw = np.zeros(data.nbytes + data.itemsize, np.uint8)
    moved = raw[data.itemsize:].view(data.dtype).reshape(data.shape)
    moved[...] = data
    return moved


@pytest.mark.parametrize("kind, name", [("gamma", "RGB8"), ("gamma", "BGRa8"), ("gamma", "Mono8"),
                                        ("gain", "BayerGR8"), ("gain", "BayerBG8")])
@pytest.mark.parametrize("width", [1, 7, 21, 22, 63, 64, 65, 129])
def test_every_row_length_at_an_odd_address_with_and_without_simd(restore_settings, kind, name, width):
    data = random_data(name, width, 5, np.random.default_rng(width))
    data.reshape(-1)[:4] = (0, 127, 128, 255)  # either side of the bit that picks half a byte table
    data = odd_address_copy(data)
    if kind == "gamma":
        operation, expected = corrector(0.3), gamma_reference(name, data, 0.3)
    else:
        operation, expected = gain(1.0, 3.5, 0.5, 1.75), gain_reference(name, data, 1.0, 3.5, 0.5, 1.75)
    results = []
    for simd in (True, False):
        ipl.Library.SetSIMDEnabled(simd)
        results.append(ipl.get_numpy(operation.Process(make_image(name, data))).copy())
        in_place = odd_address_copy(data)
        operation.ProcessInPlace(make_image(name, in_place))
        np.testing.assert_array_equal(in_place, results[-1])
    np.testing.assert_array_equal(results[0], results[1])
    assert np.abs(results[0].astype(np.int64) - expected).max() <= 1


def test_defaults_ranges_and_shared_settings():
    c = ipl.GammaCorrector()
    assert c.GammaCorrectionValue() == 1.0
    assert c.GammaCorrectionMin() <= 0.3 and c.GammaCorrectionMax() >= 3.0
    copy = ipl.GammaCorrector(c)
    c.SetGammaCorrectionValue(2.5)
    assert copy.GammaCorrectionValue() == 2.5
    data = np.arange(256, dtype=np.uint8).reshape(16, 16)
    np.testing.assert_array_equal(ipl.get_numpy(copy.Process(make_image("Mono8", data))),
                                  gamma_reference("Mono8", data, 2.5))
    g = ipl.Gain()
    copy = ipl.Gain(g)
    for channel in ("Master", "Red", "Green", "Blue"):
        assert getattr(g, f"{channel}GainValue")() == 1.0
        assert getattr(g, f"{channel}GainMin")() <= 0.0 and getattr(g, f"{channel}GainMax")() >= 4.0
        getattr(g, f"Set{channel}GainValue")(3.5)
        assert getattr(copy, f"{channel}GainValue")() == 3.5


def setters():
    yield "GammaCorrector", "SetGammaCorrectionValue", "GammaCorrectionValue", ipl.GammaCorrector()
    for channel in ("Master", "Red", "Green", "Blue"):
        yield "Gain", f"Set{channel}GainValue", f"{channel}GainValue", ipl.Gain()


@pytest.mark.parametrize("cls, setter, getter, operation", list(setters()))
def test_refused_values_name_the_value_and_range_and_change_nothing(cls, setter, getter, operation):
    prefix = getter[: -len("Value")]
    low, high = getattr(operation, prefix + "Min")(), getattr(operation, prefix + "Max")()
    getattr(operation, setter)(1.25)
    for value in (low - 0.25, high * 2, math.nan, math.inf):
        with pytest.raises(ipl.InvalidArgumentException) as raised:
            getattr(operation, setter)(value)
        text = str(raised.value)
        assert f"{value:g}" in text, text
        assert f"{low:g}" in text and f"{high:g}" in text, text
        assert getattr(operation, getter)() == 1.25
    with pytest.raises(TypeError, match=f"in method '{cls}_{setter}', argument 2 of type 'float'"):
        getattr(operation, setter)("2")


UNSUPPORTED = [("gamma", n) for n in ("Mono12p", "BayerRG10g40UMB", "RGB10p32", "YUV422_8_UYVY", "Coord3D_C32f",
                                      "Confidence8")] + \
              [("gain", n) for n in ("RGB8", "BGRa8", "RGB12", "Mono12p", "BayerGB12p", "YUV422_8_UYVY",
                                     "Coord3D_C16")]


@pytest.mark.parametrize("kind, name", UNSUPPORTED)
def test_unsupported_formats_are_refused_and_left_untouched(kind, name):
    operation = corrector(2.0) if kind == "gamma" else gain(2.0)
    fmt = ipl.pixel_format(name).PixelFormatName()
    assert not operation.IsPixelFormatSupported(fmt)
    image = ipl.Image.CreateFromSize(fmt, 8, 8)
    before = bytes(image.DataView())
    with pytest.raises(ipl.ImageFormatNotSupportedException, match=name):
        operation.Process(image)
    with pytest.raises(ipl.ImageFormatNotSupportedException, match=name):
        operation.ProcessInPlace(image)
    assert bytes(image.DataView()) == before


def test_supported_formats():
    gamma, g = ipl.GammaCorrector(), ipl.Gain()
    names = ipl.pixel_format_names()
    gamma_set = {n for n, code in names.items() if gamma.IsPixelFormatSupported(code)}
    gain_set = {n for n, code in names.items() if g.IsPixelFormatSupported(code)}
    assert gamma_set == {n for n in names if n.startswith(("Mono", "Bayer", "RGB", "BGR"))
                         and ipl.pixel_format(n).IsPacked() is False}
    assert gain_set == {n for n in gamma_set if n.startswith(("Mono", "Bayer"))}


def test_none_image_is_refused():
    with pytest.raises(ValueError, match="invalid null reference in method 'Gain_ProcessInPlace', argument 2"):
        ipl.Gain().ProcessInPlace(None)
    with pytest.raises(ValueError, match="invalid null reference in method 'GammaCorrector_Process', argument 2"):
        ipl.GammaCorrector().Process(None)
