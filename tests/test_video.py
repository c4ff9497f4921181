"""Video: files read back by PyAV and OpenCV, the queue (full, waits, order), a recording killed
mid-way, an OpenDML file past 1 GiB, failures, and the encoder/container/writer interface."""

import os
import shutil
import signal
import subprocess
import sys
import textwrap
import threading
import time
from fractions import Fraction

import av
import cv2
import numpy as np
import pytest

import umb_plox_ipl as ipl

RNG = np.random.default_rng(23)


def picture(index, height=96, width=160):
    """A smooth RGB picture that moves with `index`, as a camera would see it."""
    y, x = np.mgrid[0:height, 0:width].astype(np.float64)
    r = 128 + 100 * np.sin((x + 4 * index) / 17)
    g = 128 + 100 * np.cos((y - 3 * index) / 13)
    b = 128 + 80 * np.sin((x + y + 5 * index) / 23)
    return np.stack([r, g, b], axis=2).round().astype(np.uint8)


# Each accepted layout made from the RGB picture, and how a reader's RGB frame compares with it.
LAYOUTS = {
    "RGB8": lambda rgb: rgb.copy(),
    "BGR8": lambda rgb: np.ascontiguousarray(rgb[..., ::-1]),
    "RGBa8": lambda rgb: np.dstack([rgb, np.full(rgb.shape[:2], 7, np.uint8)]),
    "BGRa8": lambda rgb: np.dstack([rgb[..., ::-1], np.full(rgb.shape[:2], 7, np.uint8)]),
    "Mono8": lambda rgb: rgb[..., 1].copy(),
}


def image(array, name):
    return ipl.from_numpy(np.ascontiguousarray(array), name)


def noisy_frame(side=1024, channels=3, seed=0):
    """Noise encodes slowly and large: frames that keep the encoders busy."""
    return np.random.default_rng(seed).integers(0, 256, (side, side, channels), dtype=np.uint8)


def read_pyav(path, pixel_format="rgb24"):
    with av.open(str(path)) as container:
        stream = container.streams.video[0]
        frames = [frame.to_ndarray(format=pixel_format) for frame in container.decode(stream)]
        return {"frames": stream.frames, "rate": stream.average_rate, "width": stream.codec_context.width,
                "height": stream.codec_context.height}, frames


def read_opencv(path):
    capture = cv2.VideoCapture(str(path))
    frames = []
    while True:
        ok, frame = capture.read()
        if not ok:
            break
        frames.append(frame)
    info = capture.get(cv2.CAP_PROP_FRAME_COUNT), capture.get(cv2.CAP_PROP_FPS)
    capture.release()
    return info, frames


def mean_error(a, b):
    return np.abs(a.astype(np.int32) - b.astype(np.int32)).mean()


def open_writer(path, queue_size=None, quality=None, fps=None):
    writer = ipl.VideoWriter()
    writer.Open(str(path))
    if queue_size is not None:
        writer.SetQueueSize(queue_size)
    if quality is not None:
        writer.Encoder().SetQuality(quality)
    if fps is not None:
        writer.Container().SetFramerate(fps)
    return writer


# --- read back --------------------------------------------------------------------------------

@pytest.mark.parametrize("name", LAYOUTS)
@pytest.mark.parametrize("fps, rate", [(25, Fraction(25)), (29.97, Fraction(30000, 1001)), (12.5, Fraction(25, 2))])
def test_pyav_and_opencv_read_every_frame(tmp_path, name, fps, rate):
    path = tmp_path / "clip.avi"
    count = 12
    sources = [picture(i) for i in range(count)]
    writer = open_writer(path, queue_size=count, fps=fps)
    for rgb in sources:
        writer.Append(image(LAYOUTS[name](rgb), name))
    writer.Close()

    grey = name == "Mono8"
    info, frames = read_pyav(path, "gray" if grey else "rgb24")
    assert info == {"frames": count, "rate": rate, "width": 160, "height": 96}
    assert len(frames) == count
    for rgb, frame in zip(sources, frames):
        assert mean_error(frame, rgb[..., 1] if grey else rgb) < 3

    (frame_count, opencv_fps), frames = read_opencv(path)
    assert frame_count == count and len(frames) == count
    assert opencv_fps == pytest.approx(float(rate))
    for rgb, frame in zip(sources, frames):
        assert mean_error(frame, np.repeat(rgb[..., 1:2], 3, axis=2) if grey else rgb[..., ::-1]) < 3


