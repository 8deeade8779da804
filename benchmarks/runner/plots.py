"""The plots of docs/performance.md. The same values give the same bytes."""

from __future__ import annotations

from pathlib import Path
from typing import Any, Callable, Mapping, Sequence

import matplotlib

matplotlib.use("svg")

import matplotlib.pyplot as plt  # noqa: E402
from matplotlib.axes import Axes  # noqa: E402
from matplotlib.figure import Figure  # noqa: E402
from matplotlib.ticker import FixedLocator, FuncFormatter, NullLocator  # noqa: E402

from .intervals import Interval  # noqa: E402

COLORS = {"libvelmo": "#0b5394", "libvelmo-client": "#e07b00"}
BASELINE_COLOR = "#5f6b76"
PEER_COLOR = "#a9b4bf"
FLOOR_COLOR = "#d5dbe1"
MARKERS = "osD^v"

plt.rcParams.update({
    "svg.fonttype": "none", "svg.hashsalt": "velmo", "font.family": "sans-serif",
    "font.size": 10, "axes.spines.top": False, "axes.spines.right": False,
    "axes.edgecolor": "#5f6b76", "axes.labelcolor": "#222222", "figure.facecolor": "white",
    "axes.titlesize": 10, "axes.titleweight": "bold", "axes.titlelocation": "left",
})

Points = Mapping[str, Mapping[int, Interval]]  # by contender and number


def color_of(name: str) -> str:
    for library in ("libvelmo-client", "libvelmo"):
        if name.startswith(library):
            return COLORS[library]
    return FLOOR_COLOR if name == "floor" else BASELINE_COLOR


def _save(figure: Figure, path: Path) -> None:
    figure.savefig(path, metadata={"Date": None}, bbox_inches="tight", pad_inches=0.08)
    plt.close(figure)


def _bars(axes: Axes, values: Mapping[str, Interval], colors: Sequence[str]) -> None:
    positions = range(len(values))
    medians = [value.median for value in values.values()]
    errors = [[value.median - value.low for value in values.values()],
              [value.high - value.median for value in values.values()]]
    axes.barh(positions, medians, xerr=errors, color=colors, height=0.68,
              error_kw={"ecolor": "#222222", "elinewidth": 0.9, "capsize": 2})
    axes.set_yticks(list(positions), list(values))
    axes.tick_params(axis="y", length=0)
    axes.invert_yaxis()


def _number(value: float) -> str:
    return f"{value:.3g}" if value < 1000 else f"{value:,.0f}"


def _label_bars(axes: Axes, values: Mapping[str, Interval]) -> None:
    for position, value in enumerate(values.values()):
        axes.annotate(_number(value.median), (value.high, position), xytext=(5, 0),
                      textcoords="offset points", va="center", fontsize=9)


def plot_paths(paths: Mapping[str, Mapping[str, Interval]], file: Path) -> None:
    """Microseconds of each path, a small plot for each because their scales differ."""
    height = 1.45 * len(paths) / 2 + 1.2
    figure, grid = plt.subplots((len(paths) + 1) // 2, 2, figsize=(9.2, height))
    for axes, (title, values) in zip(grid.flat, paths.items()):
        _bars(axes, values, [color_of(name) for name in values])
        _label_bars(axes, values)
        axes.set_title(title)
        axes.set_xlim(0, 1.15 * max(value.high for value in values.values()))
        axes.set_xlabel("microseconds")
    for axes in list(grid.flat)[len(paths):]:
        axes.remove()
    figure.tight_layout(h_pad=1.1, w_pad=1.5)
    _save(figure, file)


def plot_ranking(values: Mapping[str, Interval], unit: str, file: Path) -> None:
    """The fastest first."""
    ordered = dict(sorted(values.items(), key=lambda item: item[1].median))
    figure, axes = plt.subplots(figsize=(9.2, 0.31 * len(ordered) + 0.9))
    colors = [color_of(name) if name.startswith("libvelmo") or name == "floor" else PEER_COLOR
              for name in ordered]
    _bars(axes, ordered, colors)
    _label_bars(axes, ordered)
    axes.set_xlim(0, 1.08 * max(value.high for value in ordered.values()))
    axes.set_xlabel(unit)
    _save(figure, file)


def _plain_ticks(axes: Axes) -> None:
    axes.yaxis.set_major_formatter(FuncFormatter(lambda value, _: f"{value:,.10g}"))
    axes.yaxis.set_minor_formatter(FuncFormatter(lambda *_: ""))


def _lines(axes: Axes, points: Points, position: Mapping[int, float]) -> None:
    for number, (name, values) in enumerate(points.items()):
        middle = [value.median for value in values.values()]
        errors = [[value.median - value.low for value in values.values()],
                  [value.high - value.median for value in values.values()]]
        aside = 0.03 * (number - (len(points) - 1) / 2)  # error bars do not cover each other
        axes.errorbar([position[key] + aside for key in values], middle, yerr=errors, label=name,
                      color=color_of(name), marker=MARKERS[number], markersize=5, linewidth=1.6,
                      linestyle="--" if name.endswith("seeded") else "-", capsize=2, elinewidth=0.9)


def plot_lines(points: Points, labels: tuple[str, str], file: Path, logarithmic: bool) -> None:
    """A line for each contender; the numbers at even distances."""
    numbers = list(next(iter(points.values())))
    position = {number: float(index) for index, number in enumerate(numbers)}
    figure, axes = plt.subplots(figsize=(9.2, 3.5))
    _lines(axes, points, position)
    axes.xaxis.set_major_locator(FixedLocator(list(position.values())))
    axes.xaxis.set_minor_locator(NullLocator())
    axes.set_xticklabels([f"{number:,}" for number in numbers])
    if logarithmic:
        axes.set_yscale("log")
    else:
        axes.set_ylim(bottom=0)
    _plain_ticks(axes)
    axes.set_xlabel(labels[0])
    axes.set_ylabel(labels[1])
    axes.grid(axis="y", color="#e3e7eb", linewidth=0.8)
    axes.set_axisbelow(True)
    axes.legend(frameon=False, loc="center left", bbox_to_anchor=(1.01, 0.5))
    _save(figure, file)


def points_of(values: Mapping[str, Mapping[str, Sequence[float]]],
              summary: Callable[[Sequence[float]], Interval], scale: float = 1) -> dict[str, Any]:
    """From {number: {contender: values}} to {contender: {number: interval}}."""
    result: dict[str, dict[int, Interval]] = {}
    for number, contenders in values.items():
        for name, rounds in contenders.items():
            scaled = [value * scale for value in rounds]
            result.setdefault(name, {})[int(number)] = summary(scaled)
    return result
