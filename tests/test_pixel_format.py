"""PixelFormat layout queries, storage sizes and the enumeration texts."""

import math

import pytest

import umb_plox_ipl as ipl

NO_BAYER = ipl.BayerPattern__None
PATTERN = {
    "GR": ipl.BayerPattern_Bayer_GR,
    "RG": ipl.BayerPattern_Bayer_RG,
    "GB": ipl.BayerPattern_Bayer_GB,
    "BG": ipl.BayerPattern_Bayer_BG,
}


def _row(name, channels, significant, storage, pixel_bits=None, packed=False, float_=False, yuv=False):
    """One expected layout; pixel bits default to channels x storage (significant: channels x significant)."""
    bayer = name.startswith("Bayer")
    return {
        "name": name,
        "channels": channels,
        "significant": significant,
        "storage": storage,
        "significant_pixel": pixel_bits[0] if pixel_bits else channels * significant,
        "storage_pixel": pixel_bits[1] if pixel_bits else channels * storage,
        "max": 0 if float_ else 2**significant - 1,
        "packed": packed,
        "bayer": bayer,
        "yuv": yuv,
        "coord3d": name.startswith("Coord3D"),
        "float": float_,
        "pattern": PATTERN[name[5:7]] if bayer else NO_BAYER,
    }


def _layouts():
    rows = []
    for cell in ("GR", "RG", "GB", "BG"):
        rows += [_row(f"Bayer{cell}8", 1, 8, 8), _row(f"Bayer{cell}10", 1, 10, 16), _row(f"Bayer{cell}12", 1, 12, 16)]
        for bits in (10, 12):
            rows.append(_row(f"Bayer{cell}{bits}p", 1, bits, bits, packed=True))
        rows.append(_row(f"Bayer{cell}10g40UMB", 1, 10, 10, packed=True))
        rows.append(_row(f"Bayer{cell}12g24UMB", 1, 12, 12, packed=True))
    rows += [_row("Mono8", 1, 8, 8), _row("Mono10", 1, 10, 16), _row("Mono12", 1, 12, 16), _row("Mono16", 1, 16, 16)]
    rows += [_row("Mono10p", 1, 10, 10, packed=True), _row("Mono12p", 1, 12, 12, packed=True)]
    rows += [_row("Mono10g40UMB", 1, 10, 10, packed=True), _row("Mono12g24UMB", 1, 12, 12, packed=True)]
    rows += [_row("Confidence8", 1, 8, 8), _row("Confidence16", 1, 16, 16)]
    rows += [_row("Coord3D_C8", 1, 8, 8), _row("Coord3D_C16", 1, 16, 16)]
    rows += [_row("Coord3D_C32f", 1, 32, 32, float_=True), _row("Coord3D_ABC32f", 3, 32, 32, float_=True)]
    rows += [_row(n, 3, 8, 8, pixel_bits=(12, 12), yuv=True)
             for n in ("YUV420_8_YY_UV_SemiplanarUMB", "YUV420_8_YY_VU_SemiplanarUMB")]
    rows.append(_row("YUV422_8_UYVY", 3, 8, 8, pixel_bits=(16, 16), yuv=True))
    for order in ("RGB", "BGR"):
        rows += [_row(f"{order}{b}", 3, b, 8 if b == 8 else 16) for b in (8, 10, 12)]
        rows += [_row(f"{order}a{b}", 4, b, 8 if b == 8 else 16) for b in (8, 10, 12)]
        # Three 10-bit fields in one 32-bit word, two bits unused.
        rows.append(_row(f"{order}10p32", 3, 10, 10, pixel_bits=(30, 32), packed=True))
    return rows


LAYOUTS = _layouts()


def test_layout_table_covers_every_format():
    assert len(LAYOUTS) == 59
    assert set(ipl.pixel_format_names()) == {row["name"] for row in LAYOUTS}


def fmt(name):
    return ipl.PixelFormat(getattr(ipl, "PixelFormatName_" + name))


@pytest.mark.parametrize("row", LAYOUTS, ids=lambda row: row["name"])
def test_layout_queries(row):
    f = fmt(row["name"])
    got = {
        "name": f.Name(),
        "channels": f.NumChannels(),
        "significant": f.NumSignificantBitsPerChannel(),
        "storage": f.NumStorageBitsPerChannel(),
        "significant_pixel": f.NumSignificantBitsPerPixel(),
        "storage_pixel": f.NumStorageBitsPerPixel(),
        "max": f.MaximumValuePerChannel(),
        "packed": f.IsPacked(),
        "bayer": f.IsBayered(),
        "yuv": f.IsYUV(),
        "coord3d": f.IsCoord3D(),
        "float": f.IsFloat(),
        "pattern": f.BayerPattern(),
    }
    assert got == row
    assert f.Endianness() == ipl.Endianness_LittleEndian
    assert f.PixelFormatName() == getattr(ipl, "PixelFormatName_" + row["name"])


