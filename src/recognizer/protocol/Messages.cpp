#include "recognizer/protocol/Messages.h"

#include <algorithm>
#include <concepts>
#include <cstring>
#include <type_traits>

namespace quillora::recognizer {

namespace {

// The fields of each message, once for both ways.
void fields(auto &archive, Open &message) {
    archive(message.version);
    if (message.version != protocolVersion)
        archive.ignoreRest();
    else
        archive(message.engine, message.files, message.parameters);
}
void fields(auto &archive, Parameter &parameter) { archive(parameter.name, parameter.value); }
void fields(auto &archive, Begin &message) { archive(message.dictation, message.position); }
void fields(auto &archive, Sound &message) { archive(message.dictation, message.samples); }
void fields(auto &archive, End &message) { archive(message.dictation); }
void fields(auto &archive, Cancel &message) { archive(message.dictation); }
void fields(auto & /*archive*/, Try & /*message*/) {}
void fields(auto &archive, Ready &message) { archive(message.protections); }
void fields(auto &archive, Refused &message) { archive(message.reason); }
void fields(auto &archive, Heard &message) { archive(message.dictation); }
void fields(auto &archive, Interim &message) { archive(message.dictation, message.text); }
void fields(auto &archive, Settled &message) { archive(message.dictation, message.position, message.text); }
void fields(auto &archive, Finished &message) { archive(message.dictation, message.text); }
void fields(auto &archive, Tried &message) { archive(message.milliseconds); }

template <typename T>
concept Number = std::integral<T> || std::is_enum_v<T>;

template <typename T>
constexpr std::size_t mostOf = largestMessage; // a text is bounded by the message alone
template <>
constexpr std::size_t mostOf<std::vector<std::string>> = mostFiles;
template <>
constexpr std::size_t mostOf<std::vector<Parameter>> = mostParameters;
template <>
constexpr std::size_t mostOf<std::vector<std::int16_t>> = mostSamples;

template <typename T>
void checkSize(std::size_t size) {
    if (size > mostOf<T>)
        throw ProtocolError("a list that is too long");
}

template <typename T>
void checkContents(const T &list) {
    if constexpr (std::same_as<T, std::string>) {
        const auto isControl = [](char byte) {
            return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F;
        };
        if (std::any_of(list.begin(), list.end(), isControl))
            throw ProtocolError("a text with control characters");
    }
}

class Writer {
public:
    void operator()(auto &...values) { (put(values), ...); }
    void ignoreRest() {}

    Bytes take() {
        if (m_bytes.size() > largestMessage)
            throw ProtocolError("a message that is too long");
        return std::move(m_bytes);
    }

private:
    template <Number T>
    void put(const T &value) {
        const auto bytes = std::as_bytes(std::span(&value, 1));
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    }
    void put(Parameter parameter) { fields(*this, parameter); }
    template <typename T>
    void put(const T &list) {
        checkSize<T>(list.size());
        checkContents(list);
        put(static_cast<std::uint32_t>(list.size()));
        for (const auto &value : list)
            put(value);
    }

    Bytes m_bytes;
};

class Reader {
public:
    explicit Reader(std::span<const std::byte> bytes) : m_rest(bytes) {
        if (bytes.size() > largestMessage)
            throw ProtocolError("a message that is too long");
    }

    void operator()(auto &...values) { (get(values), ...); }
    void ignoreRest() { m_rest = {}; }

    void expectEnd() const {
        if (!m_rest.empty())
            throw ProtocolError("a message with something after its end");
    }

private:
    template <Number T>
    void get(T &value) {
        if (m_rest.size() < sizeof(T))
            throw ProtocolError("a message that is cut short");
        std::memcpy(&value, m_rest.data(), sizeof(T));
        m_rest = m_rest.subspan(sizeof(T));
        if constexpr (std::same_as<T, Refusal>) {
            if (value > Refusal::otherVersion)
                throw ProtocolError("an unknown reason");
        }
    }
    void get(Parameter &parameter) { fields(*this, parameter); }
    template <typename T>
    void get(T &list) {
        std::uint32_t count = 0;
        get(count);
        // Each value takes a byte at least, so that no claim takes more memory than the message does.
        if (count > m_rest.size())
            throw ProtocolError("a message that is cut short");
        checkSize<T>(count);
        list.resize(count);
        for (auto &value : list)
            get(value);
        checkContents(list);
    }

    std::span<const std::byte> m_rest;
};

template <typename Message>
Bytes encodeMessage(const Message &message) {
    Writer writer;
    const auto kind = static_cast<std::uint8_t>(message.index());
    writer(kind);
    std::visit([&](auto one) { fields(writer, one); }, message);
    return writer.take();
}

template <typename Message, std::size_t kind = 0>
Message decodeMessage(Reader &reader, std::size_t wanted) {
    if constexpr (kind < std::variant_size_v<Message>) {
        if (kind != wanted)
            return decodeMessage<Message, kind + 1>(reader, wanted);
        std::variant_alternative_t<kind, Message> message;
        fields(reader, message);
        reader.expectEnd();
        return message;
    } else {
        throw ProtocolError("a message of an unknown kind");
    }
}

template <typename Message>
Message decode(std::span<const std::byte> bytes) {
    Reader reader(bytes);
    std::uint8_t kind = 0;
    reader(kind);
    return decodeMessage<Message>(reader, kind);
}

} // namespace

Bytes encode(const Command &command) { return encodeMessage(command); }
Bytes encode(const Answer &answer) { return encodeMessage(answer); }
Command decodeCommand(std::span<const std::byte> bytes) { return decode<Command>(bytes); }
Answer decodeAnswer(std::span<const std::byte> bytes) { return decode<Answer>(bytes); }

} // namespace quillora::recognizer
