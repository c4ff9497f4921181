"""Pixel format conversion: value rules, packed layouts, YUV, demosaicing, threads and SIMD.

References are written here from the layout facts (NumPy packers and formulas) or taken from
OpenCV; none of them calls the library."""

import cv2
import numpy as np
import pytest

import umb_plox_ipl as ipl
from image_data import pack_grouped, pack_lsb

RNG = np.random.default_rng(7)


def fmt(name):
    return ipl.PixelFormat(getattr(ipl, "PixelFormatName_" + name))


def image_from(array, name, width, height):
    return ipl.Image.CreateFromSizeAndPythonBuffer(getattr(ipl, "PixelFormatName_" + name), array, width, height)


def convert(image, name, mode=ipl.ConversionMode_Fast):
    return image.ConvertTo(fmt(name), mode)


def raw_bytes(image):
    return np.asarray(image.DataView()).copy()


# --- independent packers ------------------------------------------------------------------

def pack_10p(values):
    return pack_lsb(values, 10)


def pack_12p(values):
    return pack_lsb(values, 12)


def pack_10g40(values):
    return pack_grouped(values, 10)


def pack_12g24(values):
    return pack_grouped(values, 12)


def pack_p32(rgb):
    v = rgb.astype(np.uint32).reshape(-1, 3)
    return (v[:, 0] | v[:, 1] << 10 | v[:, 2] << 20).view(np.uint8)


PACKED = {  # packed format: (unpacked twin, bits, packer)
    "Mono10p": ("Mono10", 10, pack_10p),
    "Mono12p": ("Mono12", 12, pack_12p),
    "Mono10g40UMB": ("Mono10", 10, pack_10g40),
    "Mono12g24UMB": ("Mono12", 12, pack_12g24),
    "BayerRG10p": ("BayerRG10", 10, pack_10p),
    "BayerGB12p": ("BayerGB12", 12, pack_12p),
    "BayerGR10g40UMB": ("BayerGR10", 10, pack_10g40),
    "BayerBG12g24UMB": ("BayerBG12", 12, pack_12g24),
}


