#include "backend/Tokens.h"

#include "backend/Randomness.h"
#include "backend/Text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quillora::backend {

namespace {

constexpr std::size_t tokenBytes = 32;
constexpr std::size_t hashDigits = 64;
constexpr std::size_t longestName = 64;

bool isName(std::string_view name) {
    return !name.empty() && name.size() <= longestName &&
           std::all_of(name.begin(), name.end(), [](char letter) {
               return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') ||
                      (letter >= '0' && letter <= '9') || letter == '-' || letter == '_' || letter == '.' ||
                      letter == '@';
           });
}

bool isHash(std::string_view hash) {
    return hash.size() == hashDigits && hash.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

std::string today() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    std::array<char, 16> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d", &parts)};
}

std::filesystem::path folderOf(const std::string &path) {
    return std::filesystem::absolute(path).parent_path();
}

[[noreturn]] void fail(const std::string &path) {
    throw std::runtime_error(path + ": " + std::strerror(errno));
}

} // namespace

// That of its folder, since the file is another one after each change.
Tokens::Turn::Turn(const std::string &path)
    : m_folder(open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (m_folder < 0 || flock(m_folder, LOCK_EX) != 0)
        fail(folderOf(path));
}

Tokens::Turn::~Turn() { close(m_folder); }

Tokens Tokens::decoded(std::string_view text) {
    Tokens tokens;
    std::istringstream lines{std::string(text)};
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        if (trimmed(line).empty() || line.starts_with('#'))
            continue;
        std::istringstream words(line);
        Entry entry;
        std::string more;
        if (!(words >> entry.hash >> entry.since >> entry.name) || words >> more || !isHash(entry.hash) ||
            !isName(entry.name))
            throw std::runtime_error("line " + std::to_string(number) + " is no SHA-256, day and name");
        tokens.m_entries.push_back(std::move(entry));
    }
    return tokens;
}

Tokens Tokens::read(const std::string &path) {
    std::ifstream file(path);
    if (!file && errno == ENOENT)
        return {};
    if (!file || std::filesystem::is_directory(path))
        throw std::runtime_error(path + ": cannot be read");
    try {
        return decoded(std::string{std::istreambuf_iterator<char>(file), {}});
    } catch (const std::runtime_error &error) {
        throw std::runtime_error(path + ": " + error.what());
    }
}

void Tokens::write(const std::string &path) const {
    const auto contents = text();
    const auto fresh = path + ".new";
    const int file = open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (file < 0)
        fail(fresh);
    // The service runs as a user of its own, to whom root hands over what it writes.
    struct stat folder{};
    const bool isOwned = stat(folderOf(path).c_str(), &folder) == 0 &&
                         (geteuid() != 0 || fchown(file, folder.st_uid, folder.st_gid) == 0);
    const bool isWritten =
        ::write(file, contents.data(), contents.size()) == static_cast<ssize_t>(contents.size()) &&
        fsync(file) == 0;
    if (close(file) != 0 || !isOwned || !isWritten || rename(fresh.c_str(), path.c_str()) != 0)
        fail(path);
}

std::string Tokens::text() const {
    std::string lines;
    for (const auto &entry : m_entries)
        lines += entry.hash + " " + entry.since + " " + entry.name + "\n";
    return lines;
}

std::string Tokens::add(const std::string &name) {
    if (!isName(name))
        throw std::runtime_error("a name has up to 64 letters, digits and - _ . @");
    if (std::any_of(m_entries.begin(), m_entries.end(),
                    [&](const Entry &entry) { return entry.name == name; }))
        throw std::runtime_error("there is a token of that name: revoke it first");
    auto token = "quillora-" + hexadecimal(randomBytes(tokenBytes));
    m_entries.push_back({.name = name, .since = today(), .hash = hexadecimal(digest(token))});
    return token;
}

bool Tokens::revoke(std::string_view name) {
    return std::erase_if(m_entries, [&](const Entry &entry) { return entry.name == name; }) > 0;
}

std::optional<std::string> Tokens::ownerOf(std::string_view token) const {
    const auto hash = hexadecimal(digest(token));
    std::optional<std::string> owner;
    for (const auto &entry : m_entries) {
        if (areSame(entry.hash, hash))
            owner = entry.name;
    }
    return owner;
}

} // namespace quillora::backend