def expected_storage(name, pixels):
    """Bytes for `pixels` pixels from the layout facts: PFNC bit streams end with the byte of their
    last bit; the other packings and YUV take whole groups."""
    def groups(per_group, group_bytes):
        return math.ceil(pixels / per_group) * group_bytes

    if name.endswith(("10p", "12p")):
        return math.ceil(pixels * int(name[-3:-1]) / 8)
    if name.endswith("10g40UMB"):
        return groups(4, 5)
    if name.endswith("12g24UMB"):
        return groups(2, 3)
    if name.endswith("10p32"):
        return 4 * pixels
    if name == "YUV422_8_UYVY":
        return groups(2, 4)
    if name.startswith("YUV420"):
        return groups(2, 3)
    row = next(r for r in LAYOUTS if r["name"] == name)
    return pixels * row["storage_pixel"] // 8


@pytest.mark.parametrize("pixels", [0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 17, 18, 1000, 1001, 1002, 10**12 + 3])
@pytest.mark.parametrize("name", [row["name"] for row in LAYOUTS])
def test_storage_size(name, pixels):
    assert fmt(name).CalculateStorageSizeOfPixels(pixels) == expected_storage(name, pixels)


def test_eighteen_ten_bit_pixels_take_23_bytes():
    assert fmt("Mono10p").CalculateStorageSizeOfPixels(18) == 23  # 180 bits, not 5 whole groups
    assert fmt("Mono10g40UMB").CalculateStorageSizeOfPixels(18) == 25


@pytest.mark.parametrize("name, pixels, expected", [
    ("Mono8", 2**64 - 1, 2**64 - 1),
    ("Mono16", 2**63 - 1, 2**64 - 2),
    ("Mono16", 2**63, None),
    ("Coord3D_ABC32f", 2**64 // 12, 2**64 // 12 * 12),
    ("Coord3D_ABC32f", 2**64 // 12 + 1, None),
    ("Mono10p", 2**64 - 1, None),
    ("Mono10p", (2**64 - 1) * 8 // 10, 2**64 - 1),
    ("Mono10p", (2**64 - 1) * 8 // 10 + 1, None),
    ("BayerGB12p", (2**64 - 1) * 8 // 12, 2**64 - 1),
    ("BayerGB12p", (2**64 - 1) * 8 // 12 + 1, None),
    ("Mono10g40UMB", (2**64 - 1) // 5 * 4, 2**64 - 1),
    ("Mono10g40UMB", (2**64 - 1) // 5 * 4 + 1, None),
    ("BayerRG12g24UMB", 2**64 - 1, None),
    ("YUV422_8_UYVY", 2**64 - 1, None),
])
def test_storage_size_at_the_64_bit_limit(name, pixels, expected):
    if expected is None:
        with pytest.raises(ipl.OutOfRangeException, match=r"^\[Error-Code: 6 \(PLOX_IPL_RETURN_CODE_OUT_OF_RANGE\)"):
            fmt(name).CalculateStorageSizeOfPixels(pixels)
    else:
        assert fmt(name).CalculateStorageSizeOfPixels(pixels) == expected


def test_equality_and_copy():
    mono8 = ipl.PixelFormat(ipl.PixelFormatName_Mono8)
    assert mono8 == ipl.PixelFormat(ipl.PixelFormatName_Mono8)
    assert not mono8 == ipl.PixelFormat(ipl.PixelFormatName_Mono10)
    assert ipl.PixelFormat() == ipl.PixelFormat(ipl.PixelFormatName_Invalid)
    assert ipl.PixelFormat().Name() == "Invalid"
    assert ipl.PixelFormat().PixelFormatName() == 0


def test_copy_constructor():
    copy = ipl.PixelFormat(ipl.PixelFormat(ipl.PixelFormatName_BayerGB12p))
    assert copy.PixelFormatName() == ipl.PixelFormatName_BayerGB12p
    assert copy.Name() == "BayerGB12p"


@pytest.mark.parametrize("function, texts, invalid_values, invalid_text", [
    (ipl.ConversionModeEnumEntryToString, {1: "Fast", 2: "HighQuality", 3: "Classic"},
     [0, 4, -1], "INVALID CONVERSION MODE VALUE"),
    (ipl.EndiannessEnumEntryToString, {0: "Unknown", 1: "LittleEndian", 2: "BigEndian"},
     [3, -1, 2**31 - 1], "INVALID ENDIANNESS VALUE"),
    (ipl.OrientationEnumEntryToString, {0: "Horizontal", 1: "Vertical"},
     [2, -1], "INVALID ORIENTATION VALUE"),
    (ipl.PixelFormatNameEnumEntryToString, {0: "Invalid", 0x01080001: "Mono8", 0x4000001F: "Mono12g24UMB"},
     [12345, 1, -1, 0x40000000, 0x01080007], "INVALID PIXEL FORMAT VALUE"),
], ids=["ConversionMode", "Endianness", "Orientation", "PixelFormatName"])
def test_enum_texts(function, texts, invalid_values, invalid_text):
    assert {value: function(value) for value in texts} == texts
    assert [function(value) for value in invalid_values] == [invalid_text] * len(invalid_values)

