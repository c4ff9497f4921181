"""The package layer: from_numpy, path objects as file names, repr, the star import."""

import pathlib

import numpy as np
import pytest

import umb_plox_ipl as ipl

RNG = np.random.default_rng(7)

# Format, dtype, shape of a 6-wide, 4-high image as its array (the memory layout facts).
FAMILIES = [
    ("Mono8", np.uint8, (4, 6)),
    ("Mono12", np.uint16, (4, 6)),
    ("BayerRG8", np.uint8, (4, 6)),
    ("BayerGB12", np.uint16, (4, 6)),
    ("RGB8", np.uint8, (4, 6, 3)),
    ("BGRa10", np.uint16, (4, 6, 4)),
    ("YUV422_8_UYVY", np.uint8, (4, 6, 2)),
    ("YUV420_8_YY_UV_SemiplanarUMB", np.uint8, (6, 6)),
    ("Coord3D_ABC32f", np.float32, (4, 6, 3)),
    ("Coord3D_C32f", np.float32, (4, 6)),
    ("RGB10p32", np.uint32, (4, 6)),
]


def random_array(dtype, shape):
    if np.issubdtype(dtype, np.floating):
        return RNG.standard_normal(shape).astype(dtype)
    return RNG.integers(0, np.iinfo(dtype).max, shape, dtype=dtype, endpoint=True)


@pytest.mark.parametrize("name, dtype, shape", FAMILIES)
def test_from_numpy_shares_memory_and_get_numpy_inverts_it(name, dtype, shape):
    array = random_array(dtype, shape)
    image = ipl.from_numpy(array, name)
    assert (image.Width(), image.Height(), image.PixelFormat().Name()) == (6, 4, name)
    view = ipl.get_numpy(image)
    assert view.dtype == dtype and view.shape == shape
    np.testing.assert_array_equal(view, array)
    array.flat[5] = array.flat[4]
    assert view.flat[5] == array.flat[4]
    del array
    assert ipl.get_numpy(image).shape == shape  # the image keeps the memory alive


@pytest.mark.parametrize("given", ["rgb8", "RGB8", ipl.PixelFormatName_RGB8, ipl.PixelFormat(ipl.PixelFormatName_RGB8)])
def test_from_numpy_takes_a_name_in_any_case_a_value_or_a_format(given):
    assert ipl.from_numpy(np.zeros((2, 3, 3), np.uint8), given).PixelFormat().Name() == "RGB8"


def test_a_single_channel_may_come_with_a_trailing_axis():
    image = ipl.from_numpy(np.zeros((5, 7, 1), np.uint8), "Mono8")
    assert (image.Width(), image.Height()) == (7, 5)


def read_only(array):
    array.flags.writeable = False
    return array


@pytest.mark.parametrize("array, name, message", [
    (np.zeros((480, 640), np.float32), "RGB8",
     "RGB8 needs a C-contiguous uint8 array of shape (height, width, 3); got float32 (480, 640)"),
    (np.zeros((4, 6, 4), np.uint8), "RGB8",
     "RGB8 needs a C-contiguous uint8 array of shape (height, width, 3); got uint8 (4, 6, 4)"),
    (np.zeros((4, 6), np.uint8), "Mono12",
     "Mono12 needs a C-contiguous uint16 array of shape (height, width); got uint8 (4, 6)"),
    (np.zeros((4, 12, 3), np.uint8)[:, ::2], "RGB8",
     "RGB8 needs a C-contiguous uint8 array of shape (height, width, 3); got a non-contiguous uint8 (4, 6, 3)"),
    (read_only(np.zeros((4, 6), np.uint8)), "Mono8",
     "Mono8 needs a C-contiguous uint8 array of shape (height, width); got a read-only uint8 (4, 6)"),
    (np.zeros((0, 6), np.uint8), "Mono8",
     "Mono8 needs a C-contiguous uint8 array of shape (height, width); got an empty uint8 (0, 6)"),
    (np.zeros((5, 6), np.uint8), "YUV420_8_YY_UV_SemiplanarUMB",
     "YUV420_8_YY_UV_SemiplanarUMB needs a C-contiguous uint8 array of shape (height * 3 // 2, width); "
     "got uint8 (5, 6)"),
    (np.zeros((4, 6), np.uint8), "Mono12p", "Mono12p is bit-packed and has no array layout"),
    (np.zeros((4, 6), np.uint8), "Mono7", "unknown pixel format 'Mono7'"),
])
def test_from_numpy_refusals_say_what_was_expected_and_given(array, name, message):
    with pytest.raises(ValueError) as raised:
        ipl.from_numpy(array, name)
    assert str(raised.value).startswith(message)


