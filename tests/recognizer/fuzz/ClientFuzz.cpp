#include "platform/linux/recognition/RecognizerClient.h"
#include "recognizer/fuzz/PressedKeys.h"
#include "support/Told.h"

#include <QTemporaryDir>

#include <cstdlib>
#include <fstream>

using namespace quillora;
using namespace std::chrono_literals;

namespace {

std::string replayFile() {
    static const QTemporaryDir folder;
    return folder.filePath(QStringLiteral("replay")).toStdString();
}

void require(bool holds) {
    if (!holds)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    ::setenv("QUILLORA_REPLAY", replayFile().c_str(), 1);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    return 0;
}

/// Any bytes as all that a recognizer says before it ends, and as often as it is started: whoever dictates is
/// told an end, once, and nothing gets into a text that could press a key.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::ofstream(replayFile(), std::ios::binary)
        .write(reinterpret_cast<const char *>(data), std::streamsize(size));
    const test::Told told;
    {
        platform::RecognizerClient client(QUILLORA_REPLAYING_RECOGNIZER,
                                          {.silence = 200ms, .loading = 200ms});
        client.load({{.engine = "any", .files = {}, .tried = [](std::chrono::milliseconds) {}}});
        const auto job = client.recognize(told.handler());
        job->sound().add({{16000, 1}, std::vector<qint16>(16000, 1)});
        job->sound().end();
        told.finalText();
    }
    require(told.isFinal() ? told.errors().isEmpty() : told.errors().size() == 1);
    require(std::ranges::none_of(told.texts(), test::couldPressAKey));
    return 0;
}
