#include "backend/Metrics.h"

#include <prometheus/counter.h>
#include <prometheus/gauge.h>
#include <prometheus/histogram.h>
#include <prometheus/registry.h>
#include <prometheus/text_serializer.h>

namespace quillora::backend {

namespace {

double seconds(std::chrono::steady_clock::duration duration) {
    return std::chrono::duration<double>(duration).count();
}

const prometheus::Histogram::BucketBoundaries boundaries{0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1, 0.25,
                                                         0.5,   1,      2.5,   5,    10,    20,   45};

} // namespace

struct Metrics::Series {
    prometheus::Registry registry;

    prometheus::Family<prometheus::Counter> &requests =
        prometheus::BuildCounter()
            .Name("quillora_requests_total")
            .Help("Requests by status, without those of watchers that went well")
            .Register(registry);
    prometheus::Histogram &latency = prometheus::BuildHistogram()
                                         .Name("quillora_request_seconds")
                                         .Help("From the first byte of a request to its answer")
                                         .Register(registry)
                                         .Add({}, boundaries);
    prometheus::Histogram &upstreamLatency = prometheus::BuildHistogram()
                                                 .Name("quillora_upstream_seconds")
                                                 .Help("What the model took for an answer")
                                                 .Register(registry)
                                                 .Add({}, boundaries);
    prometheus::Counter &retries = prometheus::BuildCounter()
                                       .Name("quillora_upstream_retries_total")
                                       .Help("Questions asked again because nothing had been done")
                                       .Register(registry)
                                       .Add({});
    prometheus::Family<prometheus::Counter> &limits = prometheus::BuildCounter()
                                                          .Name("quillora_limits_hit_total")
                                                          .Help("Requests sent away, by limit")
                                                          .Register(registry);
    prometheus::Family<prometheus::Gauge> &queue =
        prometheus::BuildGauge().Name("quillora_queue").Help("Requests, by what they do").Register(registry);
    prometheus::Gauge &running = queue.Add({{"state", "running"}});
    prometheus::Gauge &waiting = queue.Add({{"state", "waiting"}});
    prometheus::Gauge &connections = prometheus::BuildGauge()
                                         .Name("quillora_connections")
                                         .Help("Open connections of clients")
                                         .Register(registry)
                                         .Add({});
    prometheus::Family<prometheus::Gauge> &redis = prometheus::BuildGauge()
                                                       .Name("quillora_redis_up")
                                                       .Help("Whether the shared Redis answers")
                                                       .Register(registry);
};

Metrics::Metrics() : m_series(std::make_unique<Series>()) {}

Metrics::~Metrics() = default;

void Metrics::countRequest(unsigned status, std::chrono::steady_clock::duration took) {
    m_series->requests.Add({{"status", std::to_string(status)}}).Increment();
    m_series->latency.Observe(seconds(took));
}

void Metrics::countUpstream(std::chrono::steady_clock::duration took) {
    m_series->upstreamLatency.Observe(seconds(took));
}

void Metrics::countRetry() { m_series->retries.Increment(); }

void Metrics::countLimit(const std::string &limit) { m_series->limits.Add({{"limit", limit}}).Increment(); }

void Metrics::setQueue(std::size_t running, std::size_t waiting) {
    m_series->running.Set(static_cast<double>(running));
    m_series->waiting.Set(static_cast<double>(waiting));
}

void Metrics::setConnections(std::size_t count) { m_series->connections.Set(static_cast<double>(count)); }

void Metrics::setRedis(bool isThere) { m_series->redis.Add({}).Set(isThere ? 1 : 0); }

std::string Metrics::text() const {
    return prometheus::TextSerializer().Serialize(m_series->registry.Collect());
}

} // namespace quillora::backend
