"""Image factories, queries, deep copies, equality, crops, same-format conversions and timestamps."""

import ctypes
import gc
import os

import numpy as np
import pytest

import umb_plox_ipl as ipl
from image_data import pack_lsb

NAMES = ipl.pixel_format_names()
S, P = ipl.Size2D.New, ipl.Point2D.New
RNG = np.random.default_rng(7)

# The timestamp setter is a C call only; reach it through the library the extension loads.
_LIB = ctypes.CDLL(os.path.join(os.path.dirname(ipl.__file__), "libumb_plox_ipl.so"))
_LIB.PLOX_IPL_Image_SetTimestamp.argtypes = [ctypes.c_void_p, ctypes.c_uint64]


def pf(name):
    return ipl.PixelFormat(NAMES[name])


def owned(name, width, height, data):
    """A library-owned image holding the given bytes."""
    return ipl.Image.CreateFromSizeAndPythonBuffer(NAMES[name], np.ascontiguousarray(data), width, height).Clone()


def raw(image):
    """The image's bytes, copied out through a same-format conversion (works for packed formats too)."""
    buffer = bytearray(image.ByteCount())
    image.ConvertTo(image.PixelFormat(), buffer)
    return np.frombuffer(buffer, np.uint8)


def set_timestamp(image, ns):
    assert _LIB.PLOX_IPL_Image_SetTimestamp(int(image.GetBackendHandle()), ns) == 0


def assert_too_small(error, have, need):
    # Buffer-too-small failures reach Python as the base class, their text names the code.
    assert type(error) is ipl.Exception
    text = str(error)
    assert "(PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL)" in text
    assert f"{have} bytes" in text and f"{need} bytes" in text


SIZES = [  # name, width, height, byte count from the layout rules
    ("Mono8", 5, 3, 15), ("Mono12", 5, 3, 30), ("RGB8", 5, 3, 45), ("BGRa12", 5, 3, 120),
    ("Mono10p", 4, 1, 5), ("BayerRG12p", 2, 1, 3), ("Mono10g40UMB", 5, 3, 20), ("Mono10g40UMB", 3, 3, 15),
    # PFNC bit streams end with the byte of their last bit; the grouped formats keep whole groups.
    ("Mono10p", 5, 3, 19), ("Mono10p", 3, 3, 12), ("Mono10p", 18, 1, 23), ("BayerBG10p", 1, 9, 12),
    ("Mono12p", 5, 3, 23), ("BayerRG12p", 5, 3, 23), ("Mono12p", 1, 7, 11), ("BayerGR12g24UMB", 5, 3, 24), ("RGB10p32", 5, 3, 60), ("YUV422_8_UYVY", 6, 4, 48),
    ("YUV420_8_YY_UV_SemiplanarUMB", 6, 4, 36), ("Coord3D_ABC32f", 5, 3, 180),
]


@pytest.mark.parametrize("name, width, height, count", SIZES)
def test_factories_sizes_and_short_buffers(name, width, height, count):
    image = ipl.Image.CreateFromSize(NAMES[name], width, height)
    size = image.Size()
    assert (image.Width(), image.Height(), size.width, size.height) == (width, height, width, height)
    assert (image.ByteCount(), image.PixelFormat().Name(), image.Timestamp(), image.Empty()) == (count, name, 0, False)
    over = ipl.Image.CreateFromSizeAndPythonBuffer(NAMES[name], bytearray(count), width, height)
    assert over.ByteCount() == count
    with pytest.raises(ipl.Exception) as short:
        ipl.Image.CreateFromSizeAndPythonBuffer(NAMES[name], bytearray(count - 1), width, height)
    assert_too_small(short.value, count - 1, count)
    array = np.zeros(count - 1, np.uint8)
    with pytest.raises(ipl.Exception) as short:
        ipl.Image.CreateFromSizeAndBuffer(NAMES[name], array.ctypes.data, array.nbytes, width, height)
    assert_too_small(short.value, count - 1, count)


