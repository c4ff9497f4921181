"""Packed frames of any size. A PFNC 10p/12p frame is ceil(width * height * bits / 8) bytes, as a
camera sends it; the g40/g24 formats keep whole groups. Conversions read and write nothing past
the frame's last byte and leave no stray bits after its last value.

References: bit-by-bit NumPy packers written from the layout facts; none calls the library."""

import numpy as np
import pytest

import umb_plox_ipl as ipl
from image_data import pack_grouped, pack_lsb

RNG = np.random.default_rng(41)


def fmt(name):
    return ipl.PixelFormat(getattr(ipl, "PixelFormatName_" + name))


# packed format: (unpacked twin, bits, packer)
FORMATS = {
    "Mono10p": ("Mono10", 10, pack_lsb),
    "Mono12p": ("Mono12", 12, pack_lsb),
    "BayerRG12p": ("BayerRG12", 12, pack_lsb),
    "BayerBG10p": ("BayerBG10", 10, pack_lsb),
    "BayerGR10g40UMB": ("BayerGR10", 10, pack_grouped),
    "Mono12g24UMB": ("Mono12", 12, pack_grouped),
}
# Every size but the last ends inside a group; the large one runs the vector kernels and strips.
SIZES = [(1, 1), (3, 3), (5, 3), (1, 9), (18, 1), (7, 1), (1999, 33)]


def frame(name, width, height, stray=True):
    """Random values and their stream; with `stray`, every bit that no value owns is set."""
    _, bits, packer = FORMATS[name]
    values = RNG.integers(0, 1 << bits, (height, width), dtype=np.uint16)
    stream = packer(values, bits)
    if stray:
        owned = packer(np.full(values.shape, (1 << bits) - 1, np.uint16), bits)
        stream = stream | ~owned
    return values, bytearray(stream.tobytes())


def stored(image):
    """The image's bytes, copied out through a same-format conversion."""
    buffer = bytearray(image.ByteCount())
    image.ConvertTo(image.PixelFormat(), buffer)
    return bytes(buffer)


