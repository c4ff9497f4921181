"""Image files against hostile and unusual input: PNG sBIT depths, damaged raw headers, bombs,
and the rules of writing (long names, permissions, symbolic links, files we may not write)."""

import os
import re
import resource
import shutil
import signal
import struct
import tempfile
import zlib

import numpy as np
import pytest
from PIL import Image as PILImage

import umb_plox_ipl as ipl

RNG = np.random.default_rng(23)
NOBODY = 65534


def image_from(array, name):
    height, width = array.shape[:2]
    return ipl.Image.CreateFromSizeAndPythonBuffer(getattr(ipl, "PixelFormatName_" + name), array, width, height)


def fmt(name):
    return ipl.PixelFormat(getattr(ipl, "PixelFormatName_" + name))


def png_chunk(kind, body):
    return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))


# --- PNG sBIT -----------------------------------------------------------------------------

def replicated(values, bits):
    """`bits`-bit values as 16 bits, their bits repeated downwards (so all ones stays all ones)."""
    values = values.astype(np.uint32)
    out = np.zeros_like(values)
    for shift in range(16 - bits, -bits, -bits):
        out |= values << shift if shift >= 0 else values >> -shift
    return out & 0xFFFF


@pytest.mark.parametrize("channels", [1, 3])
@pytest.mark.parametrize("sbit", range(1, 17))
def test_16_bit_png_with_any_sbit_reads_its_significant_bits(tmp_path, sbit, channels):
    stored = RNG.integers(0, 1 << 16, (5, 7, channels)).astype(np.uint16)
    stored[0, 0], stored[0, 1] = 0xFFFF, 0  # full scale and black
    rows = b"".join(b"\0" + row.astype(">u2").tobytes() for row in stored.reshape(5, -1))
    header = struct.pack(">IIBBBBB", 7, 5, 16, 0 if channels == 1 else 2, 0, 0, 0)
    path = tmp_path / "sbit.png"
    path.write_bytes(b"\x89PNG\r\n\x1a\n" + png_chunk(b"IHDR", header) + png_chunk(b"sBIT", bytes([sbit] * channels))
                     + png_chunk(b"IDAT", zlib.compress(rows)) + png_chunk(b"IEND", b""))

    original = stored >> (16 - sbit)
    family = "Mono" if channels == 1 else "RGB"
    if sbit in (10, 12):
        name, expected = f"{family}{sbit}", original
    elif channels == 1:
        name, expected = "Mono16", replicated(original, sbit)
    else:
        name, expected = "RGB12", replicated(original, sbit) >> 4
    image = ipl.ImageReader.Read(str(path))
    assert image.PixelFormat().Name() == name
    np.testing.assert_array_equal(ipl.get_numpy(image).reshape(stored.shape), expected)


# --- damaged raw headers ------------------------------------------------------------------

def set_u32(data, at, value):
    return data[:at] + struct.pack("<I", value) + data[at + 4:]


DAMAGES = {
    "magic": lambda b: b"X" + b[1:],
    "version": lambda b: b[:7] + b"2" + b[8:],
    "reserved bytes": lambda b: b[:21] + b"\x01" + b[22:],
    "unknown format": lambda b: set_u32(b, 16, 0x7FFF1234),
    "packed format": lambda b: set_u32(b, 16, ipl.PixelFormatName_Mono12p)[:32 + 18],  # 12 pixels of 12p
    "zero width": lambda b: set_u32(b, 8, 0),
    "zero height": lambda b: set_u32(b, 12, 0),
    "huge size": lambda b: set_u32(set_u32(b, 8, 0xFFFFFFFF), 12, 0xFFFFFFFF),
    "payload short": lambda b: b[:-1],
    "payload long": lambda b: b + b"\0",
    "header cut": lambda b: b[:20],
}


@pytest.mark.parametrize("damage", DAMAGES)
def test_damaged_raw_header_raises_io_exception_naming_the_path(tmp_path, damage):
    path = str(tmp_path / "frame.raw")
    ipl.ImageWriter.WriteAsRAW(path, image_from(RNG.integers(0, 4096, (3, 4)).astype(np.uint16), "BayerRG12"))
    with open(path, "rb") as f:
        data = DAMAGES[damage](f.read())
    with open(path, "wb") as f:
        f.write(data)
    for read in (lambda: ipl.ImageReader.Read(path), lambda: ipl.ImageReader.Read(path, fmt("BayerRG12"))):
        with pytest.raises(ipl.IOException, match=re.escape(path)):
            read()


