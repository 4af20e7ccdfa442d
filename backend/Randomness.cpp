#include "backend/Randomness.h"

#include "backend/Text.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <stdexcept>

namespace quillora::backend {

namespace {

constexpr std::size_t digestBytes = 32;
constexpr std::size_t pseudonymDigits = 16;

unsigned char *writable(std::string &bytes) { return reinterpret_cast<unsigned char *>(bytes.data()); }

} // namespace

std::string randomBytes(std::size_t count) {
    std::string bytes(count, '\0');
    if (RAND_bytes(writable(bytes), static_cast<int>(count)) != 1)
        throw std::runtime_error("the system has no random numbers");
    return bytes;
}

std::string digest(std::string_view bytes) {
    std::string result(digestBytes, '\0');
    if (EVP_Digest(bytes.data(), bytes.size(), writable(result), nullptr, EVP_sha256(), nullptr) != 1)
        throw std::runtime_error("SHA-256 is not available");
    return result;
}

std::string pseudonym(std::string_view value) {
    static const std::string key = randomBytes(digestBytes);
    return hexadecimal(digest(key + std::string(value))).substr(0, pseudonymDigits);
}

bool areSame(std::string_view one, std::string_view other) {
    return one.size() == other.size() && CRYPTO_memcmp(one.data(), other.data(), one.size()) == 0;
}

} // namespace quillora::backend
