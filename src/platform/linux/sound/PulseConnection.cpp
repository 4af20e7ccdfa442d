#include "platform/linux/sound/PulseConnection.h"

#include "platform/linux/sound/PulseCapture.h"

#include <pulse/operation.h>
#include <pulse/proplist.h>

#include <string_view>
#include <utility>

namespace quillora::platform {

using namespace std::chrono_literals;

namespace {

constexpr auto refreshLimit = 500ms;

/// Without any sound hardware the servers put in a sink of this name. Nobody can speak into that.
constexpr std::string_view standInSource = "auto_null.monitor";

void forget(pa_operation *operation) {
    if (operation)
        pa_operation_unref(operation);
}

} // namespace

PulseConnection::PulseConnection(std::string server) : m_server(std::move(server)) {
    refresh([] {});
}

PulseConnection::~PulseConnection() {
    m_thread.post([this] { close(); });
}

void PulseConnection::refresh(std::function<void()> done) {
    m_thread.post([this, done = std::move(done)]() mutable { beginRefresh(std::move(done)); });
}

AudioFormat PulseConnection::inputFormat() const {
    const std::lock_guard lock(m_mutex);
    return m_inputFormat;
}

pa_context *PulseConnection::readyContext() const {
    return m_context && pa_context_get_state(m_context) == PA_CONTEXT_READY ? m_context : nullptr;
}

void PulseConnection::beginRefresh(std::function<void()> done) {
    m_refreshes.push_back(std::move(done));
    if (m_refreshes.size() > 1)
        return;
    m_deadline.emplace(m_thread.api(), refreshLimit, [this] {
        disconnect();
        finishRefresh({});
    });
    if (readyContext())
        askForDefaultSource();
    else
        connect();
}

void PulseConnection::connect() {
    disconnect();
    auto *properties = pa_proplist_new();
    pa_proplist_sets(properties, PA_PROP_APPLICATION_NAME, "Quillora");
    pa_proplist_sets(properties, PA_PROP_APPLICATION_ICON_NAME, "quillora");
    m_context = pa_context_new_with_proplist(m_thread.api(), nullptr, properties);
    pa_proplist_free(properties);
    pa_context_set_state_callback(
        m_context,
        [](pa_context *, void *self) { static_cast<PulseConnection *>(self)->contextStateChanged(); }, this);
    const char *server = m_server.empty() ? nullptr : m_server.c_str();
    if (pa_context_connect(m_context, server, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
        contextStateChanged();
}

void PulseConnection::disconnect() {
    if (!m_context)
        return;
    auto *context = std::exchange(m_context, nullptr);
    pa_context_set_state_callback(context, nullptr, nullptr);
    pa_context_disconnect(context);
    pa_context_unref(context);
}

void PulseConnection::contextStateChanged() {
    if (!m_context)
        return;
    const auto state = pa_context_get_state(m_context);
    if (state == PA_CONTEXT_READY) {
        askForDefaultSource();
    } else if (!PA_CONTEXT_IS_GOOD(state)) {
        disconnect();
        if (!m_refreshes.empty())
            finishRefresh({});
    }
}

void PulseConnection::askForDefaultSource() {
    forget(pa_context_get_server_info(
        m_context,
        [](pa_context *, const pa_server_info *info, void *self) {
            static_cast<PulseConnection *>(self)->askForFormat(info ? info->default_source_name : nullptr);
        },
        this));
}

void PulseConnection::askForFormat(const char *sourceName) {
    // An empty name would be refused as invalid; it means the same as none.
    if (!sourceName || !*sourceName) {
        finishRefresh({});
        return;
    }
    forget(pa_context_get_source_info_by_name(
        m_context, sourceName,
        [](pa_context *, const pa_source_info *info, int isLast, void *self) {
            auto &connection = *static_cast<PulseConnection *>(self);
            if (info && info->name != standInSource)
                connection.learnSource(*info);
            else if (info || isLast < 0)
                connection.finishRefresh({});
        },
        this));
}

void PulseConnection::learnSource(const pa_source_info &source) {
    m_sourceName = source.name;
    m_channelMap = source.channel_map;
    finishRefresh({static_cast<double>(source.sample_spec.rate), source.sample_spec.channels});
}

void PulseConnection::finishRefresh(const AudioFormat &format) {
    if (format.channelCount == 0)
        m_sourceName.clear();
    {
        const std::lock_guard lock(m_mutex);
        m_inputFormat = format;
    }
    m_deadline.reset();
    for (const auto &done : std::exchange(m_refreshes, {}))
        done();
}

void PulseConnection::close() {
    m_deadline.reset();
    m_refreshes.clear();
    for (const auto &capture : std::exchange(m_captures, {}))
        capture->close();
    disconnect();
}

} // namespace quillora::platform
