#include "recognizer/protocol/Messages.h"
#include "recognizer/protocol/Channel.h"

#include <QTest>

#include <random>
#include <sys/socket.h>

using namespace quillora::recognizer;

namespace {

const std::vector<Command> commands{
    Open{protocolVersion, "pocketsphinx", {"/a model", "/another"}},
    Open{protocolVersion, "sherpa", {"/model.onnx"}, {{"family", "whisper"}, {"language", "de"}}},
    Open{},
    Begin{7, 1ULL << 40},
    Sound{7, {-32768, 0, 32767}},
    Sound{7, std::vector<std::int16_t>(mostSamples, -1)},
    End{7},
    Cancel{0xFFFFFFFF},
    Try{},
};
const std::vector<Answer> answers{
    Ready{systemCalls | files},
    Refused{Refusal::incompatible},
    Heard{7},
    Interim{7, "he was"},
    Settled{7, 16000, "he was not Zoë 王"},
    Finished{7, ""},
    Tried{1400},
};

template <typename Decode>
void neverTakesGarbageForMoreThanItIs(const Bytes &whole, Decode decode) {
    std::mt19937 random(1);
    for (std::size_t size = 0; size < std::min<std::size_t>(whole.size(), 100); ++size)
        QVERIFY_THROWS_EXCEPTION(ProtocolError, decode({whole.begin(), whole.begin() + qsizetype(size)}));
    Bytes longer = whole;
    longer.push_back(std::byte{0});
    QVERIFY_THROWS_EXCEPTION(ProtocolError, decode(longer));
    for (int i = 0; i < 1000; ++i) {
        Bytes garbage = whole;
        for (unsigned changes = 1 + random() % 3; changes > 0; --changes)
            garbage[random() % garbage.size()] = std::byte(random() % 256);
        try {
            decode(garbage);
        } catch (const ProtocolError &) {
        }
    }
}

} // namespace

class MessagesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void whatIsEncodedIsDecoded() {
        for (const auto &command : commands)
            QVERIFY(decodeCommand(encode(command)) == command);
        for (const auto &answer : answers)
            QVERIFY(decodeAnswer(encode(answer)) == answer);
    }

    void aMessageThatIsCutShortTooLongOrChangedIsRefusedOrMeansSomethingElse() {
        for (const auto &command : commands)
            neverTakesGarbageForMoreThanItIs(encode(command), [](const Bytes &b) { decodeCommand(b); });
        for (const auto &answer : answers)
            neverTakesGarbageForMoreThanItIs(encode(answer), [](const Bytes &b) { decodeAnswer(b); });
    }

    void anUnknownKindIsRefused() {
        QVERIFY_THROWS_EXCEPTION(ProtocolError, decodeCommand(Bytes{std::byte{6}}));
        QVERIFY_THROWS_EXCEPTION(ProtocolError, decodeAnswer(Bytes{std::byte{7}}));
    }

    void anUnknownReasonIsRefused() {
        auto bytes = encode(Refused{Refusal::incompatible});
        bytes.back() = std::byte{200};
        QVERIFY_THROWS_EXCEPTION(ProtocolError, decodeAnswer(bytes));
    }

    void aListThatClaimsToBeLongerThanItsMessageTakesNoMemory() {
        auto bytes = encode(Interim{7, "he was"});
        std::fill(bytes.begin() + 5, bytes.begin() + 9, std::byte{0xFF});
        QVERIFY_THROWS_EXCEPTION(ProtocolError, decodeAnswer(bytes));
    }

    void moreThanASecondOfSoundIsNoMessage() {
        QVERIFY_THROWS_EXCEPTION(ProtocolError, encode(Sound{7, std::vector<std::int16_t>(mostSamples + 1)}));
    }

    void moreParametersThanAModelHasAreNoMessage() {
        QVERIFY_THROWS_EXCEPTION(
            ProtocolError,
            encode(Open{protocolVersion, "sherpa", {}, std::vector<Parameter>(mostParameters + 1)}));
    }

    void aTextThatIsTooLongIsNoMessage() {
        QVERIFY_THROWS_EXCEPTION(ProtocolError, encode(Finished{7, std::string(largestMessage, 'a')}));
    }

    void aTextThatWouldPressKeysIsNoMessage() {
        for (const char *text : {"rm -rf\n", "a\tb", "\x1b[A", "\x7f"})
            QVERIFY_THROWS_EXCEPTION(ProtocolError, encode(Finished{7, text}));
    }

    void ofAnotherVersionOnlyItsNumberIsRead() {
        auto bytes = encode(Open{protocolVersion, "pocketsphinx", {}});
        bytes[1] = std::byte{99};
        bytes.push_back(std::byte{1});
        QVERIFY(std::get<Open>(decodeCommand(bytes)).version == 99);
    }

    void aChannelKeepsMessagesApart() {
        auto [here, there] = Channel::pair();
        QVERIFY(!here.isOtherEndGone());
        here.send(encode(Begin{1, 0}));
        here.send(encode(End{1}));
        QVERIFY(decodeCommand(*there.receive()) == Command(Begin{1, 0}));
        QVERIFY(decodeCommand(*there.receive()) == Command(End{1}));
        QVERIFY(!there.tryReceive());
    }

    void aChannelTellsThatItsOtherEndIsGone() {
        auto [here, there] = Channel::pair();
        {
            const auto gone = std::move(there);
        }
        QVERIFY(here.isOtherEndGone());
        QVERIFY(!here.receive());
        QVERIFY_THROWS_EXCEPTION(ProtocolError, here.tryReceive());
        here.send(encode(End{1})); // without a signal
    }

    void whatTheOtherEndSaidBeforeItWentIsReceivedThoughItLeftMessagesUnread() {
        auto [here, there] = Channel::pair();
        here.send(encode(Begin{1, 0}));
        there.send(encode(Begin{2, 0}));
        there.send(encode(End{2}));
        {
            const auto gone = std::move(there);
        }
        QVERIFY(decodeCommand(*here.tryReceive()) == Command(Begin{2, 0}));
        QVERIFY(decodeCommand(*here.receive()) == Command(End{2}));
        QVERIFY_THROWS_EXCEPTION(ProtocolError, here.tryReceive());
    }

    void aChannelThatIsFullSaysSo() {
        auto [here, there] = Channel::pair();
        int sent = 0;
        while (here.trySend(encode(Sound{1, std::vector<std::int16_t>(mostSamples)})))
            QVERIFY(++sent < 1000);
        QVERIFY(sent > 1);
        there.receive();
        QVERIFY(here.trySend(encode(Sound{1, std::vector<std::int16_t>(mostSamples)})));
    }

    void aMessageThatIsTooLongEndsAChannel() {
        auto [here, there] = Channel::pair();
        const Bytes tooLong(largestMessage + 1, std::byte{2});
        QVERIFY(::send(here.descriptor(), tooLong.data(), tooLong.size(), 0) > 0);
        QVERIFY_THROWS_EXCEPTION(ProtocolError, there.receive());
    }
};

QTEST_APPLESS_MAIN(MessagesTest)
#include "MessagesTest.moc"
