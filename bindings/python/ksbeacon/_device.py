"""The library on a device: this Linux machine, or one that the program feeds."""

from __future__ import annotations

import asyncio
import json
import os
import time
from collections import deque
from collections.abc import AsyncIterator, Callable, Iterator
from dataclasses import dataclass
from types import TracebackType
from typing import Any

from ksbeacon._errors import StateError
from ksbeacon._events import Event, event_from
from ksbeacon._library import Structure, check, ffi, lib, text_or_none, told


@dataclass(frozen=True)
class Application:
    """Who uses the library, and how."""

    portal_url: str
    username: str = ""
    password: str = ""
    bundle_identifier: str = "org.ksbeacon.python"
    name: str | None = None
    version: str | None = None
    language: str | None = None
    country: str | None = None
    #: Behaviour beyond the default: "exactStays,keptStatistics" or "all".
    refinements: str | None = None
    certificate_authorities: str | os.PathLike[str] | None = None
    #: Contents are announced and not shown.
    announce_only: bool = False
    log: bool = False
    #: Classes of data neither to send nor to keep: "positions,tags".
    without: str | None = None
    #: A file that takes down what enters the device, for `replay`.
    record: str | os.PathLike[str] | None = None
    #: Leaves tags out of the recording and rounds its positions.
    record_private: bool = False

    def _structure(self) -> Structure:
        members: dict[str, object] = dict(vars(self))
        members["announce_only"] = int(self.announce_only)
        members["log"] = int(self.log)
        members["record_private"] = int(self.record_private)
        return Structure("ks_application", **members)


@dataclass(frozen=True)
class Demand:
    """What an embedded device should listen for."""

    #: 0 no advertisements, 1 each beacon every few seconds, 2 every advertisement.
    advertisements: int
    #: Metres; None while no positions are needed.
    position_accuracy: float | None
    position_interval: float


