#pragma once

#include <QString>

#include <memory>

namespace quillora::platform {

/// What stood on the pasteboard when it was saved, with every format that its owner gives. It goes on
/// collecting what the owner gives late, for 30 seconds and only while it is kept or stands on the pasteboard
/// again.
class SavedPasteboard {
public:
    enum class Found {
        empty,      ///< nothing stood there
        values,     ///< something did
        unreadable, ///< something did, but its owner has given nothing of it so far
        noAccess,   ///< this session does not let us see what stood there
    };

    virtual ~SavedPasteboard() = default;

    virtual Found found() const = 0;
};

/// Opaque above the seam; of use to the pasteboard that gave it out.
using SavedPasteboardHandle = std::shared_ptr<const SavedPasteboard>;

/// The desktop's general pasteboard. Main thread only. An operation holds it for a frame, and for 500 ms at
/// most where the desktop itself hangs.
class Pasteboard {
public:
    virtual ~Pasteboard() = default;

    /// Never none. An owner that is slow to say what it offers is waited for 100 ms, because that can be
    /// asked of it only until the pasteboard is written; its values are not waited for.
    virtual SavedPasteboardHandle save() = 0;

    /// Puts a text there as its plain-string type, in place of whatever stands there. It stays until
    /// `standsInFor` is restored; for good, where that is none. Whether the pasteboard is ours then.
    virtual bool write(const QString &text, const SavedPasteboardHandle &standsInFor) = 0;

    /// Whether a paste would give this text at this moment, whoever owns the pasteboard: programs that
    /// synchronise pasteboards take it over and hand on what stood there. That is found out from when a text
    /// is written that stands in for something; one that has just taken the pasteboard over is waited for
    /// 100 ms. What is not certain by then counts as no.
    virtual bool gives(const QString &text) = 0;

    /// Puts back what was saved, in place of whatever stands there, with what is still to come of it. Where
    /// nothing comes the pasteboard is left empty.
    virtual void restore(const SavedPasteboardHandle &saved) = 0;
};

} // namespace quillora::platform
