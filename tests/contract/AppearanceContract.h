#pragma once

#include "contract/Subjects.h"
#include "platform/Appearance.h"

#include <QTest>

#include <memory>

namespace quillora::test {

/// An appearance, and the user who decides about it.
class AppearanceHarness {
public:
    virtual ~AppearanceHarness() = default;

    virtual platform::Appearance &appearance() = 0;

    /// The user changes the desktop's settings to these.
    virtual void prefer(const platform::Appearance::Preferences &preferences) = 0;
};

/// What all appearances keep to.
class AppearanceContract : public QObject {
    Q_OBJECT

public:
    explicit AppearanceContract(Subjects<AppearanceHarness> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() { m_harness = m_subjects.harness(); }
    void cleanup() { m_harness.reset(); }

    void nothingToldReadsAsNoPreference() {
        QCOMPARE(m_harness->appearance().preferences(), Appearance::Preferences());
    }

    void aPreferenceIsFollowed_data() {
        QTest::addColumn<Appearance::Preferences>("wanted");
        using Scheme = Appearance::ColorScheme;
        QTest::newRow("dark") << Appearance::Preferences{Scheme::dark, {}, false};
        QTest::newRow("light") << Appearance::Preferences{Scheme::light, {}, false};
        QTest::newRow("an accent") << Appearance::Preferences{Scheme::noPreference,
                                                              Appearance::Color{0.5, 0.25, 1}, false};
        QTest::newRow("a black accent")
            << Appearance::Preferences{Scheme::noPreference, Appearance::Color{0, 0, 0}, false};
        QTest::newRow("high contrast") << Appearance::Preferences{Scheme::noPreference, {}, true};
        QTest::newRow("all") << Appearance::Preferences{Scheme::dark, Appearance::Color{1, 0.5, 0}, true};
    }

    void aPreferenceIsFollowed() {
        QFETCH(Appearance::Preferences, wanted);
        m_harness->prefer(wanted);
        QTRY_COMPARE(m_harness->appearance().preferences(), wanted);
    }

    void aPreferenceCanBeTakenBack() {
        const Appearance::Preferences wanted{Appearance::ColorScheme::dark, Appearance::Color{1, 0.5, 0},
                                             true};
        m_harness->prefer(wanted);
        QTRY_COMPARE(m_harness->appearance().preferences(), wanted);
        m_harness->prefer({});
        QTRY_COMPARE(m_harness->appearance().preferences(), Appearance::Preferences());
    }

    void theHandlerFindsTheNewPreferences() {
        auto &appearance = m_harness->appearance();
        std::vector<Appearance::ColorScheme> seen;
        const auto token =
            appearance.addObserver([&] { seen.push_back(appearance.preferences().colorScheme); });
        m_harness->prefer({Appearance::ColorScheme::dark, {}, false});
        QTRY_COMPARE(seen, std::vector{Appearance::ColorScheme::dark});
        m_harness->prefer({Appearance::ColorScheme::light, {}, false});
        QTRY_COMPARE(seen, (std::vector{Appearance::ColorScheme::dark, Appearance::ColorScheme::light}));
        appearance.removeObserver(token);
    }

    void aRemovedObserverHearsNothing() {
        auto &appearance = m_harness->appearance();
        int removed = 0;
        int kept = 0;
        appearance.removeObserver(appearance.addObserver([&] { ++removed; }));
        const auto token = appearance.addObserver([&] { ++kept; });
        m_harness->prefer({Appearance::ColorScheme::dark, {}, false});
        QTRY_COMPARE(kept, 1);
        QCOMPARE(removed, 0);
        appearance.removeObserver(token);
    }

private:
    using Appearance = platform::Appearance;

    std::unique_ptr<AppearanceHarness> m_harness;
    Subjects<AppearanceHarness> m_subjects;
};

} // namespace quillora::test
