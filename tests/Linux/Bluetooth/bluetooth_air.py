"""Stand-in of the Bluetooth daemon that hears raw advertisement bytes.

Start: /usr/bin/python3 -m dbusmock --system --template tests/Linux/Bluetooth/bluetooth_air.py
Drive: org.ksbeacon.Air on the object /.

It follows the daemon's rules as they were seen with bluetoothd 5.66:
- a controller without a monitor reports each device once per start of the discovery;
- a monitor without thresholds is told of every matching advertisement, one with thresholds once;
- a discovery with DuplicateData repeats strength and data, otherwise only changes are told, and
  strengths only in steps of 8 dB;
- the end of a discovery takes the strengths back; without power every discovery ends.
"""

import dbus
import dbus.lowlevel
import dbus.service
from dbusmock import OBJECT_MANAGER_IFACE, mockobject
from gi.repository import GLib

BUS_NAME = "org.bluez"
MAIN_OBJ = "/"
MAIN_IFACE = "org.ksbeacon.Air"
SYSTEM_BUS = True
IS_OBJECT_MANAGER = True

ADAPTER = "org.bluez.Adapter1"
DEVICE = "org.bluez.Device1"
MANAGER = "org.bluez.AdvertisementMonitorManager1"
MONITOR = "org.bluez.AdvertisementMonitor1"
PROPERTIES = "org.freedesktop.DBus.Properties"
RSSI_STEP = 8

MANUFACTURER_DATA, SERVICE_DATA_16 = 0xFF, 0x16
SERVICES_16 = (0x02, 0x03)

calls = []  # what clients called, in order
refusals = {}  # method -> error name
last = {}  # the sender of the call under way
adapters = {}  # path -> Adapter


class Adapter:
    def __init__(self):
        self.filter = {}
        self.discovering = False
        self.reported = set()  # by the controller since the discovery began
        self.monitors = {}  # (sender, application) -> Monitor


class Monitor:
    def __init__(self, proxy, properties):
        self.proxy = proxy
        self.patterns = [(int(o), int(t), bytes(b)) for o, t, b in properties["Patterns"]]
        self.every = "RSSIHighThreshold" not in properties
        self.found = set()

    def matches(self, elements):
        return any(
            kind == wanted and data[offset : offset + len(head)] == head
            for offset, wanted, head in self.patterns
            for kind, data in elements
        )

    def tell(self, method, *args):
        message = dbus.lowlevel.MethodCallMessage(
            self.proxy.bus_name, self.proxy.object_path, MONITOR, method
        )
        message.set_no_reply(True)
        if args:
            message.append(*args, signature="o")
        mockobject.objects["/"].connection.send_message(message)


def elements_of(raw):
    raw, at = bytes(raw), 0
    while at + 1 < len(raw) and raw[at]:
        yield raw[at + 1], raw[at + 2 : at + 1 + raw[at]]
        at += 1 + raw[at]


def uuid16(data):
    return f"0000{data[1]:02x}{data[0]:02x}-0000-1000-8000-00805f9b34fb"


def byte_array(data):
    return dbus.Array(data, "y", variant_level=1)


def device_properties(elements):
    manufacturer, service, uuids = {}, {}, []
    for kind, data in elements:
        if kind == MANUFACTURER_DATA:
            manufacturer[dbus.UInt16(data[0] | data[1] << 8)] = byte_array(data[2:])
        elif kind == SERVICE_DATA_16:
            service[uuid16(data)] = byte_array(data[2:])
        elif kind in SERVICES_16:
            uuids += [uuid16(data[at:]) for at in range(0, len(data) - 1, 2)]
    properties = {}
    if manufacturer:
        properties["ManufacturerData"] = dbus.Dictionary(manufacturer, "qv")
    if service:
        properties["ServiceData"] = dbus.Dictionary(service, "sv")
    if uuids:
        properties["UUIDs"] = dbus.Array(uuids, "s")
    return properties


