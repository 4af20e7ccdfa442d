#pragma once

#include "platform/Appearance.h"

#include <QObject>

#include <functional>
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
    using MakeHarness = std::function<std::unique_ptr<AppearanceHarness>()>;

    explicit AppearanceContract(MakeHarness make) : m_make(std::move(make)) {}

private Q_SLOTS:
    void init() { m_harness = m_make(); }
    void cleanup() { m_harness.reset(); }

    void nothingToldReadsAsNoPreference();
    void aPreferenceIsFollowed_data();
    void aPreferenceIsFollowed();
    void aPreferenceCanBeTakenBack();
    void theHandlerFindsTheNewPreferences();
    void aRemovedObserverHearsNothing();

private:
    std::unique_ptr<AppearanceHarness> m_harness;
    MakeHarness m_make;
};

} // namespace quillora::test