def test_quality_changes_the_pictures(tmp_path):
    sizes = {}
    for quality in (20, 95):
        path = tmp_path / f"q{quality}.avi"
        writer = open_writer(path, quality=quality)
        assert writer.Encoder().GetQuality() == quality
        writer << image(picture(0, 480, 640), "RGB8")
        writer.Close()
        sizes[quality] = os.path.getsize(path)
    assert sizes[20] < sizes[95] / 2


def test_bayer_frames_are_demosaiced(tmp_path):
    rgb = picture(3)
    mosaic = np.empty(rgb.shape[:2], np.uint8)  # RG / GB cells
    mosaic[0::2, 0::2] = rgb[0::2, 0::2, 0]
    mosaic[0::2, 1::2] = rgb[0::2, 1::2, 1]
    mosaic[1::2, 0::2] = rgb[1::2, 0::2, 1]
    mosaic[1::2, 1::2] = rgb[1::2, 1::2, 2]
    path = tmp_path / "bayer.avi"
    writer = open_writer(path)
    writer.Append(image(mosaic, "BayerRG8"))
    writer.Close()
    _, frames = read_pyav(path)
    assert mean_error(frames[0][2:-2, 2:-2], rgb[2:-2, 2:-2]) < 6


def test_supported_pixel_formats_are_accepted(tmp_path):
    names = {ipl.PixelFormat(code).Name() for code in ipl.GetSupportedPixelFormats(ipl.PLOX_IPL_VIDEO_ENCODER_MJPEG)}
    assert {"Mono8", "RGB8", "BGR8", "RGBa8", "BGRa8", "BayerRG12p", "Mono12"} <= names
    assert "Coord3D_C32f" not in names
    assert list(ipl.GetSupportedPixelFormats(ipl.PLOX_IPL_VIDEO_ENCODER_RAW)) == []


# --- the queue --------------------------------------------------------------------------------

def test_full_queue_raises_busy_and_drops_the_frame(tmp_path):
    path = tmp_path / "busy.avi"
    writer = open_writer(path, queue_size=1, quality=100)
    frame = image(noisy_frame(), "RGB8")
    accepted = busy = 0
    for _ in range(20):
        try:
            writer.Append(frame)
            accepted += 1
        except ipl.BusyException:
            busy += 1
    assert busy > 0
    assert writer.NumFramesDropped() == busy
    assert writer.NumBuffersQueued() <= 1
    writer.WaitUntilQueueEmpty(60000)
    assert writer.NumFramesEncoded() == accepted
    assert writer.FileSize() == os.path.getsize(path)
    writer.ResetFrameCounters()
    assert (writer.NumFramesEncoded(), writer.NumFramesDropped()) == (0, 0)
    writer.Close()
    assert len(read_pyav(path)[1]) == accepted


def test_append_copies_the_frame(tmp_path):
    path = tmp_path / "copy.avi"
    writer = open_writer(path, queue_size=8)
    pixels = picture(0)
    frame = image(pixels, "RGB8")
    writer.Append(frame)
    pixels[:] = 0  # the caller reuses its buffer at once
    writer.Append(frame)
    writer.Close()
    frames = read_pyav(path)[1]
    assert mean_error(frames[0], picture(0)) < 3
    assert frames[1].max() < 8


def test_wait_times_out_and_releases_the_gil(tmp_path):
    path = tmp_path / "wait.avi"
    writer = open_writer(path, queue_size=64, quality=100)
    frame = image(noisy_frame(), "RGB8")
    for _ in range(64):
        writer.Append(frame)
    with pytest.raises(ipl.TimeoutException, match="0 ms"):
        writer.WaitUntilQueueEmpty(0)
    with pytest.raises(ipl.InvalidArgumentException, match="-5"):
        writer.WaitUntilFrameDone(-5)
    seen_while_waiting = []
    waiter = threading.Thread(target=writer.WaitUntilQueueEmpty, args=(120000,))
    waiter.start()
    time.sleep(0.05)  # ample for the waiter to enter the wait (the switch interval is 5 ms)
    # Holding the lock, the waiter would keep this thread asleep until the queue were empty.
    seen_while_waiting.append((waiter.is_alive(), writer.NumBuffersQueued()))
    waiter.join()
    alive, queued = seen_while_waiting[0]
    assert alive and queued > 0
    writer.WaitUntilFrameDone(0)  # nothing queued: returns at once
    assert writer.NumFramesEncoded() == 64
    writer.Close()


