#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillora::backend {

/// The clients' tokens: 256 random bits each, of which only the SHA-256 is kept.
class Tokens {
public:
    struct Entry {
        std::string name;
        std::string since; ///< a day
        std::string hash;  ///< in hexadecimal digits
    };

    /// Reads a list as `text()` writes it. Throws std::runtime_error with the number of a wrong line.
    static Tokens decoded(std::string_view text);

    /// Reads a file; one that does not exist holds no token. Throws std::runtime_error in words for people.
    static Tokens read(const std::string &path);

    /// The turn to change a file: others that want it wait until its end. Take it before the reading and keep
    /// it until after the writing. Who only reads takes none, since files are replaced as a whole.
    class Turn {
    public:
        /// Waits. Throws std::runtime_error.
        explicit Turn(const std::string &path);
        ~Turn();
        Turn(const Turn &) = delete;
        Turn &operator=(const Turn &) = delete;

    private:
        int m_folder;
    };

    /// Replaces the file as a whole; only its owner, who is that of the folder, can read it. Throws
    /// std::runtime_error.
    void write(const std::string &path) const;

    std::string text() const;

    /// A new token, which is known to nobody else. Throws std::runtime_error if the name is taken or no name.
    std::string add(const std::string &name);

    /// False if there is none of that name.
    bool revoke(std::string_view name);

    /// Whose token that is. Takes as long for each, wrong ones included.
    std::optional<std::string> ownerOf(std::string_view token) const;

    const std::vector<Entry> &entries() const { return m_entries; }

private:
    std::vector<Entry> m_entries;
};

} // namespace quillora::backend
