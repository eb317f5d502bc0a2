#!/usr/bin/env python3
"""The default colour ranges: fits KRCommon.xml to what people call colours, and measures any such file.

    presets.py fit                 write KRCommon.xml beside this script; the same bytes each time
    presets.py check               does it agree with people?
    presets.py refit               is it what fit writes?
    presets.py report FILE [NEW]   agreement of a file; what a second one changes

docs/colour.md tells what the figures mean. The survey (survey/README.md) has 8,325 colours. Half of them
tune the ranges; the answers for the other half only measure the result.

How the ranges are found:

1. estimate  What the tuning half says of a colour's neighbourhood in CIE L*a*b*, for every colour of the
             survey's lattice: single colours have few answers, and gaps would let a border slip.
2. grow      A tree that cuts hue, saturation and value where it tells names apart best.
3. settle    Each cut moves to where the cuts around it leave most answers right; repeated until none moves.
4. prune     The cut that is worth least goes, the others settle again, until the ranges are few enough.
             A range is a leaf of the tree, made as large as its colour allows. So far each colour has
             one name.
5. overlap   Ranges are added where a second name is used nearly as often as the first.
"""

import argparse
import collections
import itertools
import json
import math
import pathlib
import re
import sys
import xml.etree.ElementTree
import zlib

FOLDER = pathlib.Path(__file__).resolve().parent
SURVEY = FOLDER / "survey"
CONFIGURATION = FOLDER / "KRCommon.xml"

NAMES = ("white", "black", "gray", "light_blue", "dark_blue", "brown", "light_green", "dark_green",
         "yellow", "orange", "red", "pink", "purple")
WHITE, BLACK, GRAY, RED = 0, 1, 2, 10
EVERY_NAME = tuple(range(len(NAMES)))

MOST_RANGES = 48
LEAST_HIT, LEAST_EXACT = 82.0, 80.0  # percent, of the half that measures
LEAST_DIVIDED = 15.0                 # percent of the answers, for either of two names
LARGE_OVERLAP = 30                   # that share so many colours of the survey


# ---- The survey

# No presets, and left out of what is measured. Who searches for red means them too.
DARK_REDS = ("maroon", "burgundy", "crimson", "wine")


class Survey:
    """Colours as they are classified, (hue, saturation, value), and how often each was called what."""

    def __init__(self, path):
        data = json.loads(path.read_text(encoding="utf-8"))
        terms = data["terms"]
        self.labs = list(zip(*[iter(data["color"])] * 3))
        self.rgbs = [rgb_of_lab(*lab) for lab in self.labs]
        self.colours = [hsv_of_rgb(*rgb) for rgb in self.rgbs]
        # A plain "blue" is light or dark by the colour's lightness, and so is a plain "green". They are
        # kept apart until then, so that estimates do not blur this border.
        self.answers = [collections.Counter() for _ in self.labs]
        self.dark_reds = [0] * len(self.labs)
        for key, count in zip(*[iter(data["T"])] * 2):
            colour, term = divmod(key, len(terms))
            word = word_of_term(terms[term])
            if word:
                self.answers[colour][word] += count
            elif terms[term] in DARK_REDS:
                self.dark_reds[colour] += count
        self.counts = [by_name(words, lab[0]) for words, lab in zip(self.answers, self.labs)]
        halves = [zlib.crc32(b"%d,%d,%d" % lab) % 2 for lab in self.labs]
        self.tuning = [k for k, half in enumerate(halves) if half == 0]
        self.measuring = [k for k, half in enumerate(halves) if half == 1]


def word_of_term(term):
    """The name that a term means; "blue" and "green" if that depends on lightness; None for others."""
    match = re.search("(white|black|gr[ae]y|brown|yellow|orange|red|pink|purple|blue|green)$", term)
    if not match:
        return None
    word = match[1].replace("grey", "gray")
    if word in ("blue", "green"):
        if re.search("light|pale|pastel|baby|sky|powder|bright", term):
            return "light_" + word
        if re.search("dark|deep|navy|midnight|forest|hunter|royal", term):
            return "dark_" + word
    return word


def by_name(words, lightness):
    counts = [0] * len(NAMES)
    for word, count in words.items():
        if word in ("blue", "green"):
            word = ("light_" if lightness >= 60 else "dark_") + word
        counts[NAMES.index(word)] += count
    return counts


