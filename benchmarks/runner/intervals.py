"""Medians and their 95 % intervals."""

from __future__ import annotations

import math
import random
from typing import NamedTuple, Sequence


class Interval(NamedTuple):
    low: float
    median: float  # or the mean, from of_mean()
    high: float


def median(values: Sequence[float]) -> float:
    ordered = sorted(values)
    middle = len(ordered) // 2
    if len(ordered) % 2 == 1:
        return ordered[middle]
    return (ordered[middle - 1] + ordered[middle]) / 2


def interval(values: Sequence[float]) -> Interval:
    """The interval between two order statistics, which assumes no distribution."""
    ordered = sorted(values)
    count = len(ordered)
    reach = 1.96 * math.sqrt(count) / 2
    low = max(0, math.floor(count / 2 - reach) - 1)
    high = min(count - 1, math.ceil(count / 2 + reach))
    return Interval(ordered[low], median(ordered), ordered[high])


def of_mean(values: Sequence[float], resamples: int = 2000) -> Interval:
    """The mean and its interval by bootstrap, the same at each call: for values of which a few
    are so long that they decide the sum."""
    count = len(values)
    generator = random.Random(1)
    means = sorted(sum(generator.choices(values, k=count)) / count for _ in range(resamples))
    return Interval(means[round(0.025 * resamples)], sum(values) / count,
                    means[round(0.975 * resamples) - 1])


def ratios(values: Sequence[float], references: Sequence[float]) -> Interval:
    """The ratio within each round. What disturbs a whole round has no effect on it."""
    return interval([value / reference for value, reference in zip(values, references)])
