#include "fakes/FakePlatform.h"
#include "platform/linux/translation/apertium/ApertiumEngine.h"
#include "support/Outcome.h"
#include "support/ProcessTree.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTextStream>

#include <algorithm>
#include <vector>

using namespace Qt::StringLiterals;
using namespace quillora::platform;
using namespace quillora::test;

namespace {

using Session = std::shared_ptr<TranslationSession>;

QCoro::Task<QString> translated(Session session, QString text) {
    co_await session->prepareTranslation();
    const auto response = co_await session->translate(text);
    co_return response.targetText;
}

/// From asking for a session to the translated text.
double millisecondsFor(FakePlatform &platform, OnDeviceEngine &engine, const QString &text) {
    QElapsedTimer timer;
    timer.start();
    const auto outcome = Outcome<QString>::of(translated(engine.session(u"en"_s, u"es"_s), text));
    while (!outcome->isDone()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
        platform.run();
    }
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

qint64 residentKilobytes() {
    qint64 sum = 0;
    for (const auto &process : ProcessTree::descendants()) {
        QFile status(u"/proc/%1/status"_s.arg(process.id));
        if (!status.open(QIODevice::ReadOnly))
            continue;
        for (const QByteArray &line : status.readAll().split('\n')) {
            if (line.startsWith("VmRSS:"))
                sum += line.mid(6).trimmed().split(' ').first().toLongLong();
        }
    }
    return sum;
}

} // namespace

/// What on-device translation costs: the first text, each further one, memory while the pipeline stands.
int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    QTextStream out(stdout);
    FakePlatform platform;
    ApertiumEngine engine(platform.queue);
    const QString text = u"i want to send this message to my friend tomorrow"_s;

    const double first = millisecondsFor(platform, engine, text);
    std::vector<double> further;
    for (int i = 0; i < 200; ++i)
        further.push_back(millisecondsFor(platform, engine, text));
    std::sort(further.begin(), further.end());
    out << u"first %1 ms, median %2 ms, worst %3 ms\n"_s.arg(first, 0, 'f', 1)
               .arg(further[further.size() / 2], 0, 'f', 2)
               .arg(further.back(), 0, 'f', 2);
    const QString longText = u"The house is big. "_s.repeated(6000);
    out << u"108 kB in %1 ms\n"_s.arg(millisecondsFor(platform, engine, longText), 0, 'f', 0);
    out << u"%1 processes, %2 MB resident\n"_s.arg(ProcessTree::descendants().size())
               .arg(residentKilobytes() / 1024);
}