def test_new_images_are_zero_filled_even_over_reused_memory():
    for _ in range(3):
        image = ipl.Image.CreateFromSize(NAMES["Mono8"], 1000, 700)
        data = image.get_numpy_1D()
        assert not data.any()
        data[:] = 0xFF
        del image, data
        gc.collect()


@pytest.mark.parametrize("width, height", [(0, 3), (3, 0), (2**32, 2**32), (2**63, 2)])
@pytest.mark.parametrize("factory", ["size", "buffer"])
def test_bad_sizes_name_the_numbers(factory, width, height):
    with pytest.raises(ipl.InvalidArgumentException, match=f"{width}x{height}"):
        if factory == "size":
            ipl.Image.CreateFromSize(NAMES["Mono8"], width, height)
        else:
            ipl.Image.CreateFromSizeAndPythonBuffer(NAMES["Mono8"], bytearray(16), width, height)


@pytest.mark.parametrize("buffer", [
    bytes(24), memoryview(bytes(24)), np.zeros((4, 12), np.uint8)[:, ::2], "x" * 24, 24, None,
], ids=["bytes", "readonly-memoryview", "strided-array", "str", "int", "None"])
def test_python_buffer_must_be_writable_and_contiguous(buffer):
    with pytest.raises(TypeError) as error:
        ipl.Image.CreateFromSizeAndPythonBuffer(NAMES["Mono8"], buffer, 6, 4)
    assert str(error.value) == ("in method 'Image_CreateFromSizeAndPythonBuffer', argument 2 of type "
                                "'(uint8_t* buffer, size_t bufferSize_bytes)'")


@pytest.mark.parametrize("make", [
    lambda: bytearray(range(24)), lambda: np.arange(24, dtype=np.uint8).reshape(4, 6),
    lambda: memoryview(bytearray(range(24))), lambda: np.arange(12, dtype=np.uint16),
], ids=["bytearray", "ndarray", "memoryview", "uint16-array"])
def test_python_buffers_are_accepted_and_kept(make):
    buffer = make()
    image = ipl.Image.CreateFromSizeAndPythonBuffer(NAMES["Mono8"], buffer, 6, 4)
    if isinstance(buffer, bytearray):
        with pytest.raises(BufferError):  # the image holds the memory: it cannot move away
            buffer.extend(b"x")
    assert bytes(image.DataView()) == bytes(memoryview(buffer).cast("B"))


def test_create_from_address_uses_the_memory():
    array = np.arange(24, dtype=np.uint8).reshape(4, 6)
    image = ipl.Image.CreateFromSizeAndBuffer(NAMES["Mono8"], array.ctypes.data, array.nbytes, 6, 4)
    array[2, 3] = 200
    assert image.get_numpy_2D()[2, 3] == 200
    image.get_numpy_2D()[0, 1] = 99
    assert array[0, 1] == 99
    with pytest.raises(TypeError, match=r"argument 2 of type 'void \*'"):
        ipl.Image.CreateFromSizeAndBuffer(NAMES["Mono8"], float(array.ctypes.data), 24, 6, 4)


def test_backend_handle_is_the_raw_unowned_handle(capfd):
    image = ipl.Image.CreateFromSize(NAMES["Mono8"], 2, 2)
    first, second = image.GetBackendHandle(), image.GetBackendHandle()
    assert int(first) == int(second) != 0  # the handle itself, not a fresh copy of it per call
    assert not first.own()
    del first, second
    gc.collect()
    assert "memory leak" not in "".join(capfd.readouterr())


def test_clone_is_deep():
    source = np.arange(24, dtype=np.uint8)
    image = ipl.Image.CreateFromSizeAndPythonBuffer(NAMES["Mono8"], source, 6, 4)
    clone = image.Clone()
    assert clone == image and clone.PixelFormat().Name() == "Mono8"
    source[0] = 77
    clone.get_numpy_1D()[1] = 55
    assert raw(clone)[:2].tolist() == [0, 55] and source[:2].tolist() == [77, 1]


