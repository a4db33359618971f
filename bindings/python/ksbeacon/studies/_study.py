"""A study: many visitors, one table."""

from __future__ import annotations

import os
import sys
import time
from collections.abc import Callable, Iterator
from dataclasses import dataclass
from pathlib import Path
from typing import Any

import pandas as pd

from ksbeacon._errors import ArgumentError, Unavailable
from ksbeacon.studies import _engine
from ksbeacon.studies._batch import CONTACT_TYPES, HOUR_TYPES, Batch, Job, job_for
from ksbeacon.studies._summary import Summary


@dataclass
class Study:
    """What visitors met.

    - `table`: a row per visitor and content that had anything to do with each other: how often the
      visitor was in its zones (`present`), `fired`, `shown`, how many of these `late`, `first` and
      `last` firing (UTC), `latency` in seconds from entering the zone (leaving, for contents of an
      exit) to the first notification, and `refused_RULE`
    - `hours`: notifications per visitor and hour
    - `summary`: what the report shows

    `table` and `hours` are empty when the rows were written to a file instead.
    """

    job: Job
    population: dict[str, Any]
    summary: Summary
    table: pd.DataFrame
    hours: pd.DataFrame

    @property
    def visitors(self) -> int:
        return self.summary.visitors

    def to_csv(self, path: str | os.PathLike[str]) -> None:
        self.table.to_csv(path, index=False)

    def to_parquet(self, path: str | os.PathLike[str]) -> None:
        """Raises `Unavailable` without a library for Parquet."""
        try:
            self.table.to_parquet(path, index=False)
        except ImportError as error:
            raise Unavailable(
                "Parquet needs the Python package pyarrow: ksbeacon[parquet]; to_csv needs nothing"
            ) from error

    def report(self, path: str | os.PathLike[str]) -> None:
        """Writes one HTML page that loads nothing from elsewhere."""
        from ksbeacon.studies._page import page

        Path(path).write_text(page(self), encoding="utf-8")


class _Progress:
    """A line on the terminal: how many, how fast, how long yet."""

    def __init__(self, visitors: int) -> None:
        self._visitors = visitors
        self._begin = time.monotonic()

    def __call__(self, done: int) -> None:
        passed = max(1e-9, time.monotonic() - self._begin)
        left = int(passed / done * (self._visitors - done))
        line = f"{done:,} of {self._visitors:,} visitors, {done / passed:,.0f} a second, "
        line += f"{left // 3600}:{left // 60 % 60:02}:{left % 60:02} left"
        print(f"\r{line:<70}", end="\n" if done == self._visitors else "", file=sys.stderr, flush=True)


class _Rows:
    """Keeps the batches' rows, or appends them to a file."""

    def __init__(self, path: str | os.PathLike[str] | None) -> None:
        self._contacts: list[pd.DataFrame] = []
        self._hours: list[pd.DataFrame] = []
        self._file = None if path is None else open(path, "w", encoding="utf-8", newline="")

    def add(self, batch: Batch) -> None:
        if self._file is None:
            self._contacts.append(batch.contacts)
            self._hours.append(batch.hours)
        else:
            batch.contacts.to_csv(self._file, index=False, header=self._file.tell() == 0)

    def tables(self) -> tuple[pd.DataFrame, pd.DataFrame]:
        if self._file is not None:
            self._file.close()
        made = []
        for frames, types in ((self._contacts, CONTACT_TYPES), (self._hours, HOUR_TYPES)):
            plain = [frame.astype({"content": str}) if "content" in types else frame for frame in frames]
            empty = pd.DataFrame(columns=list(types))
            made.append((pd.concat(plain, ignore_index=True) if plain else empty).astype(types))
        return made[0], made[1]


def _batches(
    job: Job, first: int, visitors: int, workers: int | None, scheduler: Any
) -> Iterator[Batch]:
    if hasattr(scheduler, "submit"):
        yield from _engine.run_on(scheduler, job, first, visitors)
    elif scheduler is None and workers == 0:
        yield from _engine.run_here(job, first, visitors)
    else:
        with _engine.client(workers, scheduler) as client:
            yield from _engine.run_on(client, job, first, visitors)


def study(
    scenario: str | os.PathLike[str],
    visitors: int | None = None,
    *,
    first: int = 1,
    seed: int | None = None,
    documents: str | os.PathLike[str] | None = None,
    refinements: str | None = None,
    workers: int | None = None,
    scheduler: Any = None,
    rows_to: str | os.PathLike[str] | None = None,
    progress: bool | Callable[[int], object] | None = None,
) -> Study:
    """Walks visitors `first` to `first + visitors - 1` of the scenario's population.

    Equal arguments give equal tables, whatever computes them. `workers`: processes on this machine,
    one per core unless given, 0 for none but this one. `scheduler`: a Dask scheduler's address or
    file, or a client. `rows_to`: a CSV file for the rows, which then are not kept in memory.
    `progress`: called with the number of visitors done; True shows a line, None does so on a
    terminal.

    Raises `InputError` for mistakes in the scenario, its population or its documents, and
    `WorkerError` for a worker of another version, both before anything runs.
    """
    if visitors is not None and visitors < 1 or first < 1:
        raise ArgumentError("visitors and first must be at least 1")
    where = None if documents is None else os.fspath(documents)
    job, population = job_for(os.fspath(scenario), where, seed, refinements)
    count = population["visitors"] if visitors is None else visitors
    told: Callable[[int], object] | None = progress if callable(progress) else None
    if progress is True or (progress is None and sys.stderr.isatty()):
        told = _Progress(count)
    summary = Summary(list(dict.fromkeys(zone["content"] for zone in population["zones"])))
    rows = _Rows(rows_to)
    for batch in _batches(job, first, count, workers, scheduler):
        summary.add(batch)
        rows.add(batch)
        if told is not None:
            told(summary.visitors)
    return Study(job, population, summary, *rows.tables())
