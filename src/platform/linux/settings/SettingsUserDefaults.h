#pragma once

#include "platform/UserDefaults.h"

#include <QTimer>

#include <map>
#include <memory>
#include <set>

class QSettings;

namespace quillora::platform {

/// Keeps the settings in one small text file, `Quillora/Quillora.conf` in the user's configuration folder.
///
/// A value is written from the event loop soon after it was set, at the latest on destruction; the file is
/// replaced as a whole, and keys that another process has written meanwhile are kept. Where nothing can be
/// written, everything set stays in effect until the end of the run. It needs an event loop.
class SettingsUserDefaults : public UserDefaults {
public:
    /// Uses the user's own settings file; `XDG_CONFIG_HOME` is honoured.
    SettingsUserDefaults();

    /// Uses the file at `path`, which need not exist. A file that cannot be understood is first kept aside
    /// under its name with ".unreadable-1" after it, or the next free number; one that may not be read is
    /// left alone.
    explicit SettingsUserDefaults(const QString &path);
    ~SettingsUserDefaults() override;

    std::optional<QString> string(const QString &key) const override;
    void setString(const QString &value, const QString &key) override;
    void setFailureObserver(FailureObserver observer) override;

private:
    void open(const QString &path);
    void keepTypedText(const QString &path);
    void save();
    void report(UserDefaultsFailure failure);
    void tell();

    std::unique_ptr<QSettings> m_settings;    ///< none where the file is to be left alone
    std::map<QString, QString> m_unsaved;     ///< then it takes what is set
    std::set<UserDefaultsFailure> m_failures; ///< that have happened
    std::set<UserDefaultsFailure> m_told;     ///< those that the observer knows
    FailureObserver m_observer;
    QTimer m_saving;
    QTimer m_telling;
};

} // namespace quillora::platform
