#pragma once

#include "platform/Pasteboard.h"
#include "platform/linux/x11/PrimarySelectionLoan.h"
#include "platform/linux/x11/X11SelectionOwner.h"

namespace quillora::platform {

/// The clipboard selection of an X11 desktop.
///
/// A text that stands in for something else is going to be taken away again; it is marked as a secret, so
/// that clipboard managers do not record it.
class X11Pasteboard : public Pasteboard {
public:
    using Patience = X11SelectionOwner::Patience;

    /// The display of that name; that of the environment if the name is empty. Where there is none, there is
    /// no access to what is on the pasteboard, and writing does nothing.
    explicit X11Pasteboard(const QByteArray &displayName = {}) : X11Pasteboard(displayName, Patience()) {}
    X11Pasteboard(const QByteArray &displayName, Patience patience) : m_owner(displayName, patience) {}

    SavedPasteboardHandle save() override;
    bool write(const QString &text, const SavedPasteboardHandle &standsInFor) override;
    bool gives(const QString &text) override;
    void restore(const SavedPasteboardHandle &saved) override;

    /// Offers the text that was written last on the primary selection too, for a program that pastes from
    /// there alone, until the pasteboard is given back. Up to then, or to the next text, the pasteboard gives
    /// only what both selections give.
    void lendToPrimary();

    /// To be called before the program ends: lets a clipboard manager, where one runs, keep what we offer, or
    /// what a text stands in for that is going to be taken away again. Takes as long as patience with
    /// managers lasts at most.
    void handOver();

private:
    void takeTextAway();

    X11SelectionOwner m_owner;
    PrimarySelectionLoan m_loan{m_owner};
    std::optional<X11SelectionContents> m_text; ///< what was written last, unless it was taken away again
    bool m_isForPrimary = false;                ///< that text is to be pasted from the primary selection
    X11SelectionOwner::Collection m_displaced;  ///< what stood there before the text that will go again
};

} // namespace quillora::platform
