"""The KSBeaconSDK proximity engine: feed a device, run scenarios, see every decision.

    import ksbeacon

    def test_welcome_fires_once():
        walk = ksbeacon.Scenario("demo.json").run()
        assert walk.passed, walk.failures
        assert [event.content for event in walk.triggers] == ["welcome"]

The package holds no logic of its own: it calls libksbeacon.so.1 through its C interface.
"""

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

__version__ = version()

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
    "replay",
    "version",
    "why",
]