def called(method, path, argument=""):
    calls.append(f"{method} {path.rsplit('/', 1)[-1]} {argument}".strip())
    if method in refusals:
        raise dbus.exceptions.DBusException("refused by the test", name=refusals[method])


def changed(path, interface, properties, dropped=()):
    known = mockobject.objects[path].props[interface]
    known.update(properties)
    for name in dropped:
        known.pop(name, None)
    mockobject.objects[path].EmitSignal(
        PROPERTIES,
        "PropertiesChanged",
        "sa{sv}as",
        [interface, dbus.Dictionary(properties, "sv"), dbus.Array(dropped, "s")],
    )


def appeared(path, interface, properties):
    args = [dbus.ObjectPath(path), {interface: dbus.Dictionary(properties, "sv")}]
    mockobject.objects["/"].EmitSignal(
        OBJECT_MANAGER_IFACE, "InterfacesAdded", "oa{sa{sv}}", args
    )


def disappeared(path, interfaces):
    mockobject.objects["/"].EmitSignal(
        OBJECT_MANAGER_IFACE, "InterfacesRemoved", "oas", [dbus.ObjectPath(path), interfaces]
    )


def end_discovery(path):
    adapters[path].discovering = False
    changed(path, ADAPTER, {"Discovering": dbus.Boolean(False)})
    for device in [p for p in mockobject.objects if p.startswith(path + "/")]:
        changed(device, DEVICE, {}, ["RSSI"])


def set_discovery_filter(adapter, wanted):
    called("SetDiscoveryFilter", adapter.path)
    adapters[adapter.path].filter = dict(wanted)


def start_discovery(adapter):
    called("StartDiscovery", adapter.path)
    air = adapters[adapter.path]
    if not adapter.props[ADAPTER]["Powered"]:
        raise dbus.exceptions.DBusException("Resource Not Ready", name="org.bluez.Error.NotReady")
    if air.discovering:
        raise dbus.exceptions.DBusException("Already", name="org.bluez.Error.InProgress")
    air.discovering = True
    air.reported = set()
    changed(adapter.path, ADAPTER, {"Discovering": dbus.Boolean(True)})


def stop_discovery(adapter):
    called("StopDiscovery", adapter.path)
    if not adapters[adapter.path].discovering:
        raise dbus.exceptions.DBusException("No discovery started", name="org.bluez.Error.Failed")
    end_discovery(adapter.path)


def register_monitor(adapter, application):
    called("RegisterMonitor", adapter.path, application.rsplit("/", 1)[-1])
    monitors, sender = adapters[adapter.path].monitors, last["sender"]
    if (sender, application) in monitors:
        raise dbus.exceptions.DBusException("Already", name="org.bluez.Error.AlreadyExists")
    connection = adapter.connection

    def got(objects):
        for path, interfaces in objects.items():
            proxy = connection.get_object(sender, path, introspect=False)
            monitor = Monitor(proxy, interfaces[MONITOR])
            if "Activate" in refusals:
                monitor.tell("Release")
            else:
                monitors[(sender, application)] = monitor
                monitor.tell("Activate")

    connection.get_object(sender, application, introspect=False).GetManagedObjects(
        dbus_interface=OBJECT_MANAGER_IFACE, reply_handler=got, error_handler=print
    )


def unregister_monitor(adapter, application):
    called("UnregisterMonitor", adapter.path, application.rsplit("/", 1)[-1])
    monitor = adapters[adapter.path].monitors.pop((last["sender"], application), None)
    if monitor is None:
        raise dbus.exceptions.DBusException("None", name="org.bluez.Error.DoesNotExist")
    monitor.tell("Release")


