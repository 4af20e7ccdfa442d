#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace quillora::backend {

/// Everything that is wrong with a configuration: a line each, with the place where it stands.
class ConfigurationError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A host, and the port as text or number.
struct Address {
    std::string host;
    std::uint16_t port = 0;

    /// As it is written, an IPv6 address in brackets.
    std::string text() const;
};

/// Where a chat-completions endpoint is.
struct Endpoint {
    bool isTls = false;
    Address address;
    std::string target; ///< path and query

    /// As in the header Host.
    std::string authority() const;
};

/// What the program was told. Read once; a wrong one never gets this far.
struct Configuration {
    // [server]
    Address listen{"127.0.0.1", 8787};
    std::string certificateFile; ///< empty: no TLS
    std::string privateKeyFile;
    std::size_t connectionLimit = 10000;
    std::chrono::seconds stopPatience{45};

    // [upstream]
    Endpoint upstream;
    std::string model;
    std::string upstreamKey;     ///< empty: none is sent
    std::string authoritiesFile; ///< empty: those of the system
    std::chrono::seconds patience{40};
    std::size_t runningLimit = 64;

    // [tokens]
    std::string tokenFile; ///< empty: whoever is on this computer is served

    // [limits]
    std::size_t devicePerMinute = 60;
    std::size_t tokenPerMinute = 600;
    std::size_t waitingLimit = 1000;
    std::size_t textLimit = 20000; ///< in characters

    // [translation]
    std::vector<std::string> targets;
    std::string prompt;

    // [redis]
    Address redis; ///< without a host: none
    std::string redisPassword;
    std::string redisPrefix = "quillora";

    Configuration();

    /// Reads the file and then the variables of the environment, which win; an empty path means no file.
    /// Throws a ConfigurationError.
    static Configuration load(const std::string &path, const std::map<std::string, std::string> &environment);

    /// Every key with its variable, its standard value and what it means, as --help prints it.
    static std::string help();
};

/// The variables of this process.
std::map<std::string, std::string> processEnvironment();

} // namespace quillora::backend
