"""The plox-ipl tool, run as a user runs it: in a subprocess."""

import os
import subprocess
import sys

import numpy as np
import pytest
from PIL import Image as PILImage

from image_data import pack_lsb

TOOL = os.path.join(os.path.dirname(sys.executable), "plox-ipl")


def run(*args, cwd=None):
    return subprocess.run([TOOL, *args], capture_output=True, text=True, cwd=cwd, timeout=120)


def test_info_lists_formats_and_conversions():
    result = run("info")
    assert result.returncode == 0
    assert "BayerRG12p" in result.stdout and "Conversions" in result.stdout
    assert "BayerRG12p" in subprocess.run([sys.executable, "-m", "umb_plox_ipl", "info"], capture_output=True,
                                          text=True, timeout=120).stdout


def test_convert_camera_dump_and_files(tmp_path):
    dump = tmp_path / "frame.bin"
    pack_lsb(np.full((6, 8), 2048, np.uint16), 12).tofile(dump)
    out = tmp_path / "frame.png"
    result = run("convert", str(dump), str(out), "--format", "BayerRG12p", "--width", "8", "--height", "6")
    assert result.returncode == 0, result.stderr
    assert PILImage.open(out).mode == "RGB"  # a mosaic is demosaiced for a picture file
    assert (np.asarray(PILImage.open(out)) == 128).all()

    mono = tmp_path / "mono.jpg"
    assert run("convert", str(out), str(mono), "--to", "Mono8", "--mode", "hq").returncode == 0
    assert PILImage.open(mono).mode == "L"


def test_convert_several_inputs_into_a_folder(tmp_path):
    inputs = []
    for i in range(3):
        path = tmp_path / f"in{i}.png"
        PILImage.fromarray(np.full((4, 5, 3), i * 40, np.uint8)).save(path)
        inputs.append(str(path))
    result = run("convert", *inputs, str(tmp_path / "out"), "--ending", ".bmp")
    assert result.returncode == 0, result.stderr
    assert sorted(os.listdir(tmp_path / "out")) == ["in0.bmp", "in1.bmp", "in2.bmp"]
    assert result.stderr == ""  # no progress bar into a pipe


@pytest.mark.parametrize("args, words", [
    (("convert", "missing.png", "out.png"), "missing.png"),
    (("convert", "in.png", "out.tiff"), ".tiff"),
    (("convert", "in.png", "out.png", "--to", "Mono7"), "Mono7"),
    (("convert", "in.png", "out.png", "--format", "Mono8"), "--width"),
    (("convert", "in.png", "out.png", "--format", "Mono8", "--width", "0", "--height", "4"), "not 0"),
    (("convert", "in.png", "out.png", "--format", "Mono8", "--width", "4", "--height", "-3"), "not -3"),
    (("convert", "in.png", "out.jpg", "--quality", "101"), "not 101"),
    (("convert", "in.png", "out.png", "--width", "many"), "'many'"),
])
def test_user_errors_are_one_line_with_status_2(tmp_path, args, words):
    PILImage.fromarray(np.zeros((4, 4), np.uint8)).save(tmp_path / "in.png")
    result = run(*args, cwd=tmp_path)
    assert result.returncode == 2
    assert words in result.stderr and "Traceback" not in result.stderr
    assert len(result.stderr.strip().splitlines()) == 1
    assert "Error-Code" not in result.stderr


def test_demo_writes_files_and_the_readme_example_runs(tmp_path):
    result = run("demo", cwd=tmp_path)
    assert result.returncode == 0, result.stderr
    assert {"chart.png", "chart.jpg", "chart.bmp", "chart.raw", "frame.bin"} <= set(os.listdir(tmp_path / "plox-demo"))
    assert "HighQuality" in result.stdout and "Mpix/s" in result.stdout
    readme = open(os.path.join(os.path.dirname(__file__), "..", "README.md"), encoding="utf-8").read()
    # Every Python block, in order, as a reader pastes them one after the other.
    blocks = [part.split("```", 1)[0] for part in readme.split("```python\n")[1:]]
    assert len(blocks) >= 3
    subprocess.run([sys.executable, "-c", "\n".join(blocks)], cwd=tmp_path, check=True, timeout=120)
    assert PILImage.open(tmp_path / "frame.png").size == (1920, 1200)
    assert PILImage.open(tmp_path / "frame.jpg").size == (1920, 1200)


@pytest.mark.parametrize("name, values, ending, mode", [
    ("BayerRG8", np.full((6, 8), 200, np.uint8), ".png", "RGB"),
    ("BayerRG12", np.full((6, 8), 3000, np.uint16), ".jpg", "RGB"),
    ("BayerGB12p", None, ".bmp", "RGB"),
])
def test_a_bayer_dump_becomes_colour(tmp_path, name, values, ending, mode):
    dump = tmp_path / "frame.bin"
    (pack_lsb(np.full((6, 8), 3000, np.uint16), 12) if values is None else values).tofile(dump)
    out = tmp_path / f"frame{ending}"
    result = run("convert", str(dump), str(out), "--format", name, "--width", "8", "--height", "6")
    assert result.returncode == 0, result.stderr
    assert PILImage.open(out).mode == mode


