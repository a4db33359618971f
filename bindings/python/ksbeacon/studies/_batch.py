"""The walks of a range of visitors, as rows. A function of its arguments alone."""

from __future__ import annotations

import bisect
import hashlib
import json
import threading
from collections import Counter
from collections.abc import Iterator
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

import numpy as np
import pandas as pd

from ksbeacon._errors import Error
from ksbeacon._events import Event, Kind
from ksbeacon._library import version
from ksbeacon._scenario import Scenario

RULES = (
    "proximity", "eventCounter", "repeatDelay", "onceOnly", "category", "dwelling", "otherEvent",
)  # fmt: skip
#: Seconds after entering from which a notification counts as late: 40 m further at a usual walk.
LATE = 30.0

CONTACT_TYPES = {
    "visitor": "int64", "content": "category", "present": "int16", "fired": "int16",
    "shown": "int16", "late": "int16", "first": "datetime64[ns]", "last": "datetime64[ns]",
    "latency": "float32", **{f"refused_{rule}": "int16" for rule in RULES},
}  # fmt: skip
HOUR_TYPES = {"visitor": "int64", "hour": "datetime64[ns]", "notifications": "int16"}
STATISTIC_TYPES = {"event": "category", "zone": "category", "count": "int64"}

# A process is one device at a time, whatever number of threads a worker has.
_device = threading.Lock()


class WorkerError(Error):
    """A worker would not compute what the others do."""


@dataclass(frozen=True)
class Job:
    """What all visitors of a study have in common."""

    scenario: str
    documents: str
    seed: int
    refinements: str | None = None
    version: str = field(default_factory=version)
    #: Of the scenario and its documents.
    digest: str = ""

    def objection(self) -> str | None:
        """Why this process must not take part; None when it may."""
        if version() != self.version:
            return f"has version {version()} of the library, the study {self.version}"
        try:
            if digest(self.scenario, self.documents) != self.digest:
                return f"has another {self.scenario}, or other documents"
        except OSError as error:
            return f"cannot read {error.filename}; the scenario's folder must be shared"
        return None


def digest(scenario: str, documents: str) -> str:
    """Changes with any byte of the scenario or of a document."""
    found = hashlib.sha256(Path(scenario).read_bytes())
    for file in sorted(Path(documents).glob("*.json")):
        found.update(file.name.encode() + b"\0" + file.read_bytes())
    return found.hexdigest()


@dataclass
class Batch:
    """The rows of visitors `first` to `first + count - 1`, in their order."""

    first: int
    count: int
    contacts: pd.DataFrame
    hours: pd.DataFrame
    statistics: pd.DataFrame


@dataclass
class _Contact:
    """A visitor and a content."""

    entries: list[float] = field(default_factory=list)
    exits: list[float] = field(default_factory=list)
    fired: list[Event] = field(default_factory=list)
    shown: list[float] = field(default_factory=list)
    refused: Counter[str] = field(default_factory=Counter)

    def latencies(self) -> Iterator[float]:
        """Seconds from entering, or leaving, the zone to each notification; 0 when it came first."""
        at = self.exits if self.fired and not self.fired[0].entering else self.entries
        for shown in self.shown:
            before = bisect.bisect_right(at, shown)
            yield shown - at[before - 1] if before else 0.0 if at else float("nan")

    def row(self, visitor: int, content: str) -> list[Any]:
        latencies = list(self.latencies())
        dates = [np.datetime64(each.date.replace(tzinfo=None), "ns") for each in self.fired]
        return [
            visitor, content, len(self.entries), len(self.fired), len(self.shown),
            sum(latency > LATE for latency in latencies),
            min(dates, default=np.datetime64("NaT")), max(dates, default=np.datetime64("NaT")),
            latencies[0] if latencies else float("nan"),
            *(self.refused[rule] for rule in RULES),
        ]  # fmt: skip


def _frame(rows: list[Any], types: dict[str, str]) -> pd.DataFrame:
    columns = list(zip(*rows)) if rows else [()] * len(types)
    return pd.DataFrame(
        {name: pd.Series(list(column), dtype=kind) for (name, kind), column in zip(types.items(), columns)}
    )


class _Visitor:
    """Takes the events of one walk."""

    def __init__(self) -> None:
        self.contacts: dict[str, _Contact] = {}
        self.hours: Counter[np.datetime64] = Counter()
        self.statistics: Counter[tuple[str, str]] = Counter()

    def note(self, event: Event) -> None:
        if event.kind == Kind.STATISTIC:
            self.statistics[event.detail or "", event.zone or ""] += 1
        if event.kind == Kind.NOTIFICATION and event.detail == "shown":
            self.hours[np.datetime64(event.date.replace(tzinfo=None), "h")] += 1
        if not event.content:
            return
        contact = self.contacts.setdefault(event.content, _Contact())
        if event.kind == Kind.PRESENCE:
            (contact.entries if event.entering else contact.exits).append(event.at)
        elif event.kind == Kind.TRIGGER:
            contact.fired.append(event)
        elif event.kind == Kind.REFUSAL:
            contact.refused[event.detail or ""] += 1
        elif event.detail == "shown":
            contact.shown.append(event.at)


def run_batch(job: Job, first: int, count: int) -> Batch:
    """Walks so many visitors; raises `WorkerError` where that would not be what others compute."""
    objection = job.objection()
    if objection is not None:
        raise WorkerError(f"this worker {objection}")
    contacts: list[Any] = []
    hours: list[Any] = []
    statistics: Counter[tuple[str, str]] = Counter()
    scenario = Scenario(job.scenario)
    for number in range(first, first + count):
        visitor = _Visitor()
        with _device:
            scenario.run(
                visitor=number, seed=job.seed, documents=job.documents,
                refinements=job.refinements, effects_only=True, keep_events=False,
                on_event=visitor.note,
            )  # fmt: skip
        contacts += [each.row(number, name) for name, each in sorted(visitor.contacts.items())]
        hours += [(number, hour, shown) for hour, shown in sorted(visitor.hours.items())]
        statistics.update(visitor.statistics)
    return Batch(
        first, count, _frame(contacts, CONTACT_TYPES), _frame(hours, HOUR_TYPES),
        _frame([(*key, told) for key, told in sorted(statistics.items())], STATISTIC_TYPES),
    )  # fmt: skip


def job_for(
    scenario: str, documents: str | None, seed: int | None, refinements: str | None
) -> tuple[Job, dict[str, Any]]:
    """The job, and what `Scenario.population` says; raises `InputError` for any mistake."""
    population = Scenario(scenario).population(documents)
    folder = str(Path(population["documents"]).resolve())
    path = str(Path(scenario).resolve())
    job = Job(
        path, folder, population["seed"] if seed is None else seed, refinements,
        digest=digest(path, folder),
    )  # fmt: skip
    return job, json.loads(json.dumps(population))
