#pragma once

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace quillora::backend {

/// Why a request gets no translation: what() is the sentence that a person reads in the panel. It names no
/// address, no key and nothing of what the model's server said.
class Refusal : public std::runtime_error {
public:
    /// `reason` is one word for the log and the metrics.
    Refusal(unsigned status, std::string reason, const std::string &sentence,
            std::optional<std::chrono::seconds> retryAfter = {})
        : std::runtime_error(sentence), m_status(status), m_reason(std::move(reason)),
          m_retryAfter(retryAfter) {}

    unsigned status() const { return m_status; }
    const std::string &reason() const { return m_reason; }
    std::optional<std::chrono::seconds> retryAfter() const { return m_retryAfter; }

private:
    unsigned m_status;
    std::string m_reason;
    std::optional<std::chrono::seconds> m_retryAfter;
};

} // namespace quillora::backend
