"""The list types: the nine wrapped vectors as Python sequences, and their iterators."""

from collections import namedtuple

import pytest

import umb_plox_ipl as ipl

# decl: the element type as written in the interface; elem: as the generator spells it in
# messages; make(n) builds a distinct element, key(e) turns one into something comparable.
Kind = namedtuple("Kind", "cls decl elem make key default mutate")


def _scalar(cls, decl, elem):
    return Kind(cls, decl, elem, lambda n: n, lambda e: e, 0, None)


def _record(cls, name, make, key, default, mutate):
    return Kind(cls, "plox::ipl::" + name, "plox::ipl::" + name, make, key, default, mutate)


def _hist(n):
    h = ipl.HistogramChannel()
    h.PixelSum, h.PixelCount, h.Bins = n, n + 1, ipl.VectorUInt64([n, 2 * n])
    return h


def _line(n):
    c = ipl.PixelLineChannel()
    c.Values = ipl.VectorUInt32([n])
    return c


SCALARS = [
    _scalar(ipl.VectorInt32, "int32_t", "int"),
    _scalar(ipl.VectorUInt32, "uint32_t", "unsigned int"),
    _scalar(ipl.VectorUInt64, "uint64_t", "unsigned long long"),
    _scalar(ipl.VectorVideo, "unsigned short", "unsigned short"),
    _scalar(ipl.PixelFormatList, "plox::ipl::PixelFormatName", "enum plox::ipl::PixelFormatName"),
]
RECORDS = [
    _record(ipl.SharpnessROIList, "SharpnessROI", lambda n: ipl.SharpnessROI(ipl.Rect2D(n, 1, 2, 3), 4, 5, 33),
            lambda r: (r.rect.left(), r.rect.top(), r.rect.right(), r.xSamplingInterval, r.ySamplingInterval,
                       r.weight),
            (0, 0, 0, 1, 1, 66), lambda r: setattr(r, "weight", 99)),
    _record(ipl.VectorHistogramChannel, "HistogramChannel", _hist, lambda h: (h.PixelSum, h.PixelCount, list(h.Bins)),
            (0, 0, []), lambda h: setattr(h, "PixelSum", 99)),
    _record(ipl.VectorPixelLineChannel, "PixelLineChannel", _line, lambda c: list(c.Values), [],
            lambda c: c.Values.append(99)),
    _record(ipl.VectorPoint2D, "Point2D", lambda n: ipl.Point2D.New(n, n + 100), lambda p: (p.x, p.y), (0, 0),
            lambda p: setattr(p, "x", 99)),
]
every_kind = pytest.mark.parametrize("k", SCALARS + RECORDS, ids=lambda k: k.cls.__name__)
record_kind = pytest.mark.parametrize("k", RECORDS, ids=lambda k: k.cls.__name__)


def build(k, ns):
    # push_back rather than the list constructor, so that only one test depends on the latter.
    v = k.cls()
    for n in ns:
        v.push_back(k.make(n))
    return v


def keys(k, v):
    return [k.key(v[i]) for i in range(len(v))]


def want(k, ns):
    return [k.key(k.make(n)) for n in ns]


@every_kind
def test_constructors(k):
    empty = k.cls()
    assert len(empty) == 0 and not empty and empty.empty()
    assert keys(k, k.cls(3)) == [k.default] * 3
    assert keys(k, k.cls(2, k.make(7))) == want(k, [7, 7])
    original = build(k, [1, 2])
    copy = k.cls(original)
    original.push_back(k.make(3))
    assert keys(k, copy) == want(k, [1, 2])


@every_kind
def test_plain_python_sequences_are_accepted(k):
    assert keys(k, k.cls([k.make(1), k.make(2)])) == want(k, [1, 2])
    assert keys(k, k.cls((k.make(3),))) == want(k, [3])
    v = build(k, [1, 2, 3])
    v[0:1] = [k.make(8), k.make(9)]
    assert keys(k, v) == want(k, [8, 9, 2, 3])


