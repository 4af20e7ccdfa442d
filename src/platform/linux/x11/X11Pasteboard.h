#pragma once

#include "platform/Pasteboard.h"
#include "platform/linux/x11/PrimarySelectionLoan.h"
#include "platform/linux/x11/X11SelectionOwner.h"
#include "platform/linux/x11/X11SelectionReader.h"

#include <QTimer>

namespace quillora::platform {

/// The clipboard selection of an X11 desktop, as one item.
///
/// A pasteboard type is the name of a target, followed by property type and format where these are out of the
/// ordinary. A text that is put on a pasteboard which has just been read is going to be taken away again; it
/// is marked as a secret, so that clipboard managers do not record it.
class X11Pasteboard : public Pasteboard {
public:
    /// The display of that name; that of the environment if the name is empty. Where there is none, nothing
    /// is on the pasteboard and writing does nothing.
    explicit X11Pasteboard(const QByteArray &displayName = {},
                           std::chrono::milliseconds requestorPatience = X11SelectionOwner::defaultPatience);
    ~X11Pasteboard() override;

    /// One entry, or none. Everything is read here; asking the entry costs nothing.
    std::vector<std::unique_ptr<PasteboardEntry>> items() override;

    /// Takes effect in the next turn of the event loop unless something is written before that: clipboard
    /// managers fill an empty clipboard, and would take it from under the writing.
    void clearContents() override;
    void setString(const QString &text) override;
    void writeItems(const std::vector<PasteboardItem> &items) override;

    /// Offers our text on the primary selection too, for a program that pastes from there alone, until the
    /// pasteboard is given back. Does nothing where the pasteboard holds nothing of ours.
    void lendToPrimary();

    /// To be called before the program ends: lets a clipboard manager, where one runs, keep what we offer, or
    /// what a text stands in for that is going to be taken away again. Takes 500 ms at most.
    void handOver();

private:
    X11SelectionContents readContents();
    void replaceContents(X11SelectionContents contents);
    void clearNow();
    void takeTextAway();

    X11SelectionReader m_reader;
    X11SelectionOwner m_owner;
    PrimarySelectionLoan m_loan{m_reader, m_owner};
    QTimer m_clearing;
    std::optional<X11SelectionContents> m_saved;     ///< it was read, and nothing was written since
    std::optional<X11SelectionContents> m_displaced; ///< what stood there before the text that will go again
};

} // namespace quillora::platform
