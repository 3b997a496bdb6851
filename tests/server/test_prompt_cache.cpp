#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "server/cache/cache_key.h"
#include "server/cache/prompt_cache.h"
#include "tests/support/test_support.h"

namespace tavn::server {
namespace {

namespace fs = std::filesystem;
using Kind = PromptCache::Lookup::Kind;

std::unique_ptr<PromptCache> open_cache(const std::string& dir, uint64_t max_bytes = 1 << 20) {
  std::string why;
  PromptCache::Options o;
  o.dir = dir;
  o.max_bytes = max_bytes;
  o.max_entry_bytes = max_bytes;
  auto cache = PromptCache::open(o, &why);
  EXPECT_NE(cache, nullptr) << why;
  return cache;
}

// Stores `body` under the key of `name`; true when stored.
bool store(PromptCache& cache, const std::string& name, const std::string& body, const std::string& meta = "m") {
  auto found = cache.find(make_cache_key(name));
  if (found.kind != Kind::kRender) return false;
  for (size_t i = 0; i < body.size(); i += 7000)
    found.writer->append(body.data() + i, std::min<size_t>(7000, body.size() - i));
  return found.writer->commit(meta);
}

// The stored body of `name` read in 5000-byte steps, or "miss".
std::string fetch(PromptCache& cache, const std::string& name, std::string* meta = nullptr) {
  auto found = cache.find(make_cache_key(name));
  if (found.kind != Kind::kHit) return "miss";
  std::string body, part;
  while (found.entry->read(body.size(), 5000, &part) && !part.empty()) body += part;
  EXPECT_EQ(body.size(), found.entry->size());
  std::string whole;
  EXPECT_TRUE(found.entry->take_body(&whole));
  EXPECT_EQ(whole, body);
  EXPECT_TRUE(found.entry->read(0, 3, &part));  // from the file once taken
  EXPECT_EQ(part, body.substr(0, 3));
  if (meta != nullptr) *meta = found.entry->meta();
  return body;
}

std::string entry_path(const Temp_Dir& dir, const std::string& name) {
  return dir.file(make_cache_key(name).hex() + ".entry");
}

size_t files_in(const std::string& dir) {
  size_t n = 0;
  for (const auto& e : fs::directory_iterator(dir)) n += e.path().filename() != ".lock";
  return n;
}

TEST(PromptCache, StoresAndServesBodiesOfEverySize) {
  Temp_Dir dir;
  auto cache = open_cache(dir.path(), 8 << 20);
  const std::string sizes[] = {"", "x", std::string(70000, 'a'),
                               std::string(1500000, 'b')};  // the last is read from disk
  for (size_t i = 0; i < std::size(sizes); ++i) {
    std::string body = sizes[i];
    for (size_t j = 0; j < body.size(); j += 997) body[j] = static_cast<char>(j);
    ASSERT_TRUE(store(*cache, "k" + std::to_string(i), body, "meta" + std::to_string(i)));
    std::string meta;
    EXPECT_EQ(fetch(*cache, "k" + std::to_string(i), &meta), body);
    EXPECT_EQ(meta, "meta" + std::to_string(i));
  }
  const auto s = cache->stats();
  EXPECT_EQ(s.entries, 4u);
  EXPECT_EQ(s.hits, 4u);
  EXPECT_EQ(s.misses, 4u);
  EXPECT_EQ(s.bytes, 70001u + 1500000u + 4 * (32 + 2 + 5));
}

TEST(PromptCache, OverwrittenBytesAreStoredAndChecked) {
  Temp_Dir dir;
  auto cache = open_cache(dir.path());
  auto found = cache->find(make_cache_key("wave"));
  ASSERT_EQ(found.kind, Kind::kRender);
  ASSERT_TRUE(found.writer->append("RIFF....data", 12));
  ASSERT_TRUE(found.writer->append("samples", 7));
  EXPECT_TRUE(found.writer->overwrite(4, "1234", 4));
  EXPECT_FALSE(found.writer->overwrite(17, "abc", 3));  // past the end
  ASSERT_TRUE(found.writer->commit(""));
  EXPECT_EQ(fetch(*cache, "wave"), "RIFF1234datasamples");
}

TEST(PromptCache, EvictsTheLeastRecentlyUsed) {
  Temp_Dir dir;
  const std::string body(1000, 'z');  // 1000 + 32 + 1 + 1 bytes on disk
  auto cache = open_cache(dir.path(), 3 * 1034);
  for (const char* k : {"a", "b", "c"}) ASSERT_TRUE(store(*cache, k, body));
  ASSERT_EQ(fetch(*cache, "a"), body);  // b is now the oldest
  ASSERT_TRUE(store(*cache, "d", body));
  EXPECT_EQ(cache->stats().evicted, 1u);
  EXPECT_FALSE(exists(entry_path(dir, "b")));
  for (const char* k : {"a", "c", "d"}) EXPECT_EQ(fetch(*cache, k), body) << k;
  EXPECT_EQ(fetch(*cache, "b"), "miss");
}

TEST(PromptCache, RebuildsItsIndexAfterARestart) {
  Temp_Dir dir;
  const std::string body(1000, 'r');
  {
    auto cache = open_cache(dir.path());
    for (const char* k : {"old", "mid", "new"}) ASSERT_TRUE(store(*cache, k, body));
  }
  // Recency is the files' time: make "mid" the least recent, as if unused for a day.
  const struct timespec day_ago[2] = {{time(nullptr) - 86400, 0}, {time(nullptr) - 86400, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, entry_path(dir, "mid").c_str(), day_ago, 0), 0);
  dir.write(make_cache_key("crashed").hex() + ".1-0.tmp", "half an entry");
  dir.write("notes.txt", "not ours");
  auto cache = open_cache(dir.path(), 2 * 1036);  // room for two
  EXPECT_FALSE(exists(dir.file(make_cache_key("crashed").hex() + ".1-0.tmp")));
  EXPECT_TRUE(exists(dir.file("notes.txt")));
  EXPECT_EQ(cache->stats().entries, 2u);
  EXPECT_EQ(fetch(*cache, "mid"), "miss");
  EXPECT_EQ(fetch(*cache, "old"), body);
  EXPECT_EQ(fetch(*cache, "new"), body);
}

TEST(PromptCache, DamagedEntriesAreDroppedAndRenderedAgain) {
  const std::string body(3000, 'c');
  const size_t file_size = 32 + 1 + 3000 + 1;
  const struct {
    const char* what;
    long offset;  // byte to flip; negative: cut the file to -offset bytes
  } cases[] = {
      {"cut by one", -static_cast<long>(file_size - 1)},
      {"cut to nothing", 0},
      {"header cut", -20},
      {"magic", 0},
      {"body length", 16},
      {"checksum", 24},
      {"key", 32},
      {"body", 1500},
      {"meta", static_cast<long>(file_size - 1)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Temp_Dir dir;
    auto cache = open_cache(dir.path());
    ASSERT_TRUE(store(*cache, "k", body));
    const std::string path = entry_path(dir, "k");
    std::string bytes = read_file(path);
    ASSERT_EQ(bytes.size(), file_size);
    if (c.offset < 0 || std::string(c.what) == "cut to nothing") bytes.resize(static_cast<size_t>(-c.offset));
    else bytes[static_cast<size_t>(c.offset)] ^= 0x10;
    dir.write(make_cache_key("k").hex() + ".entry", bytes);
    EXPECT_EQ(fetch(*cache, "k"), "miss");
    EXPECT_FALSE(exists(path));
    EXPECT_EQ(cache->stats().corrupt, 1u);
    EXPECT_EQ(cache->stats().entries, 0u);
    ASSERT_TRUE(store(*cache, "k", body));
    EXPECT_EQ(fetch(*cache, "k"), body);
  }
}

TEST(PromptCache, AnswersHeldInMemoryAreTheCheckedOnesAndBounded) {
  Temp_Dir dir;
  std::string why;
  PromptCache::Options o;
  o.dir = dir.path();
  o.max_bytes = 1 << 20;
  o.memory_bytes = 14000;  // four answers of 3000 bytes and their keys, not five
  auto cache = PromptCache::open(o, &why);
  ASSERT_NE(cache, nullptr) << why;
  for (char c = 'a'; c <= 'e'; ++c) ASSERT_TRUE(store(*cache, std::string(1, c), std::string(3000, c)));
  for (char c = 'a'; c <= 'e'; ++c) EXPECT_EQ(fetch(*cache, std::string(1, c)), std::string(3000, c));
  EXPECT_GT(cache->stats().held_bytes, 0u);
  EXPECT_LE(cache->stats().held_bytes, o.memory_bytes);
  // Damage on disk after the check: the held answer is the checked one...
  for (const char* name : {"e", "a"}) {
    std::string bytes = read_file(entry_path(dir, name));
    bytes[1500] ^= 0x10;
    dir.write(make_cache_key(name).hex() + ".entry", bytes);
  }
  EXPECT_EQ(fetch(*cache, "e"), std::string(3000, 'e'));
  // ...and one no longer held is read again, found damaged and not served.
  EXPECT_EQ(fetch(*cache, "a"), "miss");
  EXPECT_EQ(cache->stats().corrupt, 1u);
  // An evicted entry leaves memory with the index.
  PromptCache::Options none = o;
  none.memory_bytes = 0;
  Temp_Dir other;
  none.dir = other.path();
  auto uncached = PromptCache::open(none, &why);
  ASSERT_TRUE(store(*uncached, "x", "audio"));
  EXPECT_EQ(fetch(*uncached, "x"), "audio");
  EXPECT_EQ(uncached->stats().held_bytes, 0u);
}

TEST(PromptCache, AnEntryOfAnotherKeyIsNeverServed) {
  Temp_Dir dir;
  auto cache = open_cache(dir.path());
  ASSERT_TRUE(store(*cache, "mine", "audio"));
  CacheKey other = make_cache_key("mine");  // same hash, other request: a collision
  other.material = "yours";
  EXPECT_EQ(cache->find(other).kind, Kind::kRender);
}

TEST(PromptCache, FindsAnEntryByItsName) {
  Temp_Dir dir;
  auto cache = open_cache(dir.path());
  ASSERT_TRUE(store(*cache, "named", "audio", "meta"));
  const std::string hex = make_cache_key("named").hex();
  auto entry = cache->find_by_name(hex);
  ASSERT_NE(entry, nullptr);
  std::string body;
  EXPECT_TRUE(entry->read(0, 100, &body));
  EXPECT_EQ(body + entry->meta(), "audiometa");
  std::string upper = hex;
  upper[0] = 'A';
  for (const std::string& name :
       {make_cache_key("other").hex(), hex.substr(1), upper, std::string("../") + hex, hex + ".entry"})
    EXPECT_EQ(cache->find_by_name(name), nullptr) << name;
  EXPECT_EQ(cache->stats().hits, 1u);
}

TEST(PromptCache, WhatCannotBeStoredOnlyStopsCaching) {
  Temp_Dir dir;
  PromptCache::Options o;
  o.dir = dir.path();
  o.max_bytes = 1 << 20;
  o.max_entry_bytes = 10000;
  std::string why;
  auto cache = PromptCache::open(o, &why);
  ASSERT_NE(cache, nullptr) << why;
  auto found = cache->find(make_cache_key("long"));
  ASSERT_EQ(found.kind, Kind::kRender);
  const std::string part(4000, 'l');
  EXPECT_TRUE(found.writer->append(part.data(), part.size()));
  EXPECT_TRUE(found.writer->append(part.data(), part.size()));
  EXPECT_FALSE(found.writer->append(part.data(), part.size()));  // over 10000 bytes with its header
  EXPECT_FALSE(found.writer->commit(""));
  EXPECT_EQ(cache->stats().write_failures, 1u);
  EXPECT_EQ(files_in(dir.path()), 0u);

  std::string second_why;
  EXPECT_EQ(PromptCache::open(o, &second_why), nullptr);  // one process per folder
  EXPECT_NE(second_why.find("in use"), std::string::npos) << second_why;
}

// A 64 KiB tmpfs, unmounted at scope end; skipped where mounting is not allowed.
class SmallDisk {
 public:
  SmallDisk() {
    if (mount("tavn-test", dir_.path().c_str(), "tmpfs", 0, "size=64k") == 0) mounted_ = true;
  }
  ~SmallDisk() {
    if (mounted_) umount2(dir_.path().c_str(), MNT_DETACH);
  }
  bool mounted() const { return mounted_; }
  std::string path() const { return dir_.file("cache"); }

 private:
  Temp_Dir dir_;
  bool mounted_ = false;
};

TEST(PromptCache, AFullDiskOnlyStopsCaching) {
  SmallDisk disk;
  if (!disk.mounted()) GTEST_SKIP() << "cannot mount a tmpfs here (needs root): the full-disk case is not run";
  auto cache = open_cache(disk.path(), 4 << 20);
  const std::string big(32 * 1024, 'f');
  ASSERT_TRUE(store(*cache, "first", big));
  auto found = cache->find(make_cache_key("second"));
  ASSERT_EQ(found.kind, Kind::kRender);
  bool accepted = true;
  for (int i = 0; i < 4 && accepted; ++i) accepted = found.writer->append(big.data(), big.size());
  EXPECT_FALSE(accepted);  // ENOSPC
  EXPECT_FALSE(found.writer->commit(""));
  found = {};
  EXPECT_EQ(cache->stats().write_failures, 1u);
  EXPECT_EQ(files_in(disk.path()), 1u);  // no temporary left behind
  EXPECT_EQ(fetch(*cache, "first"), big);
  EXPECT_TRUE(store(*cache, "small", "fits"));
}

// Identical requests at once: one renders, the others wait and read its entry.
TEST(PromptCacheConcurrency, IdenticalRequestsRenderOnce) {
  Temp_Dir dir;
  auto cache = open_cache(dir.path());
  const std::string body(50000, 's');
  for (const bool commit : {true, false}) {
    SCOPED_TRACE(commit ? "the rendering is stored" : "the rendering fails");
    const std::string name = commit ? "stored" : "failed";
    std::atomic<int> renders{0}, served{0}, on_your_own{0}, callbacks{0};
    const uint64_t waits_before = cache->stats().waits;
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
      threads.emplace_back([&] {
        auto found = cache->find(make_cache_key(name));
        if (found.kind == Kind::kRender) {
          renders++;
          // Render only once the seven others wait (bounded, should a thread never come).
          const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
          while (cache->stats().waits < waits_before + 7 && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
          found.writer->append(body.data(), body.size());
          if (commit) found.writer->commit("");
          return;
        }
        ASSERT_EQ(found.kind, Kind::kWait);
        found.flight->on_done([&] { callbacks++; });
        ASSERT_TRUE(found.flight->wait_for(std::chrono::seconds(10)));
        if (!found.flight->stored()) {
          on_your_own++;
          return;
        }
        if (fetch(*cache, name) == body) served++;
      });
    }
    for (auto& t : threads) t.join();
    EXPECT_EQ(renders, 1);
    EXPECT_EQ(served, commit ? 7 : 0);
    EXPECT_EQ(on_your_own, commit ? 0 : 7);
    EXPECT_EQ(callbacks, 7);
  }
}

TEST(CacheKey, EverySettingThatChangesTheAudioChangesTheKey) {
  SpeechRequest base;
  base.text = "Hello.";
  base.voice = "en";
  const std::string hex = speech_cache_key(base, "engine 1").hex();
  EXPECT_EQ(hex.size(), 32u);
  const struct {
    const char* what;
    void (*change)(SpeechRequest*);
    bool same;
  } cases[] = {
      {"text", [](SpeechRequest* r) { r->text = "Hello!"; }, false},
      {"voice", [](SpeechRequest* r) { r->voice = "de"; }, false},
      {"rate", [](SpeechRequest* r) { r->rate = 176; }, false},
      {"pitch", [](SpeechRequest* r) { r->pitch = 51; }, false},
      {"volume", [](SpeechRequest* r) { r->volume = 99; }, false},
      {"row", [](SpeechRequest* r) { r->output.row = 5; }, false},
      {"header", [](SpeechRequest* r) { r->output.raw = true; }, false},
      {"text into voice",
       [](SpeechRequest* r) {
         r->voice = "enHello.";
         r->text = "";
       },
       false},
      {"model", [](SpeechRequest* r) { r->model = "tts-1-hd"; }, true},
      {"marks", [](SpeechRequest* r) { r->marks = true; }, true},
  };
  for (const auto& c : cases) {
    SpeechRequest r = base;
    c.change(&r);
    EXPECT_EQ(speech_cache_key(r, "engine 1").hex() == hex, c.same) << c.what;
  }
  EXPECT_NE(speech_cache_key(base, "engine 2").hex(), hex);
}

TEST(CacheKey, IfNoneMatchComparesWeakly) {
  const std::string etag = make_cache_key("x").etag();
  const std::string tag = etag.substr(2);  // the quoted part
  EXPECT_EQ(etag, "W/" + tag);
  const struct {
    std::string header;
    bool match;
  } cases[] = {
      {etag, true},
      {tag, true},
      {"*", true},
      {"\"other\", " + etag, true},
      {" \"a\",,W/\"b\" ,\t" + tag, true},
      {"", false},
      {"\"other\"", false},
      {tag.substr(0, tag.size() - 1), false},  // no closing quote
      {"garbage, " + etag, false},             // a fault ends the list
      {"W/", false},
  };
  for (const auto& c : cases) EXPECT_EQ(if_none_match(c.header, etag), c.match) << c.header;
}

}  // namespace
}  // namespace tavn::server
