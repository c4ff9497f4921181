"""Readable ``repr()`` for the value classes and images, installed on the generated classes."""

from . import umb_plox_ipl_python_interface as _interface


def _guarded(describe):
    """A ``__repr__`` that also works for a deleted or moved-from object."""

    def __repr__(self):
        try:
            return describe(self)
        except ValueError:
            return f"<{type(self).__name__} (deleted)>"

    return __repr__


def _image(image):
    return f"<Image {image.Width()}x{image.Height()} {image.PixelFormat().Name()}>"


def _rect(rect):
    size = rect.size()
    return f"Rect2D(x={rect.left()}, y={rect.top()}, width={size.width}, height={size.height})"


def _range(r):
    return f"{type(r).__name__}(minimum={r.Minimum()!r}, maximum={r.Maximum()!r}, increment={r.Increment()!r})"


_DESCRIPTIONS = {
    "Image": _image,
    "PixelFormat": lambda f: f"<PixelFormat {f.Name()}>",
    "Size2D": lambda s: f"Size2D(width={s.width}, height={s.height})",
    "Point2D": lambda p: f"Point2D(x={p.x}, y={p.y})",
    "ScaleFactor": lambda s: f"ScaleFactor(x={s.x!r}, y={s.y!r})",
    "Rect2D": _rect,
    "Version_t": lambda v: f"<Version_t {v.ToString()}>",
    "RangeDouble": _range,
    "RangeInt32": _range,
    "RangeUInt8": _range,
    "RangeUint32": _range,
}


def install():
    for name, describe in _DESCRIPTIONS.items():
        cls = getattr(_interface, name, None)
        if cls is not None:
            cls.__repr__ = _guarded(describe)