def test_frames_land_in_append_order(tmp_path):
    path = tmp_path / "order.avi"
    writer = open_writer(path, queue_size=256)
    levels = [(20 + 53 * i) % 220 + 10 for i in range(80)]
    for i, level in enumerate(levels):
        frame = np.full((128, 256), level, np.uint8)
        if i % 3 == 0:  # slower to encode: later frames overtake it on the other workers
            frame[64:] = RNG.integers(0, 256, (64, 256), dtype=np.uint8)
        writer.Append(image(frame, "Mono8"))
    writer.Close()
    frames = read_pyav(path, "gray")[1]
    assert [round(float(f[:64].mean())) for f in frames] == pytest.approx(levels, abs=2)


# --- a recording that outlives its process ----------------------------------------------------

KILLED_CHILD = textwrap.dedent("""
    import sys
    import numpy as np
    import umb_plox_ipl as ipl
    writer = ipl.VideoWriter()
    writer.Open(sys.argv[1])
    i = 0
    while True:
        writer.Append(ipl.from_numpy(np.full((64, 64), (i * 37) % 200 + 20, np.uint8), "Mono8"))
        writer.WaitUntilQueueEmpty(60000)
        i += 1
        print(writer.NumFramesEncoded(), flush=True)
""")


def test_killed_recording_reads_back_up_to_a_second_before(tmp_path):
    path = tmp_path / "killed.avi"
    child = subprocess.Popen([sys.executable, "-c", KILLED_CHILD, str(path)], stdout=subprocess.PIPE, text=True,
                             env={**os.environ, "PYTHONPATH": os.pathsep.join(sys.path)})
    try:
        written = 0
        while written < 30:
            line = child.stdout.readline()
            assert line, "the recording stopped early"
            written = int(line)
        time.sleep(1.5)
        child.send_signal(signal.SIGKILL)
        child.wait(timeout=60)
    finally:
        if child.poll() is None:
            child.kill()
    frames = read_pyav(path, "gray")[1]
    assert len(frames) >= written
    data = path.read_bytes()
    strh = data.index(b"strh") + 8
    assert int.from_bytes(data[strh + 32:strh + 36], "little") >= written, "the stream header's frame count"
    riff_end = int.from_bytes(data[4:8], "little") + 8
    assert data[:riff_end].count(b"00dc") >= written, "the RIFF size"
    for i, frame in enumerate(frames[:written]):
        assert abs(float(frame.mean()) - ((i * 37) % 200 + 20)) < 2, i


EXITING_CHILD = textwrap.dedent("""
    import sys, threading
    import numpy as np
    import umb_plox_ipl as ipl
    writer = ipl.VideoWriter()
    writer.Open(sys.argv[1])
    writer.SetQueueSize(64)
    writer.Encoder().SetQuality(100)
    frame = ipl.from_numpy(np.random.default_rng(0).integers(0, 256, (512, 512, 3), dtype=np.uint8), "RGB8")
    for _ in range(40):
        writer.Append(frame)
    threading.Thread(target=writer.WaitUntilQueueEmpty, args=(60000,), daemon=True).start()
    threading.Thread(target=lambda: [writer.WaitUntilFrameDone(60000) for _ in range(100)], daemon=True).start()
""")


def test_process_exits_with_an_open_writer_and_threads_waiting_in_it(tmp_path):
    path = tmp_path / "exit.avi"
    result = subprocess.run([sys.executable, "-c", EXITING_CHILD, str(path)], capture_output=True, text=True,
                            timeout=120, env={**os.environ, "PYTHONPATH": os.pathsep.join(sys.path)})
    assert result.returncode == 0, result.stderr
    assert len(read_pyav(path)[1]) <= 40  # left as a killed recording is: readable as far as it got


# --- OpenDML ----------------------------------------------------------------------------------

def test_opendml_file_past_1_gib_reads_back_whole(tmp_path):
    need = 2_300_000_000
    if shutil.disk_usage(tmp_path).free < need:
        pytest.skip(f"the test folder has less than {need} bytes free")
    path = tmp_path / "large.avi"
    writer = open_writer(path, queue_size=8, quality=100)
    noise = noisy_frame(1200, 3, seed=1)[:, :, :]
    frame = np.concatenate([noise, noisy_frame(1200, 3, seed=2)[:, :720]], axis=1)  # 1920x1200
    count = 0
    while writer.FileSize() < (1 << 30) + (64 << 20):
        frame[:64, :64] = (count * 41) % 200 + 20  # a mark to tell the frames apart
        try:
            writer.Append(image(frame, "RGB8"))
            count += 1
        except ipl.BusyException:
            writer.WaitUntilFrameDone(60000)
    writer.Close()
    assert os.path.getsize(path) > 1 << 30
    with open(path, "rb") as f:
        head = f.read(12)
    assert head[:4] == b"RIFF" and head[8:] == b"AVI "
    with av.open(str(path)) as container:
        stream = container.streams.video[0]
        assert stream.frames == count
        marks = [float(f.to_ndarray(format="rgb24")[8:56, 8:56].mean()) for f in container.decode(stream)]
    assert marks == pytest.approx([(i * 41) % 200 + 20 for i in range(count)], abs=2)


