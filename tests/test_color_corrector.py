"""ColorCorrector and ColorCorrectionFactors: the matrix then the saturation against a float NumPy
reference written from the rules (BT.601 luma grey, round half up, saturate), the identity byte
for byte, BGR giving the colours of RGB, alpha kept, the same bytes for every thread count and
SIMD setting, the factor-set value type, settings and refusals."""

import numpy as np
import pytest

import umb_plox_ipl as ipl
from image_data import make_image, random_data

SUPPORTED = ["RGB8", "BGR8", "RGBa8", "BGRa8", "RGB10", "BGR10", "RGBa10", "BGRa10", "RGB12", "BGR12", "RGBa12",
             "BGRa12"]
LUMA = np.array([0.299, 0.587, 0.114])
WARM = (1.2, -0.1, -0.05, -0.15, 1.1, 0.05, 0.0, -0.3, 1.35)


def rgb_order(name):
    return [2, 1, 0] if name.startswith("BGR") else [0, 1, 2]


def reference(name, data, factors, saturation):
    """Matrix on (R, G, B), then c' = L + s (c - L) with L the BT.601 luma; rounded half up, saturated."""
    order = rgb_order(name)
    maximum = (1 << ipl.pixel_format(name).NumSignificantBitsPerChannel()) - 1
    rgb = data[..., order].astype(np.float64)
    corrected = rgb @ np.array(factors, np.float64).reshape(3, 3).T
    grey = corrected @ LUMA
    saturated = grey[..., None] + saturation * (corrected - grey[..., None])
    out = data.copy()
    out[..., order] = np.clip(np.floor(saturated + 0.5), 0, maximum).astype(data.dtype)
    return out


def corrector(factors=WARM, saturation=1.0):
    c = ipl.ColorCorrector()
    c.SetColorCorrectionFactors(ipl.ColorCorrectionFactors(*factors))
    c.SetSaturation(saturation)
    return c


@pytest.mark.parametrize("name", SUPPORTED)
@pytest.mark.parametrize("factors, saturation", [(WARM, 1.0), (WARM, 0.4), (WARM, 1.8), ((1, 0, 0, 0, 1, 0, 0, 0, 1), 0.0),
                                                 ((0.5, 0.3, 0.2, 2.5, -1.0, 0.1, -0.4, 0.0, 3.0), 1.3)])
def test_matrix_then_saturation_against_float_reference(name, factors, saturation):
    data = random_data(name, 67, 23, np.random.default_rng(len(name)))
    expected = reference(name, data, factors, saturation)
    c = corrector(factors, saturation)
    got = ipl.get_numpy(c.Process(make_image(name, data)))
    assert np.abs(got.astype(np.int64) - expected).max() <= 1
    in_place = data.copy()
    c.ProcessInPlace(make_image(name, in_place))
    np.testing.assert_array_equal(in_place, got)


@pytest.mark.parametrize("name", SUPPORTED)
def test_identity_is_byte_for_byte_and_alpha_is_kept(name):
    data = random_data(name, 41, 17, np.random.default_rng(3))
    result = ipl.ColorCorrector().Process(make_image(name, data))
    np.testing.assert_array_equal(ipl.get_numpy(result), data)
    if name[3] == "a":
        # Every colour becomes grey; opacity is not colour.
        grey = ipl.get_numpy(corrector(saturation=0.0).Process(make_image(name, data)))
        np.testing.assert_array_equal(grey[..., 3], data[..., 3])


def test_stray_high_bits_are_ignored():
    data = random_data("RGB12", 30, 10, np.random.default_rng(5))
    dirty = data | np.uint16(0xF000)
    c = corrector()
    np.testing.assert_array_equal(ipl.get_numpy(c.Process(make_image("RGB12", dirty))),
                                  ipl.get_numpy(c.Process(make_image("RGB12", data))))


@pytest.mark.parametrize("depth", ["8", "10", "12"])
@pytest.mark.parametrize("alpha", ["", "a"])
def test_bgr_gets_the_colours_of_its_rgb_twin(depth, alpha):
    rgb = random_data(f"RGB{alpha}{depth}", 53, 19, np.random.default_rng(7))
    bgr = rgb.copy()
    bgr[..., :3] = rgb[..., 2::-1]
    c = corrector(saturation=1.5)
    out_rgb = ipl.get_numpy(c.Process(make_image(f"RGB{alpha}{depth}", rgb)))
    out_bgr = ipl.get_numpy(c.Process(make_image(f"BGR{alpha}{depth}", bgr)))
    np.testing.assert_array_equal(out_bgr[..., 2::-1], out_rgb[..., :3])


