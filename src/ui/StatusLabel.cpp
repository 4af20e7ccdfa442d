#include "ui/StatusLabel.h"

#include "platform/Platform.h"

#include <QAccessibleWidget>

namespace quillora {

namespace {

constexpr int statusLines = 2;

/// Screen readers ask what a notification says when they get to it; of two in a row they would speak the
/// second twice.
constexpr auto settlingTime = std::chrono::milliseconds(150);

/// Screen readers speak a notification as it comes to show. They pay no attention to a label whose text
/// changes, and not all of them know announcements.
class AccessibleStatus : public QAccessibleWidget {
public:
    explicit AccessibleStatus(StatusLabel &label)
        : QAccessibleWidget(&label, QAccessible::Notification), m_label(label) {}

    QString text(QAccessible::Text kind) const override {
        return kind == QAccessible::Name ? m_label.text() : QAccessibleWidget::text(kind);
    }

private:
    StatusLabel &m_label;
};

QAccessibleInterface *accessibleStatus(const QString &, QObject *object) {
    auto *label = qobject_cast<StatusLabel *>(object);
    return label ? new AccessibleStatus(*label) : nullptr; // the toolkit's
}

} // namespace

StatusLabel::StatusLabel(QWidget *parent) : LimitedLabel(statusLines, parent) {
    QAccessible::installFactory(accessibleStatus); // once, however often
}

StatusLabel::~StatusLabel() {
    if (m_announcement)
        m_announcement->cancel();
}

void StatusLabel::setStatus(const QString &status) {
    const bool isFirst = m_announced.isNull();
    const QString before = text();
    setPlainText(status);
    if (isFirst || !QAccessible::isActive())
        m_announced = text();
    if (text() == before || text() == m_announced)
        return;
    if (m_announcement)
        m_announcement->cancel();
    m_announcement =
        platform::Platform::current().mainQueue().asyncAfter(settlingTime, [this] { announce(); });
}

void StatusLabel::announce() {
    if (text() == m_announced)
        return;
    m_announced = text();
    QAccessibleEvent shown(this, QAccessible::ObjectShow);
    QAccessible::updateAccessibility(&shown);
}

/// The toolkit tells that it shows.
void StatusLabel::showEvent(QShowEvent *event) {
    LimitedLabel::showEvent(event);
    m_announced = text();
}

} // namespace quillora
