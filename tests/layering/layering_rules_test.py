#!/usr/bin/python3
"""The layering test sees each form in which one file can bring in another."""

import pathlib
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
import layering_test  # pylint: disable=wrong-import-position

BELOW_THE_SEAM = "platform/linux/x11/X11Windows.h"


class LayeringRules(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.sources = pathlib.Path(folder.name)
        for room in layering_test.BELOW.keys() | layering_test.FOLDERS:
            self.write(room if "." in room else f"{room}/Room.h", "")
        self.write(BELOW_THE_SEAM, "")

    def write(self, path, text):
        file = self.sources / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, encoding="utf-8")

    def complaints(self, path, text):
        self.write(path, text)
        return list(layering_test.violations(self.sources))

    def test_what_points_down_is_no_violation(self):
        self.assertEqual(self.complaints("ui/View.cpp", '#include "controller/Room.h"\n#include <QWidget>\n'), [])

    def test_every_form_of_an_include_is_read(self):
        for form in (f'#include "{BELOW_THE_SEAM}"',
                     f"#include <{BELOW_THE_SEAM}>",
                     f'  #   include   "{BELOW_THE_SEAM}"',
                     f'\t#\tinclude"{BELOW_THE_SEAM}"',
                     f'%:include "{BELOW_THE_SEAM}"',
                     f'#include /* of windows */ "{BELOW_THE_SEAM}"',
                     f'/* first */ #include "{BELOW_THE_SEAM}"',
                     f'#include \\\n    "{BELOW_THE_SEAM}"',
                     f'#include_next "{BELOW_THE_SEAM}"',
                     f'#import "{BELOW_THE_SEAM}"',
                     f"#embed <{BELOW_THE_SEAM}>",
                     f'import "{BELOW_THE_SEAM}";',
                     f"export import <{BELOW_THE_SEAM}>;",
                     f"#if __has_include(<{BELOW_THE_SEAM}>)\n#endif",
                     f'#if defined(X) && __has_include ( "{BELOW_THE_SEAM}" )\n#endif',
                     '#include "../platform/linux/x11/X11Windows.h"'):
            with self.subTest(form):
                self.assertEqual(self.complaints("controller/Some.cpp", form + "\n"),
                                 [f"controller/Some.cpp includes {BELOW_THE_SEAM}"])

    def test_comments_and_texts_include_nothing(self):
        self.assertEqual(self.complaints("controller/Some.cpp", f'''
// #include "{BELOW_THE_SEAM}"
/*
#include "{BELOW_THE_SEAM}"
*/
const char *address = "https://quillora.example"; // no comment within
const char *text = R"(
#include "{BELOW_THE_SEAM}"
)";
'''), [])

    def test_a_name_that_a_macro_makes_is_refused(self):
        self.assertEqual(self.complaints("controller/Some.cpp", '#define HEADER "ui/Room.h"\n#include HEADER\n'),
                         ["controller/Some.cpp includes HEADER, which is no file: name the header itself"])

    def test_a_named_module_is_refused(self):
        self.assertEqual(self.complaints("controller/Some.cpp", "import quillora.x11;\n"),
                         ["controller/Some.cpp includes quillora.x11, which is no file: name the header itself"])

    def test_a_file_that_is_not_there_is_known_by_its_room(self):
        self.assertEqual(self.complaints("controller/Some.cpp", '#include "ui/Generated.h"\n'),
                         ["controller/Some.cpp includes ui/Generated.h"])

    def test_a_room_that_is_not_in_the_table_is_named(self):
        self.assertEqual(self.complaints("sundries/Some.cpp", ""),
                         ["sundries/Some.cpp stands in a room that is not in the table: "
                          "say in layering_test.py what lies below it"])

    def test_a_folder_within_a_room_is_named_too(self):
        for folder in ("platform/windows", "platform/linux/wayland", "recognizer/whisper", "ui/dialogs"):
            with self.subTest(folder):
                path = f"{folder}/Some.cpp"
                self.assertEqual(self.complaints(path, ""),
                                 [f"{path} stands in a room that is not in the table: "
                                  "say in layering_test.py what lies below it"])
                (self.sources / path).unlink()

    def test_a_folder_that_is_gone_is_named(self):
        (self.sources / "recognizer/sherpa/Room.h").unlink()
        self.assertEqual(self.complaints("ui/View.cpp", ""), ["there is no folder recognizer/sherpa: was it moved?"])

    def test_a_room_that_is_gone_is_named(self):
        (self.sources / "speech/Room.h").unlink()
        self.assertEqual(self.complaints("ui/View.cpp", ""), ["there is no room speech: was it moved?"])

    def test_a_kind_of_file_that_nobody_knows_is_named(self):
        self.assertEqual(self.complaints("ui/View.xyz", ""),
                         ["ui/View.xyz: is this a source? Say so in layering_test.py"])

    def test_foreign_headers_stay_in_their_rooms(self):
        for name in ("QDBusConnection", "QtDBus/QDBusMessage", "QtDBus", "gio/gio.h", "libsecret/secret.h", "xcb/xcb.h",
                     "X11/Xlib.h", "pulse/context.h", "proxy.h", "unicode/locid.h", "pocketsphinx.h",
                     "sphinxbase/err.h", "sentencepiece_processor.h", "seccomp.h"):
            for form in (f"#include <{name}>", f'#include "{name}"', f"#if __has_include(<{name}>)\n#endif"):
                with self.subTest(form):
                    found = self.complaints("ui/Some.cpp", form + "\n")
                    self.assertEqual(len(found), 1)
                    self.assertTrue(found[0].startswith(f"ui/Some.cpp includes {name}: only "), found[0])

    def test_a_foreign_header_may_stand_where_it_belongs(self):
        self.assertEqual(self.complaints("platform/linux/x11/Some.cpp", "#include <xcb/xcb.h>\n"), [])

    def test_another_room_below_the_seam_does_not_speak_to_the_x_server(self):
        self.assertEqual(self.complaints("platform/linux/sound/Some.cpp", "#include <xcb/xcb.h>\n"),
                         ["platform/linux/sound/Some.cpp includes xcb/xcb.h: only platform/linux/x11/, platform/linux/X11, "
                          "platform/linux/tray/XEmbed may speak to the X server"])

    def test_the_toolkits_own_tray_icon_stands_nowhere(self):
        self.assertEqual(self.complaints("platform/linux/tray/Some.cpp", "#include <QSystemTrayIcon>\n"),
                         ["platform/linux/tray/Some.cpp includes QSystemTrayIcon: "
                          "nothing may speak to the toolkit's own tray icon"])

    def test_the_recognizer_stands_without_the_toolkit(self):
        for name in ("QString", "QtCore/QString", "qglobal.h"):
            with self.subTest(name):
                self.assertEqual(self.complaints("recognizer/Some.cpp", f"#include <{name}>\n"),
                                 [f"recognizer/Some.cpp includes {name}: this room stands without the toolkit"])

    def test_only_main_installs_the_linux_layer(self):
        self.assertEqual(self.complaints("app/main.cpp", f'#include "{BELOW_THE_SEAM}"\n'), [])

    def test_the_platform_alone_makes_the_model_store(self):
        store = '#include "platform/linux/models/LinuxModelStore.h"\n'
        self.assertEqual(self.complaints("platform/linux/LinuxPlatform.cpp", store), [])
        self.assertEqual(len(self.complaints("platform/linux/translation/Engine.cpp", store)), 1)

    def of_backend(self, path, text):
        self.write(f"backend/{path}", text)
        return list(layering_test.violations_of_backend(self.sources / "backend"))

    def test_the_backend_includes_itself_and_the_system(self):
        self.assertEqual(self.of_backend("Some.cpp", '#include "backend/Other.h"\n#include <string>\n'
                                                     "#include <boost/json.hpp>\n"), [])

    def test_the_backend_includes_nothing_of_the_program(self):
        for name in ("platform/ModelStore.h", "recognizer/Session.h", "ui/Room.h"):
            with self.subTest(name):
                self.assertEqual(self.of_backend("Some.cpp", f'#include "{name}"\n'),
                                 [f"backend/Some.cpp includes {name}, which is the program's"])

    def test_the_backend_stands_without_the_toolkit(self):
        self.assertEqual(self.of_backend("Some.cpp", "#include <QString>\n"),
                         ["backend/Some.cpp includes QString: the backend stands without the toolkit"])

    def test_foreign_headers_of_the_backend_stay_in_their_files(self):
        for name in ("hiredis/hiredis.h", "prometheus/counter.h", "toml++/toml.h", "boost/beast/http.hpp", "openssl/ssl.h"):
            with self.subTest(name):
                self.assertEqual(len(self.of_backend("Some.cpp", f"#include <{name}>\n")), 1)
        self.assertEqual(self.of_backend("Some.cpp", ""), [])
        self.assertEqual(self.of_backend("Metrics.cpp", "#include <prometheus/counter.h>\n"), [])

    def test_the_environment_is_left_alone(self):
        self.assertEqual(self.complaints("ui/Some.cpp", 'void f() { qputenv("A", "b"); }\n'),
                         ["ui/Some.cpp changes the environment"])


if __name__ == "__main__":
    unittest.main()
