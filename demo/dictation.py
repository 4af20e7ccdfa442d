"""One person, one editor, one dictation: what the demonstration and the soak both do."""

import glob
import os
import re
import subprocess
import time
import wave
from contextlib import contextmanager
from dataclasses import dataclass
from urllib.parse import urlsplit

from accessible import ScreenReader
from virtual_desktop import DesktopError, first_line, wait_for

HOTKEY = ("ctrl", "alt", "space")
HERE = os.path.dirname(os.path.abspath(__file__))
MODEL = os.path.join(HERE, "..", "tests", "backend", "scripted_upstream.py")
HUMANS = "/usr/share/pocketsphinx/test/data"
RECORDINGS = f"{HUMANS}/librivox"

SHORT_CLIP_SECONDS = 1.4


@dataclass
class Recording:
    path: str
    spoken: str
    words_heard: int  # at the least, right or wrong


def recordings():
    """The recorded human sentences with their reference transcripts."""
    with open(os.path.join(RECORDINGS, "transcription"), encoding="utf-8") as file:
        spoken = {name: words for words, name in re.findall(r"<s> (.*) </s> \((.*)\)", file.read())}
    paths = sorted(glob.glob(os.path.join(RECORDINGS, "*.wav")))
    sentences = [spoken[os.path.splitext(os.path.basename(path))[0]] for path in paths]
    return [Recording(path, sentence, 2 * len(sentence.split()) // 3) for path, sentence in zip(paths, sentences)]


def clear_sentence():
    """A synthetic voice, with a sentence that is plain enough to be understood as it was spoken, and to be translated
    without a fault."""
    return Recording(os.path.join(HERE, "clear-sentence.wav"), "we will see you tomorrow", words_heard=5)


def clear_command(folder):
    """Another human, with the words that the demonstration's Russian dictionary knows."""
    path = os.path.join(folder, "command.wav")
    with open(f"{HUMANS}/goforward.raw", "rb") as sound, wave.open(path, "w") as file:
        file.setnchannels(1)
        file.setsampwidth(2)
        file.setframerate(16000)
        file.writeframes(sound.read())
    return Recording(path, "go forward ten meters", words_heard=4)


def short_clip(folder):
    """The beginning of a sentence as a file of its own: enough for some words, short enough for many dictations."""
    whole = recordings()[1]
    path = os.path.join(folder, "clip.wav")
    with wave.open(whole.path) as sentence, wave.open(path, "w") as clip:
        clip.setparams(sentence.getparams())
        clip.writeframes(sentence.readframes(int(SHORT_CLIP_SECONDS * sentence.getframerate())))
    return Recording(path, whole.spoken, words_heard=1)


def shares_half_its_words(spoken, heard):
    wanted = spoken.split()
    left = heard.split()
    shared = 0
    for word in wanted:
        if word in left:
            left.remove(word)
            shared += 1
    return 2 * shared >= len(wanted)


def write_settings(desktop, **settings):
    folder = os.path.join(desktop.environment["XDG_CONFIG_HOME"], "Quillora")
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, "Quillora.conf"), "w", encoding="utf-8") as file:
        file.write("[General]\n" + "".join(f"{key}={value}\n" for key, value in settings.items()))


class Backend:
    """A local backend that asks for a token, in front of a model that knows some sentences."""

    def __init__(self, desktop, program):
        """`program` is Quillora, beside which the backend was built."""
        self._desktop = desktop
        self._program = os.path.join(os.path.dirname(program), "quillora-backend")
        self._settings = {"UPSTREAM_URL": first_line(desktop.start_daemon([MODEL], stdout=subprocess.PIPE)),
                          "UPSTREAM_MODEL": "demonstration", "SERVER_LISTEN": "127.0.0.1:0",
                          "TOKENS_FILE": os.path.join(desktop.folder, "tokens")}
        self.token = first_line(desktop.start([self._program, "token", "add", "demonstration"],
                                              self._environment({}), stdout=subprocess.PIPE))
        self._serve({})
        self._settings["SERVER_LISTEN"] = urlsplit(self.endpoint).netloc

    def choose(self):
        """As in the panel: the hosted engine translates here, into a language that no other engine translates into."""
        write_settings(self._desktop, targetLanguageIdentifier="kk", translationEngineIdentifier="openAINatural",
                       openAIEndpointString=self.endpoint)
        store_token(self._desktop, self.token)

    def restart(self, **settings):
        """At the same address, with other settings for this time."""
        self._desktop.stop(self._process)
        self._serve(settings)

    def _environment(self, settings):
        return {f"QUILLORA_BACKEND_{name}": str(value) for name, value in {**self._settings, **settings}.items()}

    def _serve(self, settings):
        self._process = self._desktop.start_daemon([self._program, "serve"], self._environment(settings),
                                                   stdout=subprocess.PIPE)
        self.endpoint = first_line(self._process)


