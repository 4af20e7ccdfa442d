#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace quillora::platform {

/// An item to be written: values by type, in the order in which they were set.
///
/// A type is the platform's own name for a format and means nothing above the seam; a type that was read from
/// the pasteboard may be written back as it stands.
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

    const std::vector<Representation> &representations() const { return m_representations; }

    bool operator==(const PasteboardItem &) const = default;

private:
    std::vector<Representation> m_representations;
};

/// An item that stands on the pasteboard; reading it may ask the program that put it there.
class PasteboardEntry {
public:
    virtual ~PasteboardEntry() = default;

    virtual QStringList types() const = 0;

    /// The bytes of the type, or nothing if its owner does not give any.
    virtual std::optional<QByteArray> data(const QString &type) const = 0;

    /// The text of the type, or nothing if its owner does not give any.
    virtual std::optional<QString> string(const QString &type) const = 0;
};

/// The desktop's general pasteboard. Main thread only. Reading everything that stands on it, `items` and all
/// that is asked of its entries together, takes at most 500 ms; what its owner has not given by then is
/// absent.
class Pasteboard {
public:
    virtual ~Pasteboard() = default;

    virtual std::vector<std::unique_ptr<PasteboardEntry>> items() = 0;

    /// Leaves nothing on the pasteboard.
    virtual void clearContents() = 0;

    /// Puts a text on a cleared pasteboard as its plain-string type.
    virtual void setString(const QString &text) = 0;

    /// Puts the items on a cleared pasteboard in one write.
    virtual void writeItems(const std::vector<PasteboardItem> &items) = 0;
};

} // namespace quillora::platform
