#include "hotkey/AppHotKey.h"

#include <QRandomGenerator>
#include <QTest>

using quillora::AppHotKey;

class AppHotKeyTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void defaultValueIsControlOptionSpace() {
        QCOMPARE(AppHotKey::defaultValue, (AppHotKey{49, 6144}));
        QCOMPARE(AppHotKey::defaultValue.storageValue(), u"49:6144"_qs);
        QCOMPARE(AppHotKey::defaultValue.displayName(), u"Ctrl Option Space"_qs);
        QVERIFY(AppHotKey::defaultValue == AppHotKey::fromStorageValue(u"49:6144"_qs));
    }

    void storageValueHasBothNumbersInDecimal() {
        QCOMPARE((AppHotKey{40, 0x0300}).storageValue(), u"40:768"_qs);
    }

    void everyPairOfNumbersSurvivesStorage() {
        QRandomGenerator random(20261120);
        for (int i = 0; i < 10000; ++i) {
            const AppHotKey hotKey{random.generate(), random.generate()};
            QVERIFY(AppHotKey::fromStorageValue(hotKey.storageValue()) == hotKey);
        }
        const AppHotKey largest{4294967295u, 4294967295u};
        QVERIFY(AppHotKey::fromStorageValue(u"4294967295:4294967295"_qs) == largest);
    }

    void strayColonsAreForgiven_data() {
        QTest::addColumn<QString>("text");
        QTest::newRow("doubled") << u"49::6144"_qs;
        QTest::newRow("leading") << u":49:6144"_qs;
        QTest::newRow("trailing") << u"49:6144:"_qs;
        QTest::newRow("all around") << u"::49:::6144::"_qs;
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
        QVERIFY(AppHotKey::fromStorageValue(u"+49:6144"_qs) == AppHotKey::defaultValue);
        QVERIFY(AppHotKey::fromStorageValue(u"-0:6144"_qs) == (AppHotKey{0, 6144}));
        QVERIFY(AppHotKey::fromStorageValue(u"-000:+6144"_qs) == (AppHotKey{0, 6144}));
    }

    void anUnusableValueIsReadAllTheSame() {
        const auto hotKey = AppHotKey::fromStorageValue(u"49:0"_qs);
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
        QTest::newRow("three modifiers") << 40u << 0x1900u << u"Ctrl Option Cmd K"_qs;
        QTest::newRow("all modifiers") << 96u << 0x1B00u << u"Ctrl Option Shift Cmd F5"_qs;
        QTest::newRow("none") << 0u << 0u << u"A"_qs;
        QTest::newRow("a key without a name") << 117u << 0x0100u << u"Cmd Key 117"_qs;
        QTest::newRow("caps lock is not shown") << 49u << 0x0400u << u"Space"_qs;
        QTest::newRow("unknown modifiers only") << 4294967295u << 0xFFFFE4FFu << u"Key 4294967295"_qs;
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
            {64, u"F17"_qs},    {79, u"F18"_qs},   {80, u"F19"_qs},      {90, u"F20"_qs}};
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
