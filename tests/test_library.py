"""Library version and the process-wide settings."""

import threading

import pytest

import umb_plox_ipl as ipl


def test_version_matches_package():
    version = ipl.Library.Version()
    numbers = [int(part) for part in ipl.__version__.split(".")[:3]]
    assert [version.major, version.minor, version.subminor] == numbers
    assert version.ToString() == ".".join(map(str, numbers))
    assert ipl.Library_Version().ToString() == version.ToString()


@pytest.mark.parametrize("fields, text", [
    (None, "0.0.0"), ((1, 9, 2), "1.9.2"), ((10, 0, 7), "10.0.7"),
    ((4294967295, 0, 4294967295), "4294967295.0.4294967295"),
])
def test_version_to_string(fields, text):
    version = ipl.Version_t()
    if fields:
        version.major, version.minor, version.subminor = fields
    assert version.ToString() == text


@pytest.mark.parametrize("count", [1, 3, 64, 0])
def test_max_concurrent_threads(restore_settings, count):
    ipl.Library.SetMaxConcurrentThreads(count)
    assert ipl.Library.MaxConcurrentThreads() == count
    assert ipl.Library_MaxConcurrentThreads() == count


@pytest.mark.parametrize("getter, setter", [
    (ipl.Library_MultiThreadingEnabled, ipl.Library_SetMultiThreadingEnabled),
    (ipl.Library_SIMDEnabled, ipl.Library_SetSIMDEnabled),
], ids=["MultiThreading", "SIMD"])
def test_switches(restore_settings, getter, setter):
    for value in (False, True, False, True):
        setter(value)
        assert getter() is value


def test_settings_are_independent(restore_settings):
    def settings():
        return ipl.Library.MaxConcurrentThreads(), ipl.Library.MultiThreadingEnabled(), ipl.Library.SIMDEnabled()

    ipl.Library.SetMaxConcurrentThreads(5)
    for multithreading, simd in [(False, True), (True, False)]:
        ipl.Library.SetMultiThreadingEnabled(multithreading)
        ipl.Library.SetSIMDEnabled(simd)
        assert settings() == (5, multithreading, simd)


def test_settings_from_several_threads(restore_settings):
    threads_count, rounds = 8, 300
    start = threading.Barrier(threads_count)
    errors = []

    def legal(value):
        return value // 1000 < threads_count and (value % 1000 < rounds or value % 1000 == 999)

    def worker(index):
        try:
            start.wait()
            for round_ in range(rounds):
                ipl.Library.SetMaxConcurrentThreads(index * 1000 + round_)
                ipl.Library.SetMultiThreadingEnabled(round_ % 2 == 0)
                ipl.Library.SetSIMDEnabled(index % 2 == 0)
                assert legal(ipl.Library.MaxConcurrentThreads())
            # Each thread's last word, so the final state must be one of them, never a mix of bytes.
            ipl.Library.SetMaxConcurrentThreads(index * 1000 + 999)
        except BaseException as error:  # reported by the main thread
            errors.append(error)

    workers = [threading.Thread(target=worker, args=(i,)) for i in range(threads_count)]
    for thread in workers:
        thread.start()
    for thread in workers:
        thread.join()
    assert errors == []
    assert ipl.Library.MaxConcurrentThreads() in {i * 1000 + 999 for i in range(threads_count)}
    assert ipl.Library.MultiThreadingEnabled() is ((rounds - 1) % 2 == 0)
