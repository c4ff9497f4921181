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
