"""HotpixelCorrection: planted hot pixels in noisy mono and Bayer frames are found and few others,
photographs report almost none, the threshold follows level and gain as documented, corrections
against NumPy written from the rule (only listed pixels change), the adaptive stream, equal lists
for every thread count, settings and refusals."""

import cv2
import numpy as np
import pytest
from skimage import data as photos

import umb_plox_ipl as ipl
from image_data import make_image

# Threshold factors of levels 1 to 5, in units of the local noise.
LEVEL_FACTOR = {1: 20, 2: 16, 3: 12, 4: 9, 5: 6}


def bits(name):
    return ipl.pixel_format(name).NumSignificantBitsPerChannel()


def dtype(name):
    return np.uint8 if ipl.pixel_format(name).NumStorageBitsPerChannel() == 8 else np.uint16


def distance(name):
    return 2 if ipl.pixel_format(name).IsBayered() else 1


def noisy_frame(name, shape, rng, sigma=3.0, mean=60.0):
    """Noise with a standard deviation of `sigma` grey levels of 8-bit data, at the format's depth."""
    scale = 1 << (bits(name) - 8)
    frame = rng.normal(mean, sigma, shape) * scale
    return np.clip(np.rint(frame), 0, (1 << bits(name)) - 1).astype(dtype(name))


