#pragma once

#include "platform/OwnWindows.h"

#include <utility>

namespace quillora::test {

class FakeOwnWindows : public platform::OwnWindows {
public:
    bool canPlace() const override { return !isPlacedByDesktop; }
    void keepOutOfTaskBars(QWindow &) override { ++timesKeptOutOfTaskBars; }
    std::unique_ptr<platform::PointerWatch> watchPointer(std::function<void()> pressed) override {
        return std::make_unique<Watch>(*this, std::move(pressed));
    }

    /// The user presses a mouse button somewhere.
    void press() {
        const auto pressed = m_pressed;
        if (pressed)
            pressed();
    }
    bool isPointerWatched() const { return m_pressed != nullptr; }

    bool isPlacedByDesktop = false;
    int timesKeptOutOfTaskBars = 0;

private:
    class Watch : public platform::PointerWatch {
    public:
        Watch(FakeOwnWindows &windows, std::function<void()> pressed) : m_windows(windows) {
            m_windows.m_pressed = std::move(pressed);
        }
        ~Watch() override { m_windows.m_pressed = nullptr; }

    private:
        FakeOwnWindows &m_windows;
    };

    std::function<void()> m_pressed;
};

} // namespace quillora::test
