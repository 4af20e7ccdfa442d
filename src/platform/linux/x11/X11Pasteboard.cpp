#include "platform/linux/x11/X11Pasteboard.h"

#include <QSet>

#include <algorithm>
#include <utility>

namespace quillora::platform {

using namespace std::chrono_literals;

namespace {

constexpr char clipboard[] = "CLIPBOARD";
constexpr auto readLimit = 500ms;
constexpr auto handOverLimit = 500ms;

constexpr char utf8Target[] = "UTF8_STRING";
constexpr char latin1Target[] = "STRING";

/// Managers that know it leave such contents out of their history.
constexpr char secretHintTarget[] = "x-kde-passwordManagerHint";

bool isUtf8(const QByteArray &type) {
    return type == utf8Target || type == "text/plain" || type == "text/plain;charset=utf-8";
}

class Entry : public PasteboardEntry {
public:
    explicit Entry(X11SelectionContents contents) : m_contents(std::move(contents)) {}

    QStringList types() const override {
        QStringList types;
        for (const auto &value : m_contents.values)
            types += value.type.toString();
        return types;
    }

    std::optional<QByteArray> data(const QString &type) const override {
        const auto *value = find(type);
        return value ? std::optional(value->data) : std::nullopt;
    }

    std::optional<QString> string(const QString &type) const override {
        const auto *value = find(type);
        if (value && isUtf8(value->type.type))
            return QString::fromUtf8(value->data);
        if (value && value->type.type == latin1Target)
            return QString::fromLatin1(value->data);
        return {};
    }

private:
    const X11SelectionContents::Value *find(const QString &type) const {
        const auto wanted = X11SelectionType::fromString(type);
        const auto found = std::ranges::find(m_contents.values, wanted, &X11SelectionContents::Value::type);
        return found == m_contents.values.end() ? nullptr : &*found;
    }

    X11SelectionContents m_contents;
};

X11SelectionContents::Value valueOf(const PasteboardItem::Representation &representation) {
    const auto type = X11SelectionType::fromString(representation.type);
    if (!representation.isString)
        return {type, representation.data};
    return {type,
            type.type == latin1Target ? representation.string.toLatin1() : representation.string.toUtf8()};
}

/// A selection has no items: what the first of several items offers under a target stands for all.
X11SelectionContents contentsOf(const std::vector<PasteboardItem> &items) {
    X11SelectionContents contents;
    QSet<QByteArray> targets;
    for (const auto &item : items) {
        for (const auto &representation : item.representations()) {
            auto value = valueOf(representation);
            if (targets.contains(value.type.target))
                continue;
            targets.insert(value.type.target);
            contents.values.push_back(std::move(value));
        }
    }
    return contents;
}

} // namespace

X11Pasteboard::X11Pasteboard(const QByteArray &displayName, std::chrono::milliseconds requestorPatience)
    : m_reader(displayName), m_owner(displayName, requestorPatience) {
    m_clearing.setSingleShot(true);
    QObject::connect(&m_clearing, &QTimer::timeout, &m_clearing, [this] { clearNow(); });
}

X11Pasteboard::~X11Pasteboard() {
    if (m_clearing.isActive())
        clearNow();
}

std::vector<std::unique_ptr<PasteboardEntry>> X11Pasteboard::items() {
    m_saved = readContents();
    std::vector<std::unique_ptr<PasteboardEntry>> entries;
    if (!m_saved->values.empty())
        entries.push_back(std::make_unique<Entry>(*m_saved));
    return entries;
}

X11SelectionContents X11Pasteboard::readContents() {
    const QDeadlineTimer deadline(readLimit);
    if (m_clearing.isActive())
        return {};
    if (const auto ours = m_owner.held(clipboard))
        return *ours;
    return m_reader.read(clipboard, deadline);
}

void X11Pasteboard::clearContents() { m_clearing.start(0); }

void X11Pasteboard::setString(const QString &text) {
    auto contents = X11SelectionContents::ofText(text);
    if (!m_saved) {
        replaceContents(std::move(contents));
        return;
    }
    auto displaced =
        std::move(m_displaced ? m_displaced : m_saved); // of several texts, what the first displaced
    contents.values.push_back({X11SelectionType::bytes(secretHintTarget), "secret"});
    replaceContents(std::move(contents));
    m_displaced = std::move(displaced);
}

void X11Pasteboard::writeItems(const std::vector<PasteboardItem> &items) {
    auto contents = contentsOf(items);
    if (!contents.values.empty())
        replaceContents(std::move(contents));
    m_loan.giveBack();
}

void X11Pasteboard::replaceContents(X11SelectionContents contents) {
    m_clearing.stop();
    m_saved.reset();
    m_displaced.reset();
    m_owner.own(clipboard, std::move(contents));
}

void X11Pasteboard::clearNow() {
    m_clearing.stop();
    m_displaced.reset();
    m_owner.clear(clipboard);
    m_loan.giveBack();
}

void X11Pasteboard::lendToPrimary() {
    if (m_clearing.isActive())
        return;
    const auto ours = m_owner.held(clipboard);
    if (ours && !ours->values.empty())
        m_loan.take(*ours);
}

/// Not from under another program that has taken the clipboard meanwhile.
void X11Pasteboard::takeTextAway() {
    const auto displaced = std::exchange(m_displaced, {});
    if (!displaced || !m_owner.held(clipboard))
        return;
    if (displaced->values.empty())
        m_owner.clear(clipboard);
    else
        m_owner.own(clipboard, *displaced);
}

void X11Pasteboard::handOver() {
    if (m_clearing.isActive())
        clearNow();
    takeTextAway();
    m_loan.giveBack();
    m_owner.handOver(handOverLimit);
}

} // namespace quillora::platform