@dbus.service.method(MAIN_IFACE, in_signature="sbb")
def AddAdapter(self, name, powered, monitors):
    path = "/org/bluez/" + name
    adapters[path] = Adapter()
    properties = {
        "Address": "00:AA:01:00:00:42",
        "Powered": dbus.Boolean(powered),
        "Discovering": dbus.Boolean(False),
    }
    methods = [
        ("SetDiscoveryFilter", "a{sv}", "", set_discovery_filter),
        ("StartDiscovery", "", "", start_discovery),
        ("StopDiscovery", "", "", stop_discovery),
    ]
    self.AddObject(path, ADAPTER, properties, methods)
    appeared(path, ADAPTER, properties)
    if monitors:
        methods = [
            ("RegisterMonitor", "o", "", register_monitor),
            ("UnregisterMonitor", "o", "", unregister_monitor),
        ]
        types = {"SupportedMonitorTypes": dbus.Array(["or_patterns"], "s")}
        mockobject.objects[path].AddProperties(MANAGER, types)
        mockobject.objects[path].AddMethods(MANAGER, methods)
        appeared(path, MANAGER, types)


@dbus.service.method(MAIN_IFACE, in_signature="s")
def RemoveAdapter(self, name):
    path = "/org/bluez/" + name
    del adapters[path]
    for each in [p for p in mockobject.objects if p.startswith(path + "/")]:
        self.RemoveObject(each)
        disappeared(each, [DEVICE])
    self.RemoveObject(path)
    disappeared(path, [ADAPTER, MANAGER])


@dbus.service.method(MAIN_IFACE, in_signature="sb")
def SetPowered(self, name, powered):
    path = "/org/bluez/" + name
    if not powered and adapters[path].discovering:
        end_discovery(path)
    changed(path, ADAPTER, {"Powered": dbus.Boolean(powered)})


@dbus.service.method(MAIN_IFACE, in_signature="ssnay")
def Advertise(self, name, address, rssi, raw):
    path = "/org/bluez/" + name
    air = adapters[path]
    elements = list(elements_of(raw))
    matching = [m for m in air.monitors.values() if m.matches(elements)]
    if not air.discovering and not matching:
        return
    device = f"{path}/dev_{address.replace(':', '_')}"
    if not air.monitors:
        if device in air.reported:
            return
        air.reported.add(device)
    properties = device_properties(elements)
    properties["RSSI"] = dbus.Int16(rssi)
    known = mockobject.objects.get(device)
    for monitor in matching:
        if monitor.every or device not in monitor.found:
            monitor.tell("DeviceFound", dbus.ObjectPath(device))
            monitor.found.add(device)
    if known is None:
        properties.update(Address=address, Adapter=dbus.ObjectPath(path))
        self.AddObject(device, DEVICE, properties, [])
        appeared(device, DEVICE, properties)
        return
    before = known.props[DEVICE]
    if not (air.discovering and air.filter.get("DuplicateData")):
        strength = before.get("RSSI")
        if strength is not None and abs(strength - rssi) < RSSI_STEP:
            del properties["RSSI"]
        properties = {k: v for k, v in properties.items() if k == "RSSI" or before.get(k) != v}
    if properties:
        changed(device, DEVICE, properties)


@dbus.service.method(MAIN_IFACE, in_signature="ssnayuu")
def Flood(self, name, prefix, rssi, raw, devices, seconds):
    """1,000 advertisements a second, ten each 10 ms."""
    sent = {"count": 0}

    def burst():
        for _ in range(10):
            address = f"{prefix}:{sent['count'] % devices >> 8:02X}:{sent['count'] % devices & 255:02X}"
            Advertise(self, name, address, rssi, raw)
            sent["count"] += 1
        return sent["count"] < seconds * 1000

    GLib.timeout_add(10, burst)


@dbus.service.method(MAIN_IFACE, in_signature="ss")
def Refuse(self, method, error):
    """Every call of the method fails, until the error is empty."""
    if error:
        refusals[method] = error
    else:
        refusals.pop(method, None)


@dbus.service.method(MAIN_IFACE, out_signature="as")
def TakeCalls(self):
    taken = list(calls)
    calls.clear()
    return dbus.Array(taken, "s")


def note_sender(connection, message):
    if message.get_member() in ("RegisterMonitor", "UnregisterMonitor"):
        last["sender"] = message.get_sender()
    return dbus.lowlevel.HANDLER_RESULT_NOT_YET_HANDLED


def load(mock, parameters):
    mock.connection.add_message_filter(note_sender)