@pytest.mark.parametrize("packed", sorted(PACKED))
@pytest.mark.parametrize("width, height", [(8, 4), (6, 3), (5, 4), (3, 3), (1, 7)])
def test_packed_formats_unpack_and_pack_bit_exact(packed, width, height):
    twin, bits, packer = PACKED[packed]
    pixels = width * height
    group = 4 if bits == 10 else 2
    padded = -(-pixels // group) * group
    values = RNG.integers(0, 1 << bits, padded, dtype=np.uint16)
    values[pixels:] = 0
    # A PFNC stream ends with the byte of its last bit; g40/g24 keep the shared byte of a group.
    length = -(-pixels * bits // 8) if packed.endswith("p") else padded * bits // 8
    stream = bytearray(packer(values).tobytes()[:length])
    source = image_from(stream, packed, width, height)
    unpacked = convert(source, twin)
    np.testing.assert_array_equal(ipl.get_numpy(unpacked).ravel(), values[:pixels])
    repacked = convert(unpacked, packed)
    np.testing.assert_array_equal(raw_bytes(repacked), np.frombuffer(bytes(stream), np.uint8))


@pytest.mark.parametrize("name, twin", [("RGB10p32", "RGB10"), ("BGR10p32", "BGR10")])
def test_ten_bit_words_round_trip(name, twin):
    values = RNG.integers(0, 1024, (3, 5, 3), dtype=np.uint16)
    words = bytearray(pack_p32(values).tobytes())
    unpacked = convert(image_from(words, name, 5, 3), twin)
    np.testing.assert_array_equal(ipl.get_numpy(unpacked), values)
    np.testing.assert_array_equal(raw_bytes(convert(unpacked, name)), np.frombuffer(bytes(words), np.uint8))


def test_packings_of_one_depth_convert_into_each_other():
    values = RNG.integers(0, 4096, 16, dtype=np.uint16)
    source = image_from(bytearray(pack_12p(values).tobytes()), "Mono12p", 8, 2)
    np.testing.assert_array_equal(raw_bytes(convert(source, "Mono12g24UMB")), pack_12g24(values))


# --- value rules --------------------------------------------------------------------------

DEPTHS = {"Mono8": 8, "Mono10": 10, "Mono12": 12, "Mono16": 16}


@pytest.mark.parametrize("low, high", [(a, b) for a in DEPTHS for b in DEPTHS if DEPTHS[a] < DEPTHS[b]])
def test_depth_changes_shift(low, high):
    dtype = np.uint8 if DEPTHS[low] == 8 else np.uint16
    values = RNG.integers(0, 1 << DEPTHS[low], (4, 6)).astype(dtype)
    wide = convert(image_from(values, low, 6, 4), high)
    shift = DEPTHS[high] - DEPTHS[low]
    np.testing.assert_array_equal(ipl.get_numpy(wide), values.astype(np.uint32) << shift)
    np.testing.assert_array_equal(ipl.get_numpy(convert(wide, low)), values)
    high_values = RNG.integers(0, 1 << DEPTHS[high], (4, 6)).astype(np.uint16)
    narrow = convert(image_from(high_values, high, 6, 4), low)
    np.testing.assert_array_equal(ipl.get_numpy(narrow), high_values >> shift)


def luma(rgb):
    r, g, b = (rgb[..., i].astype(np.int64) for i in range(3))
    return (19595 * r + 38470 * g + 7471 * b + 32768) >> 16


@pytest.mark.parametrize("source, order", [("RGB8", [0, 1, 2]), ("BGR8", [2, 1, 0]), ("BGRa8", [2, 1, 0])])
def test_colour_to_mono_is_rounded_luma(source, order):
    channels = 4 if source.endswith("a8") else 3
    pixels = RNG.integers(0, 256, (5, 7, channels), dtype=np.uint8)
    mono = ipl.get_numpy(convert(image_from(pixels, source, 7, 5), "Mono8"))
    np.testing.assert_array_equal(mono, luma(pixels[..., order]))


def test_bt601_weights_within_rounding_of_the_textbook_formula():
    pixels = RNG.integers(0, 256, (16, 16, 3), dtype=np.uint8)
    mono = ipl.get_numpy(convert(image_from(pixels, "RGB8", 16, 16), "Mono8")).astype(float)
    textbook = pixels @ np.array([0.299, 0.587, 0.114])
    assert np.abs(mono - textbook).max() <= 0.5 + 1e-6


@pytest.mark.parametrize("target, order", [("RGB8", [0, 1, 2]), ("BGRa8", [2, 1, 0, 3]), ("RGBa12", [0, 1, 2, 3])])
def test_mono_to_colour_replicates_and_alpha_is_maximum(target, order):
    values = RNG.integers(0, 256, (3, 4), dtype=np.uint8)
    colour = ipl.get_numpy(convert(image_from(values, "Mono8", 4, 3), target))
    shift = 4 if target.endswith("12") else 0
    assert colour.shape == (3, 4, len(order))
    for channel in range(3):
        np.testing.assert_array_equal(colour[..., channel], values.astype(np.uint16) << shift)
    if len(order) == 4:
        assert (colour[..., 3] == (255 << shift | ((1 << shift) - 1))).all()


def test_colour_order_and_depth_between_families():
    pixels = RNG.integers(0, 4096, (3, 4, 3), dtype=np.uint16)
    bgra = ipl.get_numpy(convert(image_from(pixels, "RGB12", 4, 3), "BGRa8"))
    np.testing.assert_array_equal(bgra[..., :3], (pixels >> 4)[..., ::-1])
    assert (bgra[..., 3] == 255).all()


def test_factor_multiplies_rounds_and_saturates():
    values = np.array([[0, 10, 100, 200]], dtype=np.uint8)
    result = image_from(values, "Mono8", 4, 1).ConvertToWithFactor(fmt("Mono8"), 1.55)
    np.testing.assert_array_equal(ipl.get_numpy(result), [[0, 16, 155, 255]])
    twelve = image_from(values, "Mono8", 4, 1).ConvertToWithFactor(fmt("Mono12"), 2.0)
    np.testing.assert_array_equal(ipl.get_numpy(twelve), [[0, 320, 3200, 4095]])


# --- YUV -----------------------------------------------------------------------------------

def yuv_reference(rgb):
    r, g, b = (rgb[..., i].astype(float) for i in range(3))
    y = 0.299 * r + 0.587 * g + 0.114 * b
    u = -0.168736 * r - 0.331264 * g + 0.5 * b + 128
    v = 0.5 * r - 0.418688 * g - 0.081312 * b + 128
    return y, u, v


def test_uyvy_bytes_follow_bt601_full_range():
    rgb = RNG.integers(0, 256, (2, 6, 3), dtype=np.uint8)
    uyvy = raw_bytes(convert(image_from(rgb, "RGB8", 6, 2), "YUV422_8_UYVY")).reshape(2, 3, 4).astype(float)
    y, u, v = yuv_reference(rgb)
    np.testing.assert_allclose(uyvy[..., 1], y[:, 0::2], atol=0.51)
    np.testing.assert_allclose(uyvy[..., 3], y[:, 1::2], atol=0.51)
    np.testing.assert_allclose(uyvy[..., 0], (u[:, 0::2] + u[:, 1::2]) / 2, atol=0.51)
    np.testing.assert_allclose(uyvy[..., 2], (v[:, 0::2] + v[:, 1::2]) / 2, atol=0.51)


@pytest.mark.parametrize("name, v_first", [("YUV420_8_YY_UV_SemiplanarUMB", False),
                                           ("YUV420_8_YY_VU_SemiplanarUMB", True)])
def test_semiplanar_layout(name, v_first):
    rgb = RNG.integers(0, 256, (4, 6, 3), dtype=np.uint8)
    data = raw_bytes(convert(image_from(rgb, "RGB8", 6, 4), name)).astype(float)
    y, u, v = yuv_reference(rgb)
    np.testing.assert_allclose(data[:24].reshape(4, 6), y, atol=0.51)
    chroma = data[24:].reshape(2, 3, 2)
    block = lambda c: c.reshape(2, 2, 3, 2).mean(axis=(1, 3))
    np.testing.assert_allclose(chroma[..., 1 if v_first else 0], block(u), atol=0.51)
    np.testing.assert_allclose(chroma[..., 0 if v_first else 1], block(v), atol=0.51)


@pytest.mark.parametrize("name", ["YUV422_8_UYVY", "YUV420_8_YY_UV_SemiplanarUMB", "YUV420_8_YY_VU_SemiplanarUMB"])
def test_yuv_round_trip_of_flat_colour_blocks(name):
    # Chroma is shared by 2x2 blocks; blocks of one colour come back within rounding.
    colours = RNG.integers(16, 240, (4, 4, 3), dtype=np.uint8)
    rgb = np.ascontiguousarray(colours.repeat(2, axis=0).repeat(2, axis=1))
    back = ipl.get_numpy(convert(convert(image_from(rgb, "RGB8", 8, 8), name), "RGB8"))
    assert np.abs(back.astype(int) - rgb).max() <= 2


@pytest.mark.parametrize("target, size", [("YUV422_8_UYVY", (7, 4)), ("YUV420_8_YY_UV_SemiplanarUMB", (8, 3))])
def test_sizes_yuv_forbids_are_refused_naming_them(target, size):
    source = ipl.Image.CreateFromSize(ipl.PixelFormatName_RGB8, *size)
    with pytest.raises(ipl.InvalidArgumentException, match=str(size[0] if target.startswith("YUV422") else size[1])):
        convert(source, target)


# --- pairs ----------------------------------------------------------------------------------

SOURCES = ["Mono8", "Mono12p", "BayerRG8", "BayerGB12p", "BayerBG10g40UMB", "RGB8", "BGRa12", "RGB10p32",
           "YUV422_8_UYVY", "YUV420_8_YY_VU_SemiplanarUMB"]
TARGETS = ["Mono8", "Mono10", "Mono12", "Mono16", "RGB8", "RGB10", "RGB12", "BGR8", "BGR10", "BGR12",
           "RGBa8", "RGBa10", "RGBa12", "BGRa8", "BGRa10", "BGRa12"]


@pytest.mark.parametrize("source", SOURCES)
def test_camera_formats_reach_every_display_target(source):
    image = ipl.Image.CreateFromSize(getattr(ipl, "PixelFormatName_" + source), 8, 6)
    supported = set(ipl.ImageConverter().SupportedOutputPixelFormatNames(fmt(source)))
    for target in TARGETS:
        assert getattr(ipl, "PixelFormatName_" + target) in supported
        result = convert(image, target)
        assert (result.Width(), result.Height(), result.PixelFormat().Name()) == (8, 6, target)


@pytest.mark.parametrize("source, target", [("Mono8", "BayerRG8"), ("RGB8", "Confidence8"),
                                            ("BayerRG8", "BayerGB8"), ("Coord3D_C16", "RGB8")])
def test_unsupported_pairs_name_both_formats(source, target):
    image = ipl.Image.CreateFromSize(getattr(ipl, "PixelFormatName_" + source), 4, 4)
    with pytest.raises(ipl.ImageFormatNotSupportedException, match=f"{source}.*{target}"):
        convert(image, target)
    assert getattr(ipl, "PixelFormatName_" + target) not in set(
        ipl.ImageConverter().SupportedOutputPixelFormatNames(fmt(source)))


def test_bayer_to_bayer_keeps_the_mosaic():
    values = RNG.integers(0, 4096, 24, dtype=np.uint16)
    source = image_from(bytearray(pack_12p(values).tobytes()), "BayerGB12p", 6, 4)
    np.testing.assert_array_equal(ipl.get_numpy(convert(source, "BayerGB8")).ravel(), values >> 4)


def test_depth_and_confidence_maps_for_display():
    depth = np.array([[0.0, 1.4, 255.6, 70000.0]], dtype=np.float32)
    np.testing.assert_array_equal(ipl.get_numpy(convert(image_from(depth, "Coord3D_C32f", 4, 1), "Mono16")),
                                  [[0, 1, 256, 65535]])
    confidence = np.array([[0, 300, 65535]], dtype=np.uint16)
    np.testing.assert_array_equal(ipl.get_numpy(convert(image_from(confidence, "Confidence16", 3, 1), "Mono8")),
                                  [[0, 1, 255]])


@pytest.mark.parametrize("target, top", [("Mono8", 255), ("Mono16", 65535), ("Coord3D_C16", 65535)])
@pytest.mark.parametrize("source, channels", [("Coord3D_C32f", 1), ("Coord3D_ABC32f", 3)])
def test_non_finite_depths_become_zero_or_saturate(source, channels, target, top):
    depth = np.array([np.nan, np.inf, -np.inf, -np.nan, -3.0, 1e30, 2.5, 3.5], dtype=np.float32)
    values = np.zeros((1, depth.size, channels), np.float32)
    values[..., -1] = depth  # the C of A, B, C
    result = ipl.get_numpy(convert(image_from(values, source, depth.size, 1), target))
    np.testing.assert_array_equal(result.ravel(), [0, top, 0, 0, 0, top, 2, 4])


def test_factor_beyond_the_float_range_gives_infinities():
    values = np.array([[3e38, -3e38, 1.5, np.nan]], dtype=np.float32)
    image = image_from(values, "Coord3D_C32f", 4, 1)
    result = ipl.get_numpy(image.ConvertToWithFactor(fmt("Coord3D_C32f"), 10.0)).ravel()
    np.testing.assert_array_equal(result[:3], [np.inf, -np.inf, 15.0])
    assert np.isnan(result[3])


@pytest.mark.parametrize("source", ["BayerRG12p", "BayerGB8", "Mono10g40UMB", "RGB8", "RGB10p32", "YUV422_8_UYVY",
                                    "Coord3D_ABC32f", "Confidence16"])
def test_conversions_write_exactly_the_target_bytes(source):
    image = ipl.Image.CreateFromSize(getattr(ipl, "PixelFormatName_" + source), 8, 4)
    for code in ipl.ImageConverter().SupportedOutputPixelFormatNames(fmt(source)):
        target = ipl.PixelFormat(code)
        size = target.CalculateStorageSizeOfPixels(32)
        buffer = bytearray(b"\xee" * (size + 64))
        image.ConvertTo(target, buffer)
        assert buffer[size:] == b"\xee" * 64, target.Name()


EIGHT_BIT = ["Mono8", "RGB8", "BGR8", "RGBa8", "BGRa8"]


@pytest.mark.parametrize("source", EIGHT_BIT)
@pytest.mark.parametrize("target", EIGHT_BIT[1:])
def test_byte_shuffles_equal_the_general_chain(source, target):
    # Through the 12-bit twin the general chain does the work; widening then narrowing is exact.
    channels = {"Mono8": 1, "RGB8": 3, "BGR8": 3, "RGBa8": 4, "BGRa8": 4}[source]
    pixels = RNG.integers(0, 256, (9, 37, channels), dtype=np.uint8)
    image = image_from(pixels, source, 37, 9)
    direct = ipl.get_numpy(convert(image, target))
    via_twelve = ipl.get_numpy(convert(convert(image, target.replace("8", "12")), target))
    np.testing.assert_array_equal(direct, via_twelve)
    if source.endswith("a8") and target.endswith("a8"):
        np.testing.assert_array_equal(direct[..., 3], pixels[..., 3])  # a stored alpha is kept