# --- failures ---------------------------------------------------------------------------------

def test_bad_frames_are_refused_naming_their_sizes(tmp_path):
    path = tmp_path / "bad.avi"
    writer = open_writer(path)
    with pytest.raises(ipl.InvalidArgumentException, match="60x48"):
        writer.Append(image(np.zeros((48, 60, 3), np.uint8), "RGB8"))
    assert not path.exists()
    with pytest.raises(ipl.ImageFormatNotSupportedException, match="Coord3D_C32f"):
        writer.Append(image(np.zeros((16, 16), np.float32), "Coord3D_C32f"))
    writer.Append(image(np.zeros((48, 64, 3), np.uint8), "RGB8"))
    with pytest.raises(ipl.InvalidArgumentException, match="64x40.*64x48"):
        writer.Append(image(np.zeros((40, 64, 3), np.uint8), "RGB8"))
    with pytest.raises(ipl.InvalidArgumentException, match="BGR8.*RGB8"):
        writer.Append(image(np.zeros((48, 64, 3), np.uint8), "BGR8"))
    writer.Close()
    assert len(read_pyav(path)[1]) == 1


@pytest.mark.parametrize("setter, value", [
    (lambda w, v: w.SetQueueSize(v), 0), (lambda w, v: w.SetQueueSize(v), 257),
    (lambda w, v: w.Encoder().SetQuality(v), 0), (lambda w, v: w.Encoder().SetQuality(v), 101),
    (lambda w, v: w.Container().SetFramerate(v), 0.0), (lambda w, v: w.Container().SetFramerate(v), 1001.0)])
def test_settings_outside_their_ranges_are_refused(tmp_path, setter, value):
    writer = open_writer(tmp_path / "x.avi")
    with pytest.raises(ipl.InvalidArgumentException, match=str(int(value))):
        setter(writer, value)
    writer.Close()


def test_unwritable_path_raises_io_error_from_append(tmp_path):
    path = tmp_path / "missing" / "v.avi"
    writer = open_writer(path)
    with pytest.raises(ipl.IOException, match="missing"):
        writer.Append(image(picture(0), "RGB8"))
    writer.Close()
    assert not path.exists()


FULL_DISK_CHILD = textwrap.dedent("""
    import resource, signal, sys
    import numpy as np
    import umb_plox_ipl as ipl
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    resource.setrlimit(resource.RLIMIT_FSIZE, (400000, 400000))
    writer = ipl.VideoWriter()
    writer.Open(sys.argv[1])
    writer.Encoder().SetQuality(100)
    frame = ipl.from_numpy(np.random.default_rng(0).integers(0, 256, (256, 256), dtype=np.uint8), "Mono8")
    try:
        for _ in range(200):
            try:
                writer.Append(frame)
            except ipl.BusyException:
                writer.WaitUntilFrameDone(60000)
        writer.WaitUntilQueueEmpty(60000)
        print("no error")
    except ipl.IOException as error:
        print("IOException", error)
    writer.Close()
""")


def test_full_disk_raises_io_error_and_leaves_no_file(tmp_path):
    path = tmp_path / "full.avi"
    result = subprocess.run([sys.executable, "-c", FULL_DISK_CHILD, str(path)], capture_output=True, text=True,
                            timeout=120, env={**os.environ, "PYTHONPATH": os.pathsep.join(sys.path)})
    assert result.returncode == 0, result.stderr
    assert result.stdout.startswith("IOException") and "full.avi" in result.stdout, result.stdout
    assert not path.exists()


# --- encoders, containers and the writer's interface --------------------------------------------

