"""What happened, as values."""

from __future__ import annotations

import json
from dataclasses import dataclass
from datetime import datetime, timezone
from enum import IntEnum
from functools import cached_property
from typing import Any

from ksbeacon._library import text_or_none


class Kind(IntEnum):
    """What an event tells of; docs/timeline.md describes each."""

    APPLICATION = 0
    POSITION = 1
    REGION = 2
    RANGING = 3
    REQUEST = 4
    TRIGGER = 5
    DWELLING = 6
    REFUSAL = 7
    NOTIFICATION = 8
    STATISTIC = 9
    HTTP = 10
    CACHE = 11
    LOG = 12
    EXPECTATION = 13
    PRESENCE = 14
    OTHER = 255


@dataclass(frozen=True)
class Event:
    """One event of a device or a scenario."""

    kind: Kind
    #: Seconds since the device was created, or the scenario began.
    at: float
    date: datetime
    #: One line for a person.
    text: str
    #: One line for a program.
    json: str
    content: str | None
    zone: str | None
    #: Whether it is an entry, for triggers, waits, refusals and presences.
    entering: bool | None
    #: A refusal's rule, a notification's action, a region's change, a statistic's event.
    detail: str | None
    #: Whether an expectation was met.
    met: bool | None
    #: What a person sees of a notification.
    message: str | None
    #: What a content shows; the last four are URLs.
    title: str | None = None
    body: str | None = None
    page: str | None = None
    video: str | None = None
    media: str | None = None
    icon: str | None = None

    @cached_property
    def details(self) -> dict[str, Any]:
        """All members, as docs/timeline.md lists them."""
        return json.loads(self.json)


def _flag(number: int) -> bool | None:
    return None if number < 0 else bool(number)


def event_from(pointer: Any) -> Event:
    known = pointer.kind in Kind._value2member_map_
    return Event(
        kind=Kind(pointer.kind) if known else Kind.OTHER,
        at=pointer.at,
        date=datetime.fromtimestamp(pointer.date / 1000, timezone.utc),
        text=text_or_none(pointer.text) or "",
        json=text_or_none(pointer.json) or "{}",
        content=text_or_none(pointer.content),
        zone=text_or_none(pointer.zone),
        entering=_flag(pointer.entering),
        detail=text_or_none(pointer.detail),
        met=_flag(pointer.met),
        message=text_or_none(pointer.message),
        title=text_or_none(pointer.title),
        body=text_or_none(pointer.body),
        page=text_or_none(pointer.page),
        video=text_or_none(pointer.video),
        media=text_or_none(pointer.media),
        icon=text_or_none(pointer.icon),
    )
