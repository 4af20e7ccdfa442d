#pragma once

#include <QByteArray>
#include <QString>

#include <utility>
#include <vector>

namespace quillora::test {

/// What a program puts on a fake pasteboard: values by type, in the order in which they were set.
class PasteboardItem {
public:
    struct Representation {
        QString type;
        QByteArray data; ///< the bytes, where `isString` is false
        QString string;  ///< the text, where `isString` is true
        bool isString = false;

        bool operator==(const Representation &) const = default;
    };

    void setData(QByteArray data, QString type) {
        m_representations.push_back({std::move(type), std::move(data), {}, false});
    }
    void setString(QString string, QString type) {
        m_representations.push_back({std::move(type), {}, std::move(string), true});
    }
    /// Leaves out what is of one of these types.
    template <typename Types>
    PasteboardItem without(const Types &types) const {
        auto item = *this;
        std::erase_if(item.m_representations, [&](const auto &r) { return types.contains(r.type); });
        return item;
    }

    const std::vector<Representation> &representations() const { return m_representations; }

    bool operator==(const PasteboardItem &) const = default;

private:
    std::vector<Representation> m_representations;
};

} // namespace quillora::test
