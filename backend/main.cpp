#include "backend/Check.h"
#include "backend/Configuration.h"
#include "backend/Log.h"
#include "backend/RedisConnection.h"
#include "backend/Server.h"
#include "backend/SharedTokens.h"
#include "backend/Tokens.h"

#include <boost/asio/io_context.hpp>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

namespace quillora::backend {

namespace {

constexpr auto standardFile = "/etc/quillora-backend.toml";
constexpr int wrongUse = 2;

void printHelp() {
    std::cout
        << "usage: quillora-backend [--configuration FILE] COMMAND\n"
           "\n"
           "Translates for Quillora's hosted engine with any model behind a chat-completions endpoint.\n"
           "\n"
           "  serve                answers clients until SIGTERM; SIGHUP reads certificate and tokens again\n"
           "  check                tests whatever the configuration names, and the model with one sentence\n"
           "  token add NAME       makes a token for a client and prints it, once\n"
           "  token list           names all tokens\n"
           "  token revoke NAME    from here on it is refused\n"
           "  --help, --version\n"
           "\n"
           "The configuration is a TOML file ("
        << standardFile
        << " if it exists) and the environment, which wins.\n"
           "Each key, what it means (its standard value) and its variable:\n"
        << Configuration::help();
}

[[noreturn]] void serve(const Configuration &configuration) {
    boost::asio::io_context context(1);
    Server server(context, configuration);
    std::cout << server.url() << '\n' << std::flush;
    log("start");
    const bool isAnswered = server.run();
    if (!isAnswered)
        log("stop", {{"error", std::string("some requests were not answered in time")}});
    // To return would wait for the system's search for the model's address, which nobody can end.
    std::exit(isAnswered ? EXIT_SUCCESS : EXIT_FAILURE);
}

/// Where the tokens are: in Redis where backends share it, else in the file. A Redis that holds no list, or
/// has lost it, gets that of the file with the first change, which is the one that the backend here knew
/// last.
class TokenStore {
public:
    enum class Purpose { looking, changing };

    TokenStore(const Configuration &configuration, Purpose purpose) : m_configuration(configuration) {
        if (configuration.tokenFile.empty())
            throw ConfigurationError("tokens.file is missing: where should tokens be kept?");
        if (!configuration.redis.host.empty()) {
            m_connection = std::make_unique<RedisConnection>(configuration);
            m_shared = std::make_unique<SharedTokens>(*m_connection, configuration.redisPrefix);
        } else if (purpose == Purpose::changing) {
            m_turn.emplace(configuration.tokenFile);
        }
        const bool isInRedis = m_shared && m_shared->edition();
        m_tokens = isInRedis ? m_shared->read() : Tokens::read(configuration.tokenFile);
        m_isToBeBrought = m_shared && !isInRedis;
    }

    const Tokens &tokens() const { return m_tokens; }

    std::string add(const std::string &name) {
        auto token = m_tokens.add(name);
        if (m_isToBeBrought)
            m_shared->add(m_tokens.entries());
        else if (m_shared)
            m_shared->add({m_tokens.entries().back()});
        else
            m_tokens.write(m_configuration.tokenFile);
        return token;
    }

    void revoke(const std::string &name) {
        if (!m_tokens.revoke(name))
            throw std::runtime_error("there is no token of that name");
        if (m_isToBeBrought)
            m_shared->add(m_tokens.entries());
        else if (m_shared)
            m_shared->revoke(name);
        else
            m_tokens.write(m_configuration.tokenFile);
    }

private:
    const Configuration &m_configuration;
    std::unique_ptr<RedisConnection> m_connection;
    std::unique_ptr<SharedTokens> m_shared;
    std::optional<Tokens::Turn> m_turn;
    Tokens m_tokens;
    bool m_isToBeBrought = false; ///< from the file to Redis
};

int token(const Configuration &configuration, const std::vector<std::string> &words) {
    if (words == std::vector<std::string>{"list"}) {
        const TokenStore store(configuration, TokenStore::Purpose::looking);
        for (const auto &entry : store.tokens().entries())
            std::cout << entry.since << "  " << entry.name << "\n";
        return EXIT_SUCCESS;
    }
    if (words.size() == 2 && words[0] == "add") {
        std::cout << TokenStore(configuration, TokenStore::Purpose::changing).add(words[1]) << '\n';
        return EXIT_SUCCESS;
    }
    if (words.size() == 2 && words[0] == "revoke") {
        TokenStore(configuration, TokenStore::Purpose::changing).revoke(words[1]);
        return EXIT_SUCCESS;
    }
    std::cerr << "usage: quillora-backend token add NAME | list | revoke NAME" << '\n';
    return wrongUse;
}

int run(std::vector<std::string> words) {
    std::string file = access(standardFile, F_OK) == 0 ? standardFile : "";
    if (words.size() >= 2 && words[0] == "--configuration") {
        file = words[1];
        words.erase(words.begin(), words.begin() + 2);
    }
    if (words == std::vector<std::string>{"--help"}) {
        printHelp();
        return EXIT_SUCCESS;
    }
    if (words == std::vector<std::string>{"--version"}) {
        std::cout << QUILLORA_VERSION << '\n';
        return EXIT_SUCCESS;
    }
    const auto command = words.empty() ? std::string() : words.front();
    const std::vector<std::string> rest(words.begin() + (words.empty() ? 0 : 1), words.end());
    if (command != "token" && !(rest.empty() && (command == "serve" || command == "check"))) {
        std::cerr
            << "usage: quillora-backend [--configuration FILE] serve | check | token add NAME | token list | "
               "token revoke NAME\n--help says more."
            << '\n';
        return wrongUse;
    }
    const auto configuration = Configuration::load(file, processEnvironment());
    std::signal(SIGPIPE, SIG_IGN); // whoever writes to one who has left is told so
    if (command == "token")
        return token(configuration, rest);
    if (command == "serve")
        serve(configuration);
    return check(configuration, file) ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

} // namespace quillora::backend

int main(int count, char **arguments) {
    try {
        return quillora::backend::run({arguments + 1, arguments + count});
    } catch (const std::exception &error) {
        std::cerr << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
