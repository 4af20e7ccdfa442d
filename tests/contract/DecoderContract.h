#pragma once

#include "recognizer/Decoder.h"

#include <QTest>

#include <memory>
#include <set>

namespace quillora::test {

/// What every decoder does.
class DecoderContract : public QObject {
    Q_OBJECT

protected:
    using Sound = std::vector<std::int16_t>;

    virtual std::unique_ptr<recognizer::Decoder> makeDecoder() = 0;

    /// A sentence of several words, without silence at its ends.
    virtual Sound sentence() = 0;

private Q_SLOTS:
    void textGrowsAndIsThereAfterTheEnd() {
        const auto decoder = makeDecoder();
        decoder->beginUtterance();
        QCOMPARE(decoder->text(), std::string());
        const auto texts = hear(*decoder, sentence());
        QVERIFY(std::set(texts.begin(), texts.end()).size() > 2);
        decoder->endUtterance();
        QVERIFY(!decoder->text().empty());
        QVERIFY(decoder->text().find("  ") == std::string::npos);
        QVERIFY(!decoder->text().starts_with(' ') && !decoder->text().ends_with(' '));
    }

    void eachUtteranceHasATextOfItsOwn() {
        const auto decoder = makeDecoder();
        for (int i = 0; i < 2; ++i) {
            decoder->beginUtterance();
            hear(*decoder, sentence());
            decoder->endUtterance();
            QVERIFY(!decoder->text().empty());
        }
        decoder->beginUtterance();
        QCOMPARE(decoder->text(), std::string());
        decoder->endUtterance();
        QCOMPARE(decoder->text(), std::string());
    }

    void silenceIsNoSpeechAndNoText() {
        const auto decoder = makeDecoder();
        decoder->beginUtterance();
        QVERIFY(!decoder->hearsSpeech());
        hear(*decoder, Sound(32000));
        QVERIFY(!decoder->hearsSpeech());
        QCOMPARE(decoder->text(), std::string());
        decoder->endUtterance();
        QCOMPARE(decoder->text(), std::string());
    }

    void speechIsHeardUntilHalfASecondAfterIt() {
        const auto decoder = makeDecoder();
        decoder->beginUtterance();
        hear(*decoder, sentence());
        QVERIFY(decoder->hearsSpeech());
        hear(*decoder, Sound(4800)); // 300 ms
        QVERIFY(decoder->hearsSpeech());
        hear(*decoder, Sound(8000));
        QVERIFY(!decoder->hearsSpeech());
        decoder->endUtterance();
    }

private:
    /// The texts on the way.
    static std::vector<std::string> hear(recognizer::Decoder &decoder, const Sound &sound) {
        std::vector<std::string> texts;
        constexpr std::size_t portion = 341;
        for (std::size_t begin = 0; begin < sound.size(); begin += portion) {
            decoder.accept(std::span(sound).subspan(begin, std::min(portion, sound.size() - begin)));
            texts.push_back(decoder.text());
        }
        return texts;
    }
};

} // namespace quillora::test
