#pragma once

#include "platform/Appearance.h"

#include <map>
#include <utility>

namespace quillora::test {

/// A desktop whose looks the test decides.
class FakeAppearance : public platform::Appearance {
public:
    Preferences preferences() const override { return m_preferences; }

    ObserverToken addObserver(std::function<void()> handler) override {
        m_observers[++m_lastToken] = std::move(handler);
        return m_lastToken;
    }

    void removeObserver(ObserverToken observer) override { m_observers.erase(observer); }

    void prefer(const Preferences &preferences) {
        if (m_preferences == preferences)
            return;
        m_preferences = preferences;
        for (const auto &[token, handler] : std::map(m_observers))
            handler();
    }

    qsizetype observerCount() const { return static_cast<qsizetype>(m_observers.size()); }

private:
    Preferences m_preferences;
    std::map<ObserverToken, std::function<void()>> m_observers;
    ObserverToken m_lastToken = 0;
};

} // namespace quillora::test
