#pragma once

#include "support/TestKeyboard.h"
#include "support/VirtualDisplay.h"

#include <QTest>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// A keyboard layout that a paste has to work under.
struct Layout {
    QByteArray name;
    QStringList arguments; ///< as for setxkbmap
    uint8_t group = 0;
    xcb_keycode_t keyOfV = 55;
    xcb_keycode_t keyOfS = 39;
    xcb_keycode_t keyOfA = 38;

    void apply(const VirtualDisplay &display, TestKeyboard &keyboard) const {
        keyboard.lockGroup(0);
        display.setLayout(arguments);
        keyboard.lockGroup(group);
    }

    static QList<Layout> all() {
        return {
            {"us", {u"us"_s}},
            {"us,ru in its second group", {u"us,ru"_s}, 1},
            {"de", {u"de"_s}},
            {"dvorak", {u"us"_s, u"dvorak"_s}, 0, 60, 47},
            {"us,dvorak in its second group", {u"us,us"_s, u",dvorak"_s}, 1, 60, 47},
        };
    }
};

/// What the user has his fingers on when the paste comes.
struct Held {
    QByteArray name;
    std::vector<xcb_keycode_t> keys;
    bool isCapsLockOn = false;

    static QList<Held> all() {
        const std::pair<QByteArray, xcb_keycode_t> modifiers[] = {{"Ctrl", TestKeyboard::control},
                                                                  {"Alt", TestKeyboard::alt},
                                                                  {"Shift", TestKeyboard::shift},
                                                                  {"Super", TestKeyboard::super}};
        QList<Held> rows{{"nothing", {}}, {"Caps Lock on", {}, true}};
        for (size_t i = 0; i < std::size(modifiers); ++i) {
            rows.append({modifiers[i].first, {modifiers[i].second}});
            for (size_t j = i + 1; j < std::size(modifiers); ++j)
                rows.append({modifiers[i].first + '+' + modifiers[j].first,
                             {modifiers[i].second, modifiers[j].second}});
        }
        return rows;
    }
};

/// One row for every layout with everything that may be held.
inline void addPasteConditions() {
    QTest::addColumn<Layout>("layout");
    QTest::addColumn<Held>("held");
    for (const Layout &layout : Layout::all()) {
        for (const Held &held : Held::all())
            QTest::newRow((layout.name + ", " + held.name).constData()) << layout << held;
    }
}

} // namespace quillora::test

Q_DECLARE_METATYPE(quillora::test::Layout)
Q_DECLARE_METATYPE(quillora::test::Held)
