#include "platform/linux/x11/X11SelectionCollector.h"

#include <QSet>

#include <algorithm>
#include <cstring>
#include <utility>

namespace quillora::platform {

namespace {

/// An owner that answers late writes to our window; without it, many would end with an X error. So windows
/// stay for a good while after their answers are of use.
constexpr int windowLives = 2;

constexpr uint32_t wholeProperty = 0x1fffffff;

/// More than this of one clipboard is no copy that anybody made on purpose.
constexpr qsizetype mostBytes = qsizetype{512} * 1024 * 1024;

/// Office programs offer some forty. Each takes a window and a request, all of which find room in the socket
/// at once.
constexpr size_t mostTargets = 256;

/// What to make room for at once of what an owner announces.
constexpr qsizetype mostAnnouncedBytes = qsizetype{64} * 1024 * 1024;

constexpr const char *usualTargets[] = {
    "UTF8_STRING",
    "text/plain;charset=utf-8",
    "text/plain",
    "STRING",
    "TEXT",
    "COMPOUND_TEXT",
    "text/html",
    "text/rtf",
    "application/rtf",
    "text/uri-list",
    "x-special/gnome-copied-files",
    "application/x-kde-cutselection",
    "x-kde-passwordManagerHint", // or a password would come back as an ordinary text
    "image/png",
    "image/jpeg",
    "image/bmp",
    "image/tiff",
    "image/svg+xml",
    "chromium/x-web-custom-data",
    "text/_moz_htmlcontext",
    "text/_moz_htmlinfo",
};

/// What owners have that do not tell: some small programs, and it is text, then.
constexpr const char *plainTargets[] = {"UTF8_STRING", "text/plain;charset=utf-8", "STRING"};

bool isContent(const QByteArray &target) {
    static const QSet<QByteArray> others{"TARGETS", "MULTIPLE", "TIMESTAMP", "SAVE_TARGETS", "DELETE"};
    return !target.isEmpty() && !others.contains(target) && !target.startsWith("INSERT_");
}

/// Types whose values name resources of the owner's, which go when it lets go of the selection.
bool isServerResource(xcb_atom_t type) {
    return type == XCB_ATOM_DRAWABLE || type == XCB_ATOM_PIXMAP || type == XCB_ATOM_BITMAP ||
           type == XCB_ATOM_COLORMAP;
}

} // namespace

bool X11SelectionCollector::Inquiry::isOpen() const {
    return !collection.expired() && !patience.hasExpired();
}

bool X11SelectionCollector::Inquiry::isSettled() const {
    return std::ranges::all_of(conversions, &Conversion::isSettled);
}

bool X11SelectionCollector::Inquiry::isWanted(xcb_atom_t target) const {
    return !offered || std::ranges::find(*offered, target) != offered->end();
}

X11SelectionCollector::Inquiry &X11SelectionCollector::begin(const Collection &collection,
                                                             const QByteArray &selection, xcb_window_t owner,
                                                             xcb_timestamp_t time) {
    return m_inquiries.emplace_back(Inquiry{.collection = collection,
                                            .selection = selection,
                                            .owner = owner,
                                            .time = time,
                                            .patience = QDeadlineTimer(m_patience),
                                            .end = QDeadlineTimer(m_patience * windowLives),
                                            .conversions = {},
                                            .offered = {}});
}

X11SelectionCollector::Collection X11SelectionCollector::collect(const QByteArray &selection,
                                                                 xcb_window_t owner, xcb_timestamp_t time) {
    auto collection = std::make_shared<X11Collection>();
    ask(begin(collection, selection, owner, time), {atom("TARGETS")});
    return collection;
}

X11SelectionCollector::Collection
X11SelectionCollector::collectText(const QByteArray &selection, xcb_window_t owner, xcb_timestamp_t time) {
    auto collection = std::make_shared<X11Collection>();
    auto &inquiry = begin(collection, selection, owner, time);
    inquiry.offered = plainAtoms();
    ask(inquiry, *inquiry.offered);
    return collection;
}

void X11SelectionCollector::askForTheUsual(const Collection &collection) {
    const auto inquiry = std::ranges::find_if(
        m_inquiries, [&](const Inquiry &other) { return other.collection.lock() == collection; });
    if (inquiry == m_inquiries.end() || inquiry->offered || !isStillAsked(*inquiry))
        return;
    const auto targets =
        m_connection.atoms({std::begin(usualTargets), std::end(usualTargets)}, serverDeadline());
    if (!targets)
        return;
    ask(*inquiry, *targets);
}

void X11SelectionCollector::handle(const xcb_generic_event_t &event) {
    const auto type = typeOf(event);
    xcb_window_t window = XCB_NONE;
    if (type == XCB_SELECTION_NOTIFY)
        window = as<xcb_selection_notify_event_t>(event).requestor;
    else if (type == XCB_PROPERTY_NOTIFY)
        window = as<xcb_property_notify_event_t>(event).window;
    for (auto &inquiry : m_inquiries) {
        const auto conversion = std::ranges::find(inquiry.conversions, window, &Conversion::window);
        if (conversion == inquiry.conversions.end())
            continue;
        if (type == XCB_SELECTION_NOTIFY && conversion->progress == Progress::asked) {
            takeAnswer(inquiry, *conversion, as<xcb_selection_notify_event_t>(event).property);
        } else if (type == XCB_PROPERTY_NOTIFY && conversion->progress == Progress::incremental) {
            if (as<xcb_property_notify_event_t>(event).state == XCB_PROPERTY_NEW_VALUE)
                takePiece(inquiry, *conversion);
        }
        break;
    }
    endSettled();
}

void X11SelectionCollector::dropExpired() {
    for (auto it = m_inquiries.begin(); it != m_inquiries.end();) {
        const auto collection = it->collection.lock();
        if (collection && it->patience.hasExpired()) {
            collection->advance(collection->contents(), X11Collection::Progress::complete);
            it->collection.reset();
        }
        if (it->end.hasExpired()) {
            destroyWindows(*it);
            it = m_inquiries.erase(it);
        } else {
            ++it;
        }
    }
}

QDeadlineTimer X11SelectionCollector::nextExpiry() const {
    QDeadlineTimer next(QDeadlineTimer::Forever);
    for (const auto &inquiry : m_inquiries)
        next = std::min(next, inquiry.collection.expired() ? inquiry.end : inquiry.patience);
    return next;
}

xcb_atom_t X11SelectionCollector::atom(const QByteArray &name) {
    const auto atoms = m_connection.atoms({name}, serverDeadline());
    return atoms ? atoms->front() : XCB_NONE;
}

/// Another owner, perhaps ourselves, would answer with what it has.
bool X11SelectionCollector::isStillAsked(const Inquiry &inquiry) {
    return m_connection.ownerOf(atom(inquiry.selection), serverDeadline()) == inquiry.owner;
}

std::vector<xcb_atom_t> X11SelectionCollector::plainAtoms() {
    return m_connection.atoms({std::begin(plainTargets), std::end(plainTargets)}, serverDeadline())
        .value_or(std::vector<xcb_atom_t>());
}

void X11SelectionCollector::ask(Inquiry &inquiry, const std::vector<xcb_atom_t> &targets) {
    for (const auto target : targets) {
        if (std::ranges::find(inquiry.conversions, target, &Conversion::target) != inquiry.conversions.end())
            continue;
        const auto window = m_connection.createWindow();
        xcb_convert_selection(m_connection.xcb(), window, atom(inquiry.selection), target,
                              atom("QUILLORA_SELECTION"), inquiry.time);
        inquiry.conversions.push_back({.window = window, .target = target, .data = {}});
    }
    m_connection.flush(serverDeadline());
}

void X11SelectionCollector::takeAnswer(Inquiry &inquiry, Conversion &conversion, xcb_atom_t property) {
    if (property == XCB_NONE || !inquiry.isOpen())
        return settle(inquiry, conversion, Progress::failed);
    const auto value = takeProperty(conversion);
    if (!value || value->type == XCB_NONE)
        return settle(inquiry, conversion, Progress::failed);
    if (value->type != atom("INCR")) {
        append(inquiry, conversion, *value);
        return settle(inquiry, conversion, Progress::read);
    }
    conversion.progress = Progress::incremental;
    if (value->format == 32 && value->value_len > 0) {
        uint32_t announced = 0;
        std::memcpy(&announced, xcb_get_property_value(value.get()), sizeof announced);
        conversion.data.reserve(std::min(qsizetype{announced}, mostAnnouncedBytes));
    }
}

void X11SelectionCollector::takePiece(Inquiry &inquiry, Conversion &conversion) {
    if (!inquiry.isOpen())
        return settle(inquiry, conversion, Progress::failed);
    const auto value = takeProperty(conversion);
    if (!value || value->type == XCB_NONE)
        return;
    append(inquiry, conversion, *value);
    if (xcb_get_property_value_length(value.get()) == 0)
        settle(inquiry, conversion, Progress::read);
    else if (inquiry.size > mostBytes)
        settle(inquiry, conversion, Progress::failed);
}

/// Taking a property away is what asks the owner for the next piece.
X11Reply<xcb_get_property_reply_t> X11SelectionCollector::takeProperty(const Conversion &conversion) {
    return m_connection.reply(xcb_get_property_reply,
                              xcb_get_property(m_connection.xcb(), 1, conversion.window,
                                               atom("QUILLORA_SELECTION"), XCB_GET_PROPERTY_TYPE_ANY, 0,
                                               wholeProperty),
                              serverDeadline());
}

void X11SelectionCollector::append(Inquiry &inquiry, Conversion &conversion,
                                   const xcb_get_property_reply_t &value) {
    if (conversion.type == XCB_NONE) {
        conversion.type = value.type;
        // Both ways, so that the value can be offered without asking the server.
        const auto names = m_connection.names({conversion.target, value.type}, serverDeadline());
        if (names)
            conversion.typeName = {(*names)[0], (*names)[1], value.format};
    }
    // Some give what they have under any target, however often they are asked.
    if (!inquiry.isWanted(conversion.target))
        return;
    const auto length = xcb_get_property_value_length(&value);
    conversion.data.append(static_cast<const char *>(xcb_get_property_value(&value)), length);
    inquiry.size += length;
}

void X11SelectionCollector::settle(Inquiry &inquiry, Conversion &conversion, Progress outcome) {
    conversion.progress = outcome;
    if (!inquiry.offered && &conversion == &inquiry.conversions.front() && inquiry.isOpen())
        askForAll(inquiry);
    publish(inquiry);
}

void X11SelectionCollector::askForAll(Inquiry &inquiry) {
    const auto &answer = inquiry.conversions.front();
    std::vector<xcb_atom_t> offered;
    if (answer.progress == Progress::read && answer.typeName && answer.typeName->format == 32) {
        offered.resize(std::min(static_cast<size_t>(answer.data.size()) / sizeof(xcb_atom_t), mostTargets));
        std::memcpy(offered.data(), answer.data.constData(), offered.size() * sizeof(xcb_atom_t));
    } else {
        offered = plainAtoms();
    }
    const auto names = m_connection.names(offered, serverDeadline());
    inquiry.offered.emplace();
    for (size_t i = 0; names && i < offered.size(); ++i) {
        if (isContent((*names)[i]) &&
            std::ranges::find(*inquiry.offered, offered[i]) == inquiry.offered->end())
            inquiry.offered->push_back(offered[i]);
    }
    if (isStillAsked(inquiry))
        ask(inquiry, *inquiry.offered);
}

void X11SelectionCollector::publish(const Inquiry &inquiry) const {
    X11SelectionContents contents;
    const auto add = [&](const Conversion &conversion) {
        const bool isWhole = conversion.progress == Progress::read && conversion.typeName;
        if (isWhole && !isServerResource(conversion.type))
            contents.values.push_back({*conversion.typeName, conversion.data});
    };
    if (!inquiry.offered)
        std::for_each(inquiry.conversions.begin() + 1, inquiry.conversions.end(), add);
    for (const auto target : inquiry.offered.value_or(std::vector<xcb_atom_t>())) {
        const auto found = std::ranges::find(inquiry.conversions, target, &Conversion::target);
        if (found != inquiry.conversions.end())
            add(*found);
    }
    using enum X11Collection::Progress;
    if (const auto collection = inquiry.collection.lock())
        collection->advance(std::move(contents), inquiry.isSettled() ? complete
                                                 : inquiry.offered   ? listed
                                                                     : asked);
}

void X11SelectionCollector::endSettled() {
    std::erase_if(m_inquiries, [this](const Inquiry &inquiry) {
        if (!inquiry.isSettled())
            return false;
        destroyWindows(inquiry);
        return true;
    });
}

void X11SelectionCollector::destroyWindows(const Inquiry &inquiry) {
    for (const auto &conversion : inquiry.conversions)
        xcb_destroy_window(m_connection.xcb(), conversion.window);
    m_connection.flush(serverDeadline());
}

} // namespace quillora::platform