def store_token(desktop, token):
    """As the panel's token field would."""
    desktop.run(["secret-tool", "store", "--label=Quillora", "service", "com.local.Quillora",
                 "account", "openAIClientToken"], input=token.encode())


def stored_token(desktop):
    return desktop.run(["secret-tool", "lookup", "service", "com.local.Quillora",
                        "account", "openAIClientToken"]).decode()


class Person:
    """Somebody at a virtual desktop who has an editor in front and Quillora in the tray."""

    def __init__(self, desktop, program):
        self.desktop = desktop
        self.program = program
        self.reader = ScreenReader(desktop)

    def open_editor(self, place=None):
        """`place` is left, top, width and height on the screen."""
        # One that was closed with text in it must not make the next one ask about it.
        self.editor = self.desktop.start_daemon(["mousepad", "--disable-server"],
                                                environment={"GSETTINGS_BACKEND": "memory"})
        windows = wait_for("the editor", lambda: self.desktop.run(
            ["xdotool", "search", "--onlyvisible", "--pid", str(self.editor.pid)]).split())
        self.editor_window = windows[-1].decode()
        if place:
            left, top, width, height = map(str, place)
            self.desktop.run(["xdotool", "windowsize", self.editor_window, width, height,
                              "windowmove", self.editor_window, left, top])
        self.focus_editor()
        wait_for("the editor's text", lambda: self.editor_text() is not None)

    def focus_editor(self):
        self.desktop.run(["xdotool", "windowactivate", "--sync", self.editor_window])

    def empty_editor(self):
        """The editor must be in front."""
        self.desktop.run(["xdotool", "key", "ctrl+a", "Delete"])
        wait_for("the empty editor", lambda: self.editor_text() == "")

    def editor_text(self):
        return self.reader.text("mousepad")

    def launch(self, **options):
        """`options` are those of the desktop's `start_daemon`."""
        self.quillora = self.desktop.start_daemon([self.program], **options)
        wait_for("Quillora", lambda: self.desktop.is_on_the_bus("org.quillora.Quillora"))

    def start_quillora(self, **options):
        """`options` are those of the desktop's `start_daemon`."""
        self.end_first_start()
        self.launch(**options)
        # A panel that was opened once can be read from then on.
        self.open_panel()
        self.wait_for_panel_in_front()
        self.wait_for_status("Ready.")
        self.close_panel()
        self.wait_for_panel_end()

    def end_first_start(self):
        """A window opens by itself at the first one, and takes the keys that were for the panel."""
        folder = os.path.join(self.desktop.environment["XDG_STATE_HOME"], "Quillora")
        os.makedirs(folder, exist_ok=True)
        with open(os.path.join(folder, "first-start-is-over"), "w", encoding="utf-8"):
            pass

    def status(self):
        return self.reader.status("Quillora")

    def wait_for_status(self, status, seconds=30.0):
        wait_for(lambda: f"the status {status!r} (it is {self.status()!r})", lambda: self.status() == status, seconds)

    def transcript(self):
        return self.reader.text("Quillora", "Transcript") or ""

    def translation(self):
        return self.reader.text("Quillora", "Translation") or ""

    def put_on_clipboard(self, path, target):
        """An image viewer, say, that has just copied something and keeps running."""
        owner = self.desktop.start(["xclip", "-quiet", "-selection", "clipboard", "-t", target, "-i", path])
        with open(path, "rb") as file:
            wanted = file.read()
        wait_for("the clipboard", lambda: self.desktop.clipboard(target) == wanted)
        return owner

    def copy_picture(self):
        """An image is on the clipboard from then on, as "image/png"; its bytes."""
        path = os.path.join(self.desktop.folder, "picture.png")
        make_image(path)
        self.put_on_clipboard(path, "image/png")
        with open(path, "rb") as file:
            return file.read()

    def speak(self, recording):
        """Holds the hotkey, speaks, lets go. Returns when the text stands in the editor: with it, and with the
        milliseconds that it took since the hand began to let go."""
        before = self.editor_text()
        with self.holding_the_hotkey():
            self.say(recording)
            time.sleep(0.25)  # nobody waits for this: a person lets go a moment after the last word
            released = time.monotonic()
        after = wait_for(lambda: f"the text in the editor: {self.transcript()!r} became {self.translation()!r}, "
                                 f"the status is {self.status()!r}; that", lambda: self._changed(before), interval=0.005)
        return after, round((time.monotonic() - released) * 1000)

    def say(self, recording):
        """While the key is held. Reads along: a busy machine decodes late, and a release waits 1.5 s at the most."""
        self.wait_for_status("Listening...")
        self.desktop.play(recording.path)
        wait_for("words in the panel", lambda: len(self.transcript().split()) >= recording.words_heard)

    @contextmanager
    def holding_the_hotkey(self):
        self.desktop.keys_down(*HOTKEY)
        try:
            yield
        finally:
            self.desktop.keys_up(*reversed(HOTKEY))

    def _changed(self, before):
        text = self.editor_text()
        if text is not None and text != before:
            return text
        if (self.status() or "").split(":")[0] in ("Speech failed", "Translation failed", "No speech recognized."):
            raise DesktopError(f"the dictation ended with: {self.status()}")
        return None

    def inserted(self, before, after):
        return after.removeprefix(before) if after.startswith(before) else after

    def open_panel(self):
        """Starting the program again opens the panel of the one that runs."""
        again = self.desktop.start([self.program])
        try:
            again.wait(30)
        except subprocess.TimeoutExpired:
            raise DesktopError("a second start did not end") from None

    def wait_for_panel_in_front(self):
        def frontmost():
            return self.desktop.run(["xdotool", "getactivewindow", "getwindowname"])
        wait_for(lambda: f"the panel in front (it stands at {self.reader.place('Quillora', 'Start')}, "
                         f"in front is {frontmost()!r})", lambda: frontmost() == b"Quillora\n")

    def close_panel(self):
        self.desktop.run(["xdotool", "key", "Escape"])

    def wait_for_panel_end(self):
        """What is asked over the bus may overtake the key, which would close the panel that it opens."""
        wait_for("the panel's end", lambda: not self.reader.place("Quillora", "Start"))

    def click(self, button):
        self.reader.press("Quillora", button)

    def click_on(self, name):
        """With the mouse."""
        left, top = wait_for(f"a widget called {name}", lambda: self.reader.place("Quillora", name))
        self.desktop.run(["xdotool", "mousemove", str(left), str(top), "click", "1"])

    def pick(self, picker, beginning):
        """Opens a picker of the open panel by its present value and types the beginning of another."""
        before = self._windows()
        place = wait_for(lambda: f"the picker with {picker} (the panel stands at "
                                 f"{self.reader.place('Quillora', 'Start')}, its status is {self.status()!r})",
                         lambda: self.reader.place("Quillora", picker))
        self.click_on(picker)
        wait_for("the list", lambda: len(self._windows()) > len(before))
        self.desktop.run(["xdotool", "type", "--delay", "30", beginning])
        self.desktop.run(["xdotool", "key", "Return"])
        wait_for(f"{beginning} in the picker", lambda: self.reader.place("Quillora", picker) != place)

    def _windows(self):
        return self.desktop.run(["xdotool", "search", "--onlyvisible", "--class", "^Quillora$"]).split()

    def tray_icon(self):
        """The middle of it, left and top; None if it is not there yet."""
        for window in self._windows():
            shape = self.desktop.run(["xdotool", "getwindowgeometry", "--shell", window.decode()]).decode()
            left, top, width, height = (int(number) for number in re.findall(r"^(?:X|Y|WIDTH|HEIGHT)=(\d+)", shape, re.M))
            if 16 <= width < 64:
                return left + width // 2, top + height // 2
        return None

    def shows(self, text):
        """Whether that can be read in one of its windows."""
        return self.reader.shows("Quillora", text)

    def question(self):
        """What it asks before a download; None if it asks nothing."""
        return self.reader.description("Quillora", "Download")

    def type_into(self, field, text):
        """In the panel, which must be open."""
        self.reader.focus("Quillora", field)
        self.wait_for_keyboard(field)
        self.desktop.run(["xdotool", "type", text])

    def wait_for_keyboard(self, name):
        """Until keys go to the widget of that name."""
        wait_for(f"the keyboard in {name}", lambda: self.reader.has_keyboard("Quillora", name))

    def start_translators(self):
        """As the panel's button does, if they do not run already."""
        if not self.translators():
            self.click("Prepare translation models")
            self.wait_for_status("Translation models are ready.")

    def translators(self):
        """The ids of the translator's processes."""
        return self.desktop.processes("apertium")


def make_image(path):
    """A small picture to have on the clipboard."""
    subprocess.run(["convert", "-size", "64x64", "plasma:fractal", path], check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
