#include "backend/Configuration.h"

#include "backend/Prompt.h"
#include "backend/Text.h"

#include <toml++/toml.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <optional>
#include <sstream>
#include <unistd.h>
#include <variant>

namespace quillora::backend {

namespace {

constexpr std::string_view variablePrefix = "QUILLORA_BACKEND_";
constexpr std::string_view keyVariable = "QUILLORA_BACKEND_UPSTREAM_KEY";
constexpr std::string_view redisPasswordVariable = "QUILLORA_BACKEND_REDIS_PASSWORD";

/// What is wrong with a value, as the end of a sentence that begins with the key.
class WrongValue : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

using List = std::vector<std::string>;
using Value = std::variant<std::string, std::int64_t, List>;

std::string text(const Value &value) {
    if (const auto *given = std::get_if<std::string>(&value))
        return *given;
    throw WrongValue("must be a text in quotation marks");
}

std::size_t number(const Value &value, std::int64_t least, std::int64_t most) {
    const auto range = "must be a whole number from " + std::to_string(least) + " to " + std::to_string(most);
    std::int64_t result = 0;
    if (const auto *given = std::get_if<std::int64_t>(&value)) {
        result = *given;
    } else if (const auto *written = std::get_if<std::string>(&value)) {
        const auto *const end = written->data() + written->size();
        const auto [stop, failure] = std::from_chars(written->data(), end, result);
        if (failure != std::errc() || stop != end)
            throw WrongValue(range);
    } else {
        throw WrongValue(range);
    }
    if (result < least || result > most)
        throw WrongValue(range);
    return static_cast<std::size_t>(result);
}

List languageNames(const Value &value) {
    List names;
    if (const auto *given = std::get_if<List>(&value)) {
        names = *given;
    } else {
        std::istringstream written(text(value));
        for (std::string name; std::getline(written, name, ',');)
            names.emplace_back(trimmed(name));
    }
    if (names.empty())
        throw WrongValue("must name a language at least");
    for (const auto &name : names) {
        if (!isLanguageName(name))
            throw WrongValue("holds what cannot be a language's name");
    }
    return names;
}

/// HOST:PORT, an IPv6 host in brackets.
Address address(std::string_view written, std::optional<std::uint16_t> standardPort = {}) {
    const std::string wanted = standardPort ? "must name a host" : "must be HOST:PORT, as in 127.0.0.1:8787";
    Address result;
    std::string_view port;
    if (written.starts_with('[')) {
        const auto end = written.find(']');
        if (end == std::string_view::npos)
            throw WrongValue(wanted);
        result.host = written.substr(1, end - 1);
        port = written.substr(end + 1);
    } else {
        const auto end = std::min(written.find(':'), written.size());
        result.host = written.substr(0, end);
        port = written.substr(end);
    }
    if (result.host.empty() || result.host.find_first_of(" \t@/") != std::string::npos)
        throw WrongValue(wanted);
    if (port.empty() && standardPort) {
        result.port = *standardPort;
        return result;
    }
    if (!port.starts_with(':'))
        throw WrongValue(wanted);
    port.remove_prefix(1);
    const auto [stop, failure] = std::from_chars(port.data(), port.data() + port.size(), result.port);
    if (port.empty() || failure != std::errc() || stop != port.data() + port.size())
        throw WrongValue(wanted);
    return result;
}

Endpoint endpoint(std::string_view written) {
    constexpr std::string_view plain = "http://";
    constexpr std::string_view secure = "https://";
    Endpoint result;
    result.isTls = written.starts_with(secure);
    if (!result.isTls && !written.starts_with(plain))
        throw WrongValue("must begin with http:// or https://");
    written.remove_prefix(result.isTls ? secure.size() : plain.size());
    const auto end = std::min(written.find('/'), written.size());
    result.target = end == written.size() ? "/" : written.substr(end);
    const auto isVisible = [](char byte) { return byte > ' ' && byte < '\x7F' && byte != '#'; };
    if (!std::all_of(result.target.begin(), result.target.end(), isVisible))
        throw WrongValue("holds a space, or another character that must be percent-encoded");
    result.address = address(written.substr(0, end), result.isTls ? 443 : 80);
    return result;
}

/// The first line of a file that holds a secret.
std::string secret(const std::string &path) {
    std::ifstream file(path);
    std::string line;
    if (!file || !std::getline(file, line))
        throw WrongValue("names a file that cannot be read, or is empty");
    return std::string(trimmed(line));
}

std::string readable(const Value &value) {
    const auto path = text(value);
    if (access(path.c_str(), R_OK) != 0)
        throw WrongValue("names a file that cannot be read");
    return path;
}

struct Key {
    std::string_view name; ///< section and key
    std::string_view shape;
    std::string_view standard;
    std::string_view meaning;
    std::function<void(Configuration &, const Value &)> set;

