#include "server/metrics/metrics_registry.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <stdexcept>

namespace tavn::server {
namespace {

bool valid_name(std::string_view name, bool label) {
  if (name.empty() || (name[0] >= '0' && name[0] <= '9')) return false;
  return std::all_of(name.begin(), name.end(), [label](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           (c == ':' && !label);
  });
}

// Shortest text that reads back as `v`; +Inf, -Inf and NaN as Prometheus writes them.
std::string number(double v) {
  if (std::isnan(v)) return "NaN";
  if (std::isinf(v)) return v > 0 ? "+Inf" : "-Inf";
  char buffer[32];
  const auto r = std::to_chars(buffer, buffer + sizeof buffer, v);
  return std::string(buffer, r.ptr);
}

// HELP text escapes backslash and line break; label values also the quote.
std::string escaped(std::string_view s, bool label_value) {
  std::string out;
  for (char c : s) {
    if (c == '\\') out += "\\\\";
    else if (c == '\n') out += "\\n";
    else if (c == '"' && label_value) out += "\\\"";
    else out += c;
  }
  return out;
}

// `{a="x",b="y"}`; "" for no labels.
std::string label_set(const std::vector<std::string>& names,
                      const std::vector<std::string>& values) {
  std::string out;
  for (size_t i = 0; i < names.size(); ++i) {
    out += out.empty() ? "{" : ",";
    out += names[i] + "=\"" + escaped(values[i], true) + "\"";
  }
  return out.empty() ? out : out + "}";
}

}  // namespace

// --- Histogram ---------------------------------------------------------------

Histogram::Histogram(std::vector<double> bounds)
    : bounds_(std::move(bounds)), counts_(new std::atomic<uint64_t>[bounds_.size() + 1]) {
  if (!std::is_sorted(bounds_.begin(), bounds_.end()) ||
      std::adjacent_find(bounds_.begin(), bounds_.end()) != bounds_.end()) {
    throw std::invalid_argument("histogram bounds must increase");
  }
  for (size_t i = 0; i <= bounds_.size(); ++i) counts_[i].store(0);
}

void Histogram::observe(double value) {
  // The first bucket whose bound is >= value ("le" is inclusive).
  const size_t i = std::lower_bound(bounds_.begin(), bounds_.end(), value) - bounds_.begin();
  counts_[i].fetch_add(1, std::memory_order_relaxed);
  double sum = sum_.load(std::memory_order_relaxed);
  while (!sum_.compare_exchange_weak(sum, sum + value, std::memory_order_relaxed)) {
  }
}

Histogram::Snapshot Histogram::snapshot() const {
  Snapshot s;
  s.bounds = bounds_;
  uint64_t total = 0;
  for (size_t i = 0; i <= bounds_.size(); ++i) {
    total += counts_[i].load(std::memory_order_relaxed);
    s.cumulative.push_back(total);
  }
  s.sum = sum_.load(std::memory_order_relaxed);
  return s;
}

// --- CounterFamily -----------------------------------------------------------

Counter& CounterFamily::with(const std::vector<std::string>& values) {
  if (values.size() != labels_.size()) throw std::invalid_argument("wrong number of label values");
  std::lock_guard<std::mutex> lock(mutex_);
  auto& slot = series_[values];
  if (slot == nullptr) slot = std::make_unique<Counter>();
  return *slot;
}

std::vector<std::pair<std::vector<std::string>, uint64_t>> CounterFamily::values() const {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<std::pair<std::vector<std::string>, uint64_t>> out;
  for (const auto& [labels, counter] : series_) out.emplace_back(labels, counter->value());
  return out;
}

// --- MetricsRegistry ---------------------------------------------------------

struct MetricsRegistry::Metric {
  std::string name, help;
  const char* type;
  std::unique_ptr<Counter> counter;
  std::unique_ptr<CounterFamily> family;
  std::unique_ptr<Gauge> gauge;
  std::unique_ptr<Histogram> histogram;
  std::function<double()> read;  // counter_fn, gauge_fn
};

MetricsRegistry::MetricsRegistry() = default;
MetricsRegistry::~MetricsRegistry() = default;

MetricsRegistry::Metric& MetricsRegistry::add(const std::string& name, const std::string& help,
                                              const char* type) {
  if (!valid_name(name, false)) throw std::invalid_argument("bad metric name: " + name);
  std::lock_guard<std::mutex> lock(mutex_);
  for (const auto& m : metrics_) {
    if (m->name == name) throw std::invalid_argument("metric registered twice: " + name);
  }
  metrics_.push_back(std::make_unique<Metric>());
  Metric& m = *metrics_.back();
  m.name = name;
  m.help = help;
  m.type = type;
  return m;
}

Counter& MetricsRegistry::counter(const std::string& name, const std::string& help) {
  Metric& m = add(name, help, "counter");
  m.counter = std::make_unique<Counter>();
  return *m.counter;
}

CounterFamily& MetricsRegistry::counter_family(const std::string& name, const std::string& help,
                                               std::vector<std::string> label_names) {
  for (const auto& l : label_names) {
    if (!valid_name(l, true) || l.rfind("__", 0) == 0 || l == "le") {
      throw std::invalid_argument("bad label name: " + l);
    }
  }
  Metric& m = add(name, help, "counter");
  m.family = std::make_unique<CounterFamily>(std::move(label_names));
  return *m.family;
}

Gauge& MetricsRegistry::gauge(const std::string& name, const std::string& help) {
  Metric& m = add(name, help, "gauge");
  m.gauge = std::make_unique<Gauge>();
  return *m.gauge;
}

Histogram& MetricsRegistry::histogram(const std::string& name, const std::string& help,
                                      std::vector<double> bounds) {
  auto h = std::make_unique<Histogram>(std::move(bounds));
  Metric& m = add(name, help, "histogram");
  m.histogram = std::move(h);
  return *m.histogram;
}

void MetricsRegistry::counter_fn(const std::string& name, const std::string& help,
                                 std::function<uint64_t()> read) {
  add(name, help, "counter").read = [read = std::move(read)] {
    return static_cast<double>(read());
  };
}

void MetricsRegistry::gauge_fn(const std::string& name, const std::string& help,
                               std::function<double()> read) {
  add(name, help, "gauge").read = std::move(read);
}

std::string MetricsRegistry::render() const {
  std::lock_guard<std::mutex> lock(mutex_);
  std::string out;
  for (const auto& m : metrics_) {
    out += "# HELP " + m->name + " " + escaped(m->help, false) + "\n";
    out += "# TYPE " + m->name + " " + m->type + "\n";
    if (m->counter) {
      out += m->name + " " + std::to_string(m->counter->value()) + "\n";
    } else if (m->gauge) {
      out += m->name + " " + std::to_string(m->gauge->value()) + "\n";
    } else if (m->read) {
      out += m->name + " " + number(m->read()) + "\n";
    } else if (m->family) {
      for (const auto& [values, v] : m->family->values()) {
        out +=
            m->name + label_set(m->family->label_names(), values) + " " + std::to_string(v) + "\n";
      }
    } else if (m->histogram) {
      const Histogram::Snapshot s = m->histogram->snapshot();
      for (size_t i = 0; i <= s.bounds.size(); ++i) {
        const double le = i < s.bounds.size() ? s.bounds[i] : INFINITY;
        out += m->name + "_bucket{le=\"" + number(le) + "\"} " + std::to_string(s.cumulative[i]) +
               "\n";
      }
      out += m->name + "_sum " + number(s.sum) + "\n";
      out += m->name + "_count " + std::to_string(s.cumulative.back()) + "\n";
    }
  }
  return out;
}

}  // namespace tavn::server
