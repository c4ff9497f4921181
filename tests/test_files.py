"""Image files: our files read by Pillow, Pillow's files read by us, interpretation, raw files,
bad paths and damaged files."""

import ctypes
import os

import numpy as np
import pytest
from PIL import Image as PILImage
from skimage import data as photos

import umb_plox_ipl as ipl

RNG = np.random.default_rng(11)
_LIB = ctypes.CDLL(os.path.join(os.path.dirname(ipl.__file__), "libumb_plox_ipl.so"))
_LIB.PLOX_IPL_Image_SetTimestamp.argtypes = [ctypes.c_void_p, ctypes.c_uint64]


def image_from(array, name):
    height, width = array.shape[:2]
    return ipl.Image.CreateFromSizeAndPythonBuffer(getattr(ipl, "PixelFormatName_" + name), array, width, height)


def fmt(name):
    return ipl.PixelFormat(getattr(ipl, "PixelFormatName_" + name))


# --- ours, read by Pillow -----------------------------------------------------------------

@pytest.mark.parametrize("name, channels, order", [
    ("Mono8", 1, None), ("BayerGB8", 1, None), ("RGB8", 3, [0, 1, 2]), ("BGR8", 3, [2, 1, 0]),
    ("RGBa8", 4, [0, 1, 2, 3]), ("BGRa8", 4, [2, 1, 0, 3])])
def test_png_files_read_back_by_pillow_bit_for_bit(tmp_path, name, channels, order):
    shape = (13, 17) if channels == 1 else (13, 17, channels)
    pixels = RNG.integers(0, 256, shape, dtype=np.uint8)
    path = str(tmp_path / "out.png")
    ipl.ImageWriter.WriteAsPNG(path, image_from(pixels, name))
    expected = pixels if order is None else pixels[..., order]
    np.testing.assert_array_equal(np.asarray(PILImage.open(path)), expected)


@pytest.mark.parametrize("name, bits", [("Mono10", 10), ("Mono12", 12), ("BayerRG12", 12), ("Mono16", 16)])
def test_deep_png_is_scaled_to_16_bits_and_read_back_exactly(tmp_path, name, bits):
    values = RNG.integers(0, 1 << bits, (9, 11)).astype(np.uint16)
    values[0, :3] = [0, (1 << bits) - 1, 1 << (bits - 1)]
    path = str(tmp_path / "deep.png")
    ipl.ImageWriter.WriteAsPNG(path, image_from(values, name))
    seen_by_viewers = np.asarray(PILImage.open(path)).astype(np.uint32)
    v = values.astype(np.uint32)
    scaled = v if bits == 16 else (v << (16 - bits)) | (v >> (2 * bits - 16))
    np.testing.assert_array_equal(seen_by_viewers, scaled)
    back = ipl.ImageReader.Read(path)
    assert back.PixelFormat().Name() == ("Mono16" if bits == 16 else f"Mono{bits}")
    np.testing.assert_array_equal(ipl.get_numpy(back), values)


@pytest.mark.parametrize("name", ["Mono8", "RGB8", "BGR8"])
def test_bmp_files_read_back_by_pillow_bit_for_bit(tmp_path, name):
    channels = 1 if name == "Mono8" else 3
    pixels = RNG.integers(0, 256, (7, 13) if channels == 1 else (7, 13, 3), dtype=np.uint8)
    path = str(tmp_path / "out.bmp")
    ipl.ImageWriter.WriteAsBMP(path, image_from(pixels, name))
    seen = np.asarray(PILImage.open(path).convert("L" if channels == 1 else "RGB"))
    np.testing.assert_array_equal(seen, pixels if name != "BGR8" else pixels[..., ::-1])


def test_bmp_narrows_deep_grey_to_8_bits(tmp_path):
    values = RNG.integers(0, 4096, (5, 6)).astype(np.uint16)
    path = str(tmp_path / "deep.bmp")
    ipl.ImageWriter.WriteAsBMP(path, image_from(values, "Mono12"))
    np.testing.assert_array_equal(np.asarray(PILImage.open(path).convert("L")), values >> 4)


def psnr(a, b):
    return 10 * np.log10(255.0 ** 2 / np.mean((a.astype(float) - b.astype(float)) ** 2))


def test_quality_95_jpeg_of_a_photograph(tmp_path):
    photo = np.ascontiguousarray(photos.astronaut())
    path = str(tmp_path / "photo.jpg")
    parameter = ipl.ImageWriterJPEGParameter()
    parameter.Quality = 95
    ipl.ImageWriter.WriteAsJPG(path, image_from(photo, "RGB8"), parameter)
    assert psnr(np.asarray(PILImage.open(path)), photo) >= 35


# --- Pillow's files, read by us -----------------------------------------------------------

