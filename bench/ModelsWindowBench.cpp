#include "BusyTime.h"
#include "ui/ModelsHarness.h"
#include "ui/Picker.h"

#include <QLineEdit>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace quillora::test;
using platform::ModelTask;

namespace {

/// Two models to hear each language, and one for each pair with English: eighty and some in all.
void fillLongShelf(FakePlatform &platform) {
    QStringList locales;
    for (const auto &target : LanguageCatalog::targets()) {
        const QString locale = target.id + u'-' + target.id.toUpper();
        locales += locale;
        for (const QString &family : {u"light-"_s, u"large-"_s})
            platform.models.offer(speechModel(family + target.id, target.id, 71'000'000));
        platform.routes.offer(ModelTask::hearing(locale), {u"light-"_s + target.id, u"large-"_s + target.id});
        if (target.id == u"en"_s)
            continue;
        const QString to = u"en-"_s + target.id;
        const QString from = target.id + u"-en"_s;
        platform.models.offer(translationModel(to, u"en"_s, target.id, 14'000'000));
        platform.models.offer(translationModel(from, target.id, u"en"_s, 16'000'000));
        platform.routes.offer(ModelTask::translating(u"en"_s, target.id), {to});
        platform.routes.offer(ModelTask::translating(target.id, u"en"_s), {from});
    }
    platform.speech.locales = locales;
}

constexpr double frame = 16; ///< milliseconds

/// The longest of some turns of the event loop, without what a busy machine kept it waiting.
class LongestTurn {
public:
    template <typename Turn>
    void measure(Turn turn) {
        const qint64 before = busyNanoseconds();
        turn();
        m_longest = std::max(m_longest, busyNanoseconds() - before);
    }
    double milliseconds() const { return static_cast<double>(m_longest) / 1e6; }

private:
    qint64 m_longest = 0;
};

} // namespace

/// Whether a long list of models ever makes a person wait: it fails where a turn takes longer than a frame.
class ModelsWindowBench : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aLongListFillsWithoutAStall() {
        FakePlatform platform;
        fillLongShelf(platform);
        Models models(platform.models, platform.routes, platform.consent);
        qInfo("%lld models", static_cast<long long>(platform.models.models().size()));

        // The panel was open before: fonts and flags have been read.
        QList<Picker::Option> options;
        for (const auto &target : LanguageCatalog::targets())
            options += {target.id, target.flag, target.name};
        Picker panel(u"Translate to"_s, options);
        panel.show();
        for (const auto &option : options) {
            panel.select(option.id);
            panel.grab();
        }

        LongestTurn opening;
        std::unique_ptr<ModelsWindow> window;
        opening.measure([&] {
            window = std::make_unique<ModelsWindow>(
                models, platform.space,
                ModelsWindow::Languages{LanguageCatalog::spokenOptions(), LanguageCatalog::targets()});
        });
        judge("making the window", opening);
        LongestTurn showing;
        showing.measure([&] {
            window->resize(window->sizeHint());
            window->show();
            QCoreApplication::processEvents();
        });
        judge("showing it", showing);

        LongestTurn filling;
        int turns = 0;
        while (!platform.queue.isIdle()) {
            filling.measure([&] {
                platform.queue.runOne();
                QCoreApplication::processEvents();
            });
            ++turns;
        }
        qInfo("%d turns", turns);
        judge("filling the lists", filling);

        LongestTurn progress;
        models.store().install(u"light-de"_s);
        platform.run();
        for (int i = 0; i < 50; ++i) {
            progress.measure([&] {
                platform.models.progress(received(i * 1'000'000, 71'000'000));
                platform.run();
                QCoreApplication::processEvents();
            });
        }
        judge("a progress", progress);

        LongestTurn search;
        auto *field = window->findChild<QLineEdit *>(u"search"_s);
        for (const QString &typed : {u"g"_s, u"ge"_s, u"ger"_s, u"ge"_s, u"g"_s, QString()}) {
            search.measure([&] {
                field->setText(typed);
                QCoreApplication::processEvents();
            });
        }
        judge("a letter that is searched for", search);
        window.reset();
        platform.run();
        QCOMPARE(m_stalls, QStringList());
    }

private:
    /// A stall is noted, so that the rest is measured all the same.
    void judge(const char *what, const LongestTurn &turn) {
        const bool isStall = turn.milliseconds() > frame;
        qInfo("%s: %.1f ms at the longest: %s", what, turn.milliseconds(),
              isStall ? "A STALL" : "within a frame");
        if (isStall)
            m_stalls += QString::fromLatin1(what);
    }

    QStringList m_stalls;
};

QTEST_MAIN(ModelsWindowBench)
#include "ModelsWindowBench.moc"
