"""Images and views give their memory back: resident size after many 12-Mpixel images."""

import ctypes
import gc
import os

import pytest

import umb_plox_ipl as ipl

PAGE = os.sysconf("SC_PAGE_SIZE")
WIDTH, HEIGHT = 4000, 3000
# Well below one image (12 MB): a lost image, or more than ~4 KiB lost per image, shows.
MARGIN = 4 * 1024 * 1024


@pytest.fixture(autouse=True, scope="module")
def fixed_mmap_threshold():
    """glibc raises its mmap threshold after large blocks are freed (by any earlier test), and
    then serves 12 MB images from memory that is already resident, hiding them from the measure.
    A fixed threshold keeps every image in its own mapping."""
    m_mmap_threshold = -3
    ctypes.CDLL(None).mallopt(m_mmap_threshold, 1 << 20)


def resident():
    with open("/proc/self/statm") as statm:
        return int(statm.read().split()[1]) * PAGE


def touched_image():
    image = ipl.Image.CreateFromSize(ipl.PixelFormatName_Mono8, WIDTH, HEIGHT)
    ipl.get_numpy(image).reshape(-1)[::PAGE] = 1  # every page really allocated
    return image


def view_outliving_its_image():
    image = touched_image()
    array, view = image.get_numpy_2D(), image.DataView()
    del image
    array.reshape(-1)[::PAGE] += 1
    assert view[0] == 2
    return array


def with_views():
    image = touched_image()
    for method in ("get_numpy_1D", "get_numpy_2D", "get_numpy_3D", "get_numpy_1D_16", "DataView"):
        getattr(image, method)()
    return image


@pytest.mark.parametrize("make", [touched_image, view_outliving_its_image, with_views],
                         ids=["images", "views-outliving-images", "images-with-views"])
def test_thousand_12_mpixel_images_leave_resident_memory_where_it_was(make):
    for _ in range(20):  # warm-up: allocator pools, first-use caches
        make()
    gc.collect()
    before = resident()
    for _ in range(1000):
        make()
    gc.collect()
    grown = resident() - before
    assert grown < MARGIN, f"resident memory grew by {grown / 2**20:.1f} MiB"
    # The measure is not blind: a few live images do show up in the resident size.
    alive = [make() for _ in range(3)]
    assert resident() - before > WIDTH * HEIGHT
    del alive