@pytest.mark.parametrize("width, height", SIZES[:-1])
@pytest.mark.parametrize("name", sorted(FORMATS))
def test_exact_stream_accepted_and_one_byte_less_refused(name, width, height):
    _, _, packer = FORMATS[name]
    _, stream = frame(name, width, height)
    size = len(stream)
    if packer is pack_lsb:
        assert size == -(-width * height * FORMATS[name][1] // 8)
    image = ipl.Image.CreateFromSizeAndPythonBuffer(fmt(name).PixelFormatName(), stream, width, height)
    assert image.ByteCount() == size == ipl.Image.CreateFromSize(fmt(name).PixelFormatName(), width, height).ByteCount()
    with pytest.raises(ipl.Exception) as short:
        ipl.Image.CreateFromSizeAndPythonBuffer(fmt(name).PixelFormatName(), stream[:-1], width, height)
    assert str(short.value).endswith(f"(PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL) | Error-Description: buffer of "
                                     f"{size - 1} bytes is smaller than the {size} bytes of a {width}x{height} "
                                     f"{name} image]")


@pytest.mark.usefixtures("restore_settings")
@pytest.mark.parametrize("simd", [True, False], ids=["simd", "scalar"])
@pytest.mark.parametrize("width, height", SIZES)
@pytest.mark.parametrize("name", sorted(FORMATS))
def test_frames_convert_as_their_bit_streams(name, width, height, simd):
    ipl.Library.SetSIMDEnabled(simd)
    twin, bits, packer = FORMATS[name]
    values, stream = frame(name, width, height)
    image = ipl.Image.CreateFromSizeAndPythonBuffer(fmt(name).PixelFormatName(), stream, width, height)
    unpacked = image.ConvertTo(fmt(twin))
    np.testing.assert_array_equal(ipl.get_numpy(unpacked), values)
    if name.startswith("Bayer"):
        # the mosaic as the library reads it from the unpacked twin, built here from the values
        reference = ipl.Image.CreateFromSizeAndPythonBuffer(fmt(twin).PixelFormatName(), values, width, height)
        for mode in (ipl.ConversionMode_Fast, ipl.ConversionMode_HighQuality):
            np.testing.assert_array_equal(ipl.get_numpy(image.ConvertTo(fmt("RGB8"), mode)),
                                          ipl.get_numpy(reference.ConvertTo(fmt("RGB8"), mode)))
    else:
        np.testing.assert_array_equal(ipl.get_numpy(image.ConvertTo(fmt("Mono8"))), values >> (bits - 8))
        wide = image.ConvertTo(fmt("Mono16"))
        np.testing.assert_array_equal(ipl.get_numpy(wide), values.astype(np.uint32) << (16 - bits))
        # and back from 16 bits: the top bits of each value, no stray bits after the last one
        assert stored(wide.ConvertTo(fmt(name))) == packer(values, bits).tobytes()
    assert stored(unpacked.ConvertTo(fmt(name))) == packer(values, bits).tobytes()


@pytest.mark.parametrize("width, height", SIZES[:-1])
@pytest.mark.parametrize("name", sorted(FORMATS))
def test_writing_a_frame_stays_inside_its_buffer(name, width, height):
    twin, bits, packer = FORMATS[name]
    values, _ = frame(name, width, height)
    expected = packer(values, bits).tobytes()
    source = ipl.Image.CreateFromSizeAndPythonBuffer(fmt(twin).PixelFormatName(), values, width, height)
    guard = 16
    memory = bytearray(b"\xa5" * (guard + len(expected) + guard))
    target = memoryview(memory)[guard:guard + len(expected)]
    converted = source.ConvertTo(fmt(name), target)
    assert converted.ByteCount() == len(expected)
    assert memory == b"\xa5" * guard + expected + b"\xa5" * guard
    short = bytearray(b"\xa5" * (len(expected) - 1))
    with pytest.raises(ipl.Exception, match=f"buffer of {len(short)} bytes is smaller than the {len(expected)} "):
        source.ConvertTo(fmt(name), short)
    assert short == b"\xa5" * len(short)


@pytest.mark.parametrize("name, width, height, x, y, w", [
    ("Mono12p", 7, 3, 0, 2, 6), ("Mono12p", 7, 3, 1, 1, 6), ("BayerRG12p", 5, 3, 1, 1, 4),
    ("Mono10p", 6, 3, 0, 2, 4), ("BayerBG10p", 6, 3, 2, 1, 4), ("Mono10p", 9, 3, 2, 2, 4),
])
def test_crop_of_a_frame_that_ends_inside_a_group(name, width, height, x, y, w):
    _, bits, _ = FORMATS[name]
    values, stream = frame(name, width, height)
    image = ipl.Image.CreateFromSizeAndPythonBuffer(fmt(name).PixelFormatName(), stream, width, height)
    crop = image.Crop(ipl.Point2D.New(x, y), ipl.Size2D.New(w, 1))
    assert stored(crop) == pack_lsb(values[y, x:x + w], bits).tobytes()


@pytest.mark.parametrize("name, width, height", [("BayerRG12p", 5, 3), ("Mono10p", 3, 3), ("Mono12g24UMB", 1, 7)])
def test_raw_file_round_trip_of_an_odd_frame(tmp_path, name, width, height):
    twin, bits, packer = FORMATS[name]
    values, stream = frame(name, width, height)
    image = ipl.Image.CreateFromSizeAndPythonBuffer(fmt(name).PixelFormatName(), stream, width, height)
    path = str(tmp_path / "frame.raw")
    with pytest.raises(ipl.ImageFormatNotSupportedException, match=name):
        ipl.ImageWriter.WriteAsRAW(path, image)
    ipl.ImageWriter.WriteAsRAW(path, image.ConvertTo(fmt(twin)))
    back = ipl.ImageReader.Read(path)
    assert back.PixelFormat().Name() == twin
    assert stored(back.ConvertTo(fmt(name))) == packer(values, bits).tobytes()
