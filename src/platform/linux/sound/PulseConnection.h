#pragma once

#include "platform/AudioBuffer.h"
#include "platform/linux/sound/CaptureDrain.h"
#include "platform/linux/sound/SoundThread.h"
#include "platform/linux/sound/SoundTimer.h"

#include <pulse/context.h>
#include <pulse/introspect.h>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

namespace quillora::platform {

class PulseCapture;

/// The program's one connection to the sound server, made in the background and kept. A server that is not
/// running is never started.
class PulseConnection {
public:
    /// Begins to connect. `server` is an address as in PULSE_SERVER; none means the user's own server.
    explicit PulseConnection(std::string server = {});

    /// Ends whatever is being captured and closes the connection.
    ~PulseConnection();
    PulseConnection(const PulseConnection &) = delete;
    PulseConnection &operator=(const PulseConnection &) = delete;

    /// Makes sure that there is a server and that it answers, connecting anew if need be, and learns the
    /// format of its default source. Calls `done` once on the sound thread, within 500 ms. Any thread.
    void refresh(std::function<void()> done);

    /// The default source's format as last learnt; no channels if there was none, or no server. Any thread.
    AudioFormat inputFormat() const;

    SoundThread &thread() { return m_thread; }
    const std::shared_ptr<CaptureDrain> &drain() const { return m_drain; }

    /// None unless it is connected. Sound thread only.
    pa_context *readyContext() const;

    /// The default source as last learnt; empty if there was none, or no server. Sound thread only.
    const std::string &sourceName() const { return m_sourceName; }

    /// Where that source's channels are. Sound thread only.
    const pa_channel_map &channelMap() const { return m_channelMap; }

    /// Closes the connection; the next refresh makes a new one. Sound thread only.
    void disconnect();

    /// Keeps the capture until it is released or the connection is closed. Sound thread only.
    void adopt(std::shared_ptr<PulseCapture> capture) { m_captures.insert(std::move(capture)); }
    void release(const std::shared_ptr<PulseCapture> &capture) { m_captures.erase(capture); }

private:
    void connect();
    void contextStateChanged();
    void beginRefresh(std::function<void()> done);
    void askForDefaultSource();
    void askForFormat(const char *sourceName);
    void learnSource(const pa_source_info &source);
    void finishRefresh(const AudioFormat &format);
    void close();

    const std::string m_server;
    const std::shared_ptr<CaptureDrain> m_drain = std::make_shared<CaptureDrain>();

    mutable std::mutex m_mutex;
    AudioFormat m_inputFormat;

    // Of the sound thread.
    pa_context *m_context = nullptr;
    std::string m_sourceName;
    pa_channel_map m_channelMap{};
    std::unordered_set<std::shared_ptr<PulseCapture>> m_captures;
    std::vector<std::function<void()>> m_refreshes; ///< those that wait for the refresh under way
    std::optional<SoundTimer> m_deadline;           ///< of the refresh under way

    SoundThread m_thread;
};

} // namespace quillora::platform
