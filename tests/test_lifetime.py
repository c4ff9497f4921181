"""Objects and memory that Python code can get wrong: results over a caller's buffer, deleted
and moved-from objects, and leaving the interpreter while threads are inside the library."""

import gc
import subprocess
import sys
import textwrap

import numpy as np
import pytest

import umb_plox_ipl as ipl

RGB8 = ipl.PixelFormat(ipl.PixelFormatName_RGB8)
W, H = 8, 6


def source():
    image = ipl.Image.CreateFromSize(ipl.PixelFormatName_Mono8, W, H)
    ipl.get_numpy(image)[:] = np.arange(W * H, dtype=np.uint8).reshape(H, W)
    return image


INTO_BUFFER = {
    "Image.ConvertTo": lambda image, buffer: image.ConvertTo(RGB8, buffer),
    "Image.ConvertTo-mode": lambda image, buffer: image.ConvertTo(RGB8, buffer, ipl.ConversionMode_HighQuality),
    "ImageConverter.Convert": lambda image, buffer: ipl.ImageConverter().Convert(image, RGB8, buffer),
    "Image.ScaleInto": lambda image, buffer: image.ConvertTo(RGB8).ScaleInto(ipl.Size2D.New(W, H), buffer),
}


def expected_rgb():
    grey = np.arange(W * H, dtype=np.uint8).reshape(H, W)
    return np.repeat(grey[:, :, None], 3, axis=2)


@pytest.mark.parametrize("make", INTO_BUFFER.values(), ids=INTO_BUFFER.keys())
def test_result_over_a_buffer_pins_it_for_its_whole_life(make):
    buffer = bytearray(W * H * 3)
    result = make(source(), buffer)
    view = ipl.get_numpy(result)
    with pytest.raises(BufferError):
        buffer.extend(bytes(1 << 20))  # would move the memory under the image
    del result
    gc.collect()
    with pytest.raises(BufferError):
        buffer.extend(b"\0")  # the array still looks at it
    np.testing.assert_array_equal(view, expected_rgb())
    del view
    gc.collect()
    buffer.extend(b"\0")  # nothing holds it any more


@pytest.mark.parametrize("make", INTO_BUFFER.values(), ids=INTO_BUFFER.keys())
def test_result_keeps_a_dropped_buffer_alive(make):
    result = make(source(), bytearray(W * H * 3))  # the only reference is the result's
    gc.collect()
    filler = [bytearray(b"\xff" * (W * H * 3)) for _ in range(64)]  # reuse freed memory, if any
    np.testing.assert_array_equal(ipl.get_numpy(result.Clone()), expected_rgb())
    ipl.get_numpy(result)[:] = 7  # writes go to live memory, not to a freed block
    assert all(block == b"\xff" * (W * H * 3) for block in filler)


def test_result_over_numpy_buffer_shares_memory():
    out = np.zeros((H, W, 3), np.uint8)
    image = source()
    result = image.ConvertTo(RGB8, out)
    np.testing.assert_array_equal(out, expected_rgb())
    ipl.get_numpy(result)[0, 0] = (1, 2, 3)
    assert tuple(out[0, 0]) == (1, 2, 3)
    assert result.Timestamp() == image.Timestamp()
    assert result.PixelFormat().PixelFormatName() == ipl.PixelFormatName_RGB8


def test_image_has_no_python_constructor():
    image = source()
    with pytest.raises(AttributeError, match="No constructor defined"):
        ipl.Image(image)
    assert image.Width() == W  # untouched


def deleted(make):
    obj = make()
    obj.__swig_destroy__(obj)
    return obj


OBJECTS = {
    "Image": (source, lambda image: image.Width()),
    "ImageConverter": (ipl.ImageConverter, lambda conv: conv.Convert(source(), RGB8)),
    "PixelFormat": (lambda: ipl.PixelFormat(ipl.PixelFormatName_Mono8), lambda fmt: fmt.Name()),
    "Size2D": (lambda: ipl.Size2D.New(3, 4), lambda size: size.width),
    "RangeDouble": (lambda: ipl.RangeDouble(0.0, 1.0, 0.25), lambda r: r.Minimum()),
    "VectorInt32": (lambda: ipl.VectorInt32([1, 2]), lambda v: len(v)),
}


