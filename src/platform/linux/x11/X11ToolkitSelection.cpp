#include "platform/linux/x11/X11ToolkitSelection.h"

#include "platform/linux/X11ToolkitConnection.h"

#include <QGuiApplication>
#include <QMimeData>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

bool isToolkitWindow(xcb_window_t window) {
    auto *connection = toolkitConnection();
    if (!connection || window == XCB_NONE)
        return false;
    const auto *setup = xcb_get_setup(connection);
    return (window & ~setup->resource_id_mask) == setup->resource_id_base;
}

/// Formats that mean something to this process only.
bool isPrivate(const QString &format) { return format.startsWith(u"application/x-qt-"_s); }

} // namespace

bool X11ToolkitSelection::isHeld(QClipboard::Mode mode) {
    if (!qobject_cast<QGuiApplication *>(QCoreApplication::instance()))
        return false;
    const auto *clipboard = QGuiApplication::clipboard();
    return mode == QClipboard::Clipboard ? clipboard->ownsClipboard() : clipboard->ownsSelection();
}

std::optional<X11SelectionContents> X11ToolkitSelection::contents(QClipboard::Mode mode, xcb_window_t owner) {
    if (!isHeld(mode) || !isToolkitWindow(owner))
        return {};
    const auto *mimeData = QGuiApplication::clipboard()->mimeData(mode);
    if (!mimeData)
        return {};

    X11SelectionContents contents;
    if (mimeData->hasText())
        contents = X11SelectionContents::ofText(mimeData->text());
    for (const QString &format : mimeData->formats()) {
        if (!isPrivate(format) && format != u"text/plain"_s)
            contents.values.push_back({X11SelectionType::bytes(format.toLatin1()), mimeData->data(format)});
    }
    return contents;
}

} // namespace quillora::platform
