"""What batches add up to; its size depends on the contents and hours, not on the visitors."""

from __future__ import annotations

import numpy as np
import pandas as pd

from ksbeacon.studies._batch import RULES, Batch

#: Seconds; the last bin has no end.
LATENCY_EDGES = (0.0, 5.0, 10.0, 15.0, 30.0, 60.0, 120.0, 300.0, float("inf"))
#: Notifications of one person and times of one content; the last stands for more.
MOST = 10


def _binned(values: pd.Series) -> np.ndarray:
    return np.bincount(np.minimum(values, MOST), minlength=MOST + 1)


class Summary:
    """Counts only, so that the order of batches does not matter.

    - `contents`: a row per content: visitors that were there (`present`), that saw it (`reached`),
      that saw it later than `LATE` seconds once or more (`late`), `fired`, `shown`, `refused_RULE`
    - `repeats`: a row per content, a column per number of times that a visitor saw it
    - `latency`: a row per content, a column per bin of `LATENCY_EDGES`
    - `noise`: visitors by the number of notifications in all
    - `hours`: notifications and the persons that got any, by hour (UTC)
    - `statistics`: what the portal would count, by event and zone
    """

    def __init__(self, contents: list[str]) -> None:
        self.visitors = 0
        columns = ["present", "reached", "late", "fired", "shown"]
        columns += [f"refused_{rule}" for rule in RULES]
        self.contents = pd.DataFrame(0, index=contents, columns=columns, dtype="int64")
        self.repeats = pd.DataFrame(0, index=contents, columns=range(MOST + 1), dtype="int64")
        self.latency = pd.DataFrame(
            0, index=contents, columns=LATENCY_EDGES[:-1], dtype="int64"
        )
        self.noise = pd.Series(0, index=range(MOST + 1), dtype="int64")
        self.hours = pd.DataFrame(columns=["notifications", "persons"], dtype="int64")
        self.statistics = pd.DataFrame({"event": [], "zone": [], "count": pd.Series([], dtype="int64")})

    def add(self, batch: Batch) -> None:
        self.visitors += batch.count
        per_visitor = batch.hours.groupby("visitor")["notifications"].sum()
        self.noise += _binned(per_visitor)
        self.noise[0] += batch.count - len(per_visitor)
        by_hour = batch.hours.groupby("hour")["notifications"].agg(["sum", "size"])
        by_hour.columns = ["notifications", "persons"]
        self.hours = self.hours.add(by_hour, fill_value=0).astype("int64")
        told = pd.concat([self.statistics, batch.statistics.astype({"event": str, "zone": str})])
        self.statistics = told.groupby(["event", "zone"], as_index=False)["count"].sum()
        for content, rows in batch.contacts.groupby("content", observed=True):
            self._add_content(content, rows, batch.count)
        absent = self.contents.index.difference(batch.contacts["content"].unique())
        self.repeats.loc[absent, 0] += batch.count

    def _add_content(self, content: str, rows: pd.DataFrame, visitors: int) -> None:
        if content not in self.contents.index:
            for table in (self.contents, self.repeats, self.latency):
                table.loc[content] = 0
            self.repeats.loc[content, 0] = self.visitors - visitors
        counts = {"present": (rows["present"] > 0).sum(), "reached": (rows["shown"] > 0).sum()}
        counts["late"] = (rows["late"] > 0).sum()
        for column in self.contents.columns:
            self.contents.loc[content, column] += counts.get(column, rows.get(column, rows["shown"]).sum())
        self.repeats.loc[content] += _binned(rows["shown"])
        self.repeats.loc[content, 0] += visitors - len(rows)
        latency = rows["latency"].dropna()
        self.latency.loc[content] += np.histogram(latency, LATENCY_EDGES)[0]
