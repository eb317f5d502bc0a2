#!/usr/bin/env python3
"""Draws the objects of a video search store over time, each in its colours.

    plot_store.py STORE OUT.png [--from TIME] [--to TIME] [--title TEXT]

Above, a bar for each object from its first instance to its last, divided as its colours divide it; below, how
many are seen at once, and of what colours. Times are as the log writes them, "2024/03/05 07:08", in UTC.
"""

import argparse
import heapq
import sys

import matplotlib

matplotlib.use("Agg")  # a file, no window

import numpy as np
from matplotlib import dates, pyplot
from matplotlib.collections import PolyCollection
from matplotlib.ticker import MaxNLocator

import krcommon
from krcommon import colors, configuration, records, times

INK, FAINT, PAPER = "#22262b", "#d9dde1", "#f4f5f6"
STEPS = 600  # of the lower picture
PRESETS = 14  # and no preset, 0
BAR = 0.72  # of a lane's height


class Objects:
    """What is drawn of a store: a row for each object that has instances."""

    def __init__(self, store, from_time, to_time):
        found = store.records(from_time, to_time)
        table = found.records(["position", "class_scores"])
        instances = found.instances(["record_position", "time"])
        # Instances lie in the order of their records.
        positions, first = np.unique(instances["record_position"], return_index=True)
        last = np.append(first[1:], instances.rows) - 1
        self.begin, self.end = instances["time"][first], instances["time"][last]
        rows = np.searchsorted(table["position"], positions)
        pieces = list(found)
        self.shares = np.array([shares_of(pieces[row]) for row in rows]).reshape(-1, PRESETS)

    def __len__(self):
        return len(self.begin)


def shares_of(record):
    """How much of the object has each preset, by its number; all of it has none (0) where no colour of it has
    a name. Presets may overlap: their sum is made 1."""
    shares = np.array(records.color_shares(record))
    shares[0] = 0
    if shares.sum() == 0:
        shares[0] = 1
    return shares / shares.sum()


def paints():
    """A typical colour of each preset, as the configuration tells."""
    with open(configuration.status().path, "rb") as file:
        with configuration.check(file.read()) as checked:
            found = {}
            for each in checked.ranges:
                found.setdefault(each.preset, tuple(part / 255 for part in each.rgb))
    return {0: (0.85, 0.85, 0.85), **found}


def lanes_of(begin, end):
    """A lane for each object, so that none covers another; the first that is free."""
    gap = (end.max() - begin.min()) // 150
    lanes = np.zeros(len(begin), int)
    free, busy = [], []
    for row in np.argsort(begin, kind="stable"):
        while busy and busy[0][0] + gap <= begin[row]:
            heapq.heappush(free, heapq.heappop(busy)[1])
        lanes[row] = heapq.heappop(free) if free else len(busy)
        heapq.heappush(busy, (end[row], lanes[row]))
    return lanes


def to_dates(microseconds):
    return np.asarray(microseconds).astype("datetime64[us]")


def draw_bars(axes, objects, paint, order):
    lanes = lanes_of(objects.begin, objects.end)
    x = dates.date2num(to_dates([objects.begin, objects.end])).T
    top = lanes + BAR / 2
    for preset in order:
        bottom = top - BAR * objects.shares[:, preset]
        boxes = [box(*ends, low, high) for ends, low, high in zip(x, bottom, top)]
        seen = objects.shares[:, preset] > 0
        axes.add_collection(
            PolyCollection([b for b, is_seen in zip(boxes, seen) if is_seen], color=paint[preset], lw=0)
        )
        top = bottom
    # An outline, so that white is seen as well.
    outlines = [box(*ends, lane - BAR / 2, lane + BAR / 2) for ends, lane in zip(x, lanes)]
    width = 0.8 if lanes.max() < 40 else 0.3
    axes.add_collection(PolyCollection(outlines, facecolor="none", edgecolor=INK, lw=width))
    axes.set_ylim(-0.8, lanes.max() + 0.8)
    axes.set_yticks([])
    axes.set_ylabel("objects", color=INK)


def box(left, right, low, high):
    return [(left, low), (right, low), (right, high), (left, high)]


