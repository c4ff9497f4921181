"""Scale and ScaleInto against OpenCV's resize."""

import cv2
import numpy as np
import pytest

import umb_plox_ipl as ipl

NAMES = ipl.pixel_format_names()
S = ipl.Size2D.New
RNG = np.random.default_rng(5)
SRC_W, SRC_H = 17, 13

INTERPOLATIONS = {
    "nearest": (ipl.InterpolationAlgorithm_nearest, cv2.INTER_NEAREST),
    "linear": (ipl.InterpolationAlgorithm_linear, cv2.INTER_LINEAR),
    "cubic": (ipl.InterpolationAlgorithm_cubic, cv2.INTER_CUBIC),
    "area": (ipl.InterpolationAlgorithm_area, cv2.INTER_AREA),
    "lanczos4": (ipl.InterpolationAlgorithm_lanczos4, cv2.INTER_LANCZOS4),
    "linear_exact": (ipl.InterpolationAlgorithm_linear_exact, cv2.INTER_LINEAR_EXACT),
    "nearest_exact": (ipl.InterpolationAlgorithm_nearest_exact, cv2.INTER_NEAREST_EXACT),
}
FORMATS = {"Mono8": (1, np.uint8, 255), "RGB8": (3, np.uint8, 255), "RGBa8": (4, np.uint8, 255),
           "Mono12": (1, np.uint16, 4095), "RGB12": (3, np.uint16, 4095), "RGBa12": (4, np.uint16, 4095)}


def source(name, width=SRC_W, height=SRC_H):
    channels, dtype, top = FORMATS[name]
    pixels = RNG.integers(0, top + 1, (height, width, channels)).astype(dtype)
    image = ipl.Image.CreateFromSizeAndPythonBuffer(NAMES[name], pixels, width, height).Clone()
    return image, pixels


def pixels_of(image, name):
    channels, dtype, _ = FORMATS[name]
    return ipl.get_numpy(image).reshape(image.Height(), image.Width(), channels).astype(dtype)


def reference(pixels, size, flag, top):
    # OpenCV drops a single channel axis; 10/12-bit results are clipped to the format's range.
    out = cv2.resize(pixels, size, interpolation=flag).reshape(size[1], size[0], pixels.shape[2])
    return np.minimum(out, top)


@pytest.mark.parametrize("size", [(7, 5), (40, 29), (17, 30)], ids=str)
@pytest.mark.parametrize("interpolation", INTERPOLATIONS)
@pytest.mark.parametrize("name", FORMATS)
def test_scale_matches_opencv(name, interpolation, size):
    image, pixels = source(name)
    ours, flag = INTERPOLATIONS[interpolation]
    scaled = image.Scale(S(*size), ours)
    assert (scaled.Width(), scaled.Height(), scaled.PixelFormat().Name()) == (*size, name)
    expected = reference(pixels, size, flag, FORMATS[name][2])
    # The library links the system OpenCV; the wheel may be another release whose fixed-point
    # rounding of these two kernels differs by one step.
    tolerance = 1 if interpolation in ("linear", "cubic") else 0
    assert np.abs(pixels_of(scaled, name).astype(int) - expected).max() <= tolerance
    assert np.array_equal(pixels_of(image, name), pixels)  # the source is left alone


@pytest.mark.parametrize("interpolation", ["cubic", "lanczos4"])
def test_12_bit_overshoot_is_clamped(interpolation):
    pixels = np.zeros((8, 8, 1), np.uint16)
    pixels[:, 4:] = 4095
    image = ipl.Image.CreateFromSizeAndPythonBuffer(NAMES["Mono12"], pixels, 8, 8)
    ours, flag = INTERPOLATIONS[interpolation]
    assert cv2.resize(pixels, (29, 8), interpolation=flag).max() > 4095  # the edge does ring
    assert ipl.get_numpy(image.Scale(S(29, 8), ours)).max() == 4095


