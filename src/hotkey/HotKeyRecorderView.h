#pragma once

#include "hotkey/AppHotKey.h"
#include "hotkey/KeyRepeats.h"

#include <QWidget>

#include <functional>

namespace quillora {

/// An invisible view that turns one key press into a hotkey. It shows, stores and registers nothing.
///
/// While it records it takes the keyboard focus and consumes every key press; when to begin and to end is
/// its owner's business.
class HotKeyRecorderView : public QWidget {
    Q_OBJECT

public:
    /// What the owner wants of the view. Each callback is optional; a key press calls exactly one.
    struct Description {
        bool isRecording = false;
        std::function<void(const AppHotKey &)> onCapture; ///< a usable combination was pressed
        std::function<void()> onCancel;                   ///< Escape was pressed without modifiers
        std::function<void()> onInvalid;                  ///< what was pressed cannot be a hotkey
    };

    /// Takes over the callbacks; recording begins with the first `setDescription` that asks for it.
    explicit HotKeyRecorderView(const Description &description, QWidget *parent = nullptr);

    /// Replaces the description. One that records asks for the keyboard focus, in a later turn of the main
    /// queue; one that does not leaves the focus where it is.
    void setDescription(const Description &description);

protected:
    bool event(QEvent *event) override;

private:
    void keyDown(const QKeyEvent &event);
    void requestFocus();

    Description m_description;
    KeyRepeats m_repeats;
};

} // namespace quillora
