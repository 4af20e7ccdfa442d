#include "platform/linux/sound/SoundTimer.h"

#include <QTest>

#include <pulse/timeval.h>

#include <memory>

using quillora::platform::SoundTimer;
using namespace std::chrono_literals;

namespace {

/// A main loop that keeps one timer.
class LoopWithOneTimer {
public:
    LoopWithOneTimer() {
        m_api.userdata = this;
        m_api.time_new = [](pa_mainloop_api *api, const timeval *due, pa_time_event_cb_t callback,
                            void *data) {
            auto *loop = static_cast<LoopWithOneTimer *>(api->userdata);
            loop->m_due = *due;
            loop->m_call = [=, event = loop->asEvent()] { callback(api, event, nullptr, data); };
            return loop->asEvent();
        };
        m_api.time_restart = [](pa_time_event *event, const timeval *due) {
            reinterpret_cast<LoopWithOneTimer *>(event)->m_due = *due;
        };
        m_api.time_free = [](pa_time_event *event) {
            reinterpret_cast<LoopWithOneTimer *>(event)->m_call = nullptr;
        };
    }

    pa_mainloop_api *api() { return &m_api; }
    const timeval &due() const { return m_due; }
    bool hasTimer() const { return m_call != nullptr; }
    void becomeDue() {
        const auto call = m_call; // it may destroy the timer
        call();
    }

private:
    pa_time_event *asEvent() { return reinterpret_cast<pa_time_event *>(this); }

    pa_mainloop_api m_api{};
    timeval m_due{};
    std::function<void()> m_call;
};

} // namespace

class SoundTimerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { m_timer.reset(); }

    void itIsDueAfterItsDelay() {
        makeTimer();
        QVERIFY(isDueAfter(100ms));
    }

    void anotherDelayCountsFromTheTimersMaking() {
        makeTimer();
        m_timer->setDelay(400ms);
        QVERIFY(isDueAfter(400ms));
        m_timer->setDelay(50ms);
        QVERIFY(isDueAfter(50ms));
    }

    void itCallsOnce() {
        makeTimer();
        m_loop.becomeDue();
        QCOMPARE(m_calls, 1);
    }

    void theCallMayDestroyIt() {
        m_timer = std::make_unique<SoundTimer>(m_loop.api(), 100ms, [this] { m_timer.reset(); });
        m_loop.becomeDue();
        QVERIFY(!m_loop.hasTimer());
    }

    void destroyedItCallsNoMore() {
        makeTimer();
        m_timer.reset();
        QVERIFY(!m_loop.hasTimer());
    }

private:
    void makeTimer() {
        m_calls = 0;
        pa_gettimeofday(&m_before);
        m_timer = std::make_unique<SoundTimer>(m_loop.api(), 100ms, [this] { ++m_calls; });
        pa_gettimeofday(&m_after);
    }
    bool isDueAfter(std::chrono::milliseconds delay) const {
        const auto microseconds = static_cast<pa_usec_t>(std::chrono::microseconds(delay).count());
        timeval earliest = m_before, latest = m_after;
        pa_timeval_add(&earliest, microseconds);
        pa_timeval_add(&latest, microseconds);
        return pa_timeval_cmp(&earliest, &m_loop.due()) <= 0 && pa_timeval_cmp(&m_loop.due(), &latest) <= 0;
    }

    LoopWithOneTimer m_loop;
    std::unique_ptr<SoundTimer> m_timer;
    timeval m_before{}, m_after{};
    int m_calls = 0;
};

QTEST_APPLESS_MAIN(SoundTimerTest)
#include "SoundTimerTest.moc"
