#pragma once

#include "contract/Subjects.h"
#include "platform/Appearance.h"

#include <QObject>

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

    void nothingToldReadsAsNoPreference();
    void aPreferenceIsFollowed_data();
    void aPreferenceIsFollowed();
    void aPreferenceCanBeTakenBack();
    void theHandlerFindsTheNewPreferences();
    void aRemovedObserverHearsNothing();

private:
    std::unique_ptr<AppearanceHarness> m_harness;
    Subjects<AppearanceHarness> m_subjects;
};

} // namespace quillora::test