    std::string variable() const {
        std::string result(variablePrefix);
        for (const char letter : name)
            result += letter == '.'
                          ? '_'
                          : static_cast<char>(letter >= 'a' && letter <= 'z' ? letter - ' ' : letter);
        return result;
    }
};

constexpr std::int64_t million = 1000000;

const std::vector<Key> &keys() {
    static const std::vector<Key> all{
        {"server.listen", "HOST:PORT", "127.0.0.1:8787",
         "where clients reach it; beyond this computer only with tokens.file",
         [](auto &c, const auto &v) { c.listen = address(text(v)); }},
        {"server.certificate", "FILE", "none", "PEM chain of certificates: TLS; read again on SIGHUP",
         [](auto &c, const auto &v) { c.certificateFile = readable(v); }},
        {"server.private_key", "FILE", "none", "PEM key that belongs to it",
         [](auto &c, const auto &v) { c.privateKeyFile = readable(v); }},
        {"server.connections", "NUMBER", "10000",
         "open at once; one more closes the one that is idle longest",
         [](auto &c, const auto &v) { c.connectionLimit = number(v, 1, million); }},
        {"server.stop_seconds", "NUMBER", "45", "for what runs when it is asked to end",
         [](auto &c, const auto &v) { c.stopPatience = std::chrono::seconds(number(v, 1, 45)); }},
        {"upstream.url", "URL", "none, required", "the model's chat-completions endpoint",
         [](auto &c, const auto &v) { c.upstream = endpoint(text(v)); }},
        {"upstream.model", "NAME", "none, required", "the model to ask there",
         [](auto &c, const auto &v) {
             c.model = text(v);
             if (c.model.empty())
                 throw WrongValue("must not be empty");
         }},
        {"upstream.key_file", "FILE", "none", "its first line is the key that is sent there",
         [](auto &c, const auto &v) { c.upstreamKey = secret(text(v)); }},
        {"upstream.authorities", "FILE", "the system's", "PEM certificates to trust there",
         [](auto &c, const auto &v) { c.authoritiesFile = readable(v); }},
        {"upstream.seconds", "NUMBER", "40", "for a translation in all; clients wait 45",
         [](auto &c, const auto &v) { c.patience = std::chrono::seconds(number(v, 1, 44)); }},
        {"upstream.at_once", "NUMBER", "64", "requests that the model gets at once; the others wait",
         [](auto &c, const auto &v) { c.runningLimit = number(v, 1, million); }},
        {"tokens.file", "FILE", "none",
         "the clients' tokens, written by `token`; once named, nobody is served without",
         [](auto &c, const auto &v) { c.tokenFile = text(v); }},
        {"limits.device_per_minute", "NUMBER", "60", "translations for a device",
         [](auto &c, const auto &v) { c.devicePerMinute = number(v, 1, million); }},
        {"limits.token_per_minute", "NUMBER", "600", "translations for a token",
         [](auto &c, const auto &v) { c.tokenPerMinute = number(v, 1, million); }},
        {"limits.waiting", "NUMBER", "1000",
         "requests that may wait for their turn; further ones are sent away",
         [](auto &c, const auto &v) { c.waitingLimit = number(v, 0, million); }},
        {"limits.text_characters", "NUMBER", "20000", "the longest text",
         [](auto &c, const auto &v) { c.textLimit = number(v, 1, million); }},
        {"translation.targets", "[NAMES]", "the 21 of the panel",
         "languages to translate into, by their English names",
         [](auto &c, const auto &v) { c.targets = languageNames(v); }},
        {"translation.prompt", "TEXT", "see the manual",
         "the instructions to the model; {target} stands for the language",
         [](auto &c, const auto &v) {
             c.prompt = text(v);
             if (const auto fault = faultOfPrompt(c.prompt))
                 throw WrongValue(*fault);
         }},
        {"redis.address", "HOST:PORT", "none", "a Redis that several backends share tokens and limits in",
         [](auto &c, const auto &v) { c.redis = address(text(v)); }},
        {"redis.password_file", "FILE", "none", "its first line is the password of that Redis",
         [](auto &c, const auto &v) { c.redisPassword = secret(text(v)); }},
        {"redis.prefix", "NAME", "quillora", "begins every key there",
         [](auto &c, const auto &v) { c.redisPrefix = text(v); }},
    };
    return all;
}

std::string withoutPrefix(std::string_view name) { return std::string(name.substr(name.find('.') + 1)); }

/// Collects what is wrong, so that all of it is told at once.
class Reading {
public:
    /// Of a file that is no TOML nothing else is told: what it lacks may stand in it.
    void readFile(const std::string &path) {
        std::ifstream file(path);
        if (!file || std::filesystem::is_directory(path))
            throw ConfigurationError(path + ": cannot be read");
        const std::string contents{std::istreambuf_iterator<char>(file), {}};
        try {
            const auto table = toml::parse(contents, path);
            for (const auto &[section, node] : table)
                readSection(path, section, node);
        } catch (const toml::parse_error &error) {
            throw ConfigurationError(place(path, error.source()) + std::string(error.description()));
        }
    }