EQUALITY = {
    "clone": (lambda im: im.Clone(), True),
    "first-byte": (lambda im: _changed(im, 0), False),
    "last-byte": (lambda im: _changed(im, -1), False),
    "other-format": (lambda im: owned("BayerRG8", 6, 4, raw(im)), False),
    "transposed": (lambda im: owned("Mono8", 4, 6, raw(im)), False),
    "timestamp": (lambda im: _stamped(im.Clone(), 5), False),
}


def _changed(image, index):
    copy = image.Clone()
    copy.get_numpy_1D()[index] ^= 1
    return copy


def _stamped(image, ns):
    set_timestamp(image, ns)
    return image


@pytest.mark.parametrize("case", EQUALITY)
def test_equality(case):
    image = owned("Mono8", 6, 4, RNG.integers(0, 256, 24, dtype=np.uint8))
    make, equal = EQUALITY[case]
    other = make(image)
    assert (image == other, other == image, image != other) == (equal, equal, not equal)


@pytest.mark.parametrize("other", [3, 2.5, "Mono8", b"\0" * 24, S(6, 4)], ids=repr)
def test_comparison_with_other_types(other):
    image = ipl.Image.CreateFromSize(NAMES["Mono8"], 6, 4)
    assert image.__eq__(other) is NotImplemented and image.__ne__(other) is NotImplemented
    assert (image == other, image != other) == (False, True)


@pytest.mark.parametrize("name, itemsize", [("Mono8", 1), ("RGB8", 3), ("Mono12", 2), ("BGRa8", 4),
                                            ("Coord3D_ABC32f", 12), ("BayerRG8", 1)])
def test_crop_copies_the_region(name, itemsize):
    pixels = RNG.integers(0, 256, (7, 9, itemsize), dtype=np.uint8)
    image = owned(name, 9, 7, pixels)
    crop = image.Crop(P(2, 3), S(5, 4))
    assert (crop.Width(), crop.Height(), crop.ByteCount()) == (5, 4, 20 * itemsize)
    assert raw(crop).tobytes() == pixels[3:7, 2:7].tobytes()
    image.get_numpy_1D()[:] = 0  # the crop has its own memory
    assert raw(crop).tobytes() == pixels[3:7, 2:7].tobytes()
    assert image.Crop(S(4, 2)) == image.Crop(P(0, 0), S(4, 2))
    assert image.Crop(S(9, 7)) == image


# New top-left cell of each mosaic after a shift by one column, one row, or both.
BAYER_SHIFTS = {"RG": ("GR", "GB", "BG"), "GR": ("RG", "BG", "GB"), "GB": ("BG", "RG", "GR"), "BG": ("GB", "GR", "RG")}


@pytest.mark.parametrize("bits", ["8", "12"])
@pytest.mark.parametrize("cell", BAYER_SHIFTS)
def test_bayer_crop_pattern(cell, bits):
    image = ipl.Image.CreateFromSize(NAMES[f"Bayer{cell}{bits}"], 8, 6)
    names = [image.Crop(P(x, y), S(4, 4)).PixelFormat().Name() for x, y in [(0, 0), (2, 2), (1, 0), (0, 1), (1, 1)]]
    assert names == [f"Bayer{c}{bits}" for c in (cell, cell) + BAYER_SHIFTS[cell]]


@pytest.mark.parametrize("name, bits, width, height, x, y, w, h", [
    ("Mono12p", 12, 8, 4, 2, 1, 4, 2), ("Mono12p", 12, 5, 3, 1, 1, 2, 1), ("Mono10p", 10, 8, 3, 4, 1, 4, 2),
    ("BayerRG12p", 12, 6, 4, 2, 1, 2, 3), ("Mono10p", 10, 12, 4, 4, 1, 8, 2),
])
def test_packed_crop_bit_for_bit(name, bits, width, height, x, y, w, h):
    values = RNG.integers(0, 2**bits, (height, width))
    image = owned(name, width, height, pack_lsb(values, bits))
    crop = image.Crop(P(x, y), S(w, h))
    assert raw(crop).tobytes() == pack_lsb(values[y:y + h, x:x + w], bits).tobytes()
    if name.startswith("Bayer"):
        assert crop.PixelFormat().Name() == ("BayerGB12p" if y % 2 else "BayerRG12p")


