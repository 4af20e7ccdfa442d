#include "support/SelectionRequestor.h"

#include <cstring>

namespace quillora::test {

namespace {

QDeadlineTimer patience() { return QDeadlineTimer(10000); }

QByteArray bytesOf(const xcb_get_property_reply_t &value) {
    return {static_cast<const char *>(xcb_get_property_value(&value)), xcb_get_property_value_length(&value)};
}

std::vector<xcb_atom_t> atomsOf(const QByteArray &data) {
    std::vector<xcb_atom_t> atoms(static_cast<size_t>(data.size()) / sizeof(xcb_atom_t));
    std::memcpy(atoms.data(), data.constData(), atoms.size() * sizeof(xcb_atom_t));
    return atoms;
}

} // namespace

bool SelectionRequestor::isOwned() { return m_connection.ownerOf(m_selection, patience()) != XCB_NONE; }

std::optional<SelectionRequestor::Answer> SelectionRequestor::ask(const QByteArray &target) {
    if (!convert(atom(target)))
        return {};
    const auto value = takeProperty(atom("PEER"));
    if (value->type == atom("INCR"))
        return takePieces(std::chrono::seconds(10));
    return toAnswer(*value);
}

bool SelectionRequestor::begin(const QByteArray &target) {
    if (!convert(atom(target)))
        return false;
    const auto value = m_connection.reply(
        xcb_get_property_reply,
        xcb_get_property(m_connection.xcb(), 0, m_window, atom("PEER"), XCB_GET_PROPERTY_TYPE_ANY, 0, 1),
        patience());
    return value && value->type == atom("INCR");
}

std::optional<SelectionRequestor::Answer> SelectionRequestor::takeRest(std::chrono::milliseconds limit) {
    askForPieces();
    return takePieces(limit);
}

void SelectionRequestor::askForPieces() { takeProperty(atom("PEER")); }

std::optional<SelectionRequestor::Answer> SelectionRequestor::takePieces(std::chrono::milliseconds limit) {
    const auto property = atom("PEER");
    Answer whole;
    for (;;) {
        if (!awaitProperty(property, QDeadlineTimer(limit)))
            return {};
        const auto piece = toAnswer(*takeProperty(property));
        whole.type = piece.type;
        whole.format = piece.format;
        whole.data += piece.data;
        if (piece.data.isEmpty())
            return whole;
    }
}

QByteArrayList SelectionRequestor::targets() {
    QByteArrayList names;
    const auto answer = ask("TARGETS");
    if (!answer)
        return names;
    for (const auto atom : atomsOf(answer->data)) {
        const auto target = name(atom);
        if (target != "TARGETS" && target != "TIMESTAMP" && target != "MULTIPLE" && target != "SAVE_TARGETS")
            names += target;
    }
    return names;
}

std::vector<std::optional<SelectionRequestor::Answer>>
SelectionRequestor::askMultiple(const QByteArrayList &targets) {
    std::vector<xcb_atom_t> pairs;
    for (const auto &target : targets) {
        pairs.push_back(atom(target));
        pairs.push_back(atom("PEER_" + target));
    }
    xcb_change_property(m_connection.xcb(), XCB_PROP_MODE_REPLACE, m_window, atom("PEER"), atom("ATOM_PAIR"),
                        32, static_cast<uint32_t>(pairs.size()), pairs.data());
    if (!convert(atom("MULTIPLE")))
        return {};
    std::vector<std::optional<Answer>> answers;
    const auto granted = atomsOf(bytesOf(*takeProperty(atom("PEER"))));
    for (size_t i = 1; i < granted.size(); i += 2)
        answers.push_back(granted[i] ? std::optional(toAnswer(*takeProperty(granted[i]))) : std::nullopt);
    return answers;
}

xcb_atom_t SelectionRequestor::atom(const QByteArray &name) {
    return m_connection.atoms({name}, patience())->front();
}

QByteArray SelectionRequestor::name(xcb_atom_t atom) {
    return m_connection.names({atom}, patience())->front();
}

bool SelectionRequestor::convert(xcb_atom_t target) {
    while (m_connection.arrivedEvent()) {
    }
    xcb_convert_selection(m_connection.xcb(), m_window, m_selection, target, atom("PEER"), m_time);
    const auto deadline = patience();
    while (const auto event = m_connection.nextEvent(deadline)) {
        if ((event->response_type & 0x7f) == XCB_SELECTION_NOTIFY)
            return reinterpret_cast<const xcb_selection_notify_event_t *>(event.get())->property != XCB_NONE;
    }
    return false;
}

SelectionRequestor::Property SelectionRequestor::takeProperty(xcb_atom_t property) {
    while (m_connection.arrivedEvent()) {
    }
    return m_connection.reply(
        xcb_get_property_reply,
        xcb_get_property(m_connection.xcb(), 1, m_window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, 0x1fffffff),
        patience());
}

bool SelectionRequestor::awaitProperty(xcb_atom_t property, const QDeadlineTimer &deadline) {
    while (const auto event = m_connection.nextEvent(deadline)) {
        if ((event->response_type & 0x7f) != XCB_PROPERTY_NOTIFY)
            continue;
        const auto *notify = reinterpret_cast<const xcb_property_notify_event_t *>(event.get());
        if (notify->atom == property && notify->state == XCB_PROPERTY_NEW_VALUE)
            return true;
    }
    return false;
}

SelectionRequestor::Answer SelectionRequestor::toAnswer(const xcb_get_property_reply_t &value) {
    return {name(value.type), value.format, bytesOf(value)};
}

} // namespace quillora::test
