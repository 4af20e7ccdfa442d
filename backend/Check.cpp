#include "backend/Check.h"

#include "backend/ModelAnswer.h"
#include "backend/Prompt.h"
#include "backend/RedisConnection.h"
#include "backend/Refusal.h"
#include "backend/SharedTokens.h"
#include "backend/Stream.h"
#include "backend/Tokens.h"
#include "backend/Upstream.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ssl/context.hpp>
#include <openssl/x509.h>

#include <array>
#include <chrono>
#include <ctime>
#include <exception>
#include <filesystem>
#include <functional>
#include <iostream>
#include <stdexcept>

namespace quillora::backend {

namespace {

using std::chrono::steady_clock;

/// The day on which the certificate of a server ends. Throws std::runtime_error if it is not valid today.
std::string lastDay(boost::asio::ssl::context &context) {
    const auto *const certificate = SSL_CTX_get0_certificate(context.native_handle());
    if (X509_cmp_current_time(X509_get0_notBefore(certificate)) > 0)
        throw std::runtime_error("its time has not come");
    std::tm end{};
    ASN1_TIME_to_tm(X509_get0_notAfter(certificate), &end);
    std::array<char, 16> day{};
    std::strftime(day.data(), day.size(), "%Y-%m-%d", &end);
    if (X509_cmp_current_time(X509_get0_notAfter(certificate)) < 0)
        throw std::runtime_error(std::string("it ended on ") + day.data());
    return day.data();
}

std::string certificate(const Configuration &configuration) {
    const auto &file = configuration.certificateFile;
    if (file.empty())
        return "none: clients are answered without TLS";
    const auto context = serverContext(file, configuration.privateKeyFile);
    try {
        return file + ", until " + lastDay(*context);
    } catch (const std::runtime_error &error) {
        throw std::runtime_error(file + ": " + error.what());
    }
}

std::string listenAddress(const Configuration &configuration) {
    const auto address = configuration.listen.text();
    boost::asio::io_context context(1);
    try {
        listeningAt(context, configuration.listen);
    } catch (const std::system_error &error) {
        if (error.code() != std::errc::address_in_use)
            throw;
        // As it is while the backend runs that is checked.
        return address + " is in use: nothing else than this backend must listen there";
    }
    return address + " is free";
}

std::string counted(const Tokens &tokens) {
    const auto count = tokens.entries().size();
    return count == 0 ? "no token yet, so that nobody is served: token add makes one"
                      : std::to_string(count) + (count == 1 ? " token" : " tokens");
}

std::string tokens(const Configuration &configuration) {
    const auto &file = configuration.tokenFile;
    if (file.empty())
        return "none: whoever is on this computer is served";
    if (const auto folder = std::filesystem::absolute(file).parent_path(); !std::filesystem::exists(folder))
        throw std::runtime_error(folder.string() + " does not exist");
    const auto list = Tokens::read(file);
    if (!configuration.redis.host.empty())
        return file + ", a copy of those in Redis";
    return file + ": " + counted(list);
}

std::string redis(const Configuration &configuration) {
    if (configuration.redis.host.empty())
        return "none: nothing is shared with other backends";
    RedisConnection connection(configuration);
    SharedTokens shared(connection, configuration.redisPrefix);
    auto answers = configuration.redis.text() + " answers";
    if (configuration.tokenFile.empty())
        return answers;
    if (!shared.edition())
        return answers + ", without a list of tokens: those of " + configuration.tokenFile +
               " count, and the next token add or revoke brings them there";
    return answers + ": " + counted(shared.read());
}

boost::asio::awaitable<std::string> translated(const Configuration &configuration, Upstream &upstream) {
    const TranslationRequest request{"Good morning. How are you?", "English (United States)",
                                     configuration.targets.front()};
    const Prompt prompt(configuration.prompt, configuration.model, request);
    const auto answer = co_await upstream.ask(prompt.body, steady_clock::now() + configuration.patience);
    co_return translationIn(answer, request, prompt.mark);
}

std::string model(const Configuration &configuration) {
    boost::asio::io_context context(1);
    Metrics metrics;
    Upstream upstream(context.get_executor(), configuration, metrics);
    std::exception_ptr failure;
    std::string translation;
    const auto begin = steady_clock::now();
    boost::asio::co_spawn(context, translated(configuration, upstream),
                          [&](const std::exception_ptr &thrown, std::string given) {
                              failure = thrown;
                              translation = std::move(given);
                              context.stop(); // a connection to the model would be kept
                          });
    context.run();
    const auto took = std::to_string(
        std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() - begin).count());
    const auto name = configuration.model + " at " + configuration.upstream.address.text();
    try {
        if (failure)
            std::rethrow_exception(failure);
    } catch (const Refusal &refusal) {
        throw std::runtime_error(name + ": " + refusal.what() + " (" + refusal.reason() + ", " + took +
                                 " ms)");
    }
    return name + " took " + took + " ms for \"Good morning. How are you?\" in " +
           configuration.targets.front() + ": " + translation;
}

} // namespace

bool check(const Configuration &configuration, const std::string &file) {
    std::cout << "configuration: " << (file.empty() ? "the environment" : file) << " is sound" << '\n'
              << std::flush;
    bool isInOrder = true;
    const auto tell = [&](const std::string &what,
                          const std::function<std::string(const Configuration &)> &test) {
        try {
            const auto line = what + ": " + test(configuration);
            std::cout << line << '\n' << std::flush;
        } catch (const std::exception &error) {
            std::cerr << what << ": " << error.what() << '\n' << std::flush;
            isInOrder = false;
        }
    };
    tell("listen address", listenAddress);
    tell("certificate", certificate);
    tell("tokens", tokens);
    tell("Redis", redis);
    tell("model", model);
    return isInOrder;
}

} // namespace quillora::backend