OUT, BAD, YUV = ipl.OutOfRangeException, ipl.InvalidArgumentException, "YUV420_8_YY_UV_SemiplanarUMB"


@pytest.mark.parametrize("name, width, height, x, y, w, h, error", [
    ("Mono8", 9, 7, 5, 0, 5, 1, OUT), ("Mono8", 9, 7, 0, 7, 1, 1, OUT), ("Mono8", 9, 7, 9, 0, 1, 1, OUT),
    ("Mono8", 9, 7, 0, 0, 9, 8, OUT), ("Mono8", 9, 7, 2**64 - 1, 0, 2, 1, OUT), ("Mono8", 9, 7, 0, 2**64 - 2, 1, 3, OUT),
    ("Mono8", 9, 7, 1, 1, 0, 1, BAD), ("Mono8", 9, 7, 1, 1, 1, 0, BAD),
    # Packed rows must start and end on whole groups; YUV420 chroma covers 2x2 blocks.
    ("Mono12p", 8, 4, 1, 0, 2, 1, BAD), ("Mono12p", 8, 4, 0, 0, 3, 1, BAD), ("Mono12p", 5, 3, 0, 0, 2, 2, BAD),
    ("Mono10p", 8, 2, 2, 0, 4, 1, BAD), ("Mono10p", 6, 4, 0, 0, 4, 2, BAD), (YUV, 8, 6, 1, 0, 2, 2, BAD),
    (YUV, 8, 6, 0, 1, 2, 2, BAD), (YUV, 8, 6, 0, 0, 3, 2, BAD), (YUV, 8, 6, 0, 0, 2, 3, BAD),
])
def test_crop_refusals(name, width, height, x, y, w, h, error):
    with pytest.raises(error, match=f"{w}x{h}"):
        ipl.Image.CreateFromSize(NAMES[name], width, height).Crop(P(x, y), S(w, h))


@pytest.mark.parametrize("name", ["YUV420_8_YY_UV_SemiplanarUMB", "YUV420_8_YY_VU_SemiplanarUMB"])
def test_semiplanar_crop(name):
    luma, chroma = RNG.integers(0, 256, (6, 8), dtype=np.uint8), RNG.integers(0, 256, (3, 8), dtype=np.uint8)
    image = owned(name, 8, 6, np.concatenate([luma.ravel(), chroma.ravel()]))
    crop = image.Crop(P(2, 2), S(4, 4))
    assert raw(crop).tobytes() == luma[2:6, 2:6].tobytes() + chroma[1:3, 2:6].tobytes()


MODES = [(), (ipl.ConversionMode_Fast,), (ipl.ConversionMode_HighQuality,), (ipl.ConversionMode_Classic,)]


@pytest.mark.parametrize("mode", MODES, ids=["default", "fast", "high-quality", "classic"])
@pytest.mark.parametrize("name", ["Mono8", "RGBa12", "Mono12p", "BayerGB10"])
def test_convert_to_same_format_copies(name, mode):
    count = ipl.Image.CreateFromSize(NAMES[name], 8, 3).ByteCount()
    values = RNG.integers(0, 256, count, dtype=np.uint8)
    source = owned(name, 8, 3, values)
    copy = source.ConvertTo(pf(name), *mode)
    assert copy == source and copy.PixelFormat().Name() == name
    buffer = bytearray(b"\xab" * (count + 3))
    into = source.ConvertTo(pf(name), buffer, *mode)
    assert into == source and bytes(buffer) == values.tobytes() + b"\xab" * 3
    buffer[0] ^= 0xFF  # the result lives in the caller's buffer
    assert raw(into)[0] == buffer[0]


@pytest.mark.parametrize("source, target", [("Mono8", "BayerRG8"), ("BayerRG8", "BayerGR8"), ("RGB8", "Confidence8"),
                                            ("Coord3D_C8", "RGB8")])