@pytest.mark.parametrize("name", ["RGB8", "BGRa8", "RGB12", "BGRa10"])
def test_same_bytes_for_every_thread_count_and_simd_setting(restore_settings, name):
    data = random_data(name, 1031, 523, np.random.default_rng(9))  # several strips, a vector tail
    c = corrector(saturation=1.7)
    image = make_image(name, data)
    results = []
    for simd in (True, False):
        for threads, multithreading in ((1, True), (2, True), (8, True), (0, False)):
            ipl.Library.SetSIMDEnabled(simd)
            ipl.Library.SetMaxConcurrentThreads(threads)
            ipl.Library.SetMultiThreadingEnabled(multithreading)
            results.append(ipl.get_numpy(c.Process(image)).copy())
    for got in results[1:]:
        np.testing.assert_array_equal(got, results[0])
    assert np.abs(results[0].astype(np.int64) - reference(name, data, WARM, 1.7)).max() <= 1


def odd_address_copy(data):
    """The same pixels in a buffer starting one byte past an aligned address."""
    raw = np.zeros(data.nbytes + data.itemsize, np.uint8)
    moved = raw[data.itemsize:].view(data.dtype).reshape(data.shape)
    moved[...] = data
    return moved


# 31.9 is the largest factor with 10 fractional bits in 16 bits; 40 and -100 have no such form.
EXTREME = [(31.9, -31.9, 0.001, -31.9, 31.9, 31.9, 0.5, -0.25, 31.9), (40.0, -3.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, -100.0),
           (0.299, 0.587, 0.114, -0.1687, -0.3313, 0.5, 0.5, -0.4187, -0.0813)]


@pytest.mark.parametrize("name", ["RGB8", "BGRa8"])
@pytest.mark.parametrize("width", [1, 5, 63, 64, 65, 129, 200])
@pytest.mark.parametrize("factors", [WARM] + EXTREME)
def test_every_row_length_at_an_odd_address_with_and_without_simd(restore_settings, name, width, factors):
    rng = np.random.default_rng(width)
    data = random_data(name, width, 7, rng)
    data[0] = 255  # sums far beyond 16 bits in both directions
    data[1] = 0
    data = odd_address_copy(data)
    expected = reference(name, data, factors, 1.0)
    c = corrector(factors)
    results = []
    for simd in (True, False):
        ipl.Library.SetSIMDEnabled(simd)
        results.append(ipl.get_numpy(c.Process(make_image(name, data))).copy())
        in_place = odd_address_copy(data)
        c.ProcessInPlace(make_image(name, in_place))
        np.testing.assert_array_equal(in_place, results[-1])
    np.testing.assert_array_equal(results[0], results[1])
    assert np.abs(results[0].astype(np.int64) - expected).max() <= 1


def test_factors_value_type():
    assert ipl.ColorCorrectionFactors() == ipl.ColorCorrectionFactors(0, 0, 0, 0, 0, 0, 0, 0, 0)
    values = tuple(float(k) + 0.25 for k in range(9))
    f = ipl.ColorCorrectionFactors(*values)
    fields = ["factorRR", "factorGR", "factorBR", "factorRG", "factorGG", "factorBG", "factorRB", "factorGB",
              "factorBB"]
    assert tuple(getattr(f, n) for n in fields) == values
    copy = ipl.ColorCorrectionFactors(f)
    copy.factorBB = 0.5
    assert f.factorBB == 8.25 and copy != f
    for k, n in enumerate(fields):
        near, far = ipl.ColorCorrectionFactors(), ipl.ColorCorrectionFactors()
        setattr(near, n, 1e-7)
        setattr(far, n, 2e-7)
        assert near == ipl.ColorCorrectionFactors() and far != ipl.ColorCorrectionFactors(), n
    assert (f == 5) is False
    with pytest.raises(ValueError, match="invalid null reference in method 'ColorCorrectionFactors___eq__', "
                                         "argument 2 of type 'plox::ipl::ColorCorrectionFactors const &'"):
        f == None  # noqa: E711
    with pytest.raises(TypeError, match="in method 'new_ColorCorrectionFactors', argument 4 of type 'float'"):
        ipl.ColorCorrectionFactors(1, 2, 3, "x", 5, 6, 7, 8, 9)
    with pytest.raises(TypeError) as refused:
        ipl.ColorCorrectionFactors(1, 2)
    prototypes = [line.strip() for line in str(refused.value).splitlines()[2:]]
    assert prototypes == ["plox::ipl::ColorCorrectionFactors::ColorCorrectionFactors(" + ",".join(["float"] * 9) + ")",
                          "plox::ipl::ColorCorrectionFactors::ColorCorrectionFactors()",
                          "plox::ipl::ColorCorrectionFactors::ColorCorrectionFactors("
                          "plox::ipl::ColorCorrectionFactors const &)"]


