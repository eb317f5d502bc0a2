"""Colours, single and many, and the configuration that names them."""

import unittest

import krcommon
from krcommon import colors, configuration
from krcommon.colors import HSV, RGB, PixelFormat, Preset
from krcommon.errors import ArgumentError, NotFoundError
from support import ROOT, in_threads

try:
    import numpy
except ImportError:
    numpy = None

DOCUMENT = (ROOT / "config" / "KRCommon.xml").read_bytes()


def with_one_range():
    """The first <preset> of the default configuration alone, whatever stands around it."""
    begin = DOCUMENT.index(b"<preset ")
    end = DOCUMENT.index(b"/>", begin) + 2
    last = DOCUMENT.rindex(b"<preset ")
    return DOCUMENT[:end] + DOCUMENT[DOCUMENT.index(b"/>", last) + 2 :]


class Singles(unittest.TestCase):
    def test_conversions_truncate(self):
        self.assertEqual(colors.rgb_to_hsv((255, 0, 0)), HSV(0, 1.0, 1.0))
        self.assertEqual(colors.rgb_to_hsv((0, 0, 0)).value, 0)
        self.assertEqual(colors.hsv_to_rgb((120, 1.0, 1.0)), RGB(0, 255, 0))
        with self.assertRaises(ValueError):
            colors.rgb_to_hsv((256, 0, 0))
        with self.assertRaises(ValueError):
            colors.rgb_to_hsv((-1, 0, 0))
        with self.assertRaises(OverflowError):
            colors.hsv_to_rgb((2**32, 1.0, 1.0))

    def test_angles_and_likeness_are_not_symmetric(self):
        self.assertEqual(colors.angle_distance(350, 10), 20)
        self.assertEqual(colors.angle_distance(10, 350), -340)
        red, near = HSV(10, 0.9, 0.9), HSV(15, 0.85, 0.9)
        self.assertTrue(colors.is_similar(red, near, (10, 0.1, 0.1)))
        self.assertFalse(colors.is_similar(red, HSV(90, 0.9, 0.9), (10, 0.1, 0.1)))
        self.assertTrue(colors.is_similar(red, HSV(90, 0.9, 0.9), (10, 0.1, 0.1), use_hue=False))

    def test_names_and_numbers(self):
        self.assertEqual([colors.preset_name(p) for p in Preset], [p.name.lower() for p in Preset])
        for preset in Preset:
            self.assertEqual(colors.preset_of_name(colors.preset_name(preset)), preset)
        self.assertEqual((colors.preset_name(0), colors.preset_name(14)), ("", ""))
        for name in ("Red", "", "blue"):
            with self.assertRaises(NotFoundError):
                colors.preset_of_name(name)

    def test_presets_of_plain_colours(self):
        for color, preset in {
            (255, 255, 255): Preset.WHITE, (0, 0, 0): Preset.BLACK, (128, 128, 128): Preset.GRAY,
            (200, 20, 20): Preset.RED, (30, 60, 160): Preset.DARK_BLUE, (240, 230, 30): Preset.YELLOW,
        }.items():  # fmt: skip
            self.assertIn(preset, colors.presets(colors.rgb_to_hsv(color)), color)
        self.assertEqual(colors.presets_of_mask(0), frozenset())
        self.assertEqual(colors.presets_of_mask(1 << 11 | 1 << 1), {Preset.RED, Preset.WHITE})

    def test_the_palette_has_a_colour_for_each_range(self):
        with configuration.check(DOCUMENT) as checked:
            expected = [found.rgb for found in checked.ranges]
            self.assertEqual(colors.palette(checked.colors()), expected)
        self.assertEqual(colors.palette(), expected)


@unittest.skipIf(numpy is None, "NumPy is missing")
class Batches(unittest.TestCase):
    def setUp(self):
        self.pixels = numpy.random.default_rng(1).integers(0, 256, (20, 30, 3), numpy.uint8)

    def test_are_what_single_calls_give(self):
        hue, saturation, value = colors.rgb_to_hsv_batch(self.pixels)
        self.assertEqual(hue.shape, (20, 30))
        masks = colors.presets_batch(hue, saturation, value)
        back = colors.hsv_to_rgb_batch(hue, saturation, value)
        self.assertEqual(masks.tobytes(), colors.presets_of_pixels(self.pixels).tobytes())
        for place in numpy.ndindex(hue.shape):
            hsv = colors.rgb_to_hsv(tuple(map(int, self.pixels[place])))
            self.assertEqual((hue[place], saturation[place], value[place]), hsv)
            self.assertEqual(colors.presets_of_mask(int(masks[place])), colors.presets(hsv))
            self.assertEqual(tuple(back[place]), colors.hsv_to_rgb(hsv))

    def test_parts_of_pictures_and_empty_ones(self):
        part = self.pixels[::2, 5:20]
        self.assertEqual(
            colors.presets_of_pixels(part).tolist(), colors.presets_of_pixels(part.copy()).tolist()
        )
        self.assertEqual(colors.presets_of_pixels(self.pixels[:0]).shape, (0, 30))
        self.assertEqual(colors.presets_of_pixels(self.pixels[0, 0]).shape, ())

    def test_wrong_arrays_are_refused(self):
        for wrong in (self.pixels.astype(float), self.pixels[..., :2], numpy.uint8(1)):
            with self.assertRaises(ValueError):
                colors.rgb_to_hsv_batch(wrong)
        with self.assertRaises(ValueError):
            colors.presets_batch([1, 2], [0.5], [0.5])

    def test_threads(self):
        expected = colors.presets_of_pixels(self.pixels).tobytes()

        def work(_):
            for _ in range(20):
                self.assertEqual(colors.presets_of_pixels(self.pixels).tobytes(), expected)

        in_threads(4, work)