def test_a_bayer_target_keeps_the_mosaic(tmp_path):
    dump = tmp_path / "frame.bin"
    np.arange(48, dtype=np.uint8).tofile(dump)
    out = tmp_path / "mosaic.png"
    assert run("convert", str(dump), str(out), "--format", "BayerRG8", "--width", "8", "--height", "6",
               "--to", "BayerRG8").returncode == 0
    np.testing.assert_array_equal(np.asarray(PILImage.open(out)), np.arange(48, dtype=np.uint8).reshape(6, 8))


@pytest.mark.parametrize("size, offset, words", [
    (47, 0, "has 47 bytes; a 8x6 Mono8 frame needs 48"),
    (49, 0, "has 49 bytes; a 8x6 Mono8 frame needs 48"),
    (64, 8, "has 56 bytes after the 8-byte offset; a 8x6 Mono8 frame needs 48"),
    (4, 8, "has 0 bytes after the 8-byte offset"),
])
def test_a_dump_must_match_its_geometry(tmp_path, size, offset, words):
    dump = tmp_path / "frame.bin"
    np.zeros(size, np.uint8).tofile(dump)
    result = run("convert", str(dump), str(tmp_path / "out.png"), "--format", "Mono8", "--width", "8",
                 "--height", "6", "--offset", str(offset))
    assert result.returncode == 2 and words in result.stderr
    assert not (tmp_path / "out.png").exists()


def test_an_offset_skips_a_header(tmp_path):
    dump = tmp_path / "frame.bin"
    np.concatenate([np.full(16, 255, np.uint8), np.arange(48, dtype=np.uint8)]).tofile(dump)
    out = tmp_path / "out.png"
    assert run("convert", str(dump), str(out), "--format", "Mono8", "--width", "8", "--height", "6",
               "--offset", "16").returncode == 0
    assert np.asarray(PILImage.open(out)).max() == 47


def test_a_batch_goes_on_past_a_bad_file(tmp_path):
    inputs = []
    for name in ("a", "b", "c"):
        path = tmp_path / f"{name}.png"
        if name == "b":
            path.write_bytes(b"not a picture")
        else:
            PILImage.fromarray(np.zeros((4, 4), np.uint8)).save(path)
        inputs.append(str(path))
    result = run("convert", *inputs, str(tmp_path / "out"), "--ending", ".bmp")
    assert result.returncode == 1
    assert sorted(os.listdir(tmp_path / "out")) == ["a.bmp", "c.bmp"]
    assert result.stderr.splitlines()[-1].strip() == inputs[1] and "1 of 3 inputs failed" in result.stderr


def test_two_inputs_writing_one_name_are_refused_before_writing(tmp_path):
    for ending in (".png", ".bmp"):
        PILImage.fromarray(np.zeros((4, 4), np.uint8)).save(tmp_path / f"a{ending}")
    result = run("convert", str(tmp_path / "a.png"), str(tmp_path / "a.bmp"), str(tmp_path / "out"))
    assert result.returncode == 2 and "would both write" in result.stderr
    assert not (tmp_path / "out").exists()


def test_a_single_input_into_a_new_folder(tmp_path):
    PILImage.fromarray(np.zeros((4, 4), np.uint8)).save(tmp_path / "in.png")
    result = run("convert", str(tmp_path / "in.png"), str(tmp_path / "new" / "deeper") + os.sep)
    assert result.returncode == 0, result.stderr
    assert os.listdir(tmp_path / "new" / "deeper") == ["in.png"]


@pytest.mark.parametrize("ending, low, high", [(".jpg", "10", "95"), (".png", "0", "100")])
def test_quality_reaches_the_writer(tmp_path, ending, low, high):
    noisy = np.random.default_rng(3).integers(0, 256, (64, 64, 3), dtype=np.uint8)
    PILImage.fromarray(np.repeat(noisy, 2, axis=1)).save(tmp_path / "in.png")
    sizes = []
    for quality in (low, high):
        out = tmp_path / f"q{quality}{ending}"
        assert run("convert", str(tmp_path / "in.png"), str(out), "--quality", quality).returncode == 0
        sizes.append(out.stat().st_size)
    assert sizes[0] != sizes[1]
    assert (sizes[0] < sizes[1]) == (ending == ".jpg")


def test_version():
    result = run("--version")
    assert result.returncode == 0 and result.stdout.startswith("plox-ipl ") and "library" in result.stdout


def test_progress_on_a_terminal_never_shares_a_line_with_an_error(tmp_path):
    import pty

    inputs = []
    for name in ("a", "b", "c"):
        path = tmp_path / f"{name}.png"
        path.write_bytes(b"broken") if name == "b" else PILImage.fromarray(np.zeros((4, 4), np.uint8)).save(path)
        inputs.append(str(path))
    main, terminal = pty.openpty()
    process = subprocess.Popen([TOOL, "convert", *inputs, str(tmp_path / "out")], stderr=terminal,
                               stdout=subprocess.DEVNULL)
    os.close(terminal)
    chunks = []
    while True:
        try:
            chunk = os.read(main, 4096)
        except OSError:
            break
        if not chunk:
            break
        chunks.append(chunk)
    process.wait(timeout=120)
    os.close(main)
    lines = b"".join(chunks).decode().replace("\r\n", "\n").split("\n")
    assert any("3/3" in line for line in lines)
    errors = [line for line in lines if "error:" in line]
    assert errors and all(line.split("\r")[-1].startswith("plox-ipl: error:") for line in errors)
    assert all("[" not in line.split("plox-ipl: error:")[0] for line in errors)
