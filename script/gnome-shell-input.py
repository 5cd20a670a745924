"""What a test says to GNOME Shell on its session bus: words on standard input, one a line.

key, escape, one, two: a press; only the first monitor, or both. The pointer and the keyboard exist as long as this runs."""
import sys

import dbus

bus = dbus.SessionBus()


def interface(name, path):
    return dbus.Interface(bus.get_object("org.gnome.Mutter." + name.split(".")[0], path), "org.gnome.Mutter." + name)


session = interface("RemoteDesktop.Session", interface("RemoteDesktop", "/org/gnome/Mutter/RemoteDesktop").CreateSession())
session.Start()


def press(notify, key):
    for down in True, False:
        notify(dbus.UInt32(key), down)


def monitors(count):
    display = interface("DisplayConfig", "/org/gnome/Mutter/DisplayConfig")
    serial, connected, _, _ = display.GetCurrentState()
    logical, x = dbus.Array(signature="(iiduba(ssa{sv}))"), 0
    for index, ((connector, *_), modes, _) in enumerate(connected[:count]):
        mode, width = modes[0][0], modes[0][1]
        monitor = dbus.Array([(connector, mode, dbus.Dictionary(signature="sv"))], signature="(ssa{sv})")
        logical.append((dbus.Int32(x), dbus.Int32(0), 1.0, dbus.UInt32(0), index == 0, monitor))
        x += width
    display.ApplyMonitorsConfig(serial, dbus.UInt32(1), logical, dbus.Dictionary(signature="sv"))


# The devices come with their first event.
session.NotifyPointerMotionRelative(1.0, 1.0)
press(session.NotifyKeyboardKeycode, 42)
print("ready", flush=True)
for line in sys.stdin:
    word = line.strip()
    if word == "key":
        press(session.NotifyKeyboardKeycode, 57)
    elif word == "escape":
        press(session.NotifyKeyboardKeysym, 0xFF1B)
    else:
        monitors({"one": 1, "two": 2}[word])
session.Stop()