class Device:
    """The library on one device; a process has at most one at a time. Use it as a context.

    Everything happens on the thread that made it. Iterating runs the library and gives its
    events, without end: leave the loop, or use `events` with a limit.
    """

    def __init__(self, create: Any) -> None:
        self._events: deque[Event] = deque()
        self._problems: deque[str | None] = deque()
        self._demand: Demand | None = None
        #: Called with whether something ails the library, and its health, when that changes.
        self.on_health: Callable[[bool, dict[str, Any]], object] | None = None
        self._callbacks = Structure("ks_callbacks")
        self._keep = self._make_callbacks()
        pointer = ffi.new("ks_device **")
        check(create(self._callbacks.pointer, pointer))
        self._device = pointer[0]

    @classmethod
    def embedded(
        cls, application: Application, folder: str | os.PathLike[str], time_zone: str = "UTC"
    ) -> Device:
        """A device fed by the program; `folder` holds what outlives it."""
        structure = application._structure()
        return cls(
            lambda callbacks, device: lib.ks_create_embedded(
                structure.pointer, callbacks, os.fspath(folder).encode(), time_zone.encode(), device
            )
        )

    @classmethod
    def linux(cls, application: Application) -> Device:
        """This machine with its Bluetooth, positions and desktop."""
        structure = application._structure()
        return cls(
            lambda callbacks, device: lib.ks_create_linux(structure.pointer, callbacks, device)
        )

    def _make_callbacks(self) -> list[Any]:
        @ffi.callback("void(void *, const ks_event *)")
        def event(_: Any, pointer: Any) -> None:
            self._events.append(event_from(pointer))

        @ffi.callback("void(void *, const char *)")
        def started(_: Any, problem: Any) -> None:
            self._problems.append(text_or_none(problem))

        @ffi.callback("void(void *, const ks_demand *)")
        def demand(_: Any, wanted: Any) -> None:
            accuracy = wanted.position_accuracy
            self._demand = Demand(
                wanted.advertisements,
                None if accuracy < 0 else accuracy,
                wanted.position_interval,
            )

        @ffi.callback("void(void *, int32_t, const char *)")
        def health(_: Any, ailing: int, text: Any) -> None:
            if self.on_health is not None:
                self.on_health(bool(ailing), json.loads(text_or_none(text) or "{}"))

        pointer = self._callbacks.pointer
        pointer.event, pointer.started, pointer.demand = event, started, demand
        pointer.health = health
        return [event, started, demand, health]

    def close(self) -> None:
        """Ends the library; a second call does nothing."""
        device = self._device
        if device is not None:
            check(lib.ks_destroy(device))
            self._device = None

    def __enter__(self) -> Device:
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        trace: TracebackType | None,
    ) -> None:
        self.close()

    def _call(self, function: Any, *arguments: Any) -> None:
        if self._device is None:
            raise StateError("the device is closed")
        check(function(self._device, *arguments))

    def start(self, timeout: float = 30) -> None:
        """Starts the library and runs it until it works; raises `StateError` with the reason why not."""
        self._problems.clear()
        self._call(lib.ks_start)
        end = time.monotonic() + timeout
        while not self._problems and time.monotonic() < end:
            self.run_once(0.1)
        problem = self._problems[-1] if self._problems else "no answer in time"
        if problem is not None:
            raise StateError(f"the library did not start: {problem}")

    def run_once(self, timeout: float = 0) -> bool:
        """Runs what is due, having waited at most `timeout` seconds; False when nothing was."""
        ran = ffi.new("int32_t *")
        self._call(lib.ks_run_once, int(timeout * 1000), ran)
        return bool(ran[0])

    def fileno(self) -> int:
        """For select: readable while there is something to run. Not on Linux devices."""
        descriptor = ffi.new("int32_t *")
        self._call(lib.ks_descriptor, descriptor)
        return int(descriptor[0])

    def events(self, seconds: float | None = None) -> Iterator[Event]:
        """Runs the library and gives its events, for so many seconds or without end."""
        end = None if seconds is None else time.monotonic() + seconds
        while end is None or time.monotonic() < end:
            self.run_once(0.1)
            while self._events:
                yield self._events.popleft()

    def __iter__(self) -> Iterator[Event]:
        return self.events()

    async def __aiter__(self) -> AsyncIterator[Event]:
        """The events beside other work of an asyncio loop, on the loop's own thread."""
        loop = asyncio.get_running_loop()
        ready = asyncio.Event()
        loop.add_reader(self.fileno(), ready.set)
        try:
            while self._device is not None:
                while self._events:
                    yield self._events.popleft()
                if not self.run_once():
                    ready.clear()
                    if not self._events:
                        await ready.wait()
        finally:
            if self._device is not None:
                loop.remove_reader(self.fileno())

    @property
    def demand(self) -> Demand | None:
        """What an embedded device should listen for, as last told."""
        return self._demand

    def set_active(self, active: bool) -> None:
        self._call(lib.ks_set_active, int(active))

    def fetch(self) -> None:
        self._call(lib.ks_fetch)

    def reset(self) -> None:
        self._call(lib.ks_reset)

    def set_tag(self, name: str, value: str) -> None:
        self._call(lib.ks_set_tag, name.encode(), value.encode())

    def delete_tag(self, name: str) -> None:
        self._call(lib.ks_delete_tag, name.encode())

    def clear_tags(self) -> None:
        self._call(lib.ks_delete_tag, ffi.NULL)

    def categories(self) -> dict[str, tuple[str, bool]]:
        """The portal's categories: identifier to name and whether it is on."""
        found: dict[str, tuple[str, bool]] = {}

        @ffi.callback("void(void *, const char *, const char *, int32_t)")
        def each(_: Any, identifier: Any, name: Any, enabled: int) -> None:
            found[text_or_none(identifier) or ""] = (text_or_none(name) or "", bool(enabled))

        self._call(lib.ks_categories, each, ffi.NULL)
        return found

    def enable_category(self, identifier: str, enabled: bool = True) -> None:
        self._call(lib.ks_enable_category, identifier.encode(), int(enabled))

    def health(self) -> dict[str, Any]:
        """The state of the library: its facts, and "ailments" with reasons and what to do."""
        return told(lambda answer: self._call(lib.ks_health, answer, ffi.NULL))

    def set_consent(self, without: str = "") -> None:
        """Classes of data neither to send nor to keep from now on: "positions,tags"."""
        self._call(lib.ks_set_consent, without.encode())

    def purge(self) -> None:
        """Ends the library for good and removes everything that it holds on this device."""
        self._call(lib.ks_purge)

    def open_content(self, content: str) -> None:
        """The user opened an announced content."""
        self._call(lib.ks_open_content, content.encode())

    def show_content(self, content: str) -> None:
        self._call(lib.ks_show_content, content.encode())

    def advertisement(self, address: str, elements: bytes, rssi: float) -> None:
        """One advertisement as its length-type-value elements."""
        self._call(lib.ks_advertisement, address.encode(), elements, len(elements), rssi)

    def manufacturer_data(self, address: str, company: int, data: bytes, rssi: float) -> None:
        self._call(lib.ks_manufacturer_data, address.encode(), company, data, len(data), rssi)

    def position(self, latitude: float, longitude: float, accuracy: float) -> None:
        self._call(lib.ks_position, latitude, longitude, accuracy)

    def position_lost(self) -> None:
        self._call(lib.ks_position_lost)

    def set_bluetooth(self, powered: bool) -> None:
        self._call(lib.ks_set_bluetooth, int(powered))

    def set_permission(self, permission: int) -> None:
        self._call(lib.ks_set_permission, permission)
