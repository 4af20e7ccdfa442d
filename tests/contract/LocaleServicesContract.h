#pragma once

#include "contract/Subjects.h"
#include "platform/LocaleServices.h"

#include <QObject>

#include <memory>

namespace quillora::test {

/// What all locale services keep to, for an English user.
class LocaleServicesContract : public QObject {
    Q_OBJECT

public:
    explicit LocaleServicesContract(Subjects<platform::LocaleServices> subjects)
        : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() { m_services = m_subjects.harness(); }
    void cleanup() { m_services.reset(); }

    void componentsAreWhatTheIdentifierNames_data();
    void componentsAreWhatTheIdentifierNames();
    void aKnownLocaleHasADisplayName_data();
    void aKnownLocaleHasADisplayName();
    void anUnknownLocaleHasNoDisplayName_data();
    void anUnknownLocaleHasNoDisplayName();
    void capitalizingTouchesEveryWord_data();
    void capitalizingTouchesEveryWord();
    void comparisonIgnoresCase();
    void comparisonIsByAlphabet();

private:
    Subjects<platform::LocaleServices> m_subjects;
    std::unique_ptr<platform::LocaleServices> m_services;
};

} // namespace quillora::test
