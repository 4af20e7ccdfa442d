// hear_file MODEL LANGUAGE SOUND [SPOKEN]: what an installed model hears in a sound file (WAV, 16 bits), such
// as hear_file kroko-de de sentence.wav "Guten Tag". Prints how long the model takes to load, the text, how
// long decoding takes beside the sound (the real-time factor), and, where the words are given that were
// spoken, how many of them are wrong.
#include "platform/linux/models/ModelCatalog.h"
#include "platform/linux/models/ModelFolders.h"
#include "platform/linux/recognition/RecognizerClient.h"
#include "platform/linux/recognition/SherpaModel.h"
#include "support/Recording.h"
#include "support/Told.h"
#include "support/WordErrorRate.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <cstdio>

using namespace quillora;
using platform::RecognizerClient;

namespace {

/// Throws std::runtime_error where it is not installed.
platform::RecognizerModel installedModel(const QString &id, const QString &language) {
    const platform::ModelCatalog catalog(platform::ModelCatalog::standardFiles(), {platform::sherpaEngine});
    const auto *entry = catalog.find(id);
    const auto installed = platform::ModelFolders::standard().installed(id);
    if (!entry || installed.isEmpty())
        throw std::runtime_error("the model is not installed");
    const auto model = platform::sherpaModel(entry->description, installed.first().filesFolder(), language);
    if (!model)
        throw std::runtime_error("its files are not those of a speech model");
    return *model;
}

double seconds(const QElapsedTimer &timer) { return double(timer.nsecsElapsed()) / 1e9; }

void hear(const QStringList &arguments) {
    const auto sound = test::Recording{arguments.at(3), {}}.sound();
    QElapsedTimer timer;
    timer.start();
    RecognizerClient client(QUILLORA_RECOGNIZER);
    client.load({installedModel(arguments.at(1), arguments.at(2))});
    test::ChildProcess::waitUntil(
        [&] { return client.modelState() != RecognizerClient::ModelState::loading; }, 60000);
    std::printf("loaded in %.2f s\n", seconds(timer));

    const test::Told told;
    timer.start();
    const auto job = client.recognize(told.handler());
    job->sound().add(sound);
    job->sound().end();
    const QString text = told.finalText();
    const double took = seconds(timer);
    if (text.isNull())
        throw std::runtime_error(told.errors().join(u' ').toStdString());
    const double length = double(sound.samples.size()) / sound.format.sampleRate / sound.format.channelCount;
    std::printf("%s\nreal-time factor %.2f\n", qUtf8Printable(text), took / length);
    if (arguments.size() > 4) {
        const auto rate = test::WordErrorRate::of(text, arguments.at(4));
        std::printf("%d of %d words wrong, %.1f %%\n", rate.errors, rate.spokenWords, rate.percent());
    }
}

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 4) {
        std::fprintf(stderr, "usage: hear_file MODEL LANGUAGE SOUND [SPOKEN]\n");
        return 2;
    }
    try {
        hear(arguments);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
