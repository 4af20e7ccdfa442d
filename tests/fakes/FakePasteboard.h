#pragma once

#include "fakes/CallLog.h"
#include "fakes/PasteboardItem.h"
#include "platform/Pasteboard.h"

#include <QSet>

#include <algorithm>

namespace quillora::test {

using namespace Qt::StringLiterals;

class FakePasteboard : public platform::Pasteboard {
public:
    explicit FakePasteboard(CallLog &log) : m_log(log) {}

    platform::SavedPasteboardHandle save() override {
        m_log.add(u"pasteboard.save"_s);
        // What is to come of what stands here is still to come of what is saved of it.
        auto saved = std::make_shared<Saved>(isStanding() ? *m_standing : Saved());
        if (!isStanding()) {
            saved->offered = contents;
            saved->withheld = unreadableTypes + lateTypes;
        }
        m_collecting.push_back(saved);
        return saved;
    }
    bool write(const QString &text, const platform::SavedPasteboardHandle &) override {
        m_log.add(u"pasteboard.write "_s + text);
        if (refusesWrites)
            return false;
        PasteboardItem item;
        item.setString(text, plainStringType);
        contents = {item};
        m_written = contents;
        return true;
    }
    bool gives(const QString &text) override {
        const bool isWithheld = (unreadableTypes + lateTypes).contains(plainStringType);
        return !plainText().isNull() && plainText() == text && (contents == m_written || !isWithheld);
    }
    void restore(const platform::SavedPasteboardHandle &saved) override {
        m_standing = std::static_pointer_cast<const Saved>(saved);
        contents = m_standing->given();
        m_log.add(u"pasteboard.restore "_s + QString::number(contents.size()));
    }

    /// Owners give what they have kept back until now.
    void giveLate() {
        const bool joins = isStanding();
        for (const auto &collecting : m_collecting) {
            if (const auto saved = collecting.lock())
                saved->withheld -= lateTypes;
        }
        lateTypes.clear();
        if (joins)
            contents = m_standing->given();
    }

    /// The plain text that another program would paste; null if there is none.
    QString plainText() const {
        for (const auto &item : contents) {
            for (const auto &r : item.representations()) {
                if (r.type == plainStringType)
                    return r.isString ? r.string : QString::fromUtf8(r.data);
            }
        }
        return {};
    }

    static inline const QString plainStringType = u"text/plain;charset=utf-8"_s;

    std::vector<PasteboardItem> contents;
    QSet<QString> unreadableTypes; ///< their owner gives nothing for them
    QSet<QString> lateTypes;       ///< their owner gives nothing for them until `giveLate`
    bool refusesWrites = false;

private:
    struct Saved : platform::SavedPasteboard {
        Found found() const override {
            if (offered.empty())
                return Found::empty;
            return given().empty() ? Found::unreadable : Found::values;
        }
        /// What its owners have given so far.
        std::vector<PasteboardItem> given() const {
            std::vector<PasteboardItem> items;
            for (const auto &item : offered)
                items.push_back(item.without(withheld));
            const bool isNothing = std::ranges::all_of(
                items, [](const PasteboardItem &item) { return item.representations().empty(); });
            return isNothing ? std::vector<PasteboardItem>() : items;
        }

        std::vector<PasteboardItem> offered;
        QSet<QString> withheld;
    };

    /// Whether what was restored last stands here still.
    bool isStanding() const { return m_standing && contents == m_standing->given(); }

    CallLog &m_log;
    std::vector<PasteboardItem> m_written; ///< the last text of ours
    std::vector<std::weak_ptr<Saved>> m_collecting;
    std::shared_ptr<const Saved> m_standing; ///< what was restored last
};

} // namespace quillora::test
