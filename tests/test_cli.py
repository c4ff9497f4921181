"""The plox-ipl tool, run as a user runs it: in a subprocess."""

import os
import subprocess
import sys

import numpy as np
import pytest
from PIL import Image as PILImage

TOOL = os.path.join(os.path.dirname(sys.executable), "plox-ipl")


def run(*args, cwd=None):
    return subprocess.run([TOOL, *args], capture_output=True, text=True, cwd=cwd, timeout=120)


def test_info_lists_formats_and_conversions():
    result = run("info")
    assert result.returncode == 0
    assert "BayerRG12p" in result.stdout and "Conversions" in result.stdout
    assert "BayerRG12p" in subprocess.run([sys.executable, "-m", "umb_plox_ipl", "info"], capture_output=True,
                                          text=True, timeout=120).stdout


def pack_12p(values):
    v = values.astype(np.uint32).ravel().reshape(-1, 2)
    word = v[:, 0] | v[:, 1] << 12
    return np.stack([word & 0xFF, word >> 8 & 0xFF, word >> 16], axis=1).astype(np.uint8)


def test_convert_camera_dump_and_files(tmp_path):
    dump = tmp_path / "frame.bin"
    pack_12p(np.full((6, 8), 2048, np.uint16)).tofile(dump)
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
    assert "3/3" in result.stderr


@pytest.mark.parametrize("args, words", [
    (("convert", "missing.png", "out.png"), "missing.png"),
    (("convert", "in.png", "out.tiff"), ".tiff"),
    (("convert", "in.png", "out.png", "--to", "Mono7"), "Mono7"),
    (("convert", "in.png", "out.png", "--format", "Mono8"), "--width"),
])
def test_user_errors_are_one_line_with_status_2(tmp_path, args, words):
    PILImage.fromarray(np.zeros((4, 4), np.uint8)).save(tmp_path / "in.png")
    result = run(*args, cwd=tmp_path)
    assert result.returncode == 2
    assert words in result.stderr and "Traceback" not in result.stderr
    assert len(result.stderr.strip().splitlines()) == 1


def test_demo_writes_files(tmp_path):
    result = run("demo", "--output", str(tmp_path / "demo"))
    assert result.returncode == 0, result.stderr
    assert {"chart.png", "chart.jpg", "chart.bmp", "chart.raw"} <= set(os.listdir(tmp_path / "demo"))
    assert "HighQuality" in result.stdout and "Mpix/s" in result.stdout
