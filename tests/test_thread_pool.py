"""The worker pool: bounded in size, shrinking when told to, and asleep between calls."""

import os
import time

import pytest

import umb_plox_ipl as ipl

CORES = os.cpu_count() or 1
LIMIT = 4 * CORES


def thread_count():
    return len(os.listdir("/proc/self/task"))


def big_conversion():
    # Enough rows for many strips, so every allowed worker gets a piece.
    image = ipl.Image.CreateFromSize(ipl.PixelFormatName_BayerRG8, 4096, 3000)
    return lambda: image.ConvertTo(ipl.PixelFormat(ipl.PixelFormatName_RGB8))


def settle(target, seconds=5.0):
    deadline = time.monotonic() + seconds
    while thread_count() > target and time.monotonic() < deadline:
        time.sleep(0.01)
    return thread_count()


@pytest.mark.parametrize("setting", [LIMIT + 1, 100000, 2**40])
def test_a_huge_setting_is_reported_back_but_runs_at_most_the_limit(restore_settings, setting):
    convert = big_conversion()
    ipl.Library.SetMaxConcurrentThreads(1)
    baseline = settle(0, seconds=0.5)
    ipl.Library.SetMaxConcurrentThreads(setting)
    assert ipl.Library.MaxConcurrentThreads() == setting
    convert()
    assert thread_count() <= baseline + LIMIT - 1


def test_lowering_the_setting_retires_workers(restore_settings):
    convert = big_conversion()
    ipl.Library.SetMaxConcurrentThreads(1)
    baseline = settle(0, seconds=0.5)
    ipl.Library.SetMaxConcurrentThreads(LIMIT)
    convert()
    assert thread_count() > baseline  # the pool really grew
    ipl.Library.SetMaxConcurrentThreads(2)
    assert settle(baseline + 1) == baseline + 1
    convert()  # and works with what is left
    ipl.Library.SetMaxConcurrentThreads(1)
    assert settle(baseline) == baseline


def test_workers_do_not_spin_between_frames(restore_settings):
    """A camera delivers a frame, the library converts it, and then nothing happens for a
    while: the workers must sleep then, not burn a core. Worker CPU is the process's CPU time
    minus the calling thread's, summed over the pauses between frames."""
    ipl.Library.SetMaxConcurrentThreads(0)
    image = ipl.Image.CreateFromSize(ipl.PixelFormatName_BayerRG8, 1024, 768)
    rgb = ipl.PixelFormat(ipl.PixelFormatName_RGB8)
    for _ in range(10):
        image.ConvertTo(rgb)
    frames, idle_cpu = 200, 0.0
    for _ in range(frames):
        image.ConvertTo(rgb)
        process, caller = time.process_time(), time.thread_time()
        time.sleep(0.002)
        idle_cpu += (time.process_time() - process) - (time.thread_time() - caller)
    # Spinning for 50 us after each call costs 10 ms over 200 frames per worker; a worker that
    # kept spinning for ~0.7 ms per frame (as it once did) would cost 140 ms.
    assert idle_cpu < frames * 200e-6 * max(1, CORES - 1), f"workers used {idle_cpu * 1e3:.1f} ms while idle"
