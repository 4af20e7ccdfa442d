#pragma once

#include "app/AppDelegate.h"

#include <QApplication>

#include <functional>
#include <memory>

namespace quillora {

namespace platform {
class Platform;
class RunningInstance;
} // namespace platform

/// The application: one instance in a session, without a window of its own. `main` makes one and runs it.
class QuilloraApp {
public:
    using PlatformFactory = std::function<std::unique_ptr<platform::Platform>()>;

    /// As QApplication: `argc` must outlive this.
    QuilloraApp(int &argc, char **argv);
    ~QuilloraApp();
    QuilloraApp(const QuilloraApp &) = delete;
    QuilloraApp &operator=(const QuilloraApp &) = delete;

    /// Runs until the user quits, and returns the exit status. The platform is made only if this becomes the
    /// session's instance, and ends after everything that uses it; the start ends in either case.
    int run(platform::RunningInstance &instance, const PlatformFactory &makePlatform);

private:
    int runOn(platform::Platform &platform, platform::RunningInstance &instance, platform::Start start);

    QApplication m_application;
    std::unique_ptr<AppDelegate> m_appDelegate;
};

} // namespace quillora
