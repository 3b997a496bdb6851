#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "server/metrics/metrics_registry.h"
#include "server/metrics/server_metrics.h"
#include "tests/support/test_support.h"

namespace tavn::server {
namespace {

TEST(Metrics, RendersTheTextFormat) {
  MetricsRegistry r;
  r.counter("t_started_total", "Started.\nTwice \\ over.").add(3);
  auto& family = r.counter_family("t_answers_total", "Answers.", {"route", "status"});
  family.with({"/v1/speak", "200"}).add(2);
  family.with({"odd \"one\"\\\n", "404"}).add();
  r.gauge("t_queue", "Queue.").set(-2);
  auto& h = r.histogram("t_seconds", "Seconds.", {0.5, 1, 2.5});
  for (double v : {0.1, 0.5, 0.75, 2.5, 99.0}) h.observe(v);  // a bound counts in its own bucket
  r.gauge_fn("t_ratio", "Ratio.", [] { return 0.25; });
  r.counter_fn("t_read_total", "Read.", [] { return uint64_t{7}; });
  EXPECT_EQ(r.render(),
            "# HELP t_started_total Started.\\nTwice \\\\ over.\n# TYPE t_started_total counter\nt_started_total 3\n"
            "# HELP t_answers_total Answers.\n# TYPE t_answers_total counter\n"
            "t_answers_total{route=\"/v1/speak\",status=\"200\"} 2\n"
            "t_answers_total{route=\"odd \\\"one\\\"\\\\\\n\",status=\"404\"} 1\n"
            "# HELP t_queue Queue.\n# TYPE t_queue gauge\nt_queue -2\n"
            "# HELP t_seconds Seconds.\n# TYPE t_seconds histogram\n"
            "t_seconds_bucket{le=\"0.5\"} 2\nt_seconds_bucket{le=\"1\"} 3\nt_seconds_bucket{le=\"2.5\"} 4\n"
            "t_seconds_bucket{le=\"+Inf\"} 5\nt_seconds_sum 102.85\nt_seconds_count 5\n"
            "# HELP t_ratio Ratio.\n# TYPE t_ratio gauge\nt_ratio 0.25\n"
            "# HELP t_read_total Read.\n# TYPE t_read_total counter\nt_read_total 7\n");
}

TEST(Metrics, RefusesFaultyRegistrations) {
  MetricsRegistry r;
  r.counter("taken_total", "x");
  const struct {
    const char* what;
    void (*call)(MetricsRegistry&);
  } cases[] = {
      {"empty name", [](MetricsRegistry& m) { m.counter("", "x"); }},
      {"digit first", [](MetricsRegistry& m) { m.gauge("1abc", "x"); }},
      {"dash", [](MetricsRegistry& m) { m.gauge("a-b", "x"); }},
      {"twice", [](MetricsRegistry& m) { m.gauge("taken_total", "x"); }},
      {"label le", [](MetricsRegistry& m) { m.counter_family("f_total", "x", {"le"}); }},
      {"label colon", [](MetricsRegistry& m) { m.counter_family("g_total", "x", {"a:b"}); }},
      {"reserved label", [](MetricsRegistry& m) { m.counter_family("h_total", "x", {"__name"}); }},
      {"label count",
       [](MetricsRegistry& m) {
         m.counter_family("i_total", "x", {"a", "b"}).with({"1"});
       }},
      {"bounds",
       [](MetricsRegistry& m) {
         m.histogram("j", "x", {1, 1});
       }},
  };
  for (const auto& c : cases) EXPECT_THROW(c.call(r), std::invalid_argument) << c.what;
}

TEST(MetricsConcurrency, UpdatesFromManyThreadsAddUp) {
  MetricsRegistry r;
  auto& counter = r.counter("c_total", "x");
  auto& family = r.counter_family("f_total", "x", {"route"});
  auto& h = r.histogram("h_seconds", "x", {1});
  auto& g = r.gauge("g", "x");
  constexpr int kThreads = 8, kEach = 20000;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kEach; ++i) {
        counter.add();
        family.with({t % 2 ? "/a" : "/b"}).add();
        h.observe(0.5);
        g.add(1);
        g.add(-1);
        if (t == 0 && i % 1000 == 0) (void)r.render();
      }
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(counter.value(), uint64_t{kThreads} * kEach);
  EXPECT_EQ(family.with({"/a"}).value() + family.with({"/b"}).value(), uint64_t{kThreads} * kEach);
  EXPECT_EQ(h.snapshot().cumulative.back(), uint64_t{kThreads} * kEach);
  EXPECT_DOUBLE_EQ(h.snapshot().sum, 0.5 * kThreads * kEach);
  EXPECT_EQ(g.value(), 0);
}

// The server's metrics with a cache in use pass Prometheus's own checker.
TEST(Metrics, ServerMetricsPassPromtool) {
  if (!exists("/usr/bin/promtool")) GTEST_SKIP() << "promtool not installed (Debian package prometheus): not checked";
  Temp_Dir dir;
  std::string why;
  PromptCache::Options o;
  o.dir = dir.file("cache");
  auto cache = PromptCache::open(o, &why);
  ASSERT_NE(cache, nullptr) << why;
  (void)cache->find(make_cache_key("a"));  // one miss
  MetricsRegistry registry;
  ServerMetrics m(registry);
  m.watch_cache(*cache);
  m.request_done("/v1/speak", 200);
  m.request_done("other", 404);
  m.synthesis_seconds.observe(0.3);
  m.watch_workers([] { return WorkerCounts{2, 1, 3, 1}; });
  const std::string text = registry.render();
  EXPECT_NE(text.find("tavnd_cache_misses_total 1\n"), std::string::npos) << text;
  EXPECT_NE(text.find("tavnd_queue_length 3\n"), std::string::npos) << text;
  EXPECT_NE(text.find("tavnd_http_requests_total{route=\"other\",status=\"404\"} 1\n"), std::string::npos) << text;
  const std::string file = dir.write("metrics.txt", text);
  int status = 0;
  const std::string said = run_command("/usr/bin/promtool check metrics < " + file + " 2>&1", &status);
  EXPECT_EQ(status, 0) << said << text;
  EXPECT_EQ(said, "");
}

}  // namespace
}  // namespace tavn::server
