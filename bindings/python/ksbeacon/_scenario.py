"""Whole days of a simulated device, for tests of campaigns."""

from __future__ import annotations

import os
from collections.abc import Callable, Sequence
from dataclasses import dataclass
from typing import Any

from ksbeacon._events import Event, Kind, event_from
from ksbeacon._library import Structure, check, ffi, lib, told


@dataclass(frozen=True)
class Walk:
    """How a scenario came out."""

    events: Sequence[Event]
    expectations: int
    met: int

    @property
    def passed(self) -> bool:
        """Whether everything that the scenario expects has happened."""
        return self.met == self.expectations

    @property
    def failures(self) -> list[str]:
        """The expectations that were not met, in words."""
        return [event.text for event in self.of(Kind.EXPECTATION) if not event.met]

    def of(self, kind: Kind) -> list[Event]:
        return [event for event in self.events if event.kind == kind]

    @property
    def triggers(self) -> list[Event]:
        """The contents that fired."""
        return self.of(Kind.TRIGGER)

    @property
    def refusals(self) -> list[Event]:
        """The events that did not fire a content; `detail` names the rule."""
        return self.of(Kind.REFUSAL)

    @property
    def notifications(self) -> list[Event]:
        """What the user saw."""
        return [event for event in self.of(Kind.NOTIFICATION) if event.detail == "shown"]


class _Listener:
    """Keeps the events of a run, and what the caller's function raised, which ends the run."""

    def __init__(self, on_event: Callable[[Event], object] | None, keep_events: bool) -> None:
        self.events: list[Event] = []
        self._raised: list[BaseException] = []

        @ffi.callback("int32_t(void *, const ks_event *)", error=1)
        def happened(_: Any, pointer: Any) -> int:
            try:
                event = event_from(pointer)
                if keep_events:
                    self.events.append(event)
                if on_event is not None:
                    on_event(event)
                return 0
            except BaseException as error:  # Nothing may pass through the library.
                self._raised.append(error)
                return 1

        self.callback = happened

    def check(self, status: int) -> None:
        if self._raised:
            raise self._raised[0]
        check(status)


@dataclass(frozen=True)
class Scenario:
    """A scenario file (docs/scenarios.md). Runs in virtual time, without a network."""

    path: str | os.PathLike[str]

    def run(
        self,
        *,
        seed: int | None = None,
        until: float = 0,
        refinements: str | None = None,
        documents: str | os.PathLike[str] | None = None,
        every_ranging: bool = False,
        log: bool = False,
        visitor: int = 0,
        effects_only: bool = False,
        on_event: Callable[[Event], object] | None = None,
        keep_events: bool = True,
    ) -> Walk:
        """Lives through the scenario; equal arguments give equal events.

        With `visitor`, from 1, as that visitor of its population. `effects_only` leaves only
        triggers, refusals, notifications, statistics and presences.

        Raises `InputError` for mistakes in the scenario or its documents, and whatever `on_event`
        raises, which ends the run.
        """
        listener = _Listener(on_event, keep_events)
        options = Structure(
            "ks_scenario_options",
            has_seed=0 if seed is None else 1,
            seed=seed or 0,
            until=until,
            refinements=refinements,
            documents=documents,
            every_ranging=int(every_ranging),
            log=int(log),
            visitor=visitor,
            effects_only=int(effects_only),
        )
        result = Structure("ks_scenario_result")
        status = lib.ks_run_scenario(
            os.fspath(self.path).encode(), options.pointer, listener.callback, ffi.NULL, result.pointer
        )
        listener.check(status)
        return Walk(listener.events, result.pointer.expectations, result.pointer.met)

    def population(self, documents: str | os.PathLike[str] | None = None) -> dict[str, Any]:
        """The scenario's population: "visitors", "days", "places", "zones" and more.

        Raises `InputError` for mistakes in the scenario or its documents.
        """
        options = Structure("ks_scenario_options", documents=documents)
        return told(
            lambda answer: check(
                lib.ks_population(os.fspath(self.path).encode(), options.pointer, answer, ffi.NULL)
            )
        )

    def why(self, name: str, at: float = -1) -> dict[str, Any]:
        """Why a content fired or did not, `at` seconds after the start or at the end."""
        return why(self.path, name, at)


def replay(
    path: str | os.PathLike[str],
    *,
    until: float = 0,
    refinements: str | None = None,
    documents: str | os.PathLike[str] | None = None,
    on_event: Callable[[Event], object] | None = None,
) -> Sequence[Event]:
    """Lives through a recording again and gives its events; `StateError` where it departs from it.

    With other refinements or documents it is the same day under other rules.
    """
    listener = _Listener(on_event, True)
    options = Structure(
        "ks_scenario_options", until=until, refinements=refinements, documents=documents
    )
    listener.check(
        lib.ks_replay(os.fspath(path).encode(), options.pointer, listener.callback, ffi.NULL)
    )
    return listener.events


def why(
    path: str | os.PathLike[str],
    name: str,
    at: float = -1,
    documents: str | os.PathLike[str] | None = None,
) -> dict[str, Any]:
    """Why a content fired or did not in a scenario or a recording: "fired", "links", "conclusion"."""
    folder = ffi.NULL if documents is None else os.fspath(documents).encode()
    return told(
        lambda answer: check(
            lib.ks_why(os.fspath(path).encode(), name.encode(), at, folder, answer, ffi.NULL)
        )
    )
