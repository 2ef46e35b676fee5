# The two services a desktop offers a tray application on the session bus:
# a StatusNotifierWatcher with a host registered (Qt then puts its tray icon
# on the bus) and a notification service. Each call is written as one line
# to $LINK_DESKTOP_LOG: "item <service>" or "notify <summary>: <body>".
import os
import sys

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

WATCHER = "org.kde.StatusNotifierWatcher"
NOTIFICATIONS = "org.freedesktop.Notifications"


def log(line):
    with open(os.environ["LINK_DESKTOP_LOG"], "a", encoding="utf-8") as out:
        out.write(line + "\n")


class Watcher(dbus.service.Object):
    @dbus.service.method(WATCHER, in_signature="s", sender_keyword="sender")
    def RegisterStatusNotifierItem(self, service, sender=None):
        log("item " + (service if service.startswith(":") or "." in service else sender))

    @dbus.service.method(WATCHER, in_signature="s")
    def RegisterStatusNotifierHost(self, service):
        pass

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="ss", out_signature="v")
    def Get(self, interface, name):
        return self.GetAll(interface)[name]

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="s", out_signature="a{sv}")
    def GetAll(self, interface):
        return {"IsStatusNotifierHostRegistered": dbus.Boolean(True),
                "ProtocolVersion": dbus.Int32(0),
                "RegisteredStatusNotifierItems": dbus.Array([], signature="s")}

    # Qt reads properties through introspection: they must be listed.
    @dbus.service.method(dbus.INTROSPECTABLE_IFACE, out_signature="s")
    def Introspect(self):
        return ('<node><interface name="%s">'
                '<method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>'
                '<method name="RegisterStatusNotifierHost"><arg type="s" direction="in"/></method>'
                '<property name="IsStatusNotifierHostRegistered" type="b" access="read"/>'
                '<property name="ProtocolVersion" type="i" access="read"/>'
                '</interface></node>' % WATCHER)


class Notifications(dbus.service.Object):
    last = 0

    @dbus.service.method(NOTIFICATIONS, in_signature="susssasa{sv}i", out_signature="u")
    def Notify(self, app, replaces, icon, summary, body, actions, hints, timeout):
        log("notify %s: %s" % (summary, body))
        Notifications.last += 1
        return Notifications.last

    @dbus.service.method(NOTIFICATIONS, out_signature="as")
    def GetCapabilities(self):
        return ["body"]

    @dbus.service.method(NOTIFICATIONS, in_signature="u")
    def CloseNotification(self, id):
        pass

    @dbus.service.method(NOTIFICATIONS, out_signature="ssss")
    def GetServerInformation(self):
        return ("test desktop", "linkhost tests", "1", "1.2")


def main():
    dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
    bus = dbus.SessionBus()
    names = [dbus.service.BusName(WATCHER, bus), dbus.service.BusName(NOTIFICATIONS, bus)]
    Watcher(bus, "/StatusNotifierWatcher")
    Notifications(bus, "/org/freedesktop/Notifications")
    print("ready", flush=True)
    GLib.MainLoop().run()
    del names


if __name__ == "__main__":
    sys.exit(main())
