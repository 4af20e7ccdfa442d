#pragma once

#include "platform/linux/x11/X11SelectionOwner.h"
#include "platform/linux/x11/X11SelectionReader.h"

#include <optional>

namespace quillora::platform {

/// Borrows the primary selection for a program that pastes from nowhere else. Main thread only.
class PrimarySelectionLoan {
public:
    PrimarySelectionLoan(X11SelectionReader &reader, X11SelectionOwner &owner)
        : m_reader(reader), m_owner(owner) {}

    /// Saves what stands on the primary selection, which takes 250 ms at most, and puts `contents` there. A
    /// loan that runs already keeps what it saved.
    void take(const X11SelectionContents &contents);

    /// Puts back what stood there before, unless the user has selected something else meanwhile. Nothing
    /// happens without a loan.
    void giveBack();

private:
    X11SelectionReader &m_reader;
    X11SelectionOwner &m_owner;
    std::optional<X11SelectionContents> m_saved;
};

} // namespace quillora::platform
