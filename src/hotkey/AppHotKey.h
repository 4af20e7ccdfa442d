#pragma once

#include <QString>

#include <optional>

namespace quillora {

/// The global dictation shortcut: a key position and the modifiers held with it. A plain value; any two
/// numbers make one.
struct AppHotKey {
    /// Virtual key code of a key position, independent of the keyboard layout: 49 is the space bar, 53
    /// Escape.
    quint32 keyCode = 0;
    /// The bits below; others may be present and are kept, but mean nothing here.
    quint32 modifiers = 0;

    static constexpr quint32 controlKey = 0x1000;
    static constexpr quint32 optionKey = 0x0800;
    static constexpr quint32 shiftKey = 0x0200;
    static constexpr quint32 cmdKey = 0x0100;

    /// Control+Option+Space.
    static const AppHotKey defaultValue;

    /// Reads the string form, with lenience for stray colons; nothing if it is malformed. Neither number is
    /// checked any further, so the result need not be usable.
    static std::optional<AppHotKey> fromStorageValue(const QString &storageValue);

    /// The string form for the settings: both numbers in decimal, joined by a colon.
    QString storageValue() const;

    /// Whether this may become the global hotkey: it needs Control, Option or Command.
    bool isUsable() const;

    /// The words shown to the user, such as "Ctrl Option Space". Key names are the labels of a US keyboard.
    QString displayName() const;

    bool operator==(const AppHotKey &) const = default;
};

inline constexpr AppHotKey AppHotKey::defaultValue{49, controlKey | optionKey};

} // namespace quillora
