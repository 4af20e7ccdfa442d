#pragma once

#include "platform/linux/x11/X11SelectionOwner.h"

namespace quillora::platform {

/// Borrows the primary selection for a program that pastes from nowhere else. Main thread only.
class PrimarySelectionLoan {
public:
    explicit PrimarySelectionLoan(X11SelectionOwner &owner) : m_owner(owner) {}

    /// Saves what stands on the primary selection and puts `contents` there. A loan that runs already keeps
    /// what it saved.
    void take(const X11SelectionContents &contents);

    /// Whether a paste from the primary selection would give this text at this moment.
    bool gives(const X11SelectionContents &text);

    /// Puts back what stood there before, unless the user has selected something else meanwhile. Nothing
    /// happens without a loan.
    void giveBack();

private:
    X11SelectionOwner &m_owner;
    X11SelectionOwner::Collection m_saved; ///< null without a loan
};

} // namespace quillora::platform
