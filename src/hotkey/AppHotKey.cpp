#include "hotkey/AppHotKey.h"

#include <QStringList>

#include <limits>
#include <map>

namespace quillora {

namespace {

const std::map<quint32, QString> &keyNames() {
    static const std::map<quint32, QString> names = {
        {0, u"A"_qs},       {11, u"B"_qs},     {8, u"C"_qs},         {2, u"D"_qs},
        {14, u"E"_qs},      {3, u"F"_qs},      {5, u"G"_qs},         {4, u"H"_qs},
        {34, u"I"_qs},      {38, u"J"_qs},     {40, u"K"_qs},        {37, u"L"_qs},
        {46, u"M"_qs},      {45, u"N"_qs},     {31, u"O"_qs},        {35, u"P"_qs},
        {12, u"Q"_qs},      {15, u"R"_qs},     {1, u"S"_qs},         {17, u"T"_qs},
        {32, u"U"_qs},      {9, u"V"_qs},      {13, u"W"_qs},        {7, u"X"_qs},
        {16, u"Y"_qs},      {6, u"Z"_qs},      {29, u"0"_qs},        {18, u"1"_qs},
        {19, u"2"_qs},      {20, u"3"_qs},     {21, u"4"_qs},        {23, u"5"_qs},
        {22, u"6"_qs},      {26, u"7"_qs},     {28, u"8"_qs},        {25, u"9"_qs},
        {27, u"-"_qs},      {24, u"="_qs},     {33, u"["_qs},        {30, u"]"_qs},
        {42, u"\\"_qs},     {41, u";"_qs},     {39, u"'"_qs},        {50, u"`"_qs},
        {43, u","_qs},      {47, u"."_qs},     {44, u"/"_qs},        {49, u"Space"_qs},
        {36, u"Return"_qs}, {48, u"Tab"_qs},   {51, u"Delete"_qs},   {53, u"Esc"_qs},
        {126, u"Up"_qs},    {125, u"Down"_qs}, {123, u"Left"_qs},    {124, u"Right"_qs},
        {115, u"Home"_qs},  {119, u"End"_qs},  {116, u"Page Up"_qs}, {121, u"Page Down"_qs},
        {122, u"F1"_qs},    {120, u"F2"_qs},   {99, u"F3"_qs},       {118, u"F4"_qs},
        {96, u"F5"_qs},     {97, u"F6"_qs},    {98, u"F7"_qs},       {100, u"F8"_qs},
        {101, u"F9"_qs},    {109, u"F10"_qs},  {103, u"F11"_qs},     {111, u"F12"_qs},
        {105, u"F13"_qs},   {107, u"F14"_qs},  {113, u"F15"_qs},     {106, u"F16"_qs},
        {64, u"F17"_qs},    {79, u"F18"_qs},   {80, u"F19"_qs},      {90, u"F20"_qs},
    };
    return names;
}

/// Digits only, after an optional plus sign; a minus sign only before a zero.
std::optional<quint32> unsignedDecimal(QStringView text) {
    bool isNegative = false;
    if (text.startsWith(u'+') || text.startsWith(u'-')) {
        isNegative = text.front() == u'-';
        text = text.mid(1);
    }
    if (text.isEmpty())
        return {};
    quint64 number = 0;
    for (const QChar character : text) {
        if (character < u'0' || character > u'9')
            return {};
        number = number * 10 + (character.unicode() - u'0');
        if (number > std::numeric_limits<quint32>::max())
            return {};
    }
    if (isNegative && number != 0)
        return {};
    return static_cast<quint32>(number);
}

} // namespace

std::optional<AppHotKey> AppHotKey::fromStorageValue(const QString &storageValue) {
    const QStringList pieces = storageValue.split(u':', Qt::SkipEmptyParts);
    if (pieces.size() != 2)
        return {};
    const auto keyCode = unsignedDecimal(pieces[0]);
    const auto modifiers = unsignedDecimal(pieces[1]);
    if (!keyCode || !modifiers)
        return {};
    return AppHotKey{*keyCode, *modifiers};
}

QString AppHotKey::storageValue() const {
    return QString::number(keyCode) + u':' + QString::number(modifiers);
}

bool AppHotKey::isUsable() const { return (modifiers & (controlKey | optionKey | cmdKey)) != 0; }

QString AppHotKey::displayName() const {
    QStringList words;
    if (modifiers & controlKey)
        words += u"Ctrl"_qs;
    if (modifiers & optionKey)
        words += u"Option"_qs;
    if (modifiers & shiftKey)
        words += u"Shift"_qs;
    if (modifiers & cmdKey)
        words += u"Cmd"_qs;
    const auto name = keyNames().find(keyCode);
    words += name != keyNames().end() ? name->second : u"Key "_qs + QString::number(keyCode);
    return words.join(u' ');
}

} // namespace quillora
