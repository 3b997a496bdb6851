// Counters, gauges and histograms, rendered in the Prometheus text
// exposition format (version 0.0.4) for GET /metrics.
//
// Metrics are registered once, at start-up; the references returned stay
// valid for the registry's life.  Updating is lock-free (one relaxed atomic
// operation; a histogram two), so any number of threads may update at
// once.  Looking up a labelled series takes a short lock: keep the
// reference when the labels are fixed.  Label values must come from a small
// fixed set (route names, status codes), never from what a client sent, so
// the number of series stays bounded.
//
// Registration with an invalid or repeated name, or the wrong number of
// label values, throws std::invalid_argument: a fault of the program.
// render() may run on any thread while others update.
#ifndef TAVN_SERVER_METRICS_METRICS_REGISTRY_H_
#define TAVN_SERVER_METRICS_METRICS_REGISTRY_H_

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace tavn::server {

class Counter {
 public:
  void add(uint64_t n = 1) { value_.fetch_add(n, std::memory_order_relaxed); }
  uint64_t value() const { return value_.load(std::memory_order_relaxed); }

 private:
  std::atomic<uint64_t> value_{0};
};

class Gauge {
 public:
  void set(int64_t v) { value_.store(v, std::memory_order_relaxed); }
  void add(int64_t n) { value_.fetch_add(n, std::memory_order_relaxed); }
  int64_t value() const { return value_.load(std::memory_order_relaxed); }

 private:
  std::atomic<int64_t> value_{0};
};

class Histogram {
 public:
  // `bounds`: the buckets' upper bounds, increasing; +Inf is added.
  explicit Histogram(std::vector<double> bounds);
  void observe(double value);

  struct Snapshot {
    std::vector<double> bounds;
    std::vector<uint64_t> cumulative;  // per bound, then +Inf (= the count)
    double sum = 0;
  };
  Snapshot snapshot() const;

 private:
  std::vector<double> bounds_;
  std::unique_ptr<std::atomic<uint64_t>[]> counts_;  // per bucket, not cumulative
  std::atomic<double> sum_{0};
};

// A counter for each combination of label values.
class CounterFamily {
 public:
  explicit CounterFamily(std::vector<std::string> label_names) : labels_(std::move(label_names)) {}
  // The series of these label values (as many as label names), made on first use.
  Counter& with(const std::vector<std::string>& values);

  const std::vector<std::string>& label_names() const { return labels_; }
  // Every series with its label values, in order.
  std::vector<std::pair<std::vector<std::string>, uint64_t>> values() const;

 private:
  std::vector<std::string> labels_;
  mutable std::mutex mutex_;
  std::map<std::vector<std::string>, std::unique_ptr<Counter>> series_;
};

class MetricsRegistry {
 public:
  MetricsRegistry();
  ~MetricsRegistry();

  Counter& counter(const std::string& name, const std::string& help);
  CounterFamily& counter_family(const std::string& name, const std::string& help,
                                std::vector<std::string> label_names);
  Gauge& gauge(const std::string& name, const std::string& help);
  Histogram& histogram(const std::string& name, const std::string& help,
                       std::vector<double> bounds);
  // Metrics read from elsewhere when rendered (e.g. the cache's own
  // counts); `read` runs on the rendering thread and must be thread-safe.
  void counter_fn(const std::string& name, const std::string& help, std::function<uint64_t()> read);
  void gauge_fn(const std::string& name, const std::string& help, std::function<double()> read);

  // Every metric in registration order, as text.
  std::string render() const;

 private:
  struct Metric;
  Metric& add(const std::string& name, const std::string& help, const char* type);
  mutable std::mutex mutex_;
  std::vector<std::unique_ptr<Metric>> metrics_;
};

}  // namespace tavn::server

#endif  // TAVN_SERVER_METRICS_METRICS_REGISTRY_H_