@pytest.mark.parametrize("mode, natural", [("L", "Mono8"), ("RGB", "RGB8"), ("RGBA", "RGBa8"), ("I;16", "Mono16")])
def test_pillow_png_files(tmp_path, mode, natural):
    channels = {"L": 1, "RGB": 3, "RGBA": 4, "I;16": 1}[mode]
    dtype = np.uint16 if mode == "I;16" else np.uint8
    pixels = RNG.integers(0, 65536 if mode == "I;16" else 256, (8, 10, channels)).astype(dtype)
    if channels == 1:
        pixels = pixels[..., 0]
    path = str(tmp_path / "pillow.png")
    # uint16 arrays become I;16 by themselves.
    PILImage.fromarray(pixels, mode=None if mode == "I;16" else mode).save(path)
    image = ipl.ImageReader.Read(path)
    assert image.PixelFormat().Name() == natural
    np.testing.assert_array_equal(ipl.get_numpy(image), pixels)


def test_pillow_palette_and_grey_alpha_png(tmp_path):
    rgb = RNG.integers(0, 256, (6, 8, 3), dtype=np.uint8)
    palette = PILImage.fromarray(rgb).quantize(16)
    palette.save(tmp_path / "p.png")
    np.testing.assert_array_equal(ipl.get_numpy(ipl.ImageReader.Read(str(tmp_path / "p.png"))),
                                  np.asarray(palette.convert("RGB")))
    grey_alpha = PILImage.fromarray(RNG.integers(0, 256, (6, 8, 2), dtype=np.uint8), mode="LA")
    grey_alpha.save(tmp_path / "la.png")
    read = ipl.get_numpy(ipl.ImageReader.Read(str(tmp_path / "la.png")))
    np.testing.assert_array_equal(read, np.asarray(grey_alpha.convert("RGBA")))


@pytest.mark.parametrize("mode", ["L", "RGB"])
def test_pillow_bmp_and_jpeg_files(tmp_path, mode):
    photo = photos.astronaut()[::4, ::4]
    source = PILImage.fromarray(np.ascontiguousarray(photo)).convert(mode)
    source.save(tmp_path / "pillow.bmp")
    np.testing.assert_array_equal(ipl.get_numpy(ipl.ImageReader.Read(str(tmp_path / "pillow.bmp"))),
                                  np.asarray(source))
    source.save(tmp_path / "pillow.jpg", quality=90)
    ours = ipl.get_numpy(ipl.ImageReader.Read(str(tmp_path / "pillow.jpg"))).astype(int)
    theirs = np.asarray(PILImage.open(tmp_path / "pillow.jpg")).astype(int)
    assert np.mean(np.abs(ours - theirs) <= 1) >= 0.99


# --- interpretation -----------------------------------------------------------------------

def test_read_as_another_format_where_data_fits(tmp_path):
    grey = RNG.integers(0, 256, (4, 6), dtype=np.uint8)
    PILImage.fromarray(grey).save(tmp_path / "g.png")
    bayer = ipl.ImageReader.Read(str(tmp_path / "g.png"), fmt("BayerRG8"))
    assert bayer.PixelFormat().Name() == "BayerRG8"
    np.testing.assert_array_equal(ipl.get_numpy(bayer), grey)

    small = RNG.integers(0, 4096, (4, 6)).astype(np.uint16)
    PILImage.fromarray(small).save(tmp_path / "s.png")
    for name in ("Mono12", "BayerGB12"):
        np.testing.assert_array_equal(ipl.get_numpy(ipl.ImageReader.Read(str(tmp_path / "s.png"), fmt(name))), small)
    small[0, 0] = 5000
    PILImage.fromarray(small).save(tmp_path / "big.png")
    with pytest.raises(ipl.ImageFormatInterpretationException, match="5000"):
        ipl.ImageReader.Read(str(tmp_path / "big.png"), fmt("Mono12"))

    rgb = RNG.integers(0, 256, (4, 6, 3), dtype=np.uint8)
    PILImage.fromarray(rgb).save(tmp_path / "c.png")
    np.testing.assert_array_equal(ipl.get_numpy(ipl.ImageReader.Read(str(tmp_path / "c.png"), fmt("BGR8"))),
                                  rgb[..., ::-1])
    with pytest.raises(ipl.ImageFormatInterpretationException, match="Mono8"):
        ipl.ImageReader.Read(str(tmp_path / "c.png"), fmt("Mono8"))
    with pytest.raises(ipl.ImageFormatNotSupportedException, match="Mono12p"):
        ipl.ImageReader.Read(str(tmp_path / "g.png"), fmt("Mono12p"))