@every_kind
def test_constructor_mismatch_lists_the_four_prototypes(k):
    name, vec, elem = k.cls.__name__, f"std::vector< {k.decl} >", f"std::vector< {k.elem} >"
    with pytest.raises(TypeError) as exc:
        k.cls(1.5)
    assert str(exc.value) == (
        f"Wrong number or type of arguments for overloaded function 'new_{name}'.\n"
        "  Possible C/C++ prototypes are:\n"
        f"    {vec}::vector()\n"
        f"    {vec}::vector({vec} const &)\n"
        f"    {vec}::vector({elem}::size_type)\n"
        f"    {vec}::vector({elem}::size_type,{elem}::value_type const &)\n")


@every_kind
def test_indexing(k):
    v = build(k, [1, 2, 3])
    assert len(v) == v.size() == 3 and v and v.__nonzero__()
    assert [k.key(v[i]) for i in (-1, -3)] == want(k, [3, 1])
    for bad in (3, -4):
        for action in (lambda: v[bad], lambda: v.__setitem__(bad, k.make(9)), lambda: v.__delitem__(bad)):
            with pytest.raises(IndexError, match="^index out of range$"):
                action()
    v[-1] = k.make(9)
    del v[-3]
    assert keys(k, v) == want(k, [2, 9])


@every_kind
def test_slice_reads(k):
    v = build(k, [1, 2, 3, 4, 5])
    part = v[1:3]
    assert type(part) is k.cls and keys(k, part) == want(k, [2, 3])
    assert keys(k, v[::-1]) == want(k, [5, 4, 3, 2, 1])
    assert keys(k, v[::2]) == want(k, [1, 3, 5])
    assert keys(k, v[-2:]) == want(k, [4, 5]) and keys(k, v[2:9]) == want(k, [3, 4, 5])
    assert keys(k, v[9::-2]) == want(k, [5, 3, 1]) and len(v[-9:-7]) == 0
    assert keys(k, v.__getslice__(0, 2)) == want(k, [1, 2])
    with pytest.raises(ValueError, match="^slice step cannot be zero$"):
        v[::0]


@every_kind
def test_slice_starting_past_the_end_is_empty(k):
    # v[len(v):] is the usual way to ask for "nothing left"; it must not wrap to the start.
    v = build(k, [1, 2, 3])
    assert [len(v[3:]), len(v[5:7])] == [0, 0]


@every_kind
def test_slice_writes(k):
    # Step 1 may grow or shrink the vector; other steps need exactly the slice's length.
    v = build(k, [1, 2, 3, 4, 5])
    v[1:2] = build(k, [7, 8, 9])
    assert keys(k, v) == want(k, [1, 7, 8, 9, 3, 4, 5])
    v[1:5] = k.cls()
    assert keys(k, v) == want(k, [1, 4, 5])
    v[::2] = build(k, [6, 7])
    assert keys(k, v) == want(k, [6, 4, 7])
    del v[::2]
    assert keys(k, v) == want(k, [4])
    w = build(k, [1, 2, 3, 4])
    with pytest.raises(ValueError, match="^attempt to assign sequence of size 1 to extended slice of size 2$"):
        w[::2] = build(k, [9])
    assert keys(k, w) == want(k, [1, 2, 3, 4])
    w.__setitem__(slice(1, 3))
    w.__setslice__(0, 1, build(k, [5, 6]))
    assert keys(k, w) == want(k, [5, 6, 4])
    w.__delslice__(0, 2)
    w.__setslice__(1, 5)
    assert keys(k, w) == want(k, [4])