def test_settings_defaults_round_trip_and_sharing():
    c = ipl.ColorCorrector()
    assert c.ColorCorrectionFactors() == ipl.ColorCorrectionFactors(1, 0, 0, 0, 1, 0, 0, 0, 1)
    assert c.Saturation() == 1.0
    assert c.SaturationMin() <= 0.0 and c.SaturationMax() >= 2.0
    values = (0.5, 1.5, -2.0, 3.25, 0.0, 1.0, -0.75, 2.5, 4.0)
    c.SetColorCorrectionFactors(ipl.ColorCorrectionFactors(*values))
    got = c.ColorCorrectionFactors()
    assert (got.factorRR, got.factorGR, got.factorBR, got.factorRG, got.factorGG, got.factorBG, got.factorRB,
            got.factorGB, got.factorBB) == values
    copy = ipl.ColorCorrector(c)
    c.SetSaturation(0.25)
    assert copy.Saturation() == 0.25
    assert copy.ColorCorrectionFactors() == ipl.ColorCorrectionFactors(*values)


def test_refused_settings_name_the_value_and_change_nothing():
    c = corrector(saturation=0.5)
    for value in (c.SaturationMax() + 0.5, -0.25, float("nan")):
        with pytest.raises(ipl.InvalidArgumentException, match=r"saturation .* is outside"):
            c.SetSaturation(value)
    assert c.Saturation() == 0.5
    for bad in (float("inf"), float("nan"), 1e7):
        with pytest.raises(ipl.InvalidArgumentException, match="factorGB"):
            c.SetColorCorrectionFactors(ipl.ColorCorrectionFactors(1, 0, 0, 0, 1, 0, 0, bad, 1))
    assert c.ColorCorrectionFactors() == ipl.ColorCorrectionFactors(*WARM)
    with pytest.raises(TypeError, match="in method 'ColorCorrector_SetColorCorrectionFactors', argument 2 of type "
                                        "'plox::ipl::ColorCorrectionFactors'"):
        c.SetColorCorrectionFactors((1, 0, 0))
    with pytest.raises(ValueError, match="invalid null reference in method 'ColorCorrector_SetColorCorrectionFactors'"):
        c.SetColorCorrectionFactors(None)


@pytest.mark.parametrize("name", ["Mono8", "Mono12", "BayerRG8", "BayerGB12", "RGB10p32", "YUV422_8_UYVY",
                                  "Coord3D_ABC32f"])
def test_unsupported_formats_are_refused_and_left_untouched(name):
    fmt = ipl.pixel_format(name)
    c = corrector()
    assert not c.IsPixelFormatSupported(fmt.PixelFormatName())
    data = bytearray(np.random.default_rng(2).integers(0, 256, fmt.CalculateStorageSizeOfPixels(8 * 4), np.uint8))
    before = bytes(data)
    image = ipl.Image.CreateFromSizeAndPythonBuffer(fmt.PixelFormatName(), data, 8, 4)
    with pytest.raises(ipl.ImageFormatNotSupportedException, match=name):
        c.Process(image)
    with pytest.raises(ipl.ImageFormatNotSupportedException, match=name):
        c.ProcessInPlace(image)
    assert bytes(data) == before


def test_supported_formats_answer_true():
    c = ipl.ColorCorrector()
    names = ipl.pixel_format_names()
    supported = {n for n, v in names.items() if c.IsPixelFormatSupported(v)}
    assert supported == set(SUPPORTED)
