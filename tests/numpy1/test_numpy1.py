"""The extension under whichever NumPy runs it: built against NumPy 2, it also serves NumPy 1.26.

make test-numpy1 runs this file in a virtual environment with NumPy 1.26 and the extension of
the main build; the main suite runs it under NumPy 2."""

import numpy as np
import pytest

import umb_plox_ipl as ipl

RNG = np.random.default_rng(5)


def over(array, name):
    """An image over the array's memory, made without the NumPy helpers under test."""
    height, width = array.shape[:2]
    return ipl.Image.CreateFromSizeAndPythonBuffer(getattr(ipl, "PixelFormatName_" + name), array, width, height)


@pytest.mark.parametrize("name, shape, dtype, view", [
    ("Mono8", (5, 7), np.uint8, "get_numpy_2D"),
    ("RGB8", (5, 7, 3), np.uint8, "get_numpy_3D"),
    ("Mono16", (5, 7), np.uint16, "get_numpy_2D_16"),
    ("RGB12", (5, 7, 3), np.uint16, "get_numpy_3D_16"),
])
def test_views_see_and_change_the_pixels(name, shape, dtype, view):
    pixels = RNG.integers(0, 4096 if dtype == np.uint16 else 256, size=shape, dtype=dtype)
    image = over(pixels, name)
    for array in (getattr(image, view)(), ipl.get_numpy(image)):
        assert type(array) is np.ndarray and array.dtype == dtype
        assert array.reshape(shape).shape == shape
        np.testing.assert_array_equal(array.reshape(shape), pixels)
    array = getattr(image, view)()
    array.flat[0] = 200
    # the buffer view is the image's own memory: it sees the write made through the array
    assert np.frombuffer(image.DataView(), dtype=dtype)[0] == 200
    flat = image.get_numpy_1D()
    assert flat.shape == (pixels.nbytes,) and flat.dtype == np.uint8


def test_from_numpy_shares_memory_both_ways():
    pixels = RNG.integers(0, 256, size=(4, 6, 3), dtype=np.uint8)
    image = ipl.from_numpy(pixels, "RGB8")
    assert (image.Width(), image.Height()) == (6, 4)
    view = ipl.get_numpy(image)
    assert np.shares_memory(view, pixels)
    pixels[1, 2] = (1, 2, 3)
    np.testing.assert_array_equal(view[1, 2], (1, 2, 3))
    with pytest.raises(ValueError, match="RGB8 needs"):
        ipl.from_numpy(pixels.astype(np.uint16), "RGB8")


def test_conversion_reverses_the_channels():
    pixels = RNG.integers(0, 256, size=(6, 9, 3), dtype=np.uint8)
    converted = over(pixels, "RGB8").ConvertTo(ipl.PixelFormat(ipl.PixelFormatName_BGR8))
    np.testing.assert_array_equal(ipl.get_numpy(converted), pixels[:, :, ::-1])


def test_packed_formats_have_no_view():
    image = ipl.Image.CreateFromSize(ipl.PixelFormatName_Mono12p, 4, 2)
    with pytest.raises(ipl.Exception, match=r"^get_numpy_2D\(\) does not support packed pixel formats like Mono12p$"):
        image.get_numpy_2D()
