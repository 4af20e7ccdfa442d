#include "platform/linux/x11/X11SelectionReader.h"

#include "platform/linux/x11/X11ToolkitSelection.h"

#include <QSet>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

namespace quillora::platform {

using namespace std::chrono_literals;

namespace {

/// An owner that answers late writes to our window; without it, many would end with an X error.
constexpr auto patienceWithLateOwners = 60s;

constexpr uint32_t wholeProperty = 0x1fffffff;

bool isContent(const QByteArray &target) {
    static const QSet<QByteArray> others{"TARGETS", "MULTIPLE", "TIMESTAMP", "SAVE_TARGETS", "DELETE"};
    return !target.isEmpty() && !others.contains(target) && !target.startsWith("INSERT_");
}

/// Types whose values name resources of the owner's, which go when it lets go of the selection.
bool isServerResource(xcb_atom_t type) {
    return type == XCB_ATOM_DRAWABLE || type == XCB_ATOM_PIXMAP || type == XCB_ATOM_BITMAP ||
           type == XCB_ATOM_COLORMAP;
}

template <typename T>
const T &as(const xcb_generic_event_t &event) {
    return reinterpret_cast<const T &>(event);
}

} // namespace

/// One read, from finding the owner to the last value.
class X11SelectionReader::Reading {
public:
    Reading(X11SelectionConnection &connection, const QDeadlineTimer &deadline)
        : m_connection(connection), m_deadline(deadline) {}

    X11SelectionContents run(const QByteArray &selection) {
        if (!prepare(selection))
            return {};
        watchOwner();
        X11SelectionContents contents;
        if (const auto targets = readTargets())
            contents = readValues(*targets);
        forgetOwner();
        return contents;
    }

    /// The windows on which an answer may still come.
    std::vector<xcb_window_t> release() {
        std::vector<xcb_window_t> awaited;
        for (const auto &conversion : m_conversions) {
            if (conversion.isSettled() || m_isOwnerGone)
                xcb_destroy_window(m_connection, conversion.window);
            else
                awaited.push_back(conversion.window);
        }
        xcb_flush(m_connection);
        return awaited;
    }

private:
    enum class Progress { asked, incremental, read, failed };

    /// One target, with a window of its own: owners keep track of running transfers by the window.
    struct Conversion {
        xcb_window_t window = XCB_NONE;
        xcb_atom_t target = XCB_NONE;
        Progress progress = Progress::asked;
        xcb_atom_t type = XCB_NONE;
        std::optional<X11SelectionType> typeName = std::nullopt;
        QByteArray data;

        bool isSettled() const { return progress == Progress::read || progress == Progress::failed; }
    };

    bool prepare(const QByteArray &selection) {
        const auto atoms =
            m_connection.atoms({selection, "TARGETS", "INCR", "QUILLORA_SELECTION"}, m_deadline);
        if (!atoms)
            return false;
        m_selection = (*atoms)[0];
        m_targets = (*atoms)[1];
        m_incr = (*atoms)[2];
        m_property = (*atoms)[3];
        const auto owner = m_connection.reply<xcb_get_selection_owner_reply_t>(
            xcb_get_selection_owner(m_connection, m_selection), m_deadline);
        if (!owner || owner->owner == XCB_NONE)
            return false;
        m_owner = owner->owner;

        const auto window = m_connection.createWindow();
        const auto time = m_connection.serverTime(window, m_deadline, [](const auto &) {});
        xcb_destroy_window(m_connection, window);
        m_time = time.value_or(XCB_CURRENT_TIME);
        return time.has_value();
    }

    void watchOwner() { selectOwnerEvents(XCB_EVENT_MASK_STRUCTURE_NOTIFY); }
    void forgetOwner() { selectOwnerEvents(XCB_EVENT_MASK_NO_EVENT); }
    void selectOwnerEvents(uint32_t mask) {
        xcb_change_window_attributes(m_connection, m_owner, XCB_CW_EVENT_MASK, &mask);
    }

    /// The targets whose values are worth saving, in the owner's order.
    std::optional<std::vector<xcb_atom_t>> readTargets() {
        ask(m_targets);
        awaitAnswers();
        const auto &answer = m_conversions.front();
        if (answer.progress == Progress::asked || answer.progress == Progress::incremental)
            return {};
        std::vector<xcb_atom_t> offered;
        if (answer.progress == Progress::read && answer.typeName && answer.typeName->format == 32) {
            offered.resize(static_cast<size_t>(answer.data.size()) / sizeof(xcb_atom_t));
            std::memcpy(offered.data(), answer.data.constData(), offered.size() * sizeof(xcb_atom_t));
        } else if (const auto text = m_connection.atoms({"UTF8_STRING", "STRING"}, m_deadline)) {
            // Some small programs own a selection without telling what they offer; it is text, then.
            offered = *text;
        }
        const auto names = m_connection.names(offered, m_deadline);
        if (!names)
            return {};

        std::vector<xcb_atom_t> targets;
        for (size_t i = 0; i < offered.size(); ++i) {
            if (isContent((*names)[i]) && std::ranges::find(targets, offered[i]) == targets.end())
                targets.push_back(offered[i]);
        }
        return targets;
    }

    X11SelectionContents readValues(const std::vector<xcb_atom_t> &targets) {
        const auto first = m_conversions.size();
        for (const auto target : targets)
            ask(target);
        awaitAnswers();

        X11SelectionContents contents;
        for (auto i = first; i < m_conversions.size(); ++i) {
            auto &conversion = m_conversions[i];
            const bool isWhole = conversion.progress == Progress::read && conversion.typeName;
            if (isWhole && !isServerResource(conversion.type))
                contents.values.push_back({*conversion.typeName, std::move(conversion.data)});
        }
        return contents;
    }

