"""Two campaigns, or two sets of rules, over the same visitors."""

from __future__ import annotations

import os
from dataclasses import dataclass
from pathlib import Path
from statistics import NormalDist
from typing import Any

import numpy as np
import pandas as pd

from ksbeacon._errors import ArgumentError
from ksbeacon.studies import _engine
from ksbeacon.studies._study import Study, study

#: Below it the mean's distribution is not normal enough for the intervals.
FEWEST = 30


@dataclass
class Comparison:
    """Two studies of the same visitors.

    `table`: a row per measure and content (None: all together): the mean of a visitor in `a` and in
    `b`, `difference` (b - a), and `low` and `high`, which hold the true difference of the
    population with the given confidence. Measures: `reached` (share of visitors that saw it),
    `shown` (notifications of a visitor), `late` (of these, late ones).
    """

    a: Study
    b: Study
    confidence: float
    table: pd.DataFrame

    def report(self, path: str | os.PathLike[str]) -> None:
        """Writes a page: the differences, then study `b`."""
        from ksbeacon.studies._page import page

        Path(path).write_text(page(self.b, self), encoding="utf-8")


def _per_visitor(study: Study, content: str | None, measure: str) -> pd.Series:
    rows = study.table
    if content is not None:
        rows = rows[rows["content"] == content]
    column = rows["late" if measure == "late" else "shown"].groupby(rows["visitor"]).sum()
    return column.clip(upper=1) if measure == "reached" else column


def _difference(a: pd.Series, b: pd.Series, visitors: int, width: float) -> dict[str, float]:
    """Paired by visitor; who has no row in either has 0 in both."""
    paired = b.sub(a, fill_value=0)
    mean = paired.sum() / visitors
    square = (paired**2).sum() / visitors
    error = np.sqrt(max(0.0, square - mean**2) / (visitors - 1))
    return {
        "a": a.sum() / visitors, "b": b.sum() / visitors, "difference": mean,
        "low": mean - width * error, "high": mean + width * error,
    }  # fmt: skip


def paired(a: Study, b: Study, confidence: float = 0.95) -> Comparison:
    """Compares two studies with kept tables of the same visitors."""
    if a.visitors != b.visitors or a.visitors < FEWEST:
        raise ArgumentError(f"a comparison needs the same visitors twice, at least {FEWEST}")
    width = NormalDist().inv_cdf((1 + confidence) / 2)
    contents = list(dict.fromkeys([*a.summary.contents.index, *b.summary.contents.index]))
    rows: list[dict[str, Any]] = []
    for content in [None, *contents]:
        for measure in ("reached", "shown", "late"):
            sides = (_per_visitor(side, content, measure) for side in (a, b))
            found = _difference(*sides, a.visitors, width)
            rows.append({"measure": measure, "content": content, **found})
    return Comparison(a, b, confidence, pd.DataFrame(rows))


def compare(
    scenario: str | os.PathLike[str],
    visitors: int | None = None,
    *,
    documents: tuple[Any, Any] = (None, None),
    refinements: tuple[str | None, str | None] = (None, None),
    confidence: float = 0.95,
    workers: int | None = None,
    scheduler: Any = None,
    **options: Any,
) -> Comparison:
    """Studies the same visitors under two folders of documents or two sets of refinements.

    None stands for the scenario's own. Other arguments as for `study`.
    """
    def both(where: dict[str, Any]) -> Comparison:
        sides = [
            study(scenario, visitors, documents=folder, refinements=names, **where, **options)
            for folder, names in zip(documents, refinements)
        ]
        return paired(sides[0], sides[1], confidence)

    if workers == 0 or hasattr(scheduler, "submit"):
        return both({"workers": workers, "scheduler": scheduler})
    with _engine.client(workers, scheduler) as client:
        return both({"scheduler": client})