def rgb_of_lab(lightness, a, b):
    """CIE L*a*b* under D65 to sRGB (IEC 61966-2-1), limited to 0-255."""
    def cubed(t):
        return t ** 3 if t > 6 / 29 else 3 * (6 / 29) ** 2 * (t - 4 / 29)

    def encoded(c):
        return 12.92 * c if c <= 0.0031308 else 1.055 * c ** (1 / 2.4) - 0.055

    y = (lightness + 16) / 116
    x, y, z = 0.95047 * cubed(y + a / 500), cubed(y), 1.08883 * cubed(y - b / 200)
    linear = (3.2404542 * x - 1.5371385 * y - 0.4985314 * z,
              -0.9692660 * x + 1.8760108 * y + 0.0415560 * z,
              0.0556434 * x - 0.2040259 * y + 1.0572252 * z)
    return tuple(min(255, max(0, round(255 * encoded(c)))) for c in linear)


def hsv_of_rgb(red, green, blue):
    """As KR_Colors::rgb_to_hsv(): whole degrees, truncated; -1 for greys."""
    most, least = max(red, green, blue), min(red, green, blue)
    if most == least:
        return -1, 0.0, most / 255
    delta = most - least
    if red == most:
        sector = (green - blue) / delta
    elif green == most:
        sector = (blue - red) / delta + 2
    else:
        sector = (red - green) / delta + 4
    return int(sector * 60 + (360 if sector < 0 else 0)), delta / most, most / 255


def total_of(counts, colours):
    return [sum(column) for column in zip(*(counts[k] for k in colours))] or [0] * len(NAMES)


# ---- Ranges of a configuration file

class Range:
    """One <preset>. Hues are first and last degree, the other bounds as in the file."""

    def __init__(self, name, hue, saturation, value):
        self.name, self.hue, self.saturation, self.value = name, hue, saturation, value

    def has_hue(self, hue):
        first, last = self.hue[0] % 360, self.hue[1] % 360
        return first <= hue <= last if last > first else hue >= first or hue <= last

    def has_rest(self, saturation, value):
        return (self.saturation[0] <= saturation <= self.saturation[1] and
                self.value[0] <= value <= self.value[1])


class Classifier:
    """Which names a colour has, as KR_Colors::get_color_presets() tells."""

    def __init__(self, ranges):
        self.by_hue = [[r for r in ranges if r.has_hue(hue)] for hue in range(360)]

    def names(self, colour):
        hue, saturation, value = colour
        return frozenset(r.name for r in self.by_hue[max(hue, 0)] if r.has_rest(saturation, value))


def read_ranges(path):
    ranges = []
    for element in xml.etree.ElementTree.parse(path).getroot().iter("preset"):
        def pair(kind, number):
            return tuple(number(element.get(f"{kind}_{end}", "0")) for end in ("from", "to"))
        ranges.append(Range(NAMES.index(element.get("color")), pair("hue", int), pair("sat", float),
                            pair("val", float)))
    return ranges


# ---- Agreement

def agreement(survey, classifier, colours):
    """Percent of the answers that are among the names reported, and that are the only one reported."""
    hit = exact = answers = 0
    for k in colours:
        names, counts = classifier.names(survey.colours[k]), survey.counts[k]
        named = sum(counts[name] for name in names)
        hit += named
        exact += named if len(names) == 1 else 0
        answers += sum(counts)
    return 100 * hit / answers, 100 * exact / answers


def best_agreement(survey, colours):
    """What no set of ranges with one name for each colour can exceed."""
    return (100 * sum(max(survey.counts[k]) for k in colours) /
            sum(sum(survey.counts[k]) for k in colours))


def overlaps(survey, classifier):
    """Per pair of names that share colours: how many, and the answers for either in percent."""
    shared = collections.defaultdict(list)
    for k, colour in enumerate(survey.colours):
        for pair in itertools.combinations(sorted(classifier.names(colour)), 2):
            shared[pair].append(k)
    result = []
    for pair, colours in sorted(shared.items()):
        counts = total_of(survey.counts, colours)
        result.append((pair, len(colours), [100 * counts[name] / sum(counts) for name in pair]))
    return result


