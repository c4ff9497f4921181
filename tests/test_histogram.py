"""Histogram: per-channel bins against np.bincount, Bayer sites by their filter colour, exact
64-bit sums, the same counts for every thread count, refused formats."""

import threading

import numpy as np
import pytest

import umb_plox_ipl as ipl
from image_data import make_image, random_data as _random_data

# Filter colour (0 R, 1 G, 2 B) of each site of the top-left 2x2 cell, row by row.
CELLS = {"RG": [[0, 1], [1, 2]], "GR": [[1, 0], [2, 1]], "GB": [[1, 2], [0, 1]], "BG": [[2, 1], [1, 0]]}


def random_data(name, width, height, rng, high_bits=False):
    # With high_bits, 16-bit containers get stray bits above the significant ones.
    storage = ipl.pixel_format(name).NumStorageBitsPerChannel()
    return _random_data(name, width, height, rng, top=1 << storage if high_bits else None)


def reference(name, data):
    """[(bins, count, sum)] per channel, from np.bincount of the significant bits."""
    fmt = ipl.pixel_format(name)
    size = 1 << fmt.NumSignificantBitsPerChannel()
    values = data.astype(np.int32) & (size - 1)
    if fmt.IsBayered():
        cell = np.array(CELLS[name[5:7]])
        colour = np.tile(cell, (data.shape[0] // 2 + 1, data.shape[1] // 2 + 1))[: data.shape[0], : data.shape[1]]
        planes = [values[colour == c] for c in range(3)]
    else:
        planes = [values.reshape(values.shape[0], values.shape[1], -1)[..., c].ravel()
                  for c in range(fmt.NumChannels())]
    return [(np.bincount(p, minlength=size).tolist(), p.size, int(p.sum())) for p in planes]


def counted(histogram):
    return [(list(c.Bins), c.PixelCount, c.PixelSum) for c in histogram.Channels()]


@pytest.mark.parametrize("name, width, height", [
    ("Mono8", 67, 33), ("Mono10", 40, 21), ("Mono12", 65, 30), ("Mono16", 31, 17), ("Confidence8", 9, 5),
    ("Coord3D_C16", 10, 3), ("RGB8", 33, 20), ("BGR12", 17, 9), ("RGBa8", 21, 13), ("BGRa10", 8, 7),
    ("BayerRG8", 64, 48), ("BayerGR8", 33, 21), ("BayerGB12", 15, 7), ("BayerBG10", 1, 1), ("BayerRG12", 7, 1),
])
def test_bins_counts_and_sums_match_bincount(name, width, height):
    data = random_data(name, width, height, np.random.default_rng(width * height))
    histogram = ipl.Histogram(make_image(name, data))
    assert histogram.PixelFormat() == ipl.pixel_format(name)
    assert counted(histogram) == reference(name, data)


def test_channels_follow_the_stored_order():
    data = np.zeros((4, 5, 4), np.uint8)
    data[..., 0], data[..., 1], data[..., 2], data[..., 3] = 10, 20, 30, 40  # B, G, R, A as stored
    channels = ipl.Histogram(make_image("BGRa8", data)).Channels()
    assert [[v for v, n in enumerate(c.Bins) if n] for c in channels] == [[10], [20], [30], [40]]


@pytest.mark.parametrize("pattern", CELLS)
def test_bayer_sites_are_counted_in_their_filter_colour(pattern):
    red, green, blue = 200, 100, 50
    cell = np.choose(np.array(CELLS[pattern]), [red, green, blue]).astype(np.uint8)
    data = np.tile(cell, (3, 4))[:5, :7].copy()  # odd sides: one more row and column of the first sites
    bins = [list(c.Bins) for c in ipl.Histogram(make_image("Bayer" + pattern + "8", data)).Channels()]
    assert [b.index(max(b)) for b in bins] == [red, green, blue]
    assert [sum(b) for b in bins] == [int((data == v).sum()) for v in (red, green, blue)]


def test_high_bits_of_wide_containers_are_ignored():
    data = random_data("Mono12", 50, 20, np.random.default_rng(3), high_bits=True)
    assert (data > 4095).any()
    histogram = ipl.Histogram(make_image("Mono12", data))
    assert len(histogram.Channels()[0].Bins) == 4096
    assert counted(histogram) == reference("Mono12", data)


def test_sum_is_exact_beyond_32_bits():
    data = np.full((1500, 2000), 65535, np.uint16)
    data[0, 0] = 1
    channel = ipl.Histogram(make_image("Mono16", data)).Channels()[0]
    assert channel.PixelSum == 65535 * (1500 * 2000 - 1) + 1 > 2**32
    assert channel.PixelCount == 1500 * 2000 and channel.Bins[65535] == 1500 * 2000 - 1


@pytest.mark.parametrize("name", ["Mono8", "RGB8", "BayerGB8", "Mono12", "BayerRG12"])
def test_same_counts_for_every_thread_count(restore_settings, name):
    data = random_data(name, 700, 521, np.random.default_rng(7))  # several strips on any thread count
    image = make_image(name, data)
    expected = reference(name, data)
    for threads, multithreading in ((1, True), (2, True), (3, True), (8, True), (0, False)):
        ipl.Library.SetMaxConcurrentThreads(threads)
        ipl.Library.SetMultiThreadingEnabled(multithreading)
        assert counted(ipl.Histogram(image)) == expected, (threads, multithreading)


def test_concurrent_histograms_from_python_threads():
    rng = np.random.default_rng(11)
    datas = [random_data("Mono8", 700, 500, rng) for _ in range(4)]
    results = [None] * len(datas)

    def run(i):
        results[i] = counted(ipl.Histogram(make_image("Mono8", datas[i])))

    threads = [threading.Thread(target=run, args=(i,)) for i in range(len(datas))]
    for t in threads:
        t.start()
    for t in threads:
        t.join(60)
    assert results == [reference("Mono8", d) for d in datas]


@pytest.mark.parametrize("name", ["Mono12p", "BayerRG10g40UMB", "RGB10p32", "Coord3D_C32f", "YUV422_8_UYVY"])
def test_packed_float_and_yuv_formats_are_refused(name):
    fmt = ipl.pixel_format(name)
    image = ipl.Image.CreateFromSize(fmt.PixelFormatName(), 8, 4)
    with pytest.raises(ipl.ImageFormatNotSupportedException, match=name):
        ipl.Histogram(image)


def test_copy_shares_the_counted_data_and_records_are_plain_values():
    data = random_data("RGB8", 20, 10, np.random.default_rng(5))
    histogram = ipl.Histogram(make_image("RGB8", data))
    copy = ipl.Histogram(histogram)
    channels = histogram.Channels()
    assert isinstance(channels, ipl.VectorHistogramChannel) and len(channels) == 3
    assert counted(copy) == counted(histogram) == reference("RGB8", data)
    del histogram
    assert counted(copy) == reference("RGB8", data)
    empty = ipl.HistogramChannel()
    assert (empty.PixelSum, empty.PixelCount, len(empty.Bins)) == (0, 0, 0)


def test_constructor_overloads_are_named():
    with pytest.raises(TypeError, match=r"Histogram::Histogram\(plox::ipl::Image const &\)\n.*"
                                        r"Histogram::Histogram\(plox::ipl::Histogram const &\)\n.*"
                                        r"Histogram::Histogram\(plox::ipl::Histogram &&\)"):
        ipl.Histogram(3)
