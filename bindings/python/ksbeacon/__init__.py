"""The KSBeaconSDK proximity engine: feed a device, run scenarios, see every decision.

    import ksbeacon

    def test_welcome_fires_once():
        walk = ksbeacon.Scenario("demo.json").run()
        assert walk.passed, walk.failures
        assert [event.content for event in walk.triggers] == ["welcome"]

The package holds no logic of its own: it calls libksbeacon.so.1 through its C interface.
"""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

from ksbeacon._device import Application, Demand, Device
from ksbeacon._errors import (
    ArgumentError,
    Error,
    InputError,
    StateError,
    SystemRefusal,
    ThreadError,
    Unavailable,
)
from ksbeacon._events import Event, Kind
from ksbeacon._library import version
from ksbeacon._scenario import Scenario, Walk, replay, why

if TYPE_CHECKING:
    from ksbeacon.studies import Comparison, Study

__version__ = version()


def study(scenario: Any, visitors: int | None = None, **options: Any) -> Study:
    """Walks many visitors of a scenario's population; see `ksbeacon.studies.study`. Needs pandas."""
    from ksbeacon import studies

    return studies.study(scenario, visitors, **options)


def compare(scenario: Any, visitors: int | None = None, **options: Any) -> Comparison:
    """The same visitors twice; see `ksbeacon.studies.compare`. Needs pandas."""
    from ksbeacon import studies

    return studies.compare(scenario, visitors, **options)


__all__ = [
    "Application",
    "ArgumentError",
    "Demand",
    "Device",
    "Error",
    "Event",
    "InputError",
    "Kind",
    "Scenario",
    "StateError",
    "SystemRefusal",
    "ThreadError",
    "Unavailable",
    "Walk",
    "compare",
    "replay",
    "study",
    "version",
    "why",
]