    void readEnvironment(const std::map<std::string, std::string> &environment) {
        for (const auto &entry : environment) {
            const auto &name = entry.first;
            const auto &value = entry.second;
            if (!name.starts_with(variablePrefix))
                continue;
            if (name == keyVariable)
                m_configuration.upstreamKey = value;
            else if (name == redisPasswordVariable)
                m_configuration.redisPassword = value;
            else
                set(name + ": ", [&](const Key &key) { return key.variable() == name; }, value);
        }
    }

    Configuration finished() {
        requireWhole();
        if (m_faults.empty())
            return m_configuration;
        std::string lines;
        for (const auto &fault : m_faults)
            lines += (lines.empty() ? "" : "\n") + fault;
        throw ConfigurationError(lines);
    }

private:
    static std::string place(const std::string &path, const toml::source_region &region) {
        return path + ":" + std::to_string(region.begin.line) + ": ";
    }

    void readSection(const std::string &path, const toml::key &section, const toml::node &node) {
        const std::string name(section.str());
        const auto *const table = node.as_table();
        const bool isKnown = std::any_of(keys().begin(), keys().end(),
                                         [&](const Key &key) { return key.name.starts_with(name + "."); });
        if (!table || !isKnown) {
            m_faults.push_back(place(path, section.source()) +
                               (isKnown ? name + " must be a section, as in [" + name + "]"
                                        : "there is no section \"" + name + "\""));
            return;
        }
        for (const auto &[key, value] : *table)
            readKey(place(path, key.source()), name + "." + std::string(key.str()), value);
    }

    void readKey(const std::string &where, const std::string &name, const toml::node &node) {
        const auto value = plain(node);
        if (!value)
            m_faults.push_back(where + name + " must be a text, a whole number or a list of texts");
        else
            set(where, [&](const Key &key) { return key.name == name; }, *value, name);
    }