def test_factories_and_their_texts():
    encoder = ipl.CreateEncoder(ipl.PLOX_IPL_VIDEO_ENCODER_MJPEG)
    container = ipl.CreateContainer(ipl.PLOX_IPL_VIDEO_CONTAINER_AVI)
    assert isinstance(encoder, ipl.MJPEGEncoder) and encoder.Id() == 1
    assert isinstance(container, ipl.AVIContainer) and container.Id() == 0
    with pytest.raises(ipl.InvalidArgumentException, match="^The supplied encoder is not a valid value!$"):
        ipl.CreateEncoder(ipl.PLOX_IPL_VIDEO_ENCODER_RAW)
    with pytest.raises(ipl.InvalidArgumentException, match="^The supplied container is not a valid value!$"):
        ipl.CreateContainer(1)
    with pytest.raises(OverflowError, match="in method 'CreateEncoder', argument 1 of type 'PLOX_IPL_VIDEO_ENCODER'"):
        ipl.CreateEncoder(70000)
    with pytest.raises(ipl.Exception):  # not attached to a writer: the library refuses the null handle
        encoder.SetQuality(50)


def test_encoder_and_container_lists_answer_from_one_table():
    encoders = ipl.GetSupportedEncodersForAContainer(ipl.PLOX_IPL_VIDEO_CONTAINER_AVI)
    containers = ipl.GetSupportedContainersForAnEncoder(ipl.PLOX_IPL_VIDEO_ENCODER_MJPEG)
    assert isinstance(encoders, ipl.VectorVideo) and list(encoders) == [ipl.PLOX_IPL_VIDEO_ENCODER_MJPEG]
    assert isinstance(containers, ipl.VectorVideo) and list(containers) == [ipl.PLOX_IPL_VIDEO_CONTAINER_AVI]
    assert list(ipl.GetSupportedContainersForAnEncoder(ipl.PLOX_IPL_VIDEO_ENCODER_RAW)) == []
    assert isinstance(ipl.GetSupportedPixelFormats(1), ipl.PixelFormatList)
    with pytest.raises(ipl.InvalidArgumentException, match="9"):
        ipl.GetSupportedEncodersForAContainer(9)


def test_open_attaches_encoder_and_container(tmp_path):
    writer = ipl.VideoWriter()
    with pytest.raises(ipl.InvalidArgumentException, match="^The open method must be called before append!$"):
        writer.Append(image(picture(0), "RGB8"))
    with pytest.raises(ipl.InvalidArgumentException, match="^The given pointer is a null pointer!$"):
        writer.Open(str(tmp_path / "a.avi"), None, ipl.CreateEncoder(1))
    encoder, container = ipl.CreateEncoder(1), ipl.CreateContainer(0)
    writer.Open(str(tmp_path / "a.avi"), container, encoder)
    assert writer.IsOpen()
    quality = encoder.QualityRange()
    assert (quality.Minimum(), quality.Maximum(), quality.Increment()) == (1, 100, 1)
    assert encoder.GetQuality() == 90 and container.GetFramerate() == 25.0
    queue = writer.QueueSizeRange()
    assert (queue.Minimum(), queue.Maximum(), writer.QueueSize()) == (1, 256, 16)
    encoder.SetQuality(42)
    assert writer.Encoder().GetQuality() == 42 and writer.Encoder().Id() == 1 and writer.Container().Id() == 0
    assert writer << image(picture(0), "RGB8") << image(picture(1), "RGB8") is writer
    writer.Close()
    assert not writer.IsOpen()
    writer.Close()  # closing a closed writer does nothing
    with pytest.raises(ipl.Exception):  # the handle was released with the video
        writer.Append(image(picture(0), "RGB8"))
    assert len(read_pyav(tmp_path / "a.avi")[1]) == 2


def test_deleting_an_open_writer_closes_the_video(tmp_path):
    path = tmp_path / "deleted.avi"
    writer = open_writer(path, queue_size=32)
    for i in range(20):
        writer.Append(image(picture(i), "RGB8"))
    del writer
    info, frames = read_pyav(path)
    assert info["frames"] == 20 and len(frames) == 20


