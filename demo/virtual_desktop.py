"""A desktop of its own for one program: X screen, window manager, tray, session bus, keyring, sound server with a
virtual microphone, and a text editor. Nothing of it touches the desktop of whoever starts it, and nothing of it
is left afterwards: every process is a child, adopted if its parent ends first, and ended by its id."""

import atexit
import ctypes
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
from contextlib import contextmanager

PR_SET_CHILD_SUBREAPER = 36

SOUND_SERVER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "sound_server")


class DesktopError(Exception):
    """Something that the demonstration needs did not come up."""


class Ended(KeyboardInterrupt):
    """By a signal. It ends a whole run of tests, whose next test would begin after a SystemExit."""


def _end(number, _frame):
    raise Ended(f"by signal {number}")


# The daemons that are needed, each with the file of what it complains about.
_needed = {}


def notice_deaths():
    """A DesktopError that names the daemon if one that is needed has ended by itself."""
    for daemon, complaints in _needed.items():
        if daemon.poll() is None:
            continue
        complaints.seek(0)
        words = complaints.read().decode(errors="replace")[-1000:].strip()
        end = f"signal {-daemon.returncode}" if daemon.returncode < 0 else f"status {daemon.returncode}"
        raise DesktopError(f"{' '.join(daemon.args)} ended by itself, with {end}. Its last words:\n{words}")


def wait_for(what, condition, seconds=30.0, interval=0.02):
    """The first true answer of `condition`; a DesktopError that names `what`, which may be a function that says it then,
    if there is none in time, and one that names the daemon as soon as one dies that is needed."""
    end = time.monotonic() + seconds
    while True:
        answer = condition()
        if answer:
            return answer
        notice_deaths()
        if time.monotonic() > end:
            raise DesktopError(f"{what() if callable(what) else what} did not happen within {seconds:g} s")
        time.sleep(interval)


