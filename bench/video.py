"""Motion-JPEG video writing against cv2.VideoWriter, PyAV's mjpeg encoder and cv2.imencode on two
threads, on the same moving photograph at 1920x1200, in one run."""

import os
import statistics
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor

import av
import cv2
import numpy as np
from skimage import data as photos

import umb_plox_ipl as ipl
from common import print_table

QUALITY = 90
FRAMES = 96
REPEAT = 3
WARMUP = 16


def moving_photograph(width=1920, height=1200, count=FRAMES):
    """A camera panning over a photograph: each frame the scene moved by a few pixels."""
    wide = cv2.resize(photos.astronaut(), (width + 4 * count, height), interpolation=cv2.INTER_CUBIC)
    return [np.ascontiguousarray(wide[:, 4 * i:4 * i + width]) for i in range(count)]


def median_seconds_interleaved(runs):
    """Each run returns the seconds of its recording; the writers take turns, so that the load of a
    shared machine falls on all of them alike. The median per writer, after a warm-up."""
    for run in runs.values():
        run()
    times = {name: [] for name in runs}
    for _ in range(REPEAT):
        for name, run in runs.items():
            times[name].append(run())
    return {name: statistics.median(t) for name, t in times.items()}


def psnr(path, reference, index=10):
    capture = cv2.VideoCapture(path)
    capture.set(cv2.CAP_PROP_POS_FRAMES, index)
    ok, frame = capture.read()
    capture.release()
    error = np.mean((frame.astype(np.float64) - reference) ** 2) if ok else float("nan")
    return 10 * np.log10(255 ** 2 / error)


def main():
    frames = moving_photograph()
    height, width = frames[0].shape[:2]
    bgr_frames = [np.ascontiguousarray(f[..., ::-1]) for f in frames]
    images = [ipl.from_numpy(f, "RGB8") for f in frames]
    folder = tempfile.mkdtemp()
    paths = {name: os.path.join(folder, name + ".avi") for name in ("ours", "cv2", "pyav")}

    # Every writer is opened and has written WARMUP frames before its clock starts: the figures are
    # those of a recording under way. The clock stops when the file is closed.
    def ours():
        writer = ipl.VideoWriter()
        writer.Open(paths["ours"])
        writer.Encoder().SetQuality(QUALITY)
        for image in images[:WARMUP]:
            writer.Append(image)
        writer.WaitUntilQueueEmpty(60000)
        start = time.perf_counter()
        for image in images:
            while True:
                try:
                    writer.Append(image)
                    break
                except ipl.BusyException:
                    writer.WaitUntilFrameDone(60000)
        writer.WaitUntilQueueEmpty(600000)
        writer.Close()
        return time.perf_counter() - start

    def opencv_writer():
        writer = cv2.VideoWriter(paths["cv2"], cv2.VideoWriter_fourcc(*"MJPG"), 25, (width, height))
        writer.set(cv2.VIDEOWRITER_PROP_QUALITY, QUALITY)
        for frame in bgr_frames[:WARMUP]:
            writer.write(frame)
        start = time.perf_counter()
        for frame in bgr_frames:
            writer.write(frame)
        writer.release()
        return time.perf_counter() - start

    def pyav_writer():
        with av.open(paths["pyav"], "w") as container:
            stream = container.add_stream("mjpeg", rate=25)
            stream.width, stream.height, stream.pix_fmt = width, height, "yuvj420p"
            # A fixed quantiser of 2 gives files of about the size of JPEG quality 90.
            stream.codec_context.options = {"qmin": "2", "qmax": "2"}
            for index, frame in enumerate(frames[:WARMUP] + frames):
                if index == WARMUP:
                    start = time.perf_counter()
                for packet in stream.encode(av.VideoFrame.from_ndarray(frame, format="rgb24")):
                    container.mux(packet)
            for packet in stream.encode():
                container.mux(packet)
        return time.perf_counter() - start

    def imencode_two_threads():
        with ThreadPoolExecutor(2) as pool:
            list(pool.map(lambda f: cv2.imencode(".jpg", f, [cv2.IMWRITE_JPEG_QUALITY, QUALITY]), bgr_frames[:WARMUP]))
            start = time.perf_counter()
            list(pool.map(lambda f: cv2.imencode(".jpg", f, [cv2.IMWRITE_JPEG_QUALITY, QUALITY]), bgr_frames))
            return time.perf_counter() - start

    mpix = width * height * FRAMES / 1e6
    size = f"{width}x{height}"
    seconds = median_seconds_interleaved(
        {"ours": ours, "cv2": opencv_writer, "pyav": pyav_writer, "imencode": imencode_two_threads})
    print_table([
        ("MJPEG AVI q90", size, mpix / seconds["ours"], "cv2.VideoWriter MJPG", mpix / seconds["cv2"], 1.5),
        ("MJPEG AVI q90", size, mpix / seconds["ours"], "PyAV mjpeg q2", mpix / seconds["pyav"]),
        ("MJPEG AVI q90", size, mpix / seconds["ours"], "cv2.imencode x2 threads", mpix / seconds["imencode"], 0.8),
    ])
    print("frames per second: " + ", ".join(f"{name} {FRAMES / s:.1f}" for name, s in seconds.items()))
    print("file sizes (bytes): " + ", ".join(f"{name} {os.path.getsize(p)}" for name, p in paths.items()))
    print("PSNR of frame 10 (dB): " + ", ".join(f"{name} {psnr(p, bgr_frames[10]):.1f}" for name, p in paths.items()))


if __name__ == "__main__":
    main()