def plant(frame, name, rng, count, excess=(100, 180)):
    """Sets `count` pixels, at least 3 same-colour sites apart, to the mean plus a large excess."""
    step = 3 * distance(name)
    h, w = frame.shape
    cells = rng.choice((h // step) * (w // step), count, replace=False)
    ys = (cells // (w // step)) * step + rng.integers(0, step, count)
    xs = (cells % (w // step)) * step + rng.integers(0, step, count)
    scale = 1 << (bits(name) - 8)
    frame[ys, xs] = np.clip(frame.mean() + rng.integers(*excess, count) * scale, 0, (1 << bits(name)) - 1)
    return set(zip(xs.tolist(), ys.tolist()))


def points(found):
    return {(p.x, p.y) for p in found}


def same_colour(i, step, d, n):
    """Index `step` same-colour sites from i, reflected within its colour's sites."""
    phase, sites = i % d, (n - i % d + d - 1) // d
    j = i // d + step
    j = -j if j < 0 else (2 * (sites - 1) - j if j >= sites else j)
    return phase + d * j


def correction_reference(data, name, listed):
    """Each listed pixel gets the rounded-half-up mean of its unlisted same-colour neighbours (of all
    8 when every one is listed); nothing else changes."""
    d, (h, w) = distance(name), data.shape
    out = data.copy()
    listed = set(listed)
    for x, y in listed:
        neighbours = [(same_colour(x, dx, d, w), same_colour(y, dy, d, h))
                      for dy in (-1, 0, 1) for dx in (-1, 0, 1) if dx or dy]
        free = [p for p in neighbours if p not in listed] or neighbours
        total = sum(int(data[py, px]) for px, py in free)
        out[y, x] = (2 * total + len(free)) // (2 * len(free))
    return out


@pytest.mark.parametrize("name", ["Mono8", "Mono12", "Mono16", "BayerRG8", "BayerGB10", "BayerBG12"])
@pytest.mark.parametrize("sigma", [2.0, 5.0])
def test_planted_hot_pixels_found_and_few_others(name, sigma):
    rng = np.random.default_rng(int(sigma) * 7 + len(name))
    frame = noisy_frame(name, (300, 400), rng, sigma)
    planted = plant(frame, name, rng, 60)
    found = points(ipl.HotpixelCorrection().Detect(make_image(name, frame)))
    assert planted <= found, sorted(planted - found)
    assert len(found - planted) <= 3, sorted(found - planted)


def bayer_mosaic(rgb):
    raw = rgb[..., 1].copy()
    raw[0::2, 0::2] = rgb[0::2, 0::2, 0]
    raw[1::2, 1::2] = rgb[1::2, 1::2, 2]
    return raw


@pytest.mark.parametrize("photo", ["astronaut", "coffee", "chelsea", "camera", "rocket", "grass"])
def test_photographs_report_very_few(photo):
    picture = getattr(photos, photo)()
    frames = []
    if picture.ndim == 3:
        rgb = np.ascontiguousarray(picture[..., :3])
        frames += [("Mono8", cv2.cvtColor(rgb, cv2.COLOR_RGB2GRAY)), ("BayerRG8", bayer_mosaic(rgb)),
                   ("BayerRG12", bayer_mosaic(rgb).astype(np.uint16) << 4)]
    else:
        frames += [("Mono8", picture), ("Mono12", picture.astype(np.uint16) << 4)]
    hotpixel = ipl.HotpixelCorrection()
    for name, frame in frames:
        found = hotpixel.Detect(make_image(name, np.ascontiguousarray(frame)))
        assert len(found) <= 1e-4 * frame.size, (name, len(found))


@pytest.mark.parametrize("name", ["Mono8", "Mono12", "BayerGR8"])
@pytest.mark.parametrize("level", [1, 2, 3, 4, 5])
@pytest.mark.parametrize("gain", [50, 100, 200])
def test_threshold_follows_level_and_gain(name, level, gain):
    # On a flat frame the noise is the floor, one 8-bit grey level: a pixel is hot exactly when its
    # excess is above factor(level) * gain / 100 of those.
    step = 3 * distance(name)
    frame = np.full((4 * step, 70 * step), 40 << (bits(name) - 8), dtype(name))
    unit = 1 << (bits(name) - 8)
    excesses = {}
    for i, excess in enumerate(range(1, 211, 3)):
        x, y = (i % 70) * step + step // 2, (i // 70) * step + step // 2
        frame[y, x] += excess * unit
        excesses[x, y] = excess
    hotpixel = ipl.HotpixelCorrection()
    hotpixel.SetSensitivity(level)
    hotpixel.SetGainFactorPercent(gain)
    found = points(hotpixel.Detect(make_image(name, frame)))
    limit = LEVEL_FACTOR[level] * gain / 100
    assert found == {p for p, excess in excesses.items() if excess > limit}


def test_cold_and_clustered_pixels_are_not_hot():
    frame = np.full((20, 20), 100, np.uint8)
    frame[5, 5] = 0          # dark: not hot
    frame[10, 10] = frame[10, 11] = 255  # a pair: neither is above all its neighbours
    frame[15, 4] = 255       # isolated: hot
    assert points(ipl.HotpixelCorrection().Detect(make_image("Mono8", frame))) == {(4, 15)}


@pytest.mark.parametrize("name", ["Mono8", "Mono12", "BayerRG8", "BayerBG12"])
@pytest.mark.parametrize("in_place", [False, True])
def test_correction_changes_only_listed_pixels(name, in_place):
    rng = np.random.default_rng(3)
    h, w = 11, 14
    data = rng.integers(0, 1 << bits(name), (h, w)).astype(dtype(name))
    # Corners, edges, neighbouring listed pixels, a point listed twice.
    listed = [(0, 0), (w - 1, h - 1), (0, 5), (7, 0), (5, 5), (5 + distance(name), 5), (6, 6), (6, 6), (13, 4)]
    expected = correction_reference(data, name, listed)
    image = make_image(name, data)
    before = data.copy()
    hotpixel = ipl.HotpixelCorrection()
    vector = ipl.VectorPoint2D([ipl.Point2D_New(x, y) for x, y in listed])
    if in_place:
        hotpixel.CorrectInPlace(image, vector)
        result = data
    else:
        result = ipl.get_numpy(hotpixel.Correct(image, vector))
        np.testing.assert_array_equal(data, before)
    np.testing.assert_array_equal(result, expected)


def test_correction_ignores_stray_high_bits_and_keeps_them_elsewhere():
    data = np.full((7, 7), 0x0100, np.uint16)
    data[2, 3] = 0xF0FF  # stray bits above Mono12's 12 bits: elsewhere kept byte for byte
    data[3, 3] = 0x0FFF
    result = ipl.get_numpy(ipl.HotpixelCorrection().Correct(make_image("Mono12", data), [ipl.Point2D_New(3, 3)]))
    assert result[3, 3] == (7 * 0x100 + 0xFF + 4) // 8
    assert result[2, 3] == 0xF0FF


def adaptive_stream(name, rng, frames, fixed, transient_frame=None):
    """Noisy frames with the `fixed` hot pixels in `frames` (a set of frame numbers) and a few
    one-frame spikes in frame `transient_frame`."""
    for n in range(max(frames) + 7):
        frame = noisy_frame(name, (60, 80), rng)
        scale = 1 << (bits(name) - 8)
        spikes = set()
        if n in frames:
            for x, y in fixed:
                frame[y, x] = 220 * scale
        if n == transient_frame:
            spikes = {(41, 30), (70, 50)}
            for x, y in spikes:
                frame[y, x] = 230 * scale
        yield n, frame, spikes


@pytest.mark.parametrize("name", ["Mono8", "BayerRG12"])
@pytest.mark.parametrize("in_place", [False, True])
def test_adaptive_stream(name, in_place):
    rng = np.random.default_rng(11)
    fixed = {(10, 10), (33, 21), (0, 59), (79, 0), (52, 44)}
    hot_frames = set(range(10))
    hotpixel = ipl.HotpixelCorrection()
    for n, frame, spikes in adaptive_stream(name, rng, hot_frames, fixed, transient_frame=6):
        # Joined after 3 hot frames in a row; left after 5 normal ones (still corrected in 4 of them).
        listed = fixed if 2 <= n <= 9 + 4 else set()
        expected = correction_reference(frame, name, listed)
        image = make_image(name, frame)
        if in_place:
            hotpixel.CorrectAdaptiveInPlace(image)
            result = frame
        else:
            result = ipl.get_numpy(hotpixel.CorrectAdaptive(image))
        np.testing.assert_array_equal(result, expected, err_msg=f"frame {n}")
        for x, y in spikes:
            assert result[y, x] == 230 << (bits(name) - 8), "a one-frame spike was corrected"


def test_adaptive_list_restarts_with_another_size_and_is_shared_by_copies():
    rng = np.random.default_rng(5)
    hotpixel = ipl.HotpixelCorrection()
    copy = ipl.HotpixelCorrection(hotpixel)
    frames = [noisy_frame("Mono8", (40, 50), rng) for _ in range(3)]
    for frame in frames:
        frame[20, 20] = 250
    copy.CorrectAdaptive(make_image("Mono8", frames[0]))
    hotpixel.CorrectAdaptive(make_image("Mono8", frames[1]))
    third = ipl.get_numpy(copy.CorrectAdaptive(make_image("Mono8", frames[2])))
    assert third[20, 20] != 250, "three hot frames through shallow copies did not list the pixel"
    # Another size starts afresh: the pixel needs three frames again.
    other = noisy_frame("Mono8", (41, 50), rng)
    other[20, 20] = 250
    assert ipl.get_numpy(hotpixel.CorrectAdaptive(make_image("Mono8", other)))[20, 20] == 250


@pytest.mark.usefixtures("restore_settings")
@pytest.mark.parametrize("name", ["Mono8", "BayerGB12"])
def test_same_list_for_every_thread_count(name):
    rng = np.random.default_rng(2)
    frame = noisy_frame(name, (997, 613), rng, sigma=4)
    plant(frame, name, rng, 300)
    image = make_image(name, frame)
    hotpixel = ipl.HotpixelCorrection()
    hotpixel.SetSensitivity(ipl.HotpixelCorrection_SensitivityLevel_SensitivityLevel5)
    ipl.Library.SetMultiThreadingEnabled(False)
    reference = [(p.x, p.y) for p in hotpixel.Detect(image)]
    assert len(reference) > 300
    assert reference == sorted(reference, key=lambda p: (p[1], p[0]))
    ipl.Library.SetMultiThreadingEnabled(True)
    for threads in (1, 2, 3, 8):
        ipl.Library.SetMaxConcurrentThreads(threads)
        assert [(p.x, p.y) for p in hotpixel.Detect(image)] == reference, threads


def test_settings():
    hotpixel = ipl.HotpixelCorrection()
    assert (hotpixel.Sensitivity(), hotpixel.GainFactorPercent()) == (3, 100)
    hotpixel.SetSensitivity(ipl.HotpixelCorrection_SensitivityLevel_SensitivityLevel5)
    hotpixel.SetGainFactorPercent(250)
    copy = ipl.HotpixelCorrection(hotpixel)
    assert (copy.Sensitivity(), copy.GainFactorPercent()) == (5, 250)
    for level, text in ((0, "sensitivity level 0 is outside 1 to 5"), (6, "sensitivity level 6"),
                        (-1, "sensitivity level -1")):
        with pytest.raises(ipl.InvalidArgumentException, match=text):
            hotpixel.SetSensitivity(level)
    with pytest.raises(ipl.InvalidArgumentException, match="gain factor 0 % is outside 1 to 10000 %"):
        hotpixel.SetGainFactorPercent(0)
    with pytest.raises(TypeError):
        hotpixel.SetGainFactorPercent(-5)
    assert (hotpixel.Sensitivity(), hotpixel.GainFactorPercent()) == (5, 250)
    hotpixel.SetSensitivity()
    hotpixel.SetGainFactorPercent()
    assert (copy.Sensitivity(), copy.GainFactorPercent()) == (3, 100)
    assert [getattr(ipl, f"HotpixelCorrection_SensitivityLevel_SensitivityLevel{n}") for n in range(1, 6)] == \
        [1, 2, 3, 4, 5]
    assert ipl.HotpixelCorrection_SensitivityLevel_Invalid == 0


def test_detect_on_a_clean_frame_is_empty():
    assert len(ipl.HotpixelCorrection().Detect(make_image("Mono8", np.full((9, 9), 7, np.uint8)))) == 0


def all_calls(hotpixel, image):
    return {
        "Detect": lambda: hotpixel.Detect(image),
        "Correct": lambda: hotpixel.Correct(image, []),
        "CorrectInPlace": lambda: hotpixel.CorrectInPlace(image, []),
        "CorrectAdaptive": lambda: hotpixel.CorrectAdaptive(image),
        "CorrectAdaptiveInPlace": lambda: hotpixel.CorrectAdaptiveInPlace(image),
    }


@pytest.mark.parametrize("name, width, height, error, text", [
    ("Mono12p", 8, 8, ipl.ImageFormatNotSupportedException, "inputImage has a packed pixel format: Mono12p"),
    ("BayerRG10g40UMB", 8, 8, ipl.ImageFormatNotSupportedException, "inputImage has a packed pixel format"),
    ("RGB8", 8, 8, ipl.ImageFormatNotSupportedException, "cannot be applied to RGB8"),
    ("Coord3D_C16", 8, 8, ipl.ImageFormatNotSupportedException, "cannot be applied to Coord3D_C16"),
    ("Mono8", 4, 9, ipl.OutOfRangeException, "inputImage is too small to process correctly: 4x9 Mono8"),
    ("Mono16", 9, 4, ipl.OutOfRangeException, "inputImage is too small to process correctly: 9x4 Mono16"),
    ("BayerRG8", 9, 12, ipl.OutOfRangeException, "inputImage is too small to process correctly: 9x12 BayerRG8"),
    ("BayerGB12", 12, 9, ipl.OutOfRangeException, "needs at least 10x10"),
])
def test_refused_images(name, width, height, error, text):
    image = ipl.Image.CreateFromSize(ipl.pixel_format(name).PixelFormatName(), width, height)
    hotpixel = ipl.HotpixelCorrection()
    for method, call in all_calls(hotpixel, image).items():
        with pytest.raises(error, match=text):
            call()


@pytest.mark.parametrize("name, width, height", [("Mono8", 5, 5), ("BayerBG8", 10, 10)])
def test_smallest_images(name, width, height):
    data = np.full((height, width), 9, dtype(name))
    data[height // 2, width // 2] = 200
    image = make_image(name, data)
    hotpixel = ipl.HotpixelCorrection()
    assert points(hotpixel.Detect(image)) == {(width // 2, height // 2)}
    for call in all_calls(hotpixel, image).values():
        call()


@pytest.mark.parametrize("in_place", [False, True])
@pytest.mark.parametrize("point, text", [((8, 2), r"hot pixel \(8, 2\) is outside the 8x6 image"),
                                         ((0, 6), r"hot pixel \(0, 6\) is outside the 8x6 image")])
def test_points_outside_refused_and_nothing_changed(in_place, point, text):
    rng = np.random.default_rng(4)
    data = rng.integers(0, 256, (6, 8), dtype=np.uint8)
    before = data.copy()
    image = make_image("Mono8", data)
    hotpixel = ipl.HotpixelCorrection()
    listed = [ipl.Point2D_New(3, 3), ipl.Point2D_New(*point)]
    with pytest.raises(ipl.OutOfRangeException, match=text):
        (hotpixel.CorrectInPlace if in_place else hotpixel.Correct)(image, listed)
    np.testing.assert_array_equal(data, before)


def test_argument_errors():
    hotpixel = ipl.HotpixelCorrection()
    image = make_image("Mono8", np.zeros((5, 5), np.uint8))
    with pytest.raises(TypeError, match="in method 'HotpixelCorrection_Correct', argument 3 of type "
                       r"'std::vector< plox::ipl::Point2D,std::allocator< plox::ipl::Point2D > > const &'"):
        hotpixel.Correct(image, [1, 2])
    with pytest.raises(ValueError, match="invalid null reference in method 'HotpixelCorrection_Correct', argument 3"):
        hotpixel.Correct(image, None)
