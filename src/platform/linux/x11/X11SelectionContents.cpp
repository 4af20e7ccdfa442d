#include "platform/linux/x11/X11SelectionContents.h"

#include <algorithm>

namespace quillora::platform {

namespace {

constexpr char utf8Target[] = "UTF8_STRING";
constexpr char latin1Target[] = "STRING";
constexpr char compoundTarget[] = "COMPOUND_TEXT";
constexpr char anyTextTarget[] = "TEXT";

/// Whether STRING can carry the text: Latin-1 with no control characters but tab and line feed.
bool isLatin1Text(const QString &text) {
    return std::ranges::all_of(text, [](QChar c) {
        const auto code = c.unicode();
        return code == '\t' || code == '\n' || (code >= 0x20 && code < 0x7f) ||
               (code >= 0xa0 && code <= 0xff);
    });
}

} // namespace

X11SelectionContents X11SelectionContents::ofText(const QString &text) {
    const auto utf8 = text.toUtf8();
    X11SelectionContents contents;
    for (const auto *target : {utf8Target, "text/plain;charset=utf-8", "text/plain"})
        contents.values.push_back({X11SelectionType::bytes(target), utf8});
    if (!isLatin1Text(text)) {
        contents.values.push_back({{anyTextTarget, utf8Target, 8}, utf8});
        return contents;
    }
    const auto latin1 = text.toLatin1();
    contents.values.push_back({X11SelectionType::bytes(latin1Target), latin1});
    contents.values.push_back({{anyTextTarget, latin1Target, 8}, latin1});
    // Compound text starts out as Latin-1.
    contents.values.push_back({X11SelectionType::bytes(compoundTarget), latin1});
    return contents;
}

} // namespace quillora::platform
