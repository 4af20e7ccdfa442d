#include "platform/linux/recognition/Dictation.h"
#include "recognizer/fuzz/MessageStream.h"
#include "recognizer/fuzz/PressedKeys.h"

#include <cstdlib>

using namespace quillora;
using namespace recognizer;

namespace {

/// Does with a dictation what the answers say.
class Listener {
public:
    explicit Listener(platform::Dictation &dictation) : m_dictation(dictation) {}

    void operator()(const Heard &) {
        m_dictation.heard();
        m_dictation.nextSound(2000);
    }
    void operator()(const Interim &interim) { m_dictation.interim(interim.text); }
    void operator()(const Settled &settled) { m_dictation.settled(settled.text, settled.position); }
    void operator()(const Finished &finished) { m_dictation.finished(finished.text); }
    void operator()(const Ready &) { m_dictation.rewind(); }
    void operator()(const Refused &) {}
    void operator()(const Tried &) {}

private:
    platform::Dictation &m_dictation;
};

} // namespace

/// Any bytes as what a recognizer says: nothing gets into a text that could press a key, and the sound that
/// is kept stays in order.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const auto job = std::make_shared<platform::RecognitionJob>(
        std::make_shared<platform::WakeUp>(), [](const auto &result, const auto &) {
            if (result && test::couldPressAKey(result->text))
                std::abort();
        });
    platform::Dictation dictation(1, job, std::size_t{60} * sampleRate);
    test::converse(data, size, [&](auto message) {
        job->sound().add({{16000, 1}, std::vector<qint16>(3000, 1)});
        dictation.takeSound();
        std::visit(Listener(dictation), decodeAnswer(message));
    });
    return 0;
}
