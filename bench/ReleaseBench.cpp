// From the release of the hotkey to the text in an application, recognition aside: a sentence of 20 words, on
// one core, by way of a real translator with a base model of random weights, and of the clipboard of a real X
// server. Prints the parts.
#include "controller/AppController.h"
#include "fakes/FakePlatform.h"
#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/translation/NeuralEngine.h"
#include "platform/linux/x11/X11Pasteboard.h"
#include "support/ModelDescriptions.h"
#include "support/SelectionPeer.h"
#include "support/SelectionRequestor.h"
#include "support/VirtualDisplay.h"
#include "support/neural/ModelWriter.h"
#include "support/neural/RandomModel.h"
#include "translation/TranslationHostView.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <sched.h>
#include <vector>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::ModelTask;

namespace {

constexpr double describedDelay = 150;
constexpr int runs = 40; // each takes a second

QElapsedTimer releaseClock;
double sinceRelease() { return double(releaseClock.nsecsElapsed()) / 1e6; }
double processorTime() { return double(std::clock()) * 1e3 / CLOCKS_PER_SEC; }

/// Notes when its operations end.
class TimedSession : public platform::TranslationSession {
public:
    TimedSession(std::shared_ptr<TranslationSession> session, double &prepared, double &translated,
                 double &computed)
        : m_session(std::move(session)), m_prepared(prepared), m_translated(translated),
          m_computed(computed) {}

    QCoro::Task<> prepareTranslation() override {
        co_await m_session->prepareTranslation();
        m_prepared = sinceRelease();
    }
    QCoro::Task<platform::TranslationResponse> translate(QString text) override {
        const double before = processorTime();
        auto response = co_await m_session->translate(std::move(text));
        m_translated = sinceRelease();
        m_computed = processorTime() - before;
        co_return response;
    }

private:
    const std::shared_ptr<TranslationSession> m_session;
    double &m_prepared;
    double &m_translated;
    double &m_computed;
};

/// A desktop of fakes, but for its clipboard, its time and its translator.
class Desktop : public test::FakePlatform, private platform::Translators {
public:
    explicit Desktop(const QByteArray &displayName) : x11(displayName) {
        editor = workspaceFake.launch(u"editor"_s);
        workspaceFake.frontmost = editor;
        const auto model = test::translationModel(u"en-ru"_s, u"en"_s, u"ru"_s);
        models.offer(model);
        routes.offer(ModelTask::translating(u"en"_s, u"ru"_s), {model.id});
        const auto random = test::measuredModels().back(); // base
        const std::string path = folder.path().toStdString();
        test::writeFile(path + "/model.xxyy.intgemm.alphas.bin", random.modelFile());
        test::writeFile(path + "/lex.50.50.xxyy.s2t.bin", random.shortlistFile());
        test::writeFile(path + "/vocab.xxyy.spm", random.sourceVocabularyFile());
        models.place(model.id, model.version, folder.path());
        test::RandomNumbers numbers(1);
        sentence = QString::fromStdString(random.sentences(1, 20, 20, numbers).front());
    }

    platform::Pasteboard &pasteboard() override { return x11; }
    platform::MainQueue &mainQueue() override { return realTime; }
    platform::Translators &translators() override { return *this; }

    template <typename Condition>
    void workUntil(Condition condition) {
        while (!condition()) {
            queue.run();
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 1);
        }
    }

    QString sentence;
    double prepared = 0;
    double translated = 0;
    double computed = 0; ///< processor's time of the translation

private:
    std::shared_ptr<platform::TranslationSession> session(const QString &source,
                                                          const QString &target) override {
        return std::make_shared<TimedSession>(engine.session(source, target), prepared, translated, computed);
    }
    void warm(const QString &source, const QString &target) override { engine.warm(source, target); }

    QTemporaryDir folder;
    std::shared_ptr<test::FakeRunningApplication> editor;
    platform::X11Pasteboard x11;
    platform::LinuxMainQueue realTime;
    platform::NeuralEngine engine{routes, models, consent, realTime};
};

void print(const char *what, std::vector<double> milliseconds) {
    std::ranges::sort(milliseconds);
    std::printf("  %-44s median %6.1f ms  p95 %6.1f ms\n", what, milliseconds[milliseconds.size() / 2],
                milliseconds[milliseconds.size() * 95 / 100]);
}

void stayOnOneCore() {
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(::sched_getcpu(), &cores);
    ::sched_setaffinity(0, sizeof cores, &cores);
}

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    const test::VirtualDisplay display;
    stayOnOneCore();
    Desktop desktop(display.name());
    AppController controller;
    const TranslationHostView host(controller.translationBridge());
    const test::SelectionPeer owner(display.name(), "CLIPBOARD",
                                    {{.target = "UTF8_STRING", .data = "what stood there before"}}, {});
    test::SelectionRequestor target(display.name(), "CLIPBOARD");
    double chord = 0;
    double inserted = 0;
    desktop.keystrokesFake.onPaste = [&] {
        chord = sinceRelease();
        if (target.ask("UTF8_STRING"))
            inserted = sinceRelease();
    };

    std::vector<double> preparing, translating, computing, pasting, reading, whole;
    for (int run = -5; run < runs; ++run) { // the first ones load and warm what they take
        inserted = 0;
        controller.hotKeyPressed();
        desktop.workUntil([&] { return controller.isRecording(); });
        releaseClock.start();
        controller.hotKeyReleased();
        desktop.workUntil([&] { return desktop.speech.recognition().hasEnded; });
        desktop.speech.deliverFinal(desktop.sentence);
        desktop.workUntil([&] { return inserted > 0 && !controller.hasPendingPasteboardRestore(); });
        if (run < 0)
            continue;
        preparing.push_back(desktop.prepared);
        translating.push_back(desktop.translated - desktop.prepared);
        computing.push_back(desktop.computed);
        pasting.push_back(chord - desktop.translated - describedDelay);
        reading.push_back(inserted - chord);
        whole.push_back(inserted - describedDelay);
    }
    std::printf("20 words by a base model on one core, beyond the %.0f ms before the paste:\n",
                describedDelay);
    print("release to the translator", preparing);
    print("translation", translating);
    print("  of that computed, the rest waited", computing);
    print("clipboard saved and written, paste begins", pasting);
    print("text read by the application", reading);
    print("release to inserted text (goal: p95 60 ms)", whole);
}
