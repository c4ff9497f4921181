"""Zero-copy views of image memory: DataView, the six get_numpy_* arrays and get_numpy."""

import gc
import weakref

import numpy as np
import pytest

import umb_plox_ipl as ipl

NAMES = ipl.pixel_format_names()
RNG = np.random.default_rng(11)
VIEWS = ["get_numpy_1D", "get_numpy_2D", "get_numpy_3D", "get_numpy_1D_16", "get_numpy_2D_16", "get_numpy_3D_16"]
W, H = 6, 4


def over(name, buffer):
    return ipl.Image.CreateFromSizeAndPythonBuffer(NAMES[name], buffer, W, H)


def _shapes(bytes_per_pixel, count):
    """Expected shapes of the six views of a W x H image; None where the view would not fit."""
    wide = bytes_per_pixel // 2 + bytes_per_pixel % 2
    fits = H * W * wide * 2 <= count
    return [(count,), (H, W * bytes_per_pixel), (H, W, bytes_per_pixel), (count // 2,),
            (H, W * wide) if fits else None, (H, W, wide) if fits else None]


SHAPES = {  # format: (bytes per pixel, byte count)
    "Mono8": (1, 24), "BayerGR8": (1, 24), "Mono10": (2, 48), "Mono16": (2, 48), "YUV422_8_UYVY": (2, 48),
    "RGB8": (3, 72), "BGRa8": (4, 96), "RGB10p32": (4, 96), "Coord3D_C32f": (4, 96), "RGB12": (6, 144),
    "RGBa10": (8, 192), "Coord3D_ABC32f": (12, 288),
}


@pytest.mark.parametrize("index", range(6), ids=VIEWS)
@pytest.mark.parametrize("name", SHAPES)
def test_view_shapes_and_dtypes(name, index):
    image = ipl.Image.CreateFromSize(NAMES[name], W, H)
    expected = _shapes(*SHAPES[name])[index]
    if expected is None:  # a view larger than the image's memory
        with pytest.raises(ipl.Exception, match=VIEWS[index]):
            getattr(image, VIEWS[index])()
        return
    array = getattr(image, VIEWS[index])()
    assert array.shape == expected and array.dtype == (np.uint16 if index >= 3 else np.uint8)
    assert array.flags.c_contiguous and array.flags.writeable


@pytest.mark.parametrize("method", VIEWS + ["get_numpy"])
@pytest.mark.parametrize("name", ["Mono10p", "Mono12p", "BayerGR10p", "BayerBG12p", "Mono10g40UMB", "Mono12g24UMB"])
def test_packed_formats_have_no_array_view(name, method):
    image = ipl.Image.CreateFromSize(NAMES[name], 8, 2)
    with pytest.raises(ipl.Exception) as error:
        ipl.get_numpy(image) if method == "get_numpy" else getattr(image, method)()
    assert str(error.value) == f"{method}() does not support packed pixel formats like {name}"


@pytest.mark.parametrize("source", ["python-buffer", "library"])
@pytest.mark.parametrize("method", VIEWS)
def test_views_share_memory_both_ways(method, source):
    buffer = np.zeros(W * H * 2, np.uint8)
    if source == "python-buffer":
        image = over("Mono16", buffer)
        read, writer = buffer.tobytes, buffer
    else:  # read through the byte view, write through a second, separate array
        image = ipl.Image.CreateFromSize(NAMES["Mono16"], W, H)
        read, writer = image.DataView().tobytes, image.get_numpy_1D()
    array = getattr(image, method)()
    values = RNG.integers(0, np.iinfo(array.dtype).max, array.shape).astype(array.dtype)
    array[...] = values
    assert read() == values.tobytes()
    writer[:] = RNG.integers(0, 256, W * H * 2, dtype=np.uint8)
    assert array.tobytes() == read()


def test_index_maps_to_little_endian_bytes():
    buffer = np.zeros(W * H * 6, np.uint8)
    array = over("RGB12", buffer).get_numpy_3D_16()
    array[1, 2, 1] = 0x0ABC  # row 1, pixel 2, G
    offset = ((1 * W + 2) * 3 + 1) * 2
    assert buffer[offset:offset + 2].tolist() == [0xBC, 0x0A] and np.count_nonzero(buffer) == 2


@pytest.mark.parametrize("name", ["Mono8", "RGB12", "RGB10p32", "Mono12p", "BayerRG10g40UMB",
                                  "YUV420_8_YY_UV_SemiplanarUMB"])
def test_data_view_is_a_read_only_byte_view(name):
    count = ipl.Image.CreateFromSize(NAMES[name], W, H).ByteCount()
    buffer = bytearray(RNG.integers(0, 256, count, dtype=np.uint8).tobytes())
    image = over(name, buffer)
    view = image.DataView()
    assert (type(view), view.format, view.readonly, view.ndim, view.nbytes) == (memoryview, "B", True, 1, count)
    assert view.tobytes() == bytes(buffer)
    buffer[0] ^= 0xFF
    assert view[0] == buffer[0]
    with pytest.raises(TypeError):
        view[0] = 1
    with pytest.raises(TypeError):
        view[1:3] = b"ab"


@pytest.mark.parametrize("source", ["library", "python-buffer"])
@pytest.mark.parametrize("take", [lambda im: im.get_numpy_2D(), lambda im: np.asarray(im.DataView()),
                                  lambda im: ipl.get_numpy(im)], ids=["get_numpy_2D", "DataView", "get_numpy"])
def test_views_outlive_the_image_wrapper(take, source):
    buffer = np.full(4096, 7, np.uint8)
    alive = weakref.ref(buffer)
    if source == "library":
        image = ipl.Image.CreateFromSize(NAMES["Mono8"], 64, 64)
        image.get_numpy_1D()[:] = 7
    else:
        image = ipl.Image.CreateFromSizeAndPythonBuffer(NAMES["Mono8"], buffer, 64, 64)
    view = take(image)
    del image, buffer
    gc.collect()
    reuse = [bytearray(b"\x55" * 4096) for _ in range(64)] + [np.full(4096, 0x55, np.uint8) for _ in range(64)]
    if source == "python-buffer":
        assert alive() is not None, "the view's memory belongs to a buffer that is gone"
    assert view.size == 4096 and (view == 7).all()
    del reuse


NATURAL = {  # format: (shape, dtype) of the natural view of a W x H image
    "Mono8": ((H, W), np.uint8), "BayerRG8": ((H, W), np.uint8), "Confidence8": ((H, W), np.uint8),
    "Mono10": ((H, W), np.uint16), "BayerGB12": ((H, W), np.uint16), "Coord3D_C16": ((H, W), np.uint16),
    "RGB8": ((H, W, 3), np.uint8), "BGRa8": ((H, W, 4), np.uint8), "BGR10": ((H, W, 3), np.uint16),
    "RGBa12": ((H, W, 4), np.uint16), "Coord3D_C32f": ((H, W), np.float32),
    "Coord3D_ABC32f": ((H, W, 3), np.float32), "YUV422_8_UYVY": ((H, W, 2), np.uint8),
    "YUV420_8_YY_UV_SemiplanarUMB": ((H * 3 // 2, W), np.uint8),
    "YUV420_8_YY_VU_SemiplanarUMB": ((H * 3 // 2, W), np.uint8), "RGB10p32": ((H, W), np.uint32),
}


@pytest.mark.parametrize("name", NATURAL)
def test_get_numpy_natural_view(name):
    shape, dtype = NATURAL[name]
    buffer = np.zeros(ipl.Image.CreateFromSize(NAMES[name], W, H).ByteCount(), np.uint8)
    image = over(name, buffer)
    array = ipl.get_numpy(image)
    assert array.shape == shape and array.dtype == dtype
    # Element order is the memory order: writing through the array fills the buffer in place.
    values = RNG.integers(0, 1000, shape).astype(dtype)
    array[...] = values
    assert buffer.tobytes() == values.tobytes()
    buffer[:] = 0
    assert not array.any()
