"""Test images: random NumPy data laid out as a pixel format, and the library image over it."""

import numpy as np

import umb_plox_ipl as ipl


def make_image(name, data):
    """An image of format `name` over `data` (made contiguous first), without a copy."""
    data = np.ascontiguousarray(data)
    fmt = ipl.pixel_format(name)
    return ipl.Image.CreateFromSizeAndPythonBuffer(fmt.PixelFormatName(), data, data.shape[1], data.shape[0])


def random_data(name, width, height, rng, top=None):
    """Values below `top` (default: the significant range), shaped (h, w) or (h, w, channels)."""
    fmt = ipl.pixel_format(name)
    channels, bits = fmt.NumChannels(), fmt.NumSignificantBitsPerChannel()
    dtype = np.uint8 if fmt.NumStorageBitsPerChannel() == 8 else np.uint16
    shape = (height, width) if channels == 1 else (height, width, channels)
    return rng.integers(0, top or 1 << bits, shape, dtype=dtype)