    static std::optional<Value> plain(const toml::node &node) {
        if (const auto *string = node.as_string())
            return Value(string->get());
        if (const auto *integer = node.as_integer())
            return Value(integer->get());
        const auto *const array = node.as_array();
        if (!array)
            return {};
        List list;
        for (const auto &element : *array) {
            const auto *const string = element.as_string();
            if (!string)
                return {};
            list.push_back(string->get());
        }
        return Value(list);
    }

    void set(const std::string &where, const std::function<bool(const Key &)> &isIt, const Value &value,
             const std::string &name = {}) {
        const auto key = std::find_if(keys().begin(), keys().end(), isIt);
        if (key == keys().end()) {
            m_faults.push_back(name.empty() ? where + "there is no such key"
                                            : where + "there is no key \"" + name + "\"");
            return;
        }
        m_places[key->name] = where;
        try {
            key->set(m_configuration, value);
        } catch (const WrongValue &error) {
            m_faults.push_back(where + std::string(key->name) + " " + error.what());
        }
    }

    void requireWhole() {
        for (const std::string_view required : {"upstream.url", "upstream.model"}) {
            if (!m_places.contains(required))
                m_faults.push_back(std::string(required) + " is missing");
        }
        const auto &c = m_configuration;
        const bool hasCertificate = m_places.contains("server.certificate");
        if (hasCertificate != m_places.contains("server.private_key"))
            m_faults.push_back(m_places[hasCertificate ? "server.certificate" : "server.private_key"] +
                               "server.certificate and server.private_key go together");
        if (c.tokenFile.empty() && !isThisComputer(c.listen.text()))
            m_faults.push_back(m_places["server.listen"] +
                               "server.listen may lead beyond this computer only with " +
                               "tokens.file: whoever comes would use the model");
        const auto isControl = [](char byte) { return byte < ' ' || byte == '\x7F'; };
        if (std::any_of(c.upstreamKey.begin(), c.upstreamKey.end(), isControl))
            m_faults.emplace_back("the upstream key holds a line break or another control character");
    }

    Configuration m_configuration;
    std::map<std::string_view, std::string> m_places;
    std::vector<std::string> m_faults;
};

} // namespace

std::string Address::text() const {
    const bool isV6 = host.find(':') != std::string::npos;
    return (isV6 ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

std::string Endpoint::authority() const {
    const auto whole = address.text();
    return address.port == (isTls ? 443 : 80) ? whole.substr(0, whole.rfind(':')) : whole;
}

Configuration::Configuration()
    : targets{"Russian", "English", "Kazakh",     "Uzbek",  "Kyrgyz",     "Arabic",    "Chinese",
              "Dutch",   "Spanish", "French",     "German", "Indonesian", "Italian",   "Japanese",
              "Korean",  "Polish",  "Portuguese", "Thai",   "Turkish",    "Ukrainian", "Vietnamese"},
      prompt(standardPrompt()) {}

Configuration Configuration::load(const std::string &path,
                                  const std::map<std::string, std::string> &environment) {
    Reading reading;
    if (!path.empty())
        reading.readFile(path);
    reading.readEnvironment(environment);
    return reading.finished();
}

std::string Configuration::help() {
    std::ostringstream lines;
    std::string_view section;
    for (const auto &key : keys()) {
        const auto its = key.name.substr(0, key.name.find('.'));
        if (its != section)
            lines << "\n[" << its << "]\n";
        section = its;
        lines << "  " << withoutPrefix(key.name) << " = " << key.shape << "\n      " << key.meaning << " ("
              << key.standard << ")\n      " << key.variable() << "\n";
    }
    lines << "\nSecrets may come from the environment too:\n  " << keyVariable << "\n  "
          << redisPasswordVariable << "\n";
    return lines.str();
}

std::map<std::string, std::string> processEnvironment() {
    std::map<std::string, std::string> result;
    for (char **entry = environ; *entry; ++entry) {
        const std::string_view line(*entry);
        const auto equals = line.find('=');
        if (equals != std::string_view::npos)
            result.emplace(line.substr(0, equals), line.substr(equals + 1));
    }
    return result;
}

} // namespace quillora::backend
