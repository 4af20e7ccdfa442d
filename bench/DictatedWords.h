#pragma once

#include <QString>
#include <QTest>

using namespace Qt::StringLiterals;

/// What somebody might say, so many words of it.
inline QString dictatedWords(int count) {
    QString text;
    for (int i = 0; i < count; ++i)
        text += u"word%1 "_s.arg(i % 97);
    return text;
}

/// Names the scripts that ask something else of a layout than English does.
inline void addScripts() {
    QTest::addColumn<QString>("sentence");
    QTest::newRow("English") << u"the weather is fine today, let us go for a walk in the park tomorrow. "_s;
    QTest::newRow("Chinese") << u"今天天气很好，我们一起去公园散步吧。他说版本是6.4，不是5.15。"_s;
    QTest::newRow("Japanese")
        << u"今日はとても良い天気ですね、公園へ散歩に行きましょう。コンピューターは新しいです。"_s;
    QTest::newRow("Thai") << u"สวัสดีครับวันนี้อากาศดีมากเราไปเดินเล่นที่สวนกันเถอะ"_s;
    QTest::newRow("Arabic with Latin words")
        << u"مرحبا، الطقس جميل اليوم، لنذهب في نزهة مع LibreOffice Writer غدا. "_s;
}

/// So many characters of it, said again and again.
inline QString dictated(const QString &sentence, qsizetype length) {
    return sentence.repeated(length / sentence.size() + 1).first(length);
}