def test_raw_file_is_read_as_another_format_of_the_same_size_only(tmp_path):
    path = str(tmp_path / "frame.raw")
    values = RNG.integers(0, 4096, (3, 4)).astype(np.uint16)
    ipl.ImageWriter.WriteAsRAW(path, image_from(values, "BayerRG12"))
    np.testing.assert_array_equal(ipl.get_numpy(ipl.ImageReader.Read(path, fmt("Mono16"))), values)
    for other in ("Mono8", "RGB12"):  # half and three times the bytes
        with pytest.raises(ipl.ImageFormatInterpretationException, match=other):
            ipl.ImageReader.Read(path, fmt(other))


@pytest.mark.parametrize("ending", [".png", ".jpg", ".bmp", ".raw", ".dat"])
def test_unrecognised_content_is_damage_when_the_name_says_image(tmp_path, ending):
    path = tmp_path / ("junk" + ending)
    path.write_bytes(bytes(range(64)))
    expected = ipl.ImageFormatNotSupportedException if ending == ".dat" else ipl.IOException
    with pytest.raises(expected, match=re.escape(str(path))):
        ipl.ImageReader.Read(str(path))


# --- decompression bombs ------------------------------------------------------------------

def jpeg_segment(marker, body):
    return bytes([0xFF, marker]) + struct.pack(">H", len(body) + 2) + body


def test_arithmetic_jpeg_bomb_is_refused_from_its_header(tmp_path):
    # A grey arithmetic-coded frame whose one scan ends at once: the decoder would make up
    # 8000 x 8000 pixels of zeros from a hundred bytes.
    path = tmp_path / "bomb.jpg"
    path.write_bytes(b"\xFF\xD8" + jpeg_segment(0xDB, bytes(1) + bytes([1]) * 64)
                     + jpeg_segment(0xC9, bytes([8]) + struct.pack(">HH", 8000, 8000) + bytes([1, 1, 0x11, 0]))
                     + jpeg_segment(0xDA, bytes([1, 1, 0, 0, 63, 0])) + b"\xFF\xD9")
    with pytest.raises(ipl.IOException, match=re.escape(str(path)) + ".*too short for 8000x8000"):
        ipl.ImageReader.Read(str(path))


def test_black_frames_still_read_back(tmp_path):
    # The most compressible pictures we write, well within what the size rule allows.
    for ending, name, shape in ((".png", "Mono8", (4000, 3000)), (".png", "RGB12", (1500, 1000, 3)),
                                (".jpg", "RGB8", (3000, 2000, 3)), (".jpg", "Mono8", (3000, 2000))):
        path = str(tmp_path / ("black" + ending))
        dtype = np.uint8 if name.endswith("8") else np.uint16
        ipl.ImageWriter.Write(path, image_from(np.zeros(shape, dtype), name))
        back = ipl.get_numpy(ipl.ImageReader.Read(path))
        assert back.shape == shape and not back.any(), (path, os.path.getsize(path))


# --- writing ------------------------------------------------------------------------------

def small_image():
    return image_from(RNG.integers(0, 256, (6, 5, 3), dtype=np.uint8), "RGB8")


@pytest.mark.parametrize("length", [245, 250, 255])
def test_longest_file_names_are_written(tmp_path, length):
    name = "n" * (length - 4) + ".png"
    ipl.ImageWriter.Write(str(tmp_path / name), small_image())
    assert os.listdir(tmp_path) == [name]
    assert PILImage.open(tmp_path / name).size == (5, 6)


@pytest.mark.parametrize("mode", [0o600, 0o640, 0o604, 0o755])
def test_overwriting_keeps_the_permission_bits(tmp_path, mode):
    path = tmp_path / "kept.png"
    ipl.ImageWriter.Write(str(path), small_image())
    os.chmod(path, mode)
    ipl.ImageWriter.Write(str(path), small_image())
    assert os.stat(path).st_mode & 0o777 == mode


@pytest.mark.parametrize("mask", [0o022, 0o077, 0o002, 0o000])
def test_new_files_get_the_modes_open_gives(tmp_path, mask):
    old = os.umask(mask)
    try:
        ipl.ImageWriter.Write(str(tmp_path / "new.bmp"), small_image())
    finally:
        os.umask(old)
    assert os.stat(tmp_path / "new.bmp").st_mode & 0o777 == 0o666 & ~mask


