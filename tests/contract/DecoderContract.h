#pragma once

#include "contract/Subjects.h"
#include "recognizer/Decoder.h"

#include <QTest>

#include <memory>
#include <set>

namespace quillora::test {

/// An engine, and somebody who speaks to it.
class DecoderHarness {
public:
    using Sound = std::vector<std::int16_t>;

    virtual ~DecoderHarness() = default;

    virtual std::unique_ptr<recognizer::Decoder> makeDecoder() = 0;

    /// A sentence of several words, without silence at its ends.
    virtual Sound sentence() = 0;
};

/// What every decoder does.
class DecoderContract : public QObject {
    Q_OBJECT

public:
    explicit DecoderContract(Subjects<DecoderHarness> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() { m_harness = m_subjects.harness(); }
    void cleanup() { m_harness.reset(); }

    void textGrowsAndIsThereAfterTheEnd() {
        const auto decoder = m_harness->makeDecoder();
        decoder->beginUtterance();
        QCOMPARE(decoder->text(), std::string());
        const auto texts = hear(*decoder, m_harness->sentence());
        QVERIFY(std::set(texts.begin(), texts.end()).size() > 2);
        decoder->endUtterance();
        QVERIFY(!decoder->text().empty());
        QVERIFY(decoder->text().find("  ") == std::string::npos);
        QVERIFY(!decoder->text().starts_with(' ') && !decoder->text().ends_with(' '));
    }

    void eachUtteranceHasATextOfItsOwn() {
        const auto decoder = m_harness->makeDecoder();
        for (int i = 0; i < 2; ++i) {
            decoder->beginUtterance();
            hear(*decoder, m_harness->sentence());
            decoder->endUtterance();
            QVERIFY(!decoder->text().empty());
        }
        decoder->beginUtterance();
        QCOMPARE(decoder->text(), std::string());
        decoder->endUtterance();
        QCOMPARE(decoder->text(), std::string());
    }

    void silenceIsNoSpeechAndNoText() {
        const auto decoder = m_harness->makeDecoder();
        decoder->beginUtterance();
        QVERIFY(!decoder->hearsSpeech());
        hear(*decoder, Sound(32000));
        QVERIFY(!decoder->hearsSpeech());
        QCOMPARE(decoder->text(), std::string());
        decoder->endUtterance();
        QCOMPARE(decoder->text(), std::string());
    }

    void speechIsHeardUntilHalfASecondAfterIt() {
        const auto decoder = m_harness->makeDecoder();
        decoder->beginUtterance();
        hear(*decoder, m_harness->sentence());
        QVERIFY(decoder->hearsSpeech());
        hear(*decoder, Sound(4800)); // 300 ms
        QVERIFY(decoder->hearsSpeech());
        hear(*decoder, Sound(8000));
        QVERIFY(!decoder->hearsSpeech());
        decoder->endUtterance();
    }

private:
    using Sound = DecoderHarness::Sound;

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

    Subjects<DecoderHarness> m_subjects;
    std::unique_ptr<DecoderHarness> m_harness;
};

} // namespace quillora::test