def test_pixel_format_names_in_any_case():
    assert ipl.pixel_format("bayerrg12P").Name() == "BayerRG12p"
    with pytest.raises(ValueError, match="unknown pixel format 'RGB9'"):
        ipl.pixel_format("RGB9")


@pytest.mark.parametrize("write, ending", [
    (lambda path, image: ipl.ImageWriter.Write(path, image), ".png"),
    (lambda path, image: ipl.ImageWriter.WriteAsPNG(path, image), ".png"),
    (lambda path, image: ipl.ImageWriter.WriteAsJPG(path, image), ".jpg"),
    (lambda path, image: ipl.ImageWriter.WriteAsBMP(path, image), ".bmp"),
    (lambda path, image: ipl.ImageWriter.WriteAsRAW(path, image), ".raw"),
])
def test_file_names_may_be_path_objects(tmp_path, write, ending):
    array = RNG.integers(0, 256, (8, 16, 3), dtype=np.uint8)
    path = pathlib.Path(tmp_path) / f"frame {ending[1:]}{ending}"
    write(path, ipl.from_numpy(array, "RGB8"))
    back = ipl.get_numpy(ipl.ImageReader.Read(path))
    assert back.shape == array.shape
    if ending != ".jpg":
        np.testing.assert_array_equal(back, array)


def test_wrong_file_name_types_keep_the_module_message():
    with pytest.raises(TypeError, match="overloaded function .ImageReader_Read."):
        ipl.ImageReader.Read(3.5)


@pytest.mark.parametrize("make, text", [
    (lambda: ipl.Image.CreateFromSize(ipl.PixelFormatName_BayerRG12p, 1920, 1200), "<Image 1920x1200 BayerRG12p>"),
    (lambda: ipl.PixelFormat(ipl.PixelFormatName_BGRa8), "<PixelFormat BGRa8>"),
    (lambda: ipl.Size2D.New(640, 480), "Size2D(width=640, height=480)"),
    (lambda: ipl.Point2D.New(3, 9), "Point2D(x=3, y=9)"),
    (lambda: ipl.Rect2D(ipl.Point2D.New(1, 2), ipl.Size2D.New(30, 40)), "Rect2D(x=1, y=2, width=30, height=40)"),
    (lambda: ipl.ScaleFactor.New(0.5, 2.0), "ScaleFactor(x=0.5, y=2.0)"),
    (lambda: ipl.EdgeEnhancement().Range(), "RangeUint32(minimum=0, maximum=64, increment=1)"),
])
def test_readable_repr(make, text):
    assert repr(make()) == text


@pytest.mark.parametrize("make, name", [
    (lambda: ipl.Image.CreateFromSize(ipl.PixelFormatName_Mono8, 4, 4), "Image"),
    (lambda: ipl.Size2D.New(1, 2), "Size2D"),
])
def test_repr_of_a_deleted_object_does_not_raise(make, name):
    obj = make()
    obj.__swig_destroy__(obj)
    assert repr(obj) == f"<{name} (deleted)>"


def test_star_import_leaves_the_builtin_exception_alone():
    namespace = {}
    exec("from umb_plox_ipl import *", namespace)
    assert "Exception" not in namespace
    assert namespace["ImageReader"] is ipl.ImageReader and namespace["from_numpy"] is ipl.from_numpy
    assert issubclass(ipl.IOException, ipl.Exception)


def test_video_file_names_may_be_path_objects(tmp_path):
    path = pathlib.Path(tmp_path) / "clip.avi"
    writer = ipl.VideoWriter()
    writer.Open(path)
    writer.Append(ipl.from_numpy(RNG.integers(0, 256, (16, 16, 3), dtype=np.uint8), "RGB8"))
    writer.Close()
    assert path.stat().st_size > 0