@pytest.mark.parametrize("dangling", [False, True])
def test_writing_through_a_link_replaces_the_linked_file(tmp_path, dangling):
    (tmp_path / "links").mkdir()
    (tmp_path / "real").mkdir()
    target = tmp_path / "real" / "target.png"
    if not dangling:
        ipl.ImageWriter.Write(str(target), image_from(np.zeros((2, 2), np.uint8), "Mono8"))
    link = tmp_path / "links" / "link.png"
    os.symlink("../real/target.png", link)
    pixels = RNG.integers(0, 256, (6, 5, 3), dtype=np.uint8)
    ipl.ImageWriter.Write(str(link), image_from(pixels, "RGB8"))
    assert os.readlink(link) == "../real/target.png"
    np.testing.assert_array_equal(np.asarray(PILImage.open(target)), pixels)
    assert os.listdir(tmp_path / "links") == ["link.png"] and os.listdir(tmp_path / "real") == ["target.png"]


def in_child(action, unprivileged=False):
    """What action() returns (a text) when run in a child process: as user nobody when asked
    and we are root (whose writes open() never refuses), with one library thread, as a fork has."""
    read_end, write_end = os.pipe()
    pid = os.fork()
    if pid == 0:
        try:
            os.close(read_end)
            ipl.Library.SetMultiThreadingEnabled(False)
            if unprivileged and os.geteuid() == 0:
                os.setgroups([])
                os.setgid(NOBODY)
                os.setuid(NOBODY)
            result = action()
        except BaseException as error:  # anything must reach the parent
            result = f"{type(error).__name__}: {error}"
        os.write(write_end, result.encode())
        os._exit(0)
    os.close(write_end)
    with os.fdopen(read_end, "rb") as pipe:
        text = pipe.read().decode()
    os.waitpid(pid, 0)
    return text


@pytest.mark.parametrize("case", ["read-only file", "writable file, locked folder", "new file, locked folder"])
def test_writes_are_refused_exactly_where_open_would_refuse(case):
    base = tempfile.mkdtemp()  # under /tmp, where another user can reach it
    try:
        os.chmod(base, 0o755)
        folder = os.path.join(base, "folder")
        os.mkdir(folder)
        path = os.path.join(folder, "image.bmp")
        if case != "new file, locked folder":
            with open(path, "wb") as f:
                f.write(b"old")
        owner = NOBODY if os.geteuid() == 0 else os.getuid()
        if case == "read-only file":
            os.chown(folder, owner, -1)
            os.chown(path, owner, -1)
            os.chmod(path, 0o444)
        else:  # a folder the user may not add to
            os.chmod(folder, 0o755 if os.geteuid() == 0 else 0o555)
            if os.path.exists(path):
                os.chmod(path, 0o666)

        def attempt():
            allowed = os.access(path if os.path.exists(path) else folder, os.W_OK)
            try:
                ipl.ImageWriter.Write(path, small_image())
                return f"{allowed} written"
            except ipl.IOException as error:
                return f"{allowed} refused {error}"

        outcome = in_child(attempt, unprivileged=True)
        os.chmod(folder, 0o755)
        allowed = outcome.startswith("True")
        assert outcome.split()[1] == ("written" if allowed else "refused"), outcome
        if not allowed:
            assert path in outcome and "Permission denied" in outcome, outcome
        assert os.listdir(folder) == ([] if case == "new file, locked folder" else ["image.bmp"])
        if os.path.exists(path):
            with open(path, "rb") as f:
                content = f.read()
            assert (content != b"old") == allowed
    finally:
        shutil.rmtree(base)


def test_a_failed_write_leaves_the_old_file_and_no_temporary(tmp_path):
    path = tmp_path / "keep.bmp"
    ipl.ImageWriter.Write(str(path), image_from(np.zeros((2, 2), np.uint8), "Mono8"))
    before = path.read_bytes()

    def attempt():
        # The file system refuses what passes 2000 bytes, after the temporary is made.
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        resource.setrlimit(resource.RLIMIT_FSIZE, (2000, 2000))
        try:
            ipl.ImageWriter.Write(str(path), image_from(np.zeros((100, 100, 3), np.uint8), "RGB8"))
            return "written"
        except ipl.IOException as error:
            return str(error)

    outcome = in_child(attempt)
    assert str(path) in outcome and "File too large" in outcome, outcome
    assert path.read_bytes() == before
    assert os.listdir(tmp_path) == ["keep.bmp"]
