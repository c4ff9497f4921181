"""Sizes, points, scale factors, rectangles and ranges."""

import math

import pytest

import umb_plox_ipl as ipl


@pytest.mark.parametrize("cls, fields, values", [
    (ipl.Size2D, ("width", "height"), (640, 2**64 - 1)),
    (ipl.Point2D, ("x", "y"), (3, 17)),
    (ipl.ScaleFactor, ("x", "y"), (0.25, -3.5)),
], ids=lambda p: getattr(p, "__name__", None))
def test_plain_values(cls, fields, values):
    default = cls()
    assert [getattr(default, f) for f in fields] == [0, 0]
    made = cls.New(*values)
    assert [getattr(made, f) for f in fields] == list(values)
    assert getattr(ipl, cls.__name__ + "_New")(*values).__class__ is cls
    # Fields are independent and writable.
    setattr(default, fields[1], values[1])
    assert [getattr(default, f) for f in fields] == [0, values[1]]
    if cls is ipl.ScaleFactor:
        assert type(ipl.ScaleFactor.New(2, 3).x) is float


@pytest.mark.parametrize("rect", [
    lambda: ipl.Rect2D(10, 20, 5, 7),
    lambda: ipl.Rect2D(ipl.Point2D.New(10, 20), ipl.Size2D.New(5, 7)),
], ids=["numbers", "point-and-size"])
def test_rect_edges(rect):
    r = rect()
    assert (r.left(), r.top(), r.right(), r.bottom()) == (10, 20, 15, 27)
    top_left, size = r.topLeft(), r.size()
    assert (type(top_left), top_left.x, top_left.y) == (ipl.Point2D, 10, 20)
    assert (type(size), size.width, size.height) == (ipl.Size2D, 5, 7)
    # Results are copies: changing them leaves the rectangle alone.
    top_left.x = size.width = 99
    assert (r.left(), r.right()) == (10, 15)


def test_rect_setters():
    r = ipl.Rect2D(10, 20, 5, 5)
    r.setX(1)
    assert (r.left(), r.right(), r.top(), r.bottom()) == (1, 6, 20, 25)
    r.setY(2)
    r.setWidth(30)
    assert (r.left(), r.right(), r.top(), r.bottom()) == (1, 31, 2, 7)
    r.setHeight(40)
    assert (r.top(), r.bottom()) == (2, 42)
    r.setSize(ipl.Size2D.New(3, 4))
    assert (r.left(), r.top(), r.right(), r.bottom()) == (1, 2, 4, 6)


RANGES = [ipl.RangeDouble, ipl.RangeUint32, ipl.RangeInt32, ipl.RangeUInt8]
SIGNED = {ipl.RangeDouble, ipl.RangeInt32}
by_name = pytest.mark.parametrize("cls", RANGES, ids=lambda cls: cls.__name__)


@by_name
@pytest.mark.parametrize("args, message", [
    ((5, 5, 0), "min == max is not allowed!"),
    ((5, 3, 1), "min > max is not allowed!"),
    ((5, 3, 10), "min > max is not allowed!"),
    ((0, 10, 11), "inc > max - min is not allowed!"),
    ((3, 5, 3), "inc > max - min is not allowed!"),
])
def test_range_validation(cls, args, message):
    with pytest.raises(ipl.InvalidArgumentException) as caught:
        cls(*args)
    assert type(caught.value) is ipl.InvalidArgumentException
    assert str(caught.value) == message


@pytest.mark.parametrize("cls", sorted(SIGNED, key=str), ids=lambda cls: cls.__name__)
@pytest.mark.parametrize("args, message", [
    ((0, 10, -1), "inc < 0 is not allowed!"),
    ((5, 5, -1), "inc < 0 is not allowed!"),
    ((5, 3, -1), "min > max is not allowed!"),
])
def test_signed_range_validation(cls, args, message):
    with pytest.raises(ipl.InvalidArgumentException, match=f"^{message}$"):
        cls(*args)


@by_name
def test_range_values(cls):
    r = cls(2, 200, 7)
    assert (r.Minimum(), r.Maximum(), r.Increment()) == (2, 200, 7)


@pytest.mark.parametrize("args, valid", [
    ((1.0, math.nextafter(1.0, 2.0), 0.0), False),
    ((1.0, 1.0 + 2 * 2.220446049250313e-16, 0.0), True),
    ((1e20, math.nextafter(1e20, 2e20), 0.0), False),
    ((1e20, 1e20 + 65536, 0.0), True),
])
def test_double_range_tolerant_equality(args, valid):
    if valid:
        assert ipl.RangeDouble(*args).Maximum() == args[1]
    else:
        with pytest.raises(ipl.InvalidArgumentException, match="^min == max is not allowed!$"):
            ipl.RangeDouble(*args)


def test_int32_range_spanning_the_type():
    assert ipl.RangeInt32(-2**31, 2**31 - 1, 2**31 - 1).Increment() == 2**31 - 1
    with pytest.raises(ipl.InvalidArgumentException, match="^inc > max - min is not allowed!$"):
        ipl.RangeInt32(-2**31, -2, 2**31 - 1)
    assert ipl.RangeUint32(0, 2**32 - 1, 2**32 - 1).InRange(2**32 - 1)


@by_name
def test_in_range_multiples_of_the_increment(cls):
    # Multiples of the value itself, not of its distance from min: 1 to 10 in steps of 2 takes the even values.
    r = cls(1, 10, 2)
    assert [v for v in range(0, 13) if r.InRange(v)] == [2, 4, 6, 8, 10]


@by_name
def test_in_range_zero_increment_and_bounds(cls):
    r = cls(3, 9, 0)
    assert [v for v in range(0, 13) if r.InRange(v)] == [3, 4, 5, 6, 7, 8, 9]
    stepped = cls(3, 9, 3)
    assert (stepped.InRange(3), stepped.InRange(9), stepped.InRange(12)) == (True, True, False)


def test_in_range_negative_values():
    r = ipl.RangeInt32(-10, 10, 5)
    assert [v for v in range(-12, 13) if r.InRange(v)] == [-10, -5, 0, 5, 10]


@pytest.mark.parametrize("value, expected", [
    (0.0, True), (0.1, True), (0.2, True),
    # fmod(0.3, 0.1) is just under 0.1, far from zero: the rule is applied without rounding.
    (0.3, False), (0.5, False), (1.0, False),
    (-0.1, False), (1.1, False),
])
def test_in_range_double(value, expected):
    assert ipl.RangeDouble(0.0, 1.0, 0.1).InRange(value) is expected


def test_in_range_double_zero_increment():
    r = ipl.RangeDouble(0.5, 1.5, 0.0)
    assert [r.InRange(v) for v in (0.5, 0.7, 1.5, 0.49, 1.51)] == [True, True, True, False, False]
    assert ipl.RangeDouble(0.0, 10.0, 2.5).InRange(7.5)
    # An increment within rounding of zero counts as zero.
    assert ipl.RangeDouble(0.0, 1.0, 1e-17).InRange(0.123)
