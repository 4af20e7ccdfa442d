#pragma once

#include "fakes/CallLog.h"
#include "platform/Workspace.h"

#include <map>
#include <memory>
#include <utility>

namespace quillora::test {

using namespace Qt::StringLiterals;

class FakeWorkspace;

class FakeRunningApplication : public platform::RunningApplication,
                               public std::enable_shared_from_this<FakeRunningApplication> {
public:
    FakeRunningApplication(FakeWorkspace &workspace, QString name, std::optional<QString> bundleIdentifier)
        : m_workspace(workspace), m_name(std::move(name)), m_bundleIdentifier(std::move(bundleIdentifier)) {}

    std::optional<QString> bundleIdentifier() const override { return m_bundleIdentifier; }
    void activate(Outcome outcome) override;

    const QString &name() const { return m_name; }
    bool hasEnded = false;

private:
    FakeWorkspace &m_workspace;
    QString m_name;
    std::optional<QString> m_bundleIdentifier;
};

class FakeWorkspace : public platform::Workspace {
public:
    explicit FakeWorkspace(CallLog &log) : log(log) {}

    std::optional<QString> mainBundleIdentifier() const override { return ownIdentifier; }
    platform::RunningApplicationHandle frontmostApplication() const override { return frontmost; }

    void yieldFocus() override { ++yieldCount; }

    ObserverToken addActivationObserver(ActivationObserver observer) override {
        m_observers[++m_lastToken] = std::move(observer);
        return m_lastToken;
    }
    void removeActivationObserver(ObserverToken token) override { m_observers.erase(token); }

    /// A program of this identifier runs; the name is for the log.
    std::shared_ptr<FakeRunningApplication> launch(const QString &name,
                                                   std::optional<QString> bundleIdentifier) {
        return std::make_shared<FakeRunningApplication>(*this, name, std::move(bundleIdentifier));
    }
    std::shared_ptr<FakeRunningApplication> launch(const QString &name) { return launch(name, name); }

    /// The user brings a program to the front.
    void bringToFront(const platform::RunningApplicationHandle &application) {
        frontmost = application;
        notify(application);
    }

    void notify(const platform::RunningApplicationHandle &application) {
        const auto observers = m_observers;
        for (const auto &[token, observer] : observers) {
            if (m_observers.contains(token))
                observer(application);
        }
    }
    qsizetype observerCount() const { return static_cast<qsizetype>(m_observers.size()); }

    CallLog &log;
    std::optional<QString> ownIdentifier = u"Quillora"_s;
    platform::RunningApplicationHandle frontmost;
    bool refusesActivation = false; ///< the desktop brings nothing to the front for us
    int yieldCount = 0;             ///< how often we have given up the keyboard

private:
    std::map<ObserverToken, ActivationObserver> m_observers;
    ObserverToken m_lastToken = 0;
};

inline void FakeRunningApplication::activate(Outcome outcome) {
    m_workspace.log.add(u"activate "_s + m_name);
    const bool isBrought = !hasEnded && !m_workspace.refusesActivation;
    if (isBrought)
        m_workspace.bringToFront(shared_from_this());
    if (outcome)
        outcome(isBrought);
}

} // namespace quillora::test
