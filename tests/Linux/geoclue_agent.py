#!/usr/bin/python3
"""Speaks for the user to GeoClue on the system bus: permits every application, up to a level.

usage: geoclue_agent.py [LEVEL]     0 permits nothing, 8 the exact position (default)

The user's privacy switch, while it runs:
  gdbus call --system -d test.GeoClueAgent -o /org/freedesktop/GeoClue2/Agent \
    -m test.GeoClueAgent.SetLevel LEVEL
"""
import sys

import dbus
import dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

AGENT = "org.freedesktop.GeoClue2.Agent"
PATH = "/org/freedesktop/GeoClue2/Agent"


class Agent(dbus.service.Object):
    level = dbus.UInt32(sys.argv[1] if len(sys.argv) > 1 else 8)

    @dbus.service.method(AGENT, "su", "bu")
    def AuthorizeApp(self, application, level):
        return True, level

    @dbus.service.method(dbus.PROPERTIES_IFACE, "ss", "v")
    def Get(self, interface, name):
        return self.level

    @dbus.service.method(dbus.PROPERTIES_IFACE, "s", "a{sv}")
    def GetAll(self, interface):
        return {"MaxAccuracyLevel": self.level}

    @dbus.service.signal(dbus.PROPERTIES_IFACE, "sa{sv}as")
    def PropertiesChanged(self, interface, changed, invalidated):
        pass

    @dbus.service.method("test.GeoClueAgent", "u")
    def SetLevel(self, level):
        self.level = level
        self.PropertiesChanged(AGENT, {"MaxAccuracyLevel": level}, [])


DBusGMainLoop(set_as_default=True)
bus = dbus.SystemBus()
agent = Agent(bus, PATH)


def added():
    # The name says that the agent is ready.
    globals()["name"] = dbus.service.BusName("test.GeoClueAgent", bus)


def refused(error):
    sys.exit(str(error))


# Not waited for: the service reads the agent's properties before it answers.
manager = bus.get_object("org.freedesktop.GeoClue2", "/org/freedesktop/GeoClue2/Manager")
manager.AddAgent("test-agent", dbus_interface="org.freedesktop.GeoClue2.Manager",
                 reply_handler=added, error_handler=refused)
GLib.MainLoop().run()