def draw_counts(axes, objects, paint, order):
    at = np.linspace(objects.begin.min(), objects.end.max(), STEPS).astype(np.int64)
    counts = [
        weight_until(objects.begin, objects.shares[:, preset], at, "right")
        - weight_until(objects.end, objects.shares[:, preset], at, "left")
        for preset in order
    ]
    axes.stackplot(
        to_dates(at), counts[::-1], colors=[paint[preset] for preset in order[::-1]], step="post", lw=0
    )
    total = np.sum(counts, axis=0)
    axes.step(to_dates(at), total, where="post", color=INK, lw=0.8)
    axes.set_ylabel("seen at once", color=INK)
    axes.set_ylim(0, max(1, total.max()) * 1.08)
    axes.yaxis.set_major_locator(MaxNLocator(integer=True, nbins=5))
    axes.grid(axis="y", color=FAINT, linewidth=0.8)


def weight_until(moments, weights, at, side):
    """The sum of the weights of all moments before each time."""
    order = np.argsort(moments)
    sums = np.concatenate([[0], np.cumsum(weights[order])])
    return sums[np.searchsorted(moments[order], at, side)]


def draw_legend(figure, objects, paint, order):
    parts = objects.shares.mean(axis=0)
    handles = [
        pyplot.Line2D([], [], marker="s", linestyle="", markersize=10, markeredgecolor=INK,
                      markeredgewidth=0.6, markerfacecolor=paint[preset])
        for preset in order
    ]  # fmt: skip
    names = [colors.preset_name(preset).replace("_", " ") or "no name" for preset in order]
    labels = [f"{name}  {percent(parts[preset])}" for name, preset in zip(names, order)]
    figure.legend(
        handles, labels, loc="upper left", bbox_to_anchor=(0.85, 0.88), frameon=False, labelcolor=INK,
        labelspacing=0.65,
    )  # fmt: skip


def percent(part):
    return f"{part:.0%}" if part >= 0.005 else "< 1%"


def draw(objects, title, out):
    paint = paints()
    parts = objects.shares.mean(axis=0)
    order = [int(preset) for preset in np.argsort(-parts, kind="stable") if parts[preset] > 0]
    figure, (above, below) = pyplot.subplots(
        2, 1, sharex=True, figsize=(12, 6.2), height_ratios=(2.2, 1), facecolor=PAPER
    )
    figure.subplots_adjust(left=0.06, right=0.84, top=0.87, bottom=0.09, hspace=0.07)
    for axes in (above, below):
        axes.set_facecolor("white")
        axes.grid(axis="x", color=FAINT, linewidth=0.8)
        axes.set_axisbelow(True)
        axes.tick_params(colors=INK, length=0)
        for side in axes.spines.values():
            side.set_visible(False)
    draw_bars(above, objects, paint, order)
    draw_counts(below, objects, paint, order)
    draw_legend(figure, objects, paint, order)
    locator = dates.AutoDateLocator(maxticks=9)
    below.xaxis.set_major_locator(locator)
    below.xaxis.set_major_formatter(dates.ConciseDateFormatter(locator))
    span = objects.end.max() - objects.begin.min()
    margin = max(span // 50, 100_000)
    below.set_xlim(to_dates(objects.begin.min() - margin), to_dates(objects.end.max() + margin))
    figure.text(0.06, 0.935, title, fontsize=15, fontweight="bold", color=INK)
    first = times.text(int(objects.begin.min()), times.Fraction.NONE)
    noun = "object" if len(objects) == 1 else "objects"
    note = f"{len(objects)} {noun} in {times.duration_text(int(span))} from {first} UTC"
    figure.text(0.06, 0.897, note, fontsize=10, color=INK)
    figure.savefig(out, dpi=110, facecolor=PAPER)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("store")
    parser.add_argument("out")
    parser.add_argument("--from", dest="begin", type=times.from_text, default=-(2**63))
    parser.add_argument("--to", dest="end", type=times.from_text, default=krcommon.NO_END)
    parser.add_argument("--title", default="Objects over time, by colour")
    given = parser.parse_args()
    try:
        with krcommon.Store(given.store) as store:
            objects = Objects(store, given.begin, given.end)
    except krcommon.KRCommonError as error:
        sys.exit(str(error))
    if len(objects) == 0:
        sys.exit(f"{given.store}: no objects in that time")
    draw(objects, given.title, given.out)
    print(f"{given.out}: {len(objects)} objects")


if __name__ == "__main__":
    main()