@pytest.mark.parametrize("make, use", OBJECTS.values(), ids=OBJECTS.keys())
def test_deleted_object_raises_instead_of_crashing(make, use):
    obj = deleted(make)
    with pytest.raises(ValueError, match="deleted or moved from"):
        use(obj)
    obj.__swig_destroy__(obj)  # a second delete deletes nothing


ARGUMENTS = {"Rect2D": (0, 0, 1, 1), "RangeDouble": (0.0, 1.0, 0.5), "RangeInt32": (0, 4, 1),
             "RangeUInt8": (0, 4, 1), "RangeUint32": (0, 4, 1)}


def constructor_of(name, cls):
    """A maker for classes with a Python constructor; None for those made by factories only."""
    args = ARGUMENTS.get(name, ("text",) if issubclass(cls, BaseException) else ())
    try:
        cls(*args)
    except (AttributeError, TypeError):
        return None
    return lambda: cls(*args)


CONSTRUCTIBLE = {
    name: maker for name, cls in sorted(vars(ipl).items())
    if isinstance(cls, type) and hasattr(cls, "__swig_destroy__") and not name.startswith("_")
    for maker in [constructor_of(name, cls)] if maker is not None
}


@pytest.mark.parametrize("name", CONSTRUCTIBLE)
def test_every_method_of_a_deleted_object_raises(name):
    obj = CONSTRUCTIBLE[name]()
    cls = type(obj)
    obj.__swig_destroy__(obj)
    refused, methods = 0, 0
    for method in dir(cls):
        if method.startswith("__") and method not in ("__len__", "__getitem__", "__iter__", "__eq__", "__bool__"):
            continue
        methods += method in vars(cls) and not method.startswith("__") and method != "thisown"
        for args in ((), (0,), (obj,)):
            try:
                getattr(obj, method)(*args) if callable(getattr(cls, method)) else getattr(obj, method)
            except ValueError as error:
                refused += "deleted or moved from" in str(error)
            except Exception:  # wrong arguments for this method: fine, it did not crash
                pass
    assert refused > 0 or methods == 0  # exceptions carry no methods of their own


def test_deleted_image_passed_as_argument_is_refused():
    image = deleted(source)
    with pytest.raises(ValueError, match="invalid null reference"):
        ipl.ImageConverter().Convert(image, RGB8)


def test_element_of_a_list_cannot_be_deleted_through_its_view():
    channels = ipl.VectorHistogramChannel([ipl.HistogramChannel(), ipl.HistogramChannel()])
    element = channels[0]
    with pytest.raises(ValueError, match="belongs to another"):
        element.__swig_destroy__(element)
    assert len(channels) == 2


def test_copy_of_converter_shares_it_and_leaves_the_source_usable():
    converter = ipl.ImageConverter()
    copy = ipl.ImageConverter(converter)
    converter.SetConversionMode(ipl.ConversionMode_HighQuality)
    assert copy.ConversionMode() == ipl.ConversionMode_HighQuality
    assert converter.Convert(source(), RGB8).Width() == W


EXIT_WITH_THREADS_INSIDE = textwrap.dedent("""
    import os, sys, threading, time
    import umb_plox_ipl as ipl

    bayer = ipl.Image.CreateFromSize(ipl.PixelFormatName_BayerRG8, 1920, 1200)
    rgb = ipl.PixelFormat(ipl.PixelFormatName_RGB8)
    colour = bayer.ConvertTo(rgb)
    work = [
        lambda: bayer.ConvertTo(rgb, bytearray(1920 * 1200 * 3)),
        lambda: bayer.ConvertTo(rgb, ipl.ConversionMode_HighQuality),
        lambda: colour.Scale(ipl.Size2D.New(960, 600)),
        lambda: ipl.ImageWriter.Write(os.path.join(sys.argv[1], "frame.png"), colour),
    ]

    def loop(task):
        while True:
            task()

    for task in work:
        threading.Thread(target=loop, args=(task,), daemon=True).start()
    time.sleep(0.3)
    print("leaving")
""")


def test_exit_with_daemon_threads_inside_the_library(tmp_path):
    for _ in range(3):
        done = subprocess.run([sys.executable, "-c", EXIT_WITH_THREADS_INSIDE, str(tmp_path)], capture_output=True,
                              text=True, timeout=60)
        assert (done.returncode, done.stdout.strip()) == (0, "leaving"), done.stderr[-2000:]
        assert "FATAL" not in done.stderr