def test_scale_defaults_to_linear():
    image, _ = source("RGB8")
    linear = ipl.InterpolationAlgorithm_linear
    assert image.Scale(S(9, 20)) == image.Scale(S(9, 20), linear)
    assert image.Scale(ipl.ScaleFactor.New(0.6, 1.4)) == image.Scale(S(10, 18), linear)
    buffer = bytearray(9 * 20 * 3)
    assert image.ScaleInto(S(9, 20), buffer) == image.Scale(S(9, 20), linear)


@pytest.mark.parametrize("fx, fy, width, height", [(0.3, 2.0, 5, 26), (1.26, 0.77, 21, 10), (0.9, 0.04, 15, 1),
                                                   (3.0, 1.0, 51, 13)])
@pytest.mark.parametrize("interpolation", ["nearest", "area", "lanczos4"])
def test_scale_by_factor_rounds_the_size(fx, fy, width, height, interpolation):
    image, _ = source("Mono12")
    ours = INTERPOLATIONS[interpolation][0]
    scaled = image.Scale(ipl.ScaleFactor.New(fx, fy), ours)
    assert (scaled.Width(), scaled.Height()) == (width, height)
    assert scaled == image.Scale(S(width, height), ours)


@pytest.mark.parametrize("fx, fy", [(0.02, 1.0), (1.0, 0.0), (-1.0, 1.0)])
def test_scale_factor_without_pixels(fx, fy):
    image, _ = source("Mono8")
    with pytest.raises(ipl.InvalidArgumentException):
        image.Scale(ipl.ScaleFactor.New(fx, fy))


@pytest.mark.parametrize("interpolation", ["nearest", "linear", "cubic", "area"])
@pytest.mark.parametrize("name", ["Mono8", "RGBa12"])
def test_scale_into_equals_scale(name, interpolation):
    image, _ = source(name)
    ours = INTERPOLATIONS[interpolation][0]
    expected = image.Scale(S(11, 6), ours)
    buffer = np.full(expected.ByteCount() + 5, 0xAB, np.uint8)
    into = image.ScaleInto(S(11, 6), buffer, ours)
    assert into == expected
    assert buffer[:-5].tobytes() == np.asarray(expected.DataView()).tobytes()
    assert (buffer[-5:] == 0xAB).all()


def test_scale_into_refusals():
    image, _ = source("RGB8")
    buffer = bytearray(b"\xab" * (8 * 8 * 3 - 1))
    with pytest.raises(ipl.Exception) as short:
        image.ScaleInto(S(8, 8), buffer)
    assert type(short.value) is ipl.Exception  # buffer-too-small arrives as the base class
    assert "(PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL)" in str(short.value) and "191 bytes" in str(short.value)
    assert buffer == b"\xab" * 191
    with pytest.raises(TypeError) as error:
        image.ScaleInto(S(8, 8), bytes(192))
    assert str(error.value) == "in method 'Image_ScaleInto', argument 3 of type '(uint8_t* buffer, std::size_t bufferSize)'"


@pytest.mark.parametrize("name", ["BayerRG8", "BayerGB12", "Mono10p", "BayerRG12p", "Mono12g24UMB", "RGB10p32",
                                  "YUV422_8_UYVY", "YUV420_8_YY_UV_SemiplanarUMB"])
def test_mosaic_packed_and_yuv_are_not_scaled(name):
    image = ipl.Image.CreateFromSize(NAMES[name], 8, 4)
    buffer = bytearray(b"\xab" * 256)
    for call in (lambda: image.Scale(S(4, 2)), lambda: image.Scale(ipl.ScaleFactor.New(0.5, 0.5)),
                 lambda: image.ScaleInto(S(4, 2), buffer)):
        with pytest.raises(ipl.ImageFormatNotSupportedException, match=name):
            call()
    assert buffer == b"\xab" * 256


@pytest.mark.parametrize("value", [7, -1, 99])
def test_unknown_interpolation(value):
    image, _ = source("Mono8")
    buffer = bytearray(b"\xab" * 64)
    for call in (lambda: image.Scale(S(4, 4), value), lambda: image.Scale(ipl.ScaleFactor.New(0.5, 0.5), value),
                 lambda: image.ScaleInto(S(4, 4), buffer, value)):
        with pytest.raises(ipl.InvalidArgumentException, match=str(value)):
            call()
    assert buffer == b"\xab" * 64