class Programs:
    """Programs that run in a folder of their own; use it in a `with`; what it starts ends with the block."""

    def __init__(self):
        self._children = []
        self.folder = None
        self.environment = {}

    def __enter__(self):
        ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
        # Who is asked to end still tidies up.
        for number in (signal.SIGTERM, signal.SIGHUP):
            signal.signal(number, _end)
        self.folder = tempfile.mkdtemp(prefix="quillora-desktop-")
        atexit.register(self._tear_down)  # which is all that a run of tests does that is ended
        try:
            self._bring_up()
        except BaseException:
            self._tear_down()
            raise
        return self

    def __exit__(self, *_):
        self._tear_down()
        atexit.unregister(self._tear_down)

    def _bring_up(self):
        self.environment = {name: os.environ[name] for name in ("PATH", "LANG", "LC_ALL", "TZ", "LD_LIBRARY_PATH",
                                                                "ASAN_OPTIONS", "UBSAN_OPTIONS", "VISIBLE_DISPLAY")
                            if name in os.environ}

    # Processes

    def start(self, command, environment=None, **options):
        """A program of this desktop, as a process group of its own. Its output goes nowhere. `environment` is what
        differs for it from the desktop's."""
        options.setdefault("stdin", subprocess.DEVNULL)
        options.setdefault("stdout", subprocess.DEVNULL)
        options.setdefault("stderr", subprocess.DEVNULL)
        child = subprocess.Popen(command, env={**self.environment, **(environment or {})}, start_new_session=True,
                                 **options)
        self._children.append(child)
        return child

    def start_daemon(self, command, environment=None, **options):
        """A program that is needed until it is stopped or killed: if it ends by itself, every wait fails and says
        so."""
        complaints = tempfile.TemporaryFile(dir=self.folder)
        options.setdefault("stderr", complaints)
        daemon = self.start(command, environment, **options)
        _needed[daemon] = complaints
        return daemon

    def expect_end(self, child):
        """From here on it may end by itself."""
        if child in _needed:
            _needed.pop(child).close()

    def run(self, command, seconds=30, **options):
        """What a short command prints, as bytes; empty if it fails."""
        if "input" not in options:
            options["stdin"] = subprocess.DEVNULL
        try:
            return subprocess.run(command, env=self.environment, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                  timeout=seconds, check=False, **options).stdout
        except subprocess.TimeoutExpired:
            notice_deaths()
            raise DesktopError(f"{' '.join(command)} did not end within {seconds:g} s") from None

    def stop(self, child, seconds=3.0):
        """Ends one child and its group; true if it went when it was asked to."""
        self.expect_end(child)
        went = True
        if child.poll() is None:
            _signal_group(child.pid, signal.SIGTERM)
            try:
                child.wait(seconds)
            except subprocess.TimeoutExpired:
                went = False
        _signal_group(child.pid, signal.SIGKILL)
        child.wait()
        self._forget(child)
        return went

    def kill(self, child):
        """Ends one child and its group without a word of warning."""
        self.expect_end(child)
        _signal_group(child.pid, signal.SIGKILL)
        child.wait()
        self._forget(child)

    def freeze(self, child):
        """From here on it answers nothing, until it is thawed or ended."""
        _signal_group(child.pid, signal.SIGSTOP)

    def thaw(self, child):
        _signal_group(child.pid, signal.SIGCONT)

    def processes(self, word):
        """The ids of the processes of this desktop, whoever started them, with that word in their command line."""
        found = []
        for pid in filter(str.isdigit, os.listdir("/proc")):
            try:
                # They bear the desktop's folder in their environment.
                with open(f"/proc/{pid}/environ", "rb") as environment, open(f"/proc/{pid}/cmdline", "rb") as command:
                    if self.folder.encode() in environment.read() and word.encode() in command.read():
                        found.append(int(pid))
            except OSError:
                continue
        return found

    def _forget(self, child):
        for pipe in (child.stdin, child.stdout, child.stderr):
            if pipe:
                _close(pipe)
        if child in self._children:
            self._children.remove(child)

    # Going down

    def _tear_down(self):
        for child in reversed(self._children[:]):
            self.stop(child)
        self._end_adopted()
        if self.folder:
            shutil.rmtree(self.folder, ignore_errors=True)

    def _end_adopted(self):
        """What the children started and left behind has become ours: end it too."""
        end = time.monotonic() + 5
        while time.monotonic() < end:
            orphans = _children_of(os.getpid())
            if not orphans:
                return
            for pid in orphans:
                _kill(pid)
            while True:
                try:
                    if os.waitpid(-1, os.WNOHANG)[0] == 0:
                        break
                except ChildProcessError:
                    break
            time.sleep(0.02)


