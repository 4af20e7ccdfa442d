#pragma once

#include "fakes/CallLog.h"
#include "platform/Pasteboard.h"

#include <QSet>

namespace quillora::test {

class FakePasteboard : public platform::Pasteboard {
public:
    explicit FakePasteboard(CallLog &log) : m_log(log) {}

    std::vector<std::unique_ptr<platform::PasteboardEntry>> items() override {
        m_log.add(u"pasteboard.items"_qs);
        std::vector<std::unique_ptr<platform::PasteboardEntry>> entries;
        for (const auto &item : contents)
            entries.push_back(std::make_unique<Entry>(item, unreadableTypes));
        return entries;
    }
    void clearContents() override {
        m_log.add(u"pasteboard.clear"_qs);
        contents.clear();
    }
    void setString(const QString &text) override {
        m_log.add(u"pasteboard.setString "_qs + text);
        platform::PasteboardItem item;
        item.setString(text, plainStringType);
        contents = {item};
    }
    void writeItems(const std::vector<platform::PasteboardItem> &items) override {
        m_log.add(u"pasteboard.write "_qs + QString::number(items.size()));
        contents = items;
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

    static inline const QString plainStringType = u"text/plain;charset=utf-8"_qs;

    std::vector<platform::PasteboardItem> contents;
    QSet<QString> unreadableTypes; ///< their owner gives neither bytes nor text for them

private:
    class Entry : public platform::PasteboardEntry {
    public:
        Entry(platform::PasteboardItem item, QSet<QString> unreadable)
            : m_item(std::move(item)), m_unreadable(std::move(unreadable)) {}

        QStringList types() const override {
            QStringList types;
            for (const auto &r : m_item.representations())
                types += r.type;
            return types;
        }
        std::optional<QByteArray> data(const QString &type) const override {
            const auto *found = find(type);
            return found && !found->isString ? std::optional(found->data) : std::nullopt;
        }
        std::optional<QString> string(const QString &type) const override {
            const auto *found = find(type);
            return found && found->isString ? std::optional(found->string) : std::nullopt;
        }

    private:
        const platform::PasteboardItem::Representation *find(const QString &type) const {
            if (m_unreadable.contains(type))
                return nullptr;
            for (const auto &r : m_item.representations()) {
                if (r.type == type)
                    return &r;
            }
            return nullptr;
        }

        platform::PasteboardItem m_item;
        QSet<QString> m_unreadable;
    };

    CallLog &m_log;
};

} // namespace quillora::test
