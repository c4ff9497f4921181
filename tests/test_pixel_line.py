"""PixelLine, PixelRow, PixelColumn: values per stored channel against NumPy slicing, the
significant bits and float rounding, offsets outside the image and refused formats."""

import numpy as np
import pytest

import umb_plox_ipl as ipl
from umb_plox_ipl import umb_plox_ipl_python_interface as interface

NAMES = ipl.pixel_format_names()
WHOLE = [n for n, c in NAMES.items() if not ipl.PixelFormat(c).IsPacked() and not ipl.PixelFormat(c).IsYUV()]
REFUSED = [n for n, c in NAMES.items() if ipl.PixelFormat(c).IsPacked() or ipl.PixelFormat(c).IsYUV()]


def samples(name, width, height, seed=0):
    """Random containers, high bits above the significant ones included, (rows, columns, channels)."""
    fmt = ipl.PixelFormat(NAMES[name])
    shape = (height, width, fmt.NumChannels())
    rng = np.random.default_rng(seed)
    if fmt.IsFloat():
        return (rng.standard_normal(shape) * 1000).astype(np.float32)
    dtype = np.uint8 if fmt.NumStorageBitsPerChannel() == 8 else np.uint16
    return rng.integers(0, np.iinfo(dtype).max + 1, shape).astype(dtype)


def image_of(name, array):
    return ipl.Image.CreateFromSizeAndPythonBuffer(NAMES[name], array, array.shape[1], array.shape[0])


def expected_values(name, line):
    """line: (pixels, channels) containers -> what a line must report, channel by channel."""
    fmt = ipl.PixelFormat(NAMES[name])
    if fmt.IsFloat():
        # Rounded half to even, saturated, NaN as 0.
        values = np.nan_to_num(np.rint(line.astype(np.float64)), nan=0.0)
        values = np.clip(values, 0, 2**32 - 1).astype(np.uint64)
    else:
        values = line.astype(np.uint64) & fmt.MaximumValuePerChannel()
    return [list(values[:, c]) for c in range(line.shape[1])]


def channels(line):
    return [list(channel.Values) for channel in line.Channels()]


@pytest.mark.parametrize("name", WHOLE)
def test_rows_and_columns_per_stored_channel(name):
    data = samples(name, 13, 7)
    image = image_of(name, data)
    for row in (0, 4, 6):
        assert channels(ipl.PixelRow(image, row)) == expected_values(name, data[row])
        assert channels(ipl.PixelLine(image, ipl.Orientation_Horizontal, row)) == expected_values(name, data[row])
    for column in (0, 5, 12):
        assert channels(ipl.PixelColumn(image, column)) == expected_values(name, data[:, column])
        assert channels(ipl.PixelLine(image, ipl.Orientation_Vertical, column)) == \
            expected_values(name, data[:, column])


def test_channel_order_is_memory_order():
    data = np.array([[[1, 2, 3], [4, 5, 6]]], dtype=np.uint8)
    assert channels(ipl.PixelRow(image_of("BGR8", data), 0)) == [[1, 4], [2, 5], [3, 6]]


def test_float_depths_round_half_to_even_and_saturate():
    depths = np.array([[0.5, 1.5, 2.5, -3.0, np.nan, np.inf, -np.inf, 5e9, 4294967040.0, 7.49]], np.float32)
    line = ipl.PixelRow(image_of("Coord3D_C32f", depths), 0)
    assert channels(line) == [[0, 2, 2, 0, 0, 2**32 - 1, 0, 2**32 - 1, 4294967040, 7]]


def test_queries_and_the_class_family():
    image = image_of("RGBa12", samples("RGBa12", 5, 4))
    row, column = ipl.PixelRow(image, 0), ipl.PixelColumn(image, 3)
    assert (row.Orientation(), row.Offset()) == (ipl.Orientation_Horizontal, 0)
    assert (column.Orientation(), column.Offset()) == (ipl.Orientation_Vertical, 3)
    assert row.PixelFormatName() == column.PixelFormatName() == ipl.PixelFormatName_RGBa12
    assert isinstance(row, ipl.PixelLine) and isinstance(column, ipl.PixelLine)
    assert isinstance(row.Channels(), ipl.VectorPixelLineChannel) and len(row.Channels()) == 4
    extension = interface._umb_plox_ipl_python_interface
    for cls, count in {"PixelLine": 6, "PixelRow": 2, "PixelColumn": 2}.items():
        assert len([n for n in dir(extension) if n.startswith(cls + "_")]) == count


def test_a_line_is_a_copy_and_copies_share_it():
    data = np.arange(12, dtype=np.uint8).reshape(3, 4)
    image = image_of("Mono8", data)
    row = ipl.PixelRow(image, 1)
    data[1] = 99
    copy = ipl.PixelRow(row)
    del row
    assert channels(copy) == [[4, 5, 6, 7]] and copy.Offset() == 1
    # A temporary line's values outlive the record and the vector they came from.
    assert list(ipl.PixelColumn(image, 2).Channels()[0].Values) == [2, 99, 10]


@pytest.mark.parametrize("make, text", [
    (lambda im: ipl.PixelRow(im, 3), "row 3 is outside the 5x3 image"),
    (lambda im: ipl.PixelColumn(im, 5), "column 5 is outside the 5x3 image"),
    (lambda im: ipl.PixelLine(im, ipl.Orientation_Horizontal, 2**32 - 1), "row 4294967295 is outside"),
])
def test_offsets_outside_the_image(make, text):
    with pytest.raises(ipl.OutOfRangeException, match=text):
        make(image_of("Mono8", np.zeros((3, 5), np.uint8)))


def test_unknown_orientation_is_refused_by_value():
    with pytest.raises(ipl.InvalidArgumentException, match="orientation 2 "):
        ipl.PixelLine(image_of("Mono8", np.zeros((3, 5), np.uint8)), 2, 0)


@pytest.mark.parametrize("name", REFUSED)
def test_packed_and_yuv_formats_are_refused(name):
    image = ipl.Image.CreateFromSize(NAMES[name], 8, 4)
    kind = "packed" if ipl.PixelFormat(NAMES[name]).IsPacked() else "YUV"
    with pytest.raises(ipl.ImageFormatNotSupportedException, match=f"image has a {kind} pixel format: {name}"):
        ipl.PixelRow(image, 0)
