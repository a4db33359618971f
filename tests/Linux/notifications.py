"""A stand-in of the desktop's notification service that records what it is asked to show.

Parameters: "capabilities", a list of names; "fault": "types" answers with wrong types, "refuse"
refuses every notification.
"""

import dbus

BUS_NAME = "org.freedesktop.Notifications"
MAIN_OBJ = "/org/freedesktop/Notifications"
MAIN_IFACE = "org.freedesktop.Notifications"
SYSTEM_BUS = False

NOTIFY = """
if args[1]:
    ret = args[1]
else:
    ret = self.next_id
    self.next_id += 1
"""
REFUSE = 'raise dbus.exceptions.DBusException("too many", name=self.interface + ".Error.Excess")'
FLOOD = """
for i in range(args[0]):
    self.EmitSignal("", "NotificationClosed", "uu", [1000 + i, 2])
    self.EmitSignal("", "ActionInvoked", "us", [1000 + i, "default"])
    self.EmitSignal("", "ActionInvoked", "s", ["default"])
self.EmitSignal("", "NotificationClosed", "uu", [1, 2])
"""


def load(mock, parameters):
    fault = parameters.get("fault")
    capabilities = [str(each) for each in parameters.get("capabilities", [])]
    mock.next_id = 1
    wrong = fault == "types"
    mock.AddMethods(
        MAIN_IFACE,
        [
            ("GetCapabilities", "", "u" if wrong else "as", f"ret = {7 if wrong else capabilities}"),
            ("GetServerInformation", "", "ssss", 'ret = ("Stand-in", "Nobody", "1.0", "1.2")'),
            (
                "Notify",
                "susssasa{sv}i",
                "s" if wrong else "u",
                REFUSE if fault == "refuse" else 'ret = "1"' if wrong else NOTIFY,
            ),
            (
                "CloseNotification",
                "u",
                "",
                'self.EmitSignal("", "NotificationClosed", "uu", [args[0], 3])',
            ),
            ("Flood", "u", "", FLOOD),
        ],
    )
    assert dbus
