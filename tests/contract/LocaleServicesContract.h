#pragma once

#include "platform/LocaleServices.h"

#include <QObject>

#include <functional>
#include <memory>

namespace quillora::test {

/// What all locale services keep to, for an English user.
class LocaleServicesContract : public QObject {
    Q_OBJECT

public:
    using Make = std::function<std::unique_ptr<platform::LocaleServices>()>;

    explicit LocaleServicesContract(Make make) : m_make(std::move(make)) {}

private Q_SLOTS:
    void init() { m_services = m_make(); }
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
    Make m_make;
    std::unique_ptr<platform::LocaleServices> m_services;
};

} // namespace quillora::test
