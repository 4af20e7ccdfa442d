#include "platform/linux/keyring/SecretServiceKeychain.h"
#include "support/PrivateKeyring.h"
#include "support/PrivateSessionBus.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTextStream>

#include <algorithm>
#include <functional>
#include <vector>

using namespace Qt::StringLiterals;
using namespace quillora::platform;
using namespace quillora::test;

namespace {

void report(const QString &name, const std::function<void()> &call, int count) {
    std::vector<double> milliseconds;
    for (int i = 0; i < count; ++i) {
        QElapsedTimer timer;
        timer.start();
        call();
        milliseconds.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
    }
    const double first = milliseconds.front();
    std::sort(milliseconds.begin(), milliseconds.end());
    QTextStream(stdout) << name.leftJustified(16)
                        << u"first %1 ms, median %2 ms, worst %3 ms\n"_s.arg(first, 0, 'f', 1)
                               .arg(milliseconds[milliseconds.size() / 2], 0, 'f', 1)
                               .arg(milliseconds.back(), 0, 'f', 1);
}

} // namespace

/// What the operations of the keychain cost the main thread.
int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    const PrivateSessionBus bus;
    bus.install();
    PrivateKeyring keyring(bus);
    SecretServiceKeychain keychain;
    const KeychainQuery token{u"com.local.Quillora"_s, u"openAIClientToken"_s};

    report(u"read none"_s, [&] { keychain.copyMatching(token); }, 50);
    report(u"add"_s, [&] { keychain.add(token, "secret"); }, 50);
    report(u"read"_s, [&] { keychain.copyMatching(token); }, 50);
    report(u"update"_s, [&] { keychain.update(token, "secret"); }, 50);
    keyring.freeze();
    report(u"read, frozen"_s, [&] { keychain.copyMatching(token); }, 1);
    report(u"read, absent"_s, [&] { keychain.copyMatching(token); }, 50);
}
