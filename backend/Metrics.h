#pragma once

#include <chrono>
#include <memory>
#include <string>

namespace quillora::backend {

/// What whoever runs the backend can watch, as Prometheus reads it. No label holds a token, a device or a
/// text.
class Metrics {
public:
    Metrics();
    ~Metrics();
    Metrics(const Metrics &) = delete;
    Metrics &operator=(const Metrics &) = delete;

    void countRequest(unsigned status, std::chrono::steady_clock::duration took);
    void countUpstream(std::chrono::steady_clock::duration took);
    void countRetry();

    /// A request that was sent away; `limit` is device, token or queue.
    void countLimit(const std::string &limit);

    void setQueue(std::size_t running, std::size_t waiting);
    void setConnections(std::size_t count);
    void setRedis(bool isThere);

    std::string text() const;

private:
    struct Series;
    std::unique_ptr<Series> m_series;
};

} // namespace quillora::backend