@every_kind
def test_list_and_vector_methods(k):
    v = build(k, [1, 2])
    v.append(k.make(3))
    assert k.key(v.pop()) == k.key(k.make(3)) and len(v) == 2
    assert (k.key(v.front()), k.key(v.back())) == tuple(want(k, [1, 2]))
    at = v.insert(v.begin() + 1, k.make(5))
    assert k.key(at.value()) == k.key(k.make(5))
    v.insert(v.begin(), 2, k.make(6))
    assert keys(k, v) == want(k, [6, 6, 1, 5, 2])
    after = v.erase(v.begin())
    assert k.key(after.value()) == k.key(k.make(6))
    first = v.begin()
    after = v.erase(first, first + 2)
    assert keys(k, v) == want(k, [5, 2]) and k.key(after.value()) == k.key(k.make(5))
    v.resize(3)
    assert keys(k, v) == want(k, [5, 2]) + [k.default]
    v.resize(5, k.make(4))
    v.resize(4)
    assert keys(k, v) == want(k, [5, 2]) + [k.default] + want(k, [4])
    other = build(k, [9])
    v.swap(other)
    assert keys(k, v) == want(k, [9]) and len(other) == 4
    v.assign(2, k.make(8))
    v.pop_back()
    assert keys(k, v) == want(k, [8])
    v.reserve(50)
    assert v.capacity() >= 50 and keys(k, v) == want(k, [8])
    v.clear()
    assert len(v) == 0 and not v and v.empty()
    with pytest.raises(IndexError, match="^pop from empty container$"):
        v.pop()


@pytest.mark.parametrize("cls, good, bad, suffix", [
    (ipl.VectorInt32, [-2**31, 2**31 - 1], [2**31, -2**31 - 1], "std::vector< int >::value_type"),
    (ipl.VectorUInt32, [0, 2**32 - 1], [-1, 2**32], "std::vector< unsigned int >::value_type"),
    (ipl.VectorUInt64, [0, 2**64 - 1], [-1, 2**64], "std::vector< unsigned long long >::value_type"),
    (ipl.VectorVideo, [0, 65535], [-1, 65536, 70000], "std::vector< unsigned short >::value_type"),
    # Pixel format names are not checked against the enumerators: any 32-bit value passes.
    (ipl.PixelFormatList, [-2**31, 2**31 - 1], [2**31, 2**40],
     "std::vector< enum plox::ipl::PixelFormatName >::value_type"),
], ids=[k.cls.__name__ for k in SCALARS])
def test_scalar_element_range(cls, good, bad, suffix):
    v = cls()
    for x in good:
        v.append(x)
    assert list(v) == good
    name = cls.__name__
    for x in bad:
        for method in ("append", "push_back"):
            with pytest.raises(OverflowError) as exc:
                getattr(v, method)(x)
            assert str(exc.value) == f"in method '{name}_{method}', argument 2 of type '{suffix}'"
        with pytest.raises((TypeError, OverflowError)):
            v[0] = x
        with pytest.raises(TypeError):
            cls([x])
    for x in ("x", 1.5):
        with pytest.raises(TypeError) as exc:
            v.push_back(x)
        assert str(exc.value).startswith(f"in method '{name}_push_back', argument 2 of type")
    assert list(v) == good


@record_kind
def test_record_elements_in_and_out(k):
    # Appending stores a copy: the caller's object stays its own.
    e = k.make(1)
    v = k.cls()
    v.append(e)
    k.mutate(e)
    assert keys(k, v) == want(k, [1])
    # Indexing hands out the stored element itself, so edits through v[i] reach the list ...
    k.mutate(v[0])
    assert keys(k, v) == [k.key(e)]
    # ... while iteration hands out snapshots.
    v[0] = k.make(2)
    for item in v:
        k.mutate(item)
    assert keys(k, v) == want(k, [2])


