#include "hotkey/AppHotKey.h"

#include <QStringList>

#include <limits>
#include <map>

using namespace Qt::StringLiterals;

namespace quillora {

namespace {

const std::map<quint32, QString> &keyNames() {
    static const std::map<quint32, QString> names = {
        {0, u"A"_s},       {11, u"B"_s},     {8, u"C"_s},      {2, u"D"_s},         {14, u"E"_s},
        {3, u"F"_s},       {5, u"G"_s},      {4, u"H"_s},      {34, u"I"_s},        {38, u"J"_s},
        {40, u"K"_s},      {37, u"L"_s},     {46, u"M"_s},     {45, u"N"_s},        {31, u"O"_s},
        {35, u"P"_s},      {12, u"Q"_s},     {15, u"R"_s},     {1, u"S"_s},         {17, u"T"_s},
        {32, u"U"_s},      {9, u"V"_s},      {13, u"W"_s},     {7, u"X"_s},         {16, u"Y"_s},
        {6, u"Z"_s},       {29, u"0"_s},     {18, u"1"_s},     {19, u"2"_s},        {20, u"3"_s},
        {21, u"4"_s},      {23, u"5"_s},     {22, u"6"_s},     {26, u"7"_s},        {28, u"8"_s},
        {25, u"9"_s},      {27, u"-"_s},     {24, u"="_s},     {33, u"["_s},        {30, u"]"_s},
        {42, u"\\"_s},     {41, u";"_s},     {39, u"'"_s},     {50, u"`"_s},        {43, u","_s},
        {47, u"."_s},      {44, u"/"_s},     {49, u"Space"_s}, {36, u"Return"_s},   {48, u"Tab"_s},
        {51, u"Delete"_s}, {53, u"Esc"_s},   {126, u"Up"_s},   {125, u"Down"_s},    {123, u"Left"_s},
        {124, u"Right"_s}, {115, u"Home"_s}, {119, u"End"_s},  {116, u"Page Up"_s}, {121, u"Page Down"_s},
        {122, u"F1"_s},    {120, u"F2"_s},   {99, u"F3"_s},    {118, u"F4"_s},      {96, u"F5"_s},
        {97, u"F6"_s},     {98, u"F7"_s},    {100, u"F8"_s},   {101, u"F9"_s},      {109, u"F10"_s},
        {103, u"F11"_s},   {111, u"F12"_s},  {105, u"F13"_s},  {107, u"F14"_s},     {113, u"F15"_s},
        {106, u"F16"_s},   {64, u"F17"_s},   {79, u"F18"_s},   {80, u"F19"_s},      {90, u"F20"_s},
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
        words += u"Ctrl"_s;
    if (modifiers & optionKey)
        words += u"Option"_s;
    if (modifiers & shiftKey)
        words += u"Shift"_s;
    if (modifiers & cmdKey)
        words += u"Cmd"_s;
    const auto name = keyNames().find(keyCode);
    words += name != keyNames().end() ? name->second : u"Key "_s + QString::number(keyCode);
    return words.join(u' ');
}

} // namespace quillora