def test_constructor_and_open_texts(tmp_path):
    with pytest.raises(TypeError) as error:
        ipl.VideoWriter(1)
    assert str(error.value) == (
        "Wrong number or type of arguments for overloaded function 'new_VideoWriter'.\n"
        "  Possible C/C++ prototypes are:\n"
        "    plox::ipl::VideoWriter::VideoWriter()\n"
        "    plox::ipl::VideoWriter::VideoWriter(plox::ipl::VideoWriter &&)\n")
    with pytest.raises(TypeError) as error:
        ipl.VideoWriter().Open(str(tmp_path / "a.avi"), ipl.CreateContainer(0))
    assert str(error.value) == (
        "Wrong number or type of arguments for overloaded function 'VideoWriter_Open'.\n"
        "  Possible C/C++ prototypes are:\n"
        "    plox::ipl::VideoWriter::Open(std::string const &,std::shared_ptr< plox::ipl::container::IContainer >,"
        "std::shared_ptr< plox::ipl::encoder::IEncoder >)\n"
        "    plox::ipl::VideoWriter::Open(std::string const &)\n")
    with pytest.raises(TypeError, match="in method 'VideoWriter_SetQueueSize', argument 2 of type 'int32_t'"):
        ipl.VideoWriter().SetQueueSize("x")
    with pytest.raises(ValueError, match="invalid null reference in method 'new_MJPEGEncoder', argument 1 of type "
                                         "'plox::ipl::encoder::MJPEGEncoder &&'"):
        ipl.MJPEGEncoder(None)
    writer = ipl.VideoWriter()
    writer.Open(str(tmp_path / "b.avi"))
    with pytest.raises(RuntimeError, match="in method 'new_AVIContainer', cannot release ownership as memory is not "
                                           "owned for argument 1 of type 'plox::ipl::container::AVIContainer &&'"):
        ipl.AVIContainer(writer.Container())  # shared with the writer
    writer.Close()
    encoder = ipl.CreateEncoder(ipl.PLOX_IPL_VIDEO_ENCODER_MJPEG)
    assert ipl.MJPEGEncoder(encoder).Id() == 1
    with pytest.raises(ValueError, match="moved from"):
        encoder.Id()


def test_moving_a_writer_moves_its_video(tmp_path):
    path = tmp_path / "moved.avi"
    first = open_writer(path)
    first.Append(image(picture(0), "RGB8"))
    second = ipl.VideoWriter(first)
    assert second.IsOpen()
    with pytest.raises(ValueError, match="moved from"):
        first.IsOpen()
    second.Append(image(picture(1), "RGB8"))
    second.Close()
    assert len(read_pyav(path)[1]) == 2


def test_docstrings():
    assert "Sets the quality for the jpeg encoder." in ipl.MJPEGEncoder.SetQuality.__doc__
    assert "Set the frame rate for the opened video." in ipl.AVIContainer.SetFramerate.__doc__
    assert "Get the current type of the encoder." in ipl.MJPEGEncoder.Id.__doc__
    assert "Get the current type of the container." in ipl.AVIContainer.Id.__doc__
    for method in (ipl.MJPEGEncoder.SetQuality, ipl.VideoWriter.Append, ipl.VideoWriter.Open):
        assert "Since: 1.5" in method.__doc__
    assert "image has unsupported pixel format." in ipl.VideoWriter.Append.__doc__
    assert "divisible by 8" in ipl.VideoWriter.Append.__doc__


# --- the command line -------------------------------------------------------------------------

def run_tool(*args):
    return subprocess.run([sys.executable, "-m", "umb_plox_ipl", *args], capture_output=True, text=True,
                          timeout=120, env={**os.environ, "PYTHONPATH": os.pathsep.join(sys.path)})


def test_cli_makes_a_video_of_a_folder(tmp_path):
    folder = tmp_path / "frames"
    folder.mkdir()
    for i in range(5):
        cv2.imwrite(str(folder / f"f{i:02d}.png"), picture(i)[..., ::-1])
    (folder / "notes.txt").write_text("not a frame")
    out = tmp_path / "clip.avi"
    result = run_tool("video", str(folder), str(out), "--fps", "10", "--quality", "95")
    assert result.returncode == 0, result.stderr
    info, frames = read_pyav(out)
    assert info["frames"] == 5 and info["rate"] == 10
    for i, frame in enumerate(frames):
        assert mean_error(frame, picture(i)) < 3


@pytest.mark.parametrize("shapes, message", [
    ([(96, 160), (96, 104)], "104x96 RGB8 differs from the video's 160x96 RGB8"),
    ([(100, 96)], "96x100 must be divisible by 8")])
def test_cli_refuses_a_bad_frame_and_leaves_no_video(tmp_path, shapes, message):
    names = []
    for i, shape in enumerate(shapes):
        names.append(str(tmp_path / f"f{i}.png"))
        cv2.imwrite(names[-1], np.zeros((*shape, 3), np.uint8))
    out = tmp_path / "bad.avi"
    result = run_tool("video", *names, str(out))
    assert result.returncode == 2
    assert message in result.stderr and names[-1] in result.stderr
    assert not out.exists()
