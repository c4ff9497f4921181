import pytest

import umb_plox_ipl as ipl


@pytest.fixture
def restore_settings():
    """Puts the process-wide library settings back after a test that changes them."""
    saved = (ipl.Library.MaxConcurrentThreads(), ipl.Library.MultiThreadingEnabled(), ipl.Library.SIMDEnabled())
    yield
    ipl.Library.SetMaxConcurrentThreads(saved[0])
    ipl.Library.SetMultiThreadingEnabled(saved[1])
    ipl.Library.SetSIMDEnabled(saved[2])