def test_raw_files_have_a_fixed_header(tmp_path):
    values = RNG.integers(0, 4096, (5, 7)).astype(np.uint16)
    image = image_from(values, "BayerBG12")
    assert _LIB.PLOX_IPL_Image_SetTimestamp(int(image.GetBackendHandle()), 123456789) == 0
    path = str(tmp_path / "frame.raw")
    ipl.ImageWriter.Write(path, image)
    header = np.fromfile(path, np.uint8, count=32)
    assert bytes(header[:8]) == b"PLOXRAW1"
    assert list(header[8:20].view(np.uint32)) == [7, 5, ipl.PixelFormatName_BayerBG12]
    assert int(header[24:32].view(np.uint64)[0]) == 123456789
    np.testing.assert_array_equal(np.fromfile(path, np.uint16, offset=32).reshape(5, 7), values)
    back = ipl.ImageReader.Read(path)
    assert back == image  # format, size, timestamp and bytes
    assert ipl.ImageReader.Read(path, fmt("Mono12")).PixelFormat().Name() == "Mono12"
    with pytest.raises(ipl.ImageFormatInterpretationException):
        ipl.ImageReader.Read(path, fmt("RGB12"))
    with pytest.raises(ipl.ImageFormatNotSupportedException, match="Mono12p"):
        ipl.ImageWriter.WriteAsRAW(path, ipl.Image.CreateFromSize(ipl.PixelFormatName_Mono12p, 4, 2))


# --- writers' rules and bad input ---------------------------------------------------------

@pytest.mark.parametrize("ending", [".png", ".PNG", ".jpg", ".JPeG", ".bmp", ".raw"])
def test_write_chooses_by_ending(tmp_path, ending):
    path = str(tmp_path / ("x" + ending))
    ipl.ImageWriter.Write(path, ipl.Image.CreateFromSize(ipl.PixelFormatName_RGB8, 8, 8))
    assert ipl.ImageReader.Read(path).Width() == 8


def test_bad_endings_paths_and_qualities(tmp_path):
    image = ipl.Image.CreateFromSize(ipl.PixelFormatName_RGB8, 8, 8)
    with pytest.raises(ipl.InvalidArgumentException, match=r"\.tiff"):
        ipl.ImageWriter.Write(str(tmp_path / "x.tiff"), image)
    with pytest.raises(ipl.IOException, match="nowhere"):
        ipl.ImageWriter.Write(str(tmp_path / "nowhere" / "x.png"), image)
    with pytest.raises(ipl.IOException, match="missing.png"):
        ipl.ImageReader.Read(str(tmp_path / "missing.png"))
    for quality in (0, 101):
        parameter = ipl.ImageWriterJPEGParameter()
        parameter.Quality = quality
        with pytest.raises(ipl.InvalidArgumentException, match=str(quality)):
            ipl.ImageWriter.WriteAsJPG(str(tmp_path / "q.jpg"), image, parameter)
    with pytest.raises(ipl.ImageFormatNotSupportedException):
        ipl.ImageWriter.WriteAsJPG(str(tmp_path / "q.jpg"), ipl.Image.CreateFromSize(ipl.PixelFormatName_Mono12, 8, 8))
    assert os.listdir(tmp_path) == []  # failed writes leave nothing behind, not even temporaries
    assert (ipl.ImageWriterPNGParameter().Quality, ipl.ImageWriterJPEGParameter().Quality) == (100, 75)
    with pytest.raises(TypeError, match="Wrong number or type of arguments for overloaded function 'ImageWriter_WriteAsPNG'"):
        ipl.ImageWriter.WriteAsPNG(str(tmp_path / "x.png"), image, ipl.ImageWriterJPEGParameter())


def test_existing_file_survives_a_failed_write(tmp_path):
    path = str(tmp_path / "keep.bmp")
    ipl.ImageWriter.WriteAsBMP(path, ipl.Image.CreateFromSize(ipl.PixelFormatName_Mono8, 4, 4))
    before = open(path, "rb").read()
    with pytest.raises(ipl.ImageFormatNotSupportedException):
        ipl.ImageWriter.WriteAsBMP(path, ipl.Image.CreateFromSize(ipl.PixelFormatName_Coord3D_C32f, 4, 4))
    assert open(path, "rb").read() == before


def test_non_ascii_paths(tmp_path):
    path = str(tmp_path / "Bild-äöü-画像.png")
    ipl.ImageWriter.WriteAsPNG(path, ipl.Image.CreateFromSize(ipl.PixelFormatName_Mono8, 3, 3))
    assert os.path.exists(path) and ipl.ImageReader.Read(path).Width() == 3


@pytest.mark.parametrize("ending", [".png", ".jpg", ".bmp", ".raw"])
def test_damaged_files_raise_and_never_crash(tmp_path, ending):
    source = ipl.Image.CreateFromSizeAndPythonBuffer(
        ipl.PixelFormatName_RGB8, np.ascontiguousarray(photos.astronaut()[::8, ::8]), 64, 64)
    path = str(tmp_path / ("good" + ending))
    ipl.ImageWriter.Write(path, source)
    good = open(path, "rb").read()
    rng = np.random.default_rng(len(ending))
    bad = str(tmp_path / ("bad" + ending))
    for trial in range(150):
        data = bytearray(good)
        if trial % 3 == 0:
            data = data[: rng.integers(0, len(data))]
        else:
            for _ in range(rng.integers(1, 8)):
                data[rng.integers(0, len(data))] = rng.integers(0, 256)
        with open(bad, "wb") as f:
            f.write(data)
        try:
            image = ipl.ImageReader.Read(bad)
        except ipl.Exception:
            continue
        assert image.Width() > 0 and image.Height() > 0
