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


def pack_lsb(values, bits):
    """PFNC 'p' packing: values back to back, least significant bit first, up to the byte of the last bit."""
    flat = np.asarray(values, np.uint16).ravel()
    stream = ((flat[:, None] >> np.arange(bits)) & 1).astype(np.uint8).ravel()
    return np.packbits(stream, bitorder="little")


def pack_grouped(values, bits):
    """g40/g24 packing in whole groups: the high bytes of the group's pixels, then one byte of their low bits."""
    group, low = (4, 2) if bits == 10 else (2, 4)
    flat = np.asarray(values, np.uint16).ravel()
    flat = np.concatenate([flat, np.zeros(-len(flat) % group, np.uint16)]).reshape(-1, group)
    shared = sum((flat[:, k] & ((1 << low) - 1)) << (low * k) for k in range(group))
    return np.column_stack([flat >> low, shared]).astype(np.uint8).ravel()