class Pictures(unittest.TestCase):
    def test_pixels_are_counted(self):
        red, white = bytes((200, 20, 20)), bytes((255, 255, 255))
        found = colors.count_presets(red * 3 + white, 2, 2)
        self.assertEqual((found.pixels, found.presets[Preset.RED]), (4, 3))
        self.assertEqual(found.presets[Preset.WHITE], 1)
        masked = colors.count_presets(red * 3 + white, 2, 2, mask=bytearray((1, 0, 0, 1)))
        self.assertEqual((masked.pixels, masked.presets[Preset.RED]), (2, 1))
        blue_first = colors.count_presets(red[::-1] * 4, 4, 1, PixelFormat.BGR24)
        self.assertEqual(blue_first.presets[Preset.RED], 4)
        padded = colors.count_presets((red + b"x") * 4, 2, 2, PixelFormat.RGBX32)
        self.assertEqual(padded.presets[Preset.RED], 4)
        self.assertEqual(colors.count_presets(b"", 0, 0).pixels, 0)

    def test_too_few_bytes_are_refused(self):
        with self.assertRaises(ValueError):
            colors.count_presets(bytes(11), 2, 2)
        with self.assertRaises(ValueError):
            colors.count_presets(bytes(12), 2, 2, mask=bytes(3))
        with self.assertRaises(ValueError):
            colors.count_presets(bytes(12), 2, 2, 9)
        with self.assertRaises(ValueError):
            colors.count_presets(bytes(12), -2, -2)


class Configurations(unittest.TestCase):
    def test_the_library_s_own(self):
        found = configuration.status()
        self.assertTrue(found.path.endswith("KRCommon.xml"))
        self.assertEqual(found.is_read, not found.problem)

    def test_the_default_is_accepted(self):
        with configuration.check(DOCUMENT) as checked:
            self.assertTrue(checked.is_accepted and checked.is_complete)
            self.assertEqual(checked.errors, [])
            self.assertEqual(checked.text(), DOCUMENT)
            first = checked.ranges[0]
            self.assertTrue(checked.text()[first.begin : first.end].startswith(b"<preset "))
            self.assertEqual({found.preset for found in checked.ranges}, set(Preset))

    def test_mistakes_have_lines_and_texts(self):
        wrong = DOCUMENT.replace(b'color="white"', b'color="wite"', 1)
        self.assertNotEqual(wrong, DOCUMENT)
        with configuration.check(wrong) as checked:
            self.assertFalse(checked.is_accepted)
            (mistake,) = checked.errors
            line = wrong[: wrong.index(b'"wite"')].count(b"\n") + 1
            self.assertEqual(mistake.line, line)
            self.assertEqual(
                mistake.text, f"line:{line}-'color'-Value does not match enumerations"
            )
            self.assertIn(b"wite", checked.text()[mistake.begin : mistake.end])

    def test_any_bytes_get_a_verdict(self):
        for document in (b"", b"\0", b"\xff" * 100, b"<a>", bytearray(DOCUMENT[:500])):
            with configuration.check(document) as checked:
                self.assertFalse(checked.is_accepted)
                self.assertGreaterEqual(len(checked.errors), 1)

    def test_its_classifier_outlives_it_and_is_refused_when_closed(self):
        with configuration.check(with_one_range()) as checked:
            classifier = checked.colors()
            (only,) = checked.ranges
        self.assertEqual(colors.palette(classifier), [only.rgb])
        hsv = HSV(only.hue_from, only.saturation_from, only.value_from)
        self.assertEqual(colors.presets(hsv, classifier), {only.preset})
        if numpy is not None:
            masks = colors.presets_batch([hsv.hue], [hsv.saturation], [hsv.value], classifier)
            self.assertEqual(masks.tolist(), [1 << only.preset])
        filter_ = krcommon.Filter(preset=only.preset, classifier=classifier)
        krcommon.records.matches(b"", filter_)
        classifier.close()
        with self.assertRaisesRegex(ArgumentError, "closed"):
            colors.presets(hsv, classifier)
        with self.assertRaises(ArgumentError):
            krcommon.records.matches(b"", filter_)
        with self.assertRaises(ArgumentError):
            checked.errors
        with self.assertRaises(TypeError):
            configuration.check("text")


if __name__ == "__main__":
    unittest.main()
