#include "hotkey/AppHotKey.h"

#include <QRandomGenerator>
#include <QTest>

using namespace Qt::StringLiterals;

using quillora::AppHotKey;

class AppHotKeyTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void defaultValueIsControlOptionSpace() {
        QCOMPARE(AppHotKey::defaultValue, (AppHotKey{49, 6144}));
        QCOMPARE(AppHotKey::defaultValue.storageValue(), u"49:6144"_s);
        QCOMPARE(AppHotKey::defaultValue.displayName(), u"Ctrl Option Space"_s);
        QVERIFY(AppHotKey::defaultValue == AppHotKey::fromStorageValue(u"49:6144"_s));
    }

    void storageValueHasBothNumbersInDecimal() {
        QCOMPARE((AppHotKey{40, 0x0300}).storageValue(), u"40:768"_s);
    }

    void everyPairOfNumbersSurvivesStorage() {
        QRandomGenerator random(20261120);
        for (int i = 0; i < 10000; ++i) {
            const AppHotKey hotKey{random.generate(), random.generate()};
            QVERIFY(AppHotKey::fromStorageValue(hotKey.storageValue()) == hotKey);
        }
        const AppHotKey largest{4294967295u, 4294967295u};
        QVERIFY(AppHotKey::fromStorageValue(u"4294967295:4294967295"_s) == largest);
    }

    void strayColonsAreForgiven_data() {
        QTest::addColumn<QString>("text");
        QTest::newRow("doubled") << u"49::6144"_s;
        QTest::newRow("leading") << u":49:6144"_s;
        QTest::newRow("trailing") << u"49:6144:"_s;
        QTest::newRow("all around") << u"::49:::6144::"_s;
    }
    void strayColonsAreForgiven() {
        QFETCH(QString, text);
        QVERIFY(AppHotKey::fromStorageValue(text) == AppHotKey::defaultValue);
    }

    void malformedTextGivesNoValue_data() {
        QTest::addColumn<QString>("text");
        for (const char *text : {"49:6144:0", "49", ":", "", " 49:6144", "49 :6144", "49: 6144", "49:6144\n",
                                 "0x31:6144", "49:4294967296", "49:99999999999999999999999", "49:-1",
                                 "+:6144", "-:6144", "++49:6144", "+-0:6144", "4\xd9\xa9:6144", "49,6144"})
            QTest::newRow(text) << QString::fromUtf8(text);
    }
    void malformedTextGivesNoValue() {
        QFETCH(QString, text);
        QVERIFY(!AppHotKey::fromStorageValue(text));
    }

    void aSignIsReadWhereItChangesNothing() {
        QVERIFY(AppHotKey::fromStorageValue(u"+49:6144"_s) == AppHotKey::defaultValue);
        QVERIFY(AppHotKey::fromStorageValue(u"-0:6144"_s) == (AppHotKey{0, 6144}));
        QVERIFY(AppHotKey::fromStorageValue(u"-000:+6144"_s) == (AppHotKey{0, 6144}));
    }

    void anUnusableValueIsReadAllTheSame() {
        const auto hotKey = AppHotKey::fromStorageValue(u"49:0"_s);
        QVERIFY(hotKey == (AppHotKey{49, 0}));
        QVERIFY(!hotKey->isUsable());
    }

    void usableNeedsControlOptionOrCommand_data() {
        QTest::addColumn<quint32>("modifiers");
        QTest::addColumn<bool>("usable");
        QTest::newRow("none") << 0u << false;
        QTest::newRow("shift") << 0x0200u << false;
        QTest::newRow("caps lock") << 0x0400u << false;
        QTest::newRow("shift and caps lock") << 0x0600u << false;
        QTest::newRow("command") << 0x0100u << true;
        QTest::newRow("option") << 0x0800u << true;
        QTest::newRow("control") << 0x1000u << true;
        QTest::newRow("command and shift") << 0x0300u << true;
        QTest::newRow("everything") << 0xFFFFFFFFu << true;
    }
    void usableNeedsControlOptionOrCommand() {
        QFETCH(quint32, modifiers);
        QFETCH(bool, usable);
        QCOMPARE((AppHotKey{49, modifiers}).isUsable(), usable);
        QCOMPARE((AppHotKey{53, modifiers}).isUsable(), usable);
    }

    void displayNameNamesModifiersInOneOrder_data() {
        QTest::addColumn<quint32>("keyCode");
        QTest::addColumn<quint32>("modifiers");
        QTest::addColumn<QString>("name");
        QTest::newRow("three modifiers") << 40u << 0x1900u << u"Ctrl Option Cmd K"_s;
        QTest::newRow("all modifiers") << 96u << 0x1B00u << u"Ctrl Option Shift Cmd F5"_s;
        QTest::newRow("none") << 0u << 0u << u"A"_s;
        QTest::newRow("a key without a name") << 117u << 0x0100u << u"Cmd Key 117"_s;
        QTest::newRow("caps lock is not shown") << 49u << 0x0400u << u"Space"_s;
        QTest::newRow("unknown modifiers only") << 4294967295u << 0xFFFFE4FFu << u"Key 4294967295"_s;
    }
    void displayNameNamesModifiersInOneOrder() {
        QFETCH(quint32, keyCode);
        QFETCH(quint32, modifiers);
        QFETCH(QString, name);
        QCOMPARE((AppHotKey{keyCode, modifiers}).displayName(), name);
    }

    void exactlyEightyKeysHaveNames() {
        int named = 0;
        for (quint32 keyCode = 0; keyCode < 1000; ++keyCode) {
            if (!AppHotKey{keyCode, 0}.displayName().startsWith(u"Key "))
                ++named;
        }
        QCOMPARE(named, 80);
    }

    void keysBearTheLabelsOfAUsKeyboard() {
        const QList<std::pair<quint32, QString>> names{
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
            {106, u"F16"_s},   {64, u"F17"_s},   {79, u"F18"_s},   {80, u"F19"_s},      {90, u"F20"_s}};
        QCOMPARE(names.size(), 80);
        for (const auto &[keyCode, name] : names)
            QCOMPARE((AppHotKey{keyCode, 0}).displayName(), name);
    }

    void equalityNeedsBothNumbers() {
        QVERIFY((AppHotKey{1, 2}) == (AppHotKey{1, 2}));
        QVERIFY((AppHotKey{1, 2}) != (AppHotKey{1, 3}));
        QVERIFY((AppHotKey{1, 2}) != (AppHotKey{2, 2}));
    }
};

QTEST_GUILESS_MAIN(AppHotKeyTest)
#include "AppHotKeyTest.moc"