def test_convert_to_unsupported_format(source, target):
    image = ipl.Image.CreateFromSize(NAMES[source], 4, 2)
    buffer = bytearray(b"\xab" * 256)
    for call in (lambda: image.ConvertTo(pf(target)), lambda: image.ConvertTo(pf(target), buffer),
                 lambda: image.ConvertToWithFactor(pf(target), 2.0)):
        with pytest.raises(ipl.ImageFormatNotSupportedException, match=f"{source}\\b.*\\b{target}\\b"):
            call()
    assert buffer == b"\xab" * 256


def test_convert_to_buffer_refusals():
    image = ipl.Image.CreateFromSize(NAMES["RGB8"], 4, 2)
    with pytest.raises(TypeError) as error:
        image.ConvertTo(pf("RGB8"), bytes(24))
    assert str(error.value) == ("in method 'Image_ConvertTo', argument 3 of type "
                                "'(uint8_t* outputImageBuffer, size_t outputImageBufferSize)'")
    buffer = bytearray(b"\xab" * 23)
    with pytest.raises(ipl.Exception) as short:
        image.ConvertTo(pf("RGB8"), buffer)
    assert_too_small(short.value, 23, 24)
    assert buffer == b"\xab" * 23


@pytest.mark.parametrize("name, dtype, top, factor", [
    ("Mono8", np.uint8, 255, 1.7), ("Mono8", np.uint8, 255, 0.3), ("RGBa8", np.uint8, 255, 2.2),
    ("Mono12", np.uint16, 4095, 1.7), ("BGR10", np.uint16, 1023, 3.1), ("Mono16", np.uint16, 65535, 1.3),
])
def test_convert_with_factor_rounds_and_saturates(name, dtype, top, factor):
    values = RNG.integers(0, top + 1, 72).astype(dtype)
    image = owned(name, 24 // ipl.PixelFormat(NAMES[name]).NumChannels(), 3, values)
    result = image.ConvertToWithFactor(pf(name), factor)
    expected = np.minimum(np.rint(values.astype(np.float64) * factor), top).astype(dtype)
    if name.startswith(("RGBa", "BGRa")):
        expected[3::4] = values[3::4]  # alpha is opacity, not brightness: it keeps its value
    assert np.array_equal(np.frombuffer(raw(result).tobytes(), dtype), expected)
    assert np.array_equal(np.frombuffer(raw(image).tobytes(), dtype), values)  # source unchanged


def test_convert_with_factor_on_floats_and_packed():
    values = RNG.normal(0, 100, 12).astype(np.float32)
    result = owned("Coord3D_C32f", 4, 3, values).ConvertToWithFactor(pf("Coord3D_C32f"), 0.37)
    assert np.array_equal(np.frombuffer(raw(result).tobytes(), np.float32), (values * np.float64(0.37)).astype(np.float32))
    with pytest.raises(ipl.ImageFormatNotSupportedException, match="Mono12p"):
        ipl.Image.CreateFromSize(NAMES["Mono12p"], 4, 2).ConvertToWithFactor(pf("Mono12p"), 2.0)


DERIVED = {
    "clone": lambda im: im.Clone(),
    "crop": lambda im: im.Crop(P(1, 1), S(2, 2)),
    "crop-size": lambda im: im.Crop(S(2, 2)),
    "scale-size": lambda im: im.Scale(S(3, 5)),
    "scale-factor": lambda im: im.Scale(ipl.ScaleFactor.New(2.0, 0.5)),
    "scale-into": lambda im: im.ScaleInto(S(2, 2), bytearray(12)),
    "convert": lambda im: im.ConvertTo(pf("RGB8")),
    "convert-into": lambda im: im.ConvertTo(pf("RGB8"), bytearray(48)),
    "factor": lambda im: im.ConvertToWithFactor(pf("RGB8"), 2.0),
}


@pytest.mark.parametrize("operation", DERIVED)
def test_derived_images_keep_the_timestamp(operation):
    image = ipl.Image.CreateFromSize(NAMES["RGB8"], 4, 4)
    set_timestamp(image, 1_234_567_890_123)
    assert DERIVED[operation](image).Timestamp() == 1_234_567_890_123
    assert DERIVED[operation](ipl.Image.CreateFromSize(NAMES["RGB8"], 4, 4)).Timestamp() == 0