def grid():
    """Every fourth level of red, green and blue."""
    levels = range(2, 256, 4)
    return (hsv_of_rgb(red, green, blue) for red in levels for green in levels for blue in levels)


# ---- Fitting: colours on a lattice of cuts

# Cuts of hue lie at whole multiples of HUE_STEP. Cuts of saturation and value lie one thousandth above a
# multiple of STEPS: no colour of 8 bits a channel lies on them, so neighbours can share a bound.
HUE_STEP = 3
STEPS = 50
CUTS = (360 // HUE_STEP, STEPS + 1, STEPS + 1)
HUE, SATURATION, VALUE = range(3)

ORIGIN = 180                 # where the tree cuts the circle of hues open
LEAVES = 90                  # of the tree before it is pruned
GREY_SATURATION = 3          # cut below which a colour is a grey, whatever its hue
NEAR = 4.0                   # standard deviation of the neighbourhood, L*a*b* units
RARITY = 0.25                # how much the answers for a rare name outweigh those for a common one
EVENNESS = 0.5               # 0: colours weigh as much as they have answers; 1: all the same
SOLE_RANGES = 42             # of the partition; the others are overlaps
OVERLAP = 1.5                # a second name is told from 1 / OVERLAP of the first one's answers on
LEAST_SHARE = 0.15           # of the answers in a leaf, for an overlap to be looked for there
LEAST_GAIN = 4.0             # of an overlap, in colours of the survey


def step_of(number):
    """How many of the cuts 0.001, 0.001 + 1 / STEPS, ... lie below the number, from 0 to 1."""
    return max(0, math.ceil((number - 0.001) * STEPS - 1e-9))


def bound_of(step):
    """The cut below that step, as it is written."""
    if step <= 0:
        return "0"
    return "1" if step > STEPS else f"{(step - 1) / STEPS + 0.001:.3f}"


class Estimate:
    """What the tuning half says of each of the survey's colours."""

    def __init__(self, survey):
        reach = range(-2, 3) # in steps of the survey's lattice, 5 units
        self.near = [(5 * i, 5 * j, 5 * k, math.exp(-12.5 * (i * i + j * j + k * k) / NEAR ** 2))
                     for i in reach for j in reach for k in reach]
        self.known = {survey.labs[k]: (survey.answers[k], survey.dark_reds[k]) for k in survey.tuning}
        weights = name_weights(survey)
        self.answers = [] # expected per colour
        self.counts = []  # weighted, whole numbers, per colour and name
        self.shares = []  # of the names in these; for red with what dark reds would add
        for lab in survey.labs:
            words, dark_reds = self.around(*lab)
            counts = by_name(words, lab[0])
            self.answers.append(sum(counts))
            scale = 1000 * max(1, sum(counts)) ** -EVENNESS
            self.counts.append([round(scale * w * n) for w, n in zip(weights, counts)])
            whole = max(1, sum(self.counts[-1]))
            self.shares.append([count / whole for count in self.counts[-1]])
            self.shares[-1][RED] += scale * weights[RED] * dark_reds / whole

    def around(self, lightness, a, b):
        """The mean answers near a colour, and how many of the others were for dark reds."""
        words, dark_reds, weight = collections.Counter(), 0.0, 0.0
        for to_lightness, to_a, to_b, factor in self.near:
            place = (lightness + to_lightness, a + to_a, b + to_b)
            if place in self.known:
                weight += factor
                dark_reds += factor * self.known[place][1]
                for word, count in self.known[place][0].items():
                    words[word] += factor * count
        weight = weight or 1.0
        return {word: count / weight for word, count in words.items()}, dark_reds / weight


def name_weights(survey):
    """A hundred colours are green for one that is white: unweighted, white would be given away."""
    totals = total_of(survey.counts, survey.tuning)
    return [(max(totals) / total) ** RARITY for total in totals]


class Node:
    """A leaf, which has a name, or a cut in two of the box above it."""

    def __init__(self, fit, colours, allowed):
        self.fit, self.allowed = fit, allowed
        self.axes = (HUE, SATURATION, VALUE)
        self.below = self.above = None
        self.is_fixed = False  # the cut stays in the tree, and on its axis
        self.hold(colours)

    def hold(self, colours):
        self.colours = colours
        self.counts = total_of(self.fit.estimate.counts, colours)
        self.name = max(self.allowed, key=lambda name: self.counts[name])
        self.best_cut = None
        if self.below:
            self.below.hold([k for k in colours if self.fit.places[k][self.axis] < self.cut])
            self.above.hold([k for k in colours if self.fit.places[k][self.axis] >= self.cut])

    def cut_at(self, axis, cut, below=None, above=None):
        self.axis, self.cut = axis, cut
        self.below = Node(self.fit, [], below or self.allowed)
        self.above = Node(self.fit, [], above or self.allowed)
        self.hold(self.colours)

    def leaves(self):
        if not self.below:
            return [self]
        return self.below.leaves() + self.above.leaves()

    def cuts(self):
        if not self.below:
            return []
        return [self] + self.below.cuts() + self.above.cuts()

    def leaf_of(self, place):
        node = self
        while node.below:
            node = node.above if place[node.axis] >= node.cut else node.below
        return node

    def right(self):
        """Answers that the leaves' names are right for."""
        return sum(leaf.counts[leaf.name] for leaf in self.leaves())


class Fit:
    def __init__(self, survey):
        self.estimate = Estimate(survey)
        self.places = [((max(hue, 0) - ORIGIN) % 360 // HUE_STEP, step_of(saturation), step_of(value))
                       for hue, saturation, value in survey.colours]
        self.grow()
        self.settle()
        while len(self.root.leaves()) > SOLE_RANGES + 8 or len(self.ranges()) > SOLE_RANGES:
            self.prune()

    def grow(self):
        everything = [k for k, counts in enumerate(self.estimate.counts) if any(counts)]
        self.root = Node(self, everything, EVERY_NAME)
        # Dark enough is black, and without saturation a colour is a grey.
        self.root.cut_at(VALUE, CUTS[VALUE] // 6, below=(BLACK,))
        self.root.axes, self.root.is_fixed = (VALUE,), True
        colourful = self.root.above
        colourful.cut_at(SATURATION, GREY_SATURATION, below=(GRAY,))
        colourful.axes, colourful.is_fixed = (), True
        greys = colourful.below
        greys.cut_at(VALUE, CUTS[VALUE] - 2, above=(WHITE,))
        greys.axes, greys.is_fixed = (VALUE,), True
        while len(self.root.leaves()) < LEAVES and cut_best_leaf(colourful.above):
            pass

    def settle(self):
        moved = True
        while moved:
            moved = any([settle_cut(node) for node in self.root.cuts()])
            join_alike(self.root)

    def prune(self):
        def loss(node):
            return (node.right() - node.counts[node.name]) / (len(node.leaves()) - 1)
        weakest = min((node for node in self.root.cuts() if not node.is_fixed), key=loss)
        weakest.below = weakest.above = None
        self.settle()

    def ranges(self):
        return cover(boxes_of(self.root))


def impurity(counts):
    """Gini's, times the number of answers."""
    answers = sum(counts)
    return answers - sum(count * count for count in counts) / answers if answers else 0.0


def cut_best_leaf(node):
    """Cuts the leaf that gains most in purity; whether any did."""
    for leaf in node.leaves():
        if leaf.best_cut is None:
            leaf.best_cut = purest_cut(leaf)
    leaf = max(node.leaves(), key=lambda leaf: leaf.best_cut[0])
    gain, axis, cut = leaf.best_cut
    if gain > 0:
        leaf.cut_at(axis, cut)
    return gain > 0


def purest_cut(leaf):
    best = (0.0, None, None)
    whole = impurity(leaf.counts)
    for axis in leaf.axes:
        layers = collections.defaultdict(list)
        for k in leaf.colours:
            layers[leaf.fit.places[k][axis]].append(k)
        below, above = [0] * len(NAMES), leaf.counts
        order = sorted(layers)
        for step, following in zip(order, order[1:]):
            layer = total_of(leaf.fit.estimate.counts, layers[step])
            below = [x + y for x, y in zip(below, layer)]
            above = [x - y for x, y in zip(above, layer)]
            gain = whole - impurity(below) - impurity(above)
            if gain > best[0]:
                best = (gain, axis, (step + following + 1) // 2)
    return best


def settle_cut(node):
    """Moves the cut to where most colours come to the side that names them right; whether it moved."""
    if not node.below: # gone with a cut above it
        return False
    places, counts = node.fit.places, node.fit.estimate.counts
    gains = [(places[k], counts[k][node.above.leaf_of(places[k]).name] -
              counts[k][node.below.leaf_of(places[k]).name]) for k in node.colours]
    best = sum(gain for place, gain in gains if place[node.axis] >= node.cut)
    found = None
    for axis in node.axes:
        by_step = collections.Counter()
        for place, gain in gains:
            by_step[place[axis]] += gain
        above = 0
        steps = sorted(by_step, reverse=True)
        for step, following in zip(steps, steps[1:]):
            above += by_step[step]
            if above > best:
                best, found = above, (axis, (step + following + 1) // 2)
    if found:
        node.axis, node.cut = found
        node.hold(node.colours)
    return found is not None


def join_alike(node):
    """Takes cuts away that have nothing on one side, or the same name on both."""
    if not node.below:
        return
    join_alike(node.below)
    join_alike(node.above)
    if node.is_fixed:
        return
    sides = (node.below, node.above)
    if not (node.below.below or node.above.below) and node.below.name == node.above.name:
        node.below = node.above = None
    elif not all(side.colours for side in sides):
        full = sides[0] if sides[0].colours else sides[1]
        node.below, node.above = full.below, full.above
        if full.below:
            node.axis, node.cut = full.axis, full.cut


# ---- Fitting: from the tree to ranges

def boxes_of(node, box=tuple((0, cuts) for cuts in CUTS)):
    """(name, box) per leaf; a box is (first, end) per axis, in steps."""
    if not node.below:
        return [(node.name, box)]
    first, end = box[node.axis]
    def with_side(side):
        return box[:node.axis] + (side,) + box[node.axis + 1:]
    return (boxes_of(node.below, with_side((first, node.cut))) +
            boxes_of(node.above, with_side((node.cut, end))))


def cover(leaves):
    """Fewer boxes for the same colours: each as large as it can be, and none that the others make up for.

    Hues go round, so a box may begin before 0 and end after the last."""
    bounds = [sorted({bound for _, box in leaves for bound in box[axis]}) for axis in range(3)]
    around = len(bounds[HUE]) - 1

    def cells(box):
        return [(i % around, j, k) for i in range(*box[0]) for j in range(*box[1])
                for k in range(*box[2])]

    name_of = {}
    indexed = []
    for name, box in leaves:
        box = tuple((bounds[axis].index(first), bounds[axis].index(end))
                    for axis, (first, end) in enumerate(box))
        indexed.append((name, box))
        for cell in cells(box):
            name_of[cell] = name

    def grown(name, box):
        for axis in range(3):
            for side in (1, 0):
                while True:
                    first, end = box[axis]
                    layer = (end, end + 1) if side else (first - 1, first)
                    inside = (end - first < around if axis == HUE else
                              0 <= layer[0] and layer[1] < len(bounds[axis]))
                    if not inside or any(name_of[cell] != name for cell in
                                         cells(box[:axis] + (layer,) + box[axis + 1:])):
                        break
                    box = (box[:axis] + ((first, layer[1]) if side else (layer[0], end),) +
                           box[axis + 1:])
        return box

    candidates = {}
    for name, box in indexed:
        box = grown(name, box)
        candidates.setdefault((name, frozenset(cells(box))), box)
    kept = sorted(candidates, key=lambda candidate: (len(candidate[1]), candidate[0],
                                                     candidates[candidate]))
    for candidate in list(kept): # the smallest first
        others = set().union(*(cells for name, cells in kept
                               if name == candidate[0] and cells is not candidate[1]))
        if candidate[1] <= others:
            kept.remove(candidate)

    def bound(axis, index):
        turn, rest = divmod(index, around) if axis == HUE else (0, index)
        return bounds[axis][rest] + turn * CUTS[HUE]
    return [(name, tuple((bound(axis, first), bound(axis, end))
                         for axis, (first, end) in enumerate(candidates[name, cells])))
            for name, cells in kept]


def has_place(box, place, but=None):
    return all(axis == but or (place[axis] - first) % CUTS[axis] < end - first
               for axis, (first, end) in enumerate(box))


def overlap(fit, ranges):
    """Adds ranges where a second name is used nearly as often as the first, as long as there is room: those
    first that gain most for each answer that is then no longer named alone."""
    ranges = list(ranges)
    shares = fit.estimate.shares
    names = [{name for name, box in ranges if has_place(box, place)} for place in fit.places]
    waiting = []
    for name in EVERY_NAME:
        gains = gains_of(fit, names, shares, name)
        for other, box in boxes_of(fit.root):
            inside = [shares[k] for k, place in enumerate(fit.places) if has_place(box, place)]
            if sum(each[name] for each in inside) > LEAST_SHARE * len(inside):
                waiting.append(divided_box(fit, names, shares, name, box, gains))
    while waiting and len(ranges) < MOST_RANGES:
        waiting.sort(key=lambda candidate: (-candidate[0], candidate[1:]))
        _, name, box = waiting.pop(0)
        # What was added meanwhile may have taken some of it.
        worth, name, box = divided_box(fit, names, shares, name, box, gains_of(fit, names, shares, name))
        if worth <= 0:
            continue
        if waiting and worth < waiting[0][0]:
            waiting.append((worth, name, box))
            continue
        ranges.append((name, box))
        for k, place in enumerate(fit.places):
            if has_place(box, place):
                names[k].add(name)
    return ranges


def gains_of(fit, names, shares, name):
    """Per colour that has not the name: its place, and what the name would gain there."""
    return [(*place, OVERLAP * shares[k][name] - max(shares[k][other] for other in names[k]))
            for k, place in enumerate(fit.places)
            if name not in names[k] and (name <= GRAY or place[SATURATION] >= GREY_SATURATION)]


def divided_box(fit, names, shares, name, box, gains):
    """(worth, name, box): one axis of the box after the other is set to the stretch that gains most."""
    gain = sum(gain for *place, gain in gains if has_place(box, place))
    found = True
    while found:
        found = None
        for axis in range(3):
            stretch_gain, stretch = best_stretch(gains, box, axis, name)
            if stretch_gain > gain + 1e-9:
                gain, found = stretch_gain, box[:axis] + (stretch,) + box[axis + 1:]
        box = found or box
    lost = sum(fit.estimate.answers[k] * max(shares[k][other] for other in names[k])
               for k, place in enumerate(fit.places)
               if len(names[k]) == 1 and name not in names[k] and has_place(box, place))
    return (gain / lost if gain >= LEAST_GAIN and lost else 0), name, box


def best_stretch(gains, box, axis, name):
    """The stretch of an axis with the greatest sum of gains, within the box on the other axes."""
    (hue, hue_end), (saturation, saturation_end), (value, value_end) = (
        (0, CUTS[other]) if other == axis else side for other, side in enumerate(box))
    width = hue_end - hue
    layers = [0.0] * CUTS[axis]
    for place in gains:
        if ((place[HUE] - hue) % CUTS[HUE] < width and saturation <= place[SATURATION] < saturation_end and
                value <= place[VALUE] < value_end):
            layers[place[axis]] += place[3]
    first = GREY_SATURATION if axis == SATURATION and name > GRAY else 0
    best, stretch = 0.0, None
    total, begin = 0.0, first
    for step in range(first, len(layers) * (2 if axis == HUE else 1)): # hues go round
        if total <= 0:
            total, begin = 0.0, step
        total += layers[step % len(layers)]
        if total > best and step - begin < len(layers):
            best, stretch = total, (begin, step + 1)
    return best, stretch


# ---- The file

FAMILIES = (
    (("white", "black", "gray"), "Without a colour of their own."),
    (("light_blue", "dark_blue"), "Blue, turquoise to indigo."),
    (("light_green", "dark_green"), "Green, lime to turquoise."),
    (("brown",), "Brown, dark to tan."),
    (("yellow", "orange"), "Yellow and orange."),
    (("red",), "Red."),
    (("pink", "purple"), "Pink and purple."),
)

HEAD = """\
<?xml version="1.0" encoding="UTF-8"?>
<?xml-model href="KRCommon.xsd" type="application/xml" schematypens="http://www.w3.org/2001/XMLSchema"?>
<!--
  The named colours that objects are searched by. This file lies beside the library and is read
  once, when a service loads the library: restart the service after a change. A mistake anywhere in
  it makes the whole file void and leaves the service without named colours. The library says so on
  stderr, in a line "Failed to read '...KRCommon.xml' file" with the line number of the mistake; it
  comes before the service's log is open and is not in it, unless the service asks and logs it.
  docs/configuration.md tells more, and how to check the file before a restart.

  Each <preset> is one range of one colour. A colour may have several ranges, and ranges of
  different colours may overlap: what lies in both is found by a search for either.

    color               the name of the colour
    rgb                 a typical colour of this range, RRGGBB in hexadecimal, for colour pickers
    hue_from, hue_to    whole degrees on the colour circle, both ends included: 0 is red, 60 yellow,
                        120 green, 180 cyan, 240 blue, 300 magenta. 340 to 14 passes through 0;
                        0 to 360 is the full circle
    sat_from, sat_to    saturation, 0 (grey) to 1 (pure), both ends included
    val_from, val_to    value, 0 (black) to 1 (bright), both ends included

  Greys have no hue and are tested with hue 0 and saturation 0: a colour other than white, black and
  gray must not begin at saturation 0, or, when it includes hue 0, greys would be taken for it.

  The ranges below leave no colour out. Neighbours share their bounds of saturation and value, for
  there are colours between any two numbers that differ; hues are whole degrees, so that 14 and 15
  are neighbours. No 8-bit colour lies on a bound such as 0.181.

  They were fitted by config/presets.py to what people call colours, in a survey whose notice stands
  at the end of this file. docs/colour.md tells how well they agree with people, and how to move a
  border and see what it does.
-->
<configuration>
  <colors>
    <presets>
"""

TAIL = """\
    </presets>
  </colors>
</configuration>
<!--
  The notice of the survey (config/survey):

{notice}-->
"""


def document_of(survey, fit, ranges):
    """Families in the order above; in one, the ranges with most colours first."""
    taken = set()
    lines = []
    for names, comment in FAMILIES:
        lines.append(f"      <!-- {comment} -->")
        for name in map(NAMES.index, names):
            own = [box for other, box in ranges if other == name]
            for box in sorted(own, key=lambda box: (-answers_in(fit, name, box), box)):
                lines.append(preset_of(name, box, typical(survey, fit, name, box, taken)))
        lines.append("")
    notice = (SURVEY / "LICENSE").read_text(encoding="utf-8")
    notice = "".join(f"  {line}".rstrip() + "\n" for line in notice.splitlines())
    return HEAD + "\n".join(lines[:-1]) + "\n" + TAIL.format(notice=notice)


def answers_in(fit, name, box):
    return sum(counts[name] for counts, place in zip(fit.estimate.counts, fit.places) if has_place(box, place))


def typical(survey, fit, name, box, taken):
    """The colour of the range that most people give this name, and that no other range offers."""
    def agreed(k):
        return fit.estimate.counts[k][name] / max(1, sum(fit.estimate.counts[k]))
    inside = [k for k, place in enumerate(fit.places)
              if has_place(box, place) and survey.rgbs[k] not in taken]
    rgb = survey.rgbs[max(inside, key=agreed)]
    taken.add(rgb)
    return "%02X%02X%02X" % rgb


def preset_of(name, box, rgb):
    first, end = (step * HUE_STEP + ORIGIN for step in box[HUE])
    hues = (0, 360) if end - first == 360 else (first % 360, (end - 1) % 360)
    pairs = [("color", NAMES[name]), ("rgb", rgb), ("hue_from", hues[0]), ("hue_to", hues[1])]
    for kind, (first, end) in (("sat", box[SATURATION]), ("val", box[VALUE])):
        pairs += [(kind + "_from", bound_of(first)), (kind + "_to", bound_of(end))]
    return "      <preset " + " ".join(f'{key}="{value}"' for key, value in pairs) + "/>"


def fitted(survey):
    fit = Fit(survey)
    return document_of(survey, fit, overlap(fit, fit.ranges()))


# ---- Commands

def write_fit(survey):
    CONFIGURATION.write_text(fitted(survey), encoding="utf-8", newline="\n")
    report(survey, CONFIGURATION)


def check(survey):
    """Prints what is wrong and returns how much that is."""
    report(survey, CONFIGURATION)
    ranges = read_ranges(CONFIGURATION)
    classifier = Classifier(ranges)
    hit, exact = agreement(survey, classifier, survey.measuring)
    faults = []
    if hit < LEAST_HIT or exact < LEAST_EXACT:
        faults.append(f"agreement is below {LEAST_HIT:.0f} and {LEAST_EXACT:.0f} %")
    if len(ranges) > MOST_RANGES:
        faults.append(f"more than {MOST_RANGES} ranges")
    for names, count, percents in overlaps(survey, classifier):
        if count >= LARGE_OVERLAP and min(percents) < LEAST_DIVIDED:
            faults.append("people are not divided between " + " and ".join(NAMES[n] for n in names))
    for fault in faults:
        print("FAULT:", fault)
    return len(faults)


def refit(survey):
    is_same = CONFIGURATION.read_bytes() == fitted(survey).encode("utf-8")
    print("the file is", "what" if is_same else "not what", "'presets.py fit' writes")
    return 0 if is_same else 1


def report(survey, path, changed=None):
    """Agreement of a file; with a second one, that one's too and what changes."""
    classifiers = []
    for each in [path] + ([changed] if changed else []):
        ranges = read_ranges(each)
        classifiers.append(Classifier(ranges))
        print(f"{each}: {len(ranges)} ranges, {each.stat().st_size} bytes")
        for title, colours in (("tuning half", survey.tuning), ("measuring half", survey.measuring),
                               ("all", range(len(survey.labs)))):
            hit, exact = agreement(survey, classifiers[-1], colours)
            print(f"  {title:14}  hit {hit:5.2f} %  exact {exact:5.2f} %"
                  f"  (one name at best {best_agreement(survey, colours):5.2f} %)")
        for names, count, percents in overlaps(survey, classifiers[-1]):
            print(f"  {count:4} survey colours are " + " and ".join(
                f"{NAMES[name]} ({percent:.0f} %)" for name, percent in zip(names, percents)))
    named = [collections.Counter(), collections.Counter()]
    changes, colours = collections.Counter(), 0
    for colour in grid():
        colours += 1
        names = [classifier.names(colour) for classifier in classifiers]
        for count, each in zip(named, names):
            count[min(len(each), 2)] += 1
        if len(set(names)) > 1:
            changes[tuple(names)] += 1
    for each, count in zip([path, changed], named[:len(classifiers)]):
        print(f"{each}: {100 * count[0] / colours:.2f} % of all colours have no name, "
              f"{100 * count[2] / colours:.2f} % several")
    if changed:
        print(f"{100 * sum(changes.values()) / colours:.2f} % of all colours are named otherwise")
        for names, count in changes.most_common(20):
            print(f"  {100 * count / colours:5.2f} %  " + " -> ".join(
                " ".join(NAMES[name] for name in sorted(each)) or "none" for each in names))


def main():
    parser = argparse.ArgumentParser(description="Fits and measures the default colour ranges.")
    parser.add_argument("--survey", type=pathlib.Path, default=SURVEY / "c3_data.json")
    commands = parser.add_subparsers(dest="command", required=True)
    commands.add_parser("fit", help="write config/KRCommon.xml")
    commands.add_parser("check", help="does config/KRCommon.xml agree with people?")
    commands.add_parser("refit", help="is config/KRCommon.xml what fit writes?")
    reporting = commands.add_parser("report", help="measure a file, compare a second one")
    reporting.add_argument("file", type=pathlib.Path)
    reporting.add_argument("new", type=pathlib.Path, nargs="?")
    options = parser.parse_args()
    survey = Survey(options.survey)
    if options.command == "report":
        try:
            report(survey, options.file, options.new)
        except (OSError, ValueError, xml.etree.ElementTree.ParseError) as error:
            sys.exit(f"presets.py: {error}")
    elif options.command == "fit":
        write_fit(survey)
    elif options.command == "check":
        sys.exit(1 if check(survey) else 0)
    else:
        sys.exit(refit(survey))


if __name__ == "__main__":
    main()
