"""Arguments a careless or hostile caller passes: each is refused with the module's error,
naming the value, before any memory is taken or touched."""

import numpy as np
import pytest

import umb_plox_ipl as ipl


@pytest.mark.parametrize("name", ["YUV420_8_YY_UV_SemiplanarUMB", "YUV420_8_YY_VU_SemiplanarUMB"])
@pytest.mark.parametrize("width, height", [(3, 4), (4, 3), (5, 5), (1, 1)])
def test_numpy_view_of_odd_semiplanar_image_names_the_size(name, width, height):
    image = ipl.Image.CreateFromSize(getattr(ipl, "PixelFormatName_" + name), width, height)
    with pytest.raises(ipl.Exception, match=f"{width}x{height}"):
        ipl.get_numpy(image)


@pytest.mark.parametrize("name, width, height", [
    ("RGB8", 800_000_000, 1),        # a row of 2.4 GB
    ("Mono16", 1_100_000_000, 1),    # a row of 2.2 GB
    ("Mono8", 1, 3_000_000_000),     # more rows than int can count
    ("Coord3D_C32f", 600_000_000, 2),
])
def test_scaling_beyond_what_opencv_addresses_is_refused_first(name, width, height):
    image = ipl.Image.CreateFromSize(getattr(ipl, "PixelFormatName_" + name), 4, 4)
    with pytest.raises(ipl.InvalidArgumentException, match=f"{width}x{height}"):
        image.Scale(ipl.Size2D.New(width, height))


@pytest.mark.parametrize("address", [0, 2**64 - 16, 2**64 - 1])
def test_buffer_address_that_is_null_or_wraps_is_refused(address):
    with pytest.raises(ipl.InvalidArgumentException):
        ipl.Image.CreateFromSizeAndBuffer(ipl.PixelFormatName_Mono8, address, 64, 8, 8)


def test_claimed_size_past_the_end_of_memory_is_refused():
    array = np.zeros(64, np.uint8)
    with pytest.raises(ipl.InvalidArgumentException, match="address"):
        ipl.Image.CreateFromSizeAndBuffer(ipl.PixelFormatName_Mono8, array.ctypes.data, 2**64 - 1, 8, 8)