    void ask(xcb_atom_t target) {
        const auto window = m_connection.createWindow();
        xcb_convert_selection(m_connection, window, m_selection, target, m_property, m_time);
        m_conversions.push_back({.window = window, .target = target, .data = {}});
        ++m_awaited;
    }

    void awaitAnswers() {
        while (m_awaited > 0 && !m_isOwnerGone && !m_deadline.hasExpired()) {
            const auto event = m_connection.nextEvent(m_deadline);
            if (!event)
                return;
            handle(*event);
        }
    }

    void handle(const xcb_generic_event_t &event) {
        switch (event.response_type & 0x7f) {
        case XCB_SELECTION_NOTIFY: {
            const auto &notify = as<xcb_selection_notify_event_t>(event);
            if (auto *conversion = find(notify.requestor, Progress::asked))
                takeAnswer(*conversion, notify.property);
            break;
        }
        case XCB_PROPERTY_NOTIFY: {
            const auto &notify = as<xcb_property_notify_event_t>(event);
            if (notify.state != XCB_PROPERTY_NEW_VALUE || notify.atom != m_property)
                break;
            if (auto *conversion = find(notify.window, Progress::incremental))
                takeChunk(*conversion);
            break;
        }
        case XCB_DESTROY_NOTIFY:
            m_isOwnerGone |= as<xcb_destroy_notify_event_t>(event).window == m_owner;
            break;
        default:
            break;
        }
    }

    Conversion *find(xcb_window_t window, Progress progress) {
        const auto found = std::ranges::find(m_conversions, window, &Conversion::window);
        return found != m_conversions.end() && found->progress == progress ? &*found : nullptr;
    }

    void takeAnswer(Conversion &conversion, xcb_atom_t property) {
        if (property == XCB_NONE)
            return settle(conversion, Progress::failed);
        const auto value = takeProperty(conversion);
        if (!value || value->type == XCB_NONE)
            return settle(conversion, Progress::failed);
        if (value->type == m_incr) {
            conversion.progress = Progress::incremental;
            return;
        }
        append(conversion, *value);
        settle(conversion, Progress::read);
    }

    void takeChunk(Conversion &conversion) {
        const auto value = takeProperty(conversion);
        if (!value || value->type == XCB_NONE)
            return;
        append(conversion, *value);
        if (xcb_get_property_value_length(value.get()) == 0)
            settle(conversion, Progress::read);
    }

    /// Taking a property away is what asks the owner for the next chunk.
    X11SelectionConnection::Reply<xcb_get_property_reply_t> takeProperty(const Conversion &conversion) {
        return m_connection.reply<xcb_get_property_reply_t>(
            xcb_get_property(m_connection, 1, conversion.window, m_property, XCB_GET_PROPERTY_TYPE_ANY, 0,
                             wholeProperty),
            m_deadline);
    }

    void append(Conversion &conversion, const xcb_get_property_reply_t &value) {
        if (conversion.type == XCB_NONE) {
            conversion.type = value.type;
            // Asked at once: when another value has used the time up, nothing can be asked any more.
            if (const auto names = m_connection.names({conversion.target, value.type}, m_deadline))
                conversion.typeName = {(*names)[0], (*names)[1], value.format};
        }
        conversion.data.append(static_cast<const char *>(xcb_get_property_value(&value)),
                               xcb_get_property_value_length(&value));
    }

    void settle(Conversion &conversion, Progress outcome) {
        conversion.progress = outcome;
        --m_awaited;
    }

    X11SelectionConnection &m_connection;
    const QDeadlineTimer m_deadline;
    xcb_atom_t m_selection = XCB_NONE;
    xcb_atom_t m_targets = XCB_NONE;
    xcb_atom_t m_incr = XCB_NONE;
    xcb_atom_t m_property = XCB_NONE;
    xcb_window_t m_owner = XCB_NONE;
    xcb_timestamp_t m_time = XCB_CURRENT_TIME;
    std::vector<Conversion> m_conversions;
    size_t m_awaited = 0;
    bool m_isOwnerGone = false;
};

X11SelectionContents X11SelectionReader::read(const QByteArray &selection, const QDeadlineTimer &deadline) {
    if (!m_connection.isAlive())
        return {};
    const auto mode = selection == "PRIMARY" ? QClipboard::Selection : QClipboard::Clipboard;
    if (auto ours = X11ToolkitSelection::contents(mode, owner(selection, deadline)))
        return *ours;

    Reading reading(m_connection, deadline);
    auto contents = reading.run(selection);
    retire(reading.release());
    return contents;
}

xcb_window_t X11SelectionReader::owner(const QByteArray &selection, const QDeadlineTimer &deadline) {
    const auto atom = m_connection.atoms({selection}, deadline);
    if (!atom)
        return XCB_NONE;
    const auto owner = m_connection.reply<xcb_get_selection_owner_reply_t>(
        xcb_get_selection_owner(m_connection, atom->front()), deadline);
    return owner ? owner->owner : XCB_NONE;
}

void X11SelectionReader::retire(std::vector<xcb_window_t> windows) {
    if (windows.empty())
        return;
    QTimer::singleShot(patienceWithLateOwners, &m_retirement, [this, windows = std::move(windows)] {
        for (const auto window : windows)
            xcb_destroy_window(m_connection, window);
        xcb_flush(m_connection);
        while (m_connection.arrivedEvent()) {
        }
    });
}

} // namespace quillora::platform
