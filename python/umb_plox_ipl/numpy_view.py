"""The natural NumPy view of an image's memory."""

import numpy as np

from .umb_plox_ipl_python_interface import Exception as _LibraryException
from .umb_plox_ipl_python_interface import PixelFormatName_RGB10p32, PixelFormatName_BGR10p32


def get_numpy(image):
    """A NumPy array over the image's pixels, without copying, shaped by its pixel format.

    One-channel formats give ``(height, width)``: uint8 for 8 bits, uint16 for 10 to 16-bit
    containers, float32 for ``Coord3D_C32f``. Multi-channel formats give
    ``(height, width, channels)`` (``RGB8``, ``BGRa12``, ``Coord3D_ABC32f``, ...);
    ``YUV422_8_UYVY`` gives ``(height, width, 2)`` bytes; the YUV420 semiplanar formats give
    ``(height * 3 // 2, width)``, the luma plane above the chroma plane; ``RGB10p32`` and
    ``BGR10p32`` give ``(height, width)`` uint32 words. Writing to the array changes the
    image; the array keeps the image's memory alive. Bit-packed formats have no such view
    and raise the module's ``Exception``.
    """
    fmt = image.PixelFormat()
    height, width = image.Height(), image.Width()
    significant, storage = fmt.NumSignificantBitsPerPixel(), fmt.NumStorageBitsPerPixel()
    if significant % 8 != 0 and significant == storage and not fmt.IsYUV():
        raise _LibraryException(f"get_numpy() does not support packed pixel formats like {fmt.Name()}")
    if fmt.IsYUV():
        if storage == 12:
            # The chroma plane has half the rows and columns: odd sides have no such layout.
            if width % 2 or height % 2:
                raise _LibraryException(
                    f"get_numpy() needs even sides for {fmt.Name()}, not {width}x{height}")
            return image.get_numpy_1D()[: width * height * 3 // 2].reshape(height * 3 // 2, width)
        return image.get_numpy_3D()
    if fmt.PixelFormatName() in (PixelFormatName_RGB10p32, PixelFormatName_BGR10p32):
        return image.get_numpy_1D().view(np.uint32).reshape(height, width)
    channels = fmt.NumChannels()
    shape = (height, width) if channels == 1 else (height, width, channels)
    if fmt.IsFloat():
        return image.get_numpy_1D().view(np.float32).reshape(shape)
    if fmt.NumStorageBitsPerChannel() == 8:
        return image.get_numpy_2D() if channels == 1 else image.get_numpy_3D()
    return image.get_numpy_2D_16() if channels == 1 else image.get_numpy_3D_16()


def _layout(fmt):
    """(dtype, shape text, channels or None, YUV420 semiplanar) of a format's NumPy view."""
    name = fmt.Name()
    significant, storage = fmt.NumSignificantBitsPerPixel(), fmt.NumStorageBitsPerPixel()
    if significant % 8 != 0 and significant == storage and not fmt.IsYUV():
        raise ValueError(f"{name} is bit-packed and has no array layout; use "
                         "Image.CreateFromSizeAndPythonBuffer with its width and height")
    if fmt.IsYUV():
        if storage == 12:
            return np.uint8, "(height * 3 // 2, width)", None, True
        return np.uint8, "(height, width, 2)", 2, False
    if fmt.PixelFormatName() in (PixelFormatName_RGB10p32, PixelFormatName_BGR10p32):
        return np.uint32, "(height, width)", None, False
    channels = fmt.NumChannels()
    if fmt.IsFloat():
        dtype = np.float32
    else:
        dtype = np.uint8 if fmt.NumStorageBitsPerChannel() == 8 else np.uint16
    if channels == 1:
        return dtype, "(height, width)", None, False
    return dtype, f"(height, width, {channels})", channels, False


def from_numpy(array, pixel_format):
    """An :class:`Image` over a NumPy array's memory, without copying; the inverse of :func:`get_numpy`.

    ``pixel_format`` is a name (``"RGB8"``, any case), a ``PixelFormatName_...`` value or a
    :class:`PixelFormat`. Width and height come from the array's shape, which must be the one
    :func:`get_numpy` gives for that format: ``(height, width)`` or ``(height, width, channels)``
    with the format's dtype (uint8, uint16 for 10 to 16-bit containers, float32, uint32 for
    ``RGB10p32``). The array must be C-contiguous and writeable; the image keeps it alive, and
    writes through either are seen by both. A mismatch raises ``ValueError`` saying what was
    expected and what was given.
    """
    from . import Image, pixel_format as _pixel_format

    fmt = _pixel_format(pixel_format)
    if fmt.PixelFormatName() == 0:
        raise ValueError(f"unknown pixel format {pixel_format!r}")
    dtype, shape_text, channels, semiplanar = _layout(fmt)
    given = np.asanyarray(array) if not isinstance(array, np.ndarray) else array
    expected = f"{fmt.Name()} needs a C-contiguous {np.dtype(dtype).name} array of shape {shape_text}"
    # One channel may also come as a trailing axis of 1, as image libraries often shape them.
    shape = given.shape[:2] if channels is None and given.ndim == 3 and given.shape[2] == 1 else given.shape
    fits = given.dtype == dtype and len(shape) == (2 if channels is None else 3)
    if fits and channels is not None:
        fits = shape[2] == channels
    if fits and semiplanar:
        fits = shape[0] % 3 == 0 and shape[1] % 2 == 0 and shape[0] // 3 % 2 == 0
    if not fits:
        raise ValueError(f"{expected}; got {given.dtype.name} {tuple(given.shape)}")
    if not given.flags.c_contiguous:
        raise ValueError(f"{expected}; got a non-contiguous {given.dtype.name} {tuple(given.shape)}")
    if not given.flags.writeable:
        raise ValueError(f"{expected}; got a read-only {given.dtype.name} {tuple(given.shape)}")
    height, width = shape[0], shape[1]
    if semiplanar:
        height = height * 2 // 3
    if height == 0 or width == 0:
        raise ValueError(f"{expected}; got an empty {given.dtype.name} {tuple(given.shape)}")
    return Image.CreateFromSizeAndPythonBuffer(fmt.PixelFormatName(), given, width, height)