@every_kind
def test_iteration(k):
    v = build(k, [1, 2, 3])
    assert [k.key(e) for e in v] == want(k, [1, 2, 3])
    assert [e for e in k.cls()] == []
    it = v.iterator()
    assert [k.key(next(it)) for _ in range(3)] == want(k, [1, 2, 3])
    for _ in range(2):
        with pytest.raises(StopIteration):
            next(it)
    with pytest.raises(StopIteration):
        it.value()
    with pytest.raises(StopIteration):
        v.iterator().previous()
    # iteration only moves forward, also inside the list; a refused step back stays put
    it = v.iterator()
    next(it), next(it)
    for back in (it.previous, it.decr, lambda: it.advance(-1)):
        with pytest.raises(StopIteration):
            back()
    assert k.key(next(it)) == k.key(k.make(3))
    # a refused step in place leaves the iterator usable (and owned)
    ahead = v.iterator() + 1
    with pytest.raises(StopIteration):
        ahead -= 1
    with pytest.raises(StopIteration):
        ahead += 5
    assert k.key(next(ahead)) == k.key(k.make(2))
    assert [k.key(e) for e in v] == want(k, [1, 2, 3])


@every_kind
def test_iterator_positions(k):
    v = build(k, [1, 2, 3, 4])
    begin, end = v.begin(), v.begin() + 2
    assert end - begin == 2 and begin - end == -2 and v.end() - v.begin() == 4
    assert v.begin() == v.begin() and not (v.begin() != v.begin()) and v.begin() != v.end()
    empty = k.cls()
    assert empty.begin() == empty.end() and empty.end() - empty.begin() == 0
    it = v.begin()
    it += 3
    assert k.key(it.value()) == k.key(k.make(4))
    it -= 2
    assert k.key(it.value()) == k.key(k.make(2))
    it.advance(1)
    assert k.key(it.value()) == k.key(k.make(3))
    it.advance(-2)
    it.incr(2)
    it.decr()
    assert k.key(it.value()) == k.key(k.make(2)) and it - v.begin() == 1
    # copies of an open position move both ways too
    later = v.begin() + 3
    assert k.key(later.copy().decr(2).value()) == k.key(k.make(2)) and k.key((later - 3).value()) == k.key(k.make(1))
    rev = v.rbegin()
    assert [k.key(rev.next()) for _ in range(4)] == want(k, [4, 3, 2, 1]) and rev == v.rend()
    assert k.key(rev.previous()) == k.key(k.make(1)) and k.key(v.end().previous()) == k.key(k.make(4))
    # the positions insert and erase give back move both ways, as begin() and end() do
    at = v.insert(v.begin() + 1, k.make(7))
    assert k.key(at.value()) == k.key(k.make(7)) and k.key(at.previous()) == k.key(k.make(1))
    after = v.erase(v.begin() + 1)
    assert k.key(after.value()) == k.key(k.make(2)) and k.key(after.previous()) == k.key(k.make(1))
    assert keys(k, v) == want(k, [1, 2, 3, 4])


@every_kind
@pytest.mark.parametrize("op", ["distance", "equal", "__sub__"])
def test_iterators_of_another_list_type_are_refused(k, op):
    mine = build(k, [1])
    theirs = (ipl.VectorUInt32 if k.cls is ipl.VectorInt32 else ipl.VectorInt32)([1])
    with pytest.raises(ValueError, match="^bad iterator type$"):
        getattr(mine.begin(), op)(theirs.begin())


def test_histogram_channel_fields():
    h = ipl.HistogramChannel()
    assert (h.PixelSum, h.PixelCount, type(h.Bins), len(h.Bins)) == (0, 0, ipl.VectorUInt64, 0)
    bins = ipl.VectorUInt64([1, 2**64 - 1])
    h.Bins = bins
    bins.append(3)
    assert list(h.Bins) == [1, 2**64 - 1]
    for bad in (5, [1, 2], ipl.VectorUInt32([1])):
        with pytest.raises(TypeError) as exc:
            h.Bins = bad
        assert str(exc.value) == ("in method 'HistogramChannel_Bins_set', argument 2 of type "
                                  "'std::vector< uint64_t,std::allocator< uint64_t > > *'")
    with pytest.raises(TypeError, match="^in method 'HistogramChannel_PixelSum_set', argument 2 of type 'uint64_t'$"):
        h.PixelSum = "1"
    assert list(h.Bins) == [1, 2**64 - 1]
