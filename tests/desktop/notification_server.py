#!/usr/bin/python3
"""The notification service of a session bus. Each notification becomes a line of JSON on the standard output, after a
first line that says that the service is there."""

import json

import gi
gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

NAME = "org.freedesktop.Notifications"
NODE = Gio.DBusNodeInfo.new_for_xml(f"""<node><interface name="{NAME}"><method name="Notify">
    <arg type="s" direction="in"/><arg type="u" direction="in"/><arg type="s" direction="in"/>
    <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="as" direction="in"/>
    <arg type="a{{sv}}" direction="in"/><arg type="i" direction="in"/><arg type="u" direction="out"/>
</method></interface></node>""")


def show(_connection, _sender, _path, _interface, _method, arguments, invocation):
    application, _replaces, _icon, summary, body, _actions, _hints, _milliseconds = arguments.unpack()
    print(json.dumps({"application": application, "summary": summary, "body": body}), flush=True)
    invocation.return_value(GLib.Variant("(u)", (1,)))


def register(connection, _name):
    connection.register_object("/org/freedesktop/Notifications", NODE.interfaces[0], show)


Gio.bus_own_name(Gio.BusType.SESSION, NAME, Gio.BusNameOwnerFlags.NONE, register,
                 lambda *_: print("ready", flush=True), None)
GLib.MainLoop().run()