class VirtualDesktop(Programs):
    """The whole desktop."""

    def __init__(self, size="1280x800x24", sound_server=os.environ.get("TEST_SOUND_SERVER", "pulseaudio")):
        """`sound_server` is pulseaudio or pipewire."""
        super().__init__()
        self._size = size
        self._sound_server = sound_server

    def _bring_up(self):
        home = self._private("home")
        runtime = self._private("runtime")
        super()._bring_up()
        self.environment |= {
            "HOME": home,
            "XDG_RUNTIME_DIR": runtime,
            "XDG_CONFIG_HOME": os.path.join(home, ".config"),
            "XDG_DATA_HOME": os.path.join(home, ".local/share"),
            "XDG_CACHE_HOME": os.path.join(home, ".cache"),
            "XDG_STATE_HOME": os.path.join(home, ".local/state"),
            "XDG_CURRENT_DESKTOP": "Openbox",
            "XDG_SESSION_TYPE": "x11",
            "NO_AT_BRIDGE": "0",
            "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1",
            "QT_ACCESSIBILITY": "1",
            "GTK_A11Y": "atspi",
            "LIBGL_ALWAYS_SOFTWARE": "1",
        }
        self._start_display()
        self._start_bus()
        self.start_keyring()
        self._sound_socket = os.path.join(self._private("pulse"), "native")
        self.environment.update({
            "PULSE_SERVER": f"unix:{self._sound_socket}",
            "PULSE_RUNTIME_PATH": os.path.dirname(self._sound_socket),
            "PULSE_STATE_PATH": self._private("pulse-state"),
            "PULSE_COOKIE": os.path.join(self.folder, "pulse-cookie"),
        })
        self.start_sound()
        self.start_daemon(["openbox", "--sm-disable"])
        wait_for("the window manager", lambda: b"window id" in self.run(["xprop", "-root", "_NET_SUPPORTING_WM_CHECK"]))
        self.run(["xsetroot", "-solid", "#3b4252"])
        self._start_tray()

    def _private(self, name):
        path = os.path.join(self.folder, name)
        os.makedirs(path, mode=0o700)
        return path

    def _start_display(self):
        reader, writer = os.pipe()
        self.display = self.start_daemon(["Xvfb", "-displayfd", str(writer), "-screen", "0", self._size, "-nolisten",
                                          "tcp", "-noreset", "-dpi", "96"], pass_fds=[writer])
        os.close(writer)
        with os.fdopen(reader) as pipe:
            number = pipe.readline().strip()
        if not number:
            self.display.wait()
            notice_deaths()
        self.environment["DISPLAY"] = f":{number}"

    def kill_display(self):
        """The programs on it may then end by themselves."""
        for child in self._children:
            self.expect_end(child)
        self.kill(self.display)

    def _start_bus(self):
        bus = self.start_daemon(["dbus-daemon", self.bus_configuration(), "--nofork", "--nopidfile",
                                 "--print-address"], stdout=subprocess.PIPE)
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = first_line(bus)

    def bus_configuration(self):
        """The bus daemon's option that names what it serves."""
        return "--session"

    def start_keyring(self):
        """Again too, after its end: what it kept is there again."""
        self.keyring = self.start_daemon(["gnome-keyring-daemon", "--unlock", "--components=secrets", "--foreground"],
                                         stdin=subprocess.PIPE)
        self.keyring.stdin.write(b"demonstration")
        self.keyring.stdin.close()
        wait_for("the keyring", lambda: self.is_on_the_bus("org.freedesktop.secrets"))
        # It has its name before it has its methods.
        wait_for("the keyring's answer", lambda: self.run(
            ["gdbus", "call", "--session", "--dest", "org.freedesktop.secrets", "--object-path",
             "/org/freedesktop/secrets", "--method", "org.freedesktop.Secret.Service.SearchItems", "{}"]))

    def is_on_the_bus(self, name):
        return b"true" in self.run(["gdbus", "call", "--session", "--dest", "org.freedesktop.DBus", "--object-path", "/",
                                    "--method", "org.freedesktop.DBus.NameHasOwner", name])

    def start_sound(self):
        """Again too, after its end."""
        if self._sound_server == "pipewire":
            core = os.path.join(self.environment["XDG_RUNTIME_DIR"], "pipewire-0")
            self._sound = [self.start_daemon([SOUND_SERVER, "pipewire"])]
            # The socket of one that was killed is still there.
            wait_for("PipeWire", lambda: listens(core))
            self._sound += [self.start_daemon(["wireplumber"]), self.start_daemon(["pipewire-pulse"])]
        else:
            self._sound = [self.start_daemon([SOUND_SERVER, "pulseaudio", self._sound_socket])]
        wait_for("the sound server", lambda: b"Server Name" in self.run(["pactl", "info"]))
        self.plug_in_microphone()

    def kill_sound(self):
        """Ends the sound server without a word of warning."""
        for daemon in (self._listener, *self._sound):
            self.expect_end(daemon)
        for daemon in self._sound:
            _signal_group(daemon.pid, signal.SIGKILL)
        for daemon in (*self._sound, self._listener):
            self.kill(daemon)

    def freeze_sound(self):
        for daemon in self._sound:
            self.freeze(daemon)

    def thaw_sound(self):
        for daemon in self._sound:
            self.thaw(daemon)

    def plug_in_microphone(self):
        self.run(["pactl", "load-module", "module-null-sink", "sink_name=microphone", "rate=48000", "channels=2"])
        # PipeWire answers before the microphone is there, and before it can be made the default.
        wait_for("the microphone", lambda: self.run(["pactl", "set-default-source", "microphone.monitor"]) == b""
                 and b"microphone.monitor" in self.run(["pactl", "get-default-source"]))
        # A real microphone runs all the time; a null sink only while somebody listens to it.
        self._listener = self.start_daemon(["parec", "--device=microphone.monitor", "--latency-msec=20"])
        wait_for("the microphone's sound", lambda: b"RUNNING" in self.run(["pactl", "list", "short", "sources"]))

    def unplug_microphone(self):
        self.expect_end(self._listener)
        self.run(["pactl", "unload-module", "module-null-sink"])

    def _start_tray(self):
        settings = os.path.join(self.folder, "tint2rc")
        with open(settings, "w", encoding="utf-8") as file:
            file.write("panel_items = SC\npanel_size = 100% 30\npanel_position = top center horizontal\n"
                       "panel_background_id = 1\nrounded = 0\nbackground_color = #2b303b 100\n"
                       "systray = 1\nsystray_padding = 6 4 6\nsystray_icon_size = 22\n"
                       "time1_format = Quillora demonstration\ntime1_font = DejaVu Sans 9\n"
                       "clock_font_color = #d8dee9 100\nclock_padding = 10 0\nwm_menu = 0\nstrut_policy = follow_size\n")
        self.start_daemon(["tint2", "-c", settings])
        wait_for("the tray", lambda: self.is_owned("_NET_SYSTEM_TRAY_S0"))

    # What a person does and sees

    def keys_down(self, *keys):
        self.run(["xdotool", *[word for key in keys for word in ("keydown", key)]])

    def keys_up(self, *keys):
        self.run(["xdotool", *[word for key in keys for word in ("keyup", key)]])

    def play(self, recording):
        """Plays a file into the virtual microphone and returns once it has been heard."""
        self.run(["paplay", "--device=microphone", "--latency-msec=500", recording], seconds=120)

    def keys_held(self):
        """The codes of the keys that the X server takes to be down."""
        keys = ctypes.create_string_buffer(32)
        with self._x11() as (x11, display):
            x11.XQueryKeymap(display, keys)
        return [code for code in range(256) if keys.raw[code // 8] >> code % 8 & 1]

    def is_owned(self, selection):
        """Whether some program holds the selection of that name."""
        with self._x11() as (x11, display):
            return x11.XGetSelectionOwner(display, x11.XInternAtom(display, selection.encode(), False)) != 0

    @contextmanager
    def _x11(self):
        """The X library with a connection to the display."""
        x11 = ctypes.CDLL("libX11.so.6")
        x11.XOpenDisplay.restype = ctypes.c_void_p
        for function in (x11.XInternAtom, x11.XGetSelectionOwner):
            function.restype = ctypes.c_ulong
        x11.XGetSelectionOwner.argtypes = [ctypes.c_void_p, ctypes.c_ulong]
        display = ctypes.c_void_p(x11.XOpenDisplay(self.environment["DISPLAY"].encode()))
        if not display:
            raise DesktopError("the X server does not answer")
        try:
            yield x11, display
        finally:
            x11.XCloseDisplay(display)

    def clipboard(self, target):
        return self.run(["xclip", "-selection", "clipboard", "-o", "-t", target])

    def screenshot(self, path):
        os.makedirs(os.path.dirname(path), exist_ok=True)
        self.run(["import", "-window", "root", path])


def first_line(daemon):
    """What a daemon prints once it is ready."""
    line = daemon.stdout.readline().decode().strip()
    if not line:
        daemon.wait()
        notice_deaths()
    return line


def listens(path):
    """Whether somebody listens at that socket, which may be a dead program's."""
    with socket.socket(socket.AF_UNIX) as client:
        return client.connect_ex(path) == 0


def _signal_group(pid, number):
    try:
        os.killpg(pid, number)
    except (ProcessLookupError, PermissionError):
        pass


def _close(pipe):
    try:
        pipe.close()
    except BrokenPipeError:  # the reader has gone with something unread
        pass


def _kill(pid):
    try:
        os.kill(pid, signal.SIGKILL)
    except ProcessLookupError:
        pass


def _children_of(parent):
    children = []
    for entry in os.listdir("/proc"):
        if not entry.isdigit():
            continue
        try:
            with open(f"/proc/{entry}/stat", encoding="utf-8", errors="replace") as file:
                fields = file.read().rsplit(")", 1)[1].split()
        except OSError:
            continue
        if int(fields[1]) == parent:
            children.append(int(entry))
    return children


def fail(message):
    print(f"error: {message}", file=sys.stderr)
    sys.exit(1)
