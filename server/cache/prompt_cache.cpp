#include "server/cache/prompt_cache.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "server/cache/cache_entry.h"

namespace tavn::server {
namespace {

constexpr size_t kChunkBytes = 64 * 1024;
constexpr uint64_t kInMemoryBytes = 1 << 20;  // bodies up to this are kept from the check
constexpr int64_t kTouchSeconds = 60;         // a hit refreshes the file's time this seldom
constexpr char kEntrySuffix[] = ".entry";
constexpr char kTmpSuffix[] = ".tmp";

int64_t now_seconds() {
  return std::chrono::duration_cast<std::chrono::seconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

bool ends_with(std::string_view s, std::string_view end) {
  return s.size() >= end.size() && s.substr(s.size() - end.size()) == end;
}

// The hash an entry's file name carries: 32 lowercase hex digits + ".entry".
bool parse_entry_name(std::string_view name, uint64_t* high, uint64_t* low) {
  if (name.size() != 32 + sizeof(kEntrySuffix) - 1 || !ends_with(name, kEntrySuffix)) return false;
  uint64_t half[2] = {0, 0};
  for (int i = 0; i < 32; ++i) {
    const char c = name[i];
    const int digit = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
    if (digit < 0) return false;
    half[i / 16] = half[i / 16] << 4 | static_cast<uint64_t>(digit);
  }
  *high = half[0];
  *low = half[1];
  return true;
}

// Repeats `io(pointer, count, offset)` (a read or write call) until `n`
// bytes have moved; false on an error or an early end.
template <class Io>
bool move_all(char* p, size_t n, uint64_t offset, Io io) {
  while (n > 0) {
    const ssize_t r = io(p, n, static_cast<off_t>(offset));
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) return false;
    p += r;
    n -= static_cast<size_t>(r);
    offset += static_cast<uint64_t>(r);
  }
  return true;
}

bool write_all(int fd, const void* data, size_t n) {
  return move_all(const_cast<char*>(static_cast<const char*>(data)), n, 0,
                  [fd](char* p, size_t k, off_t) { return ::write(fd, p, k); });
}

bool pwrite_all(int fd, const void* data, size_t n, uint64_t offset) {
  return move_all(const_cast<char*>(static_cast<const char*>(data)), n, offset,
                  [fd](char* p, size_t k, off_t at) { return ::pwrite(fd, p, k, at); });
}

// Reads exactly `n` bytes at `offset`.
bool pread_all(int fd, void* data, size_t n, uint64_t offset) {
  return move_all(static_cast<char*>(data), n, offset,
                  [fd](char* p, size_t k, off_t at) { return ::pread(fd, p, k, at); });
}

// Feeds `n` bytes of `fd` from `offset` into `state`, optionally keeping them.
bool hash_range(int fd, uint64_t offset, uint64_t n, XXH3_state_t* state, std::string* keep) {
  if (keep != nullptr) {
    keep->resize(n);
    if (!pread_all(fd, keep->data(), n, offset)) return false;
    XXH3_64bits_update(state, keep->data(), n);
    return true;
  }
  const std::unique_ptr<char[]> buffer(
      new char[kChunkBytes]);  // not zeroed: every byte is read into
  while (n > 0) {
    const size_t take = static_cast<size_t>(std::min<uint64_t>(n, kChunkBytes));
    if (!pread_all(fd, buffer.get(), take, offset)) return false;
    XXH3_64bits_update(state, buffer.get(), take);
    offset += take;
    n -= take;
  }
  return true;
}

}  // namespace

struct PromptCache::Writer::HashState {
  XXH3_state_t state;
};

// --- Entry -------------------------------------------------------------------

PromptCache::Entry::~Entry() {
  if (fd_ >= 0) ::close(fd_);
}

bool PromptCache::Entry::read(uint64_t offset, size_t n, std::string* out) const {
  out->clear();
  if (offset >= body_length_) return true;
  const size_t take = static_cast<size_t>(std::min<uint64_t>(n, body_length_ - offset));
  if (held_ != nullptr) {
    out->assign(held_->body, static_cast<size_t>(offset), take);
    return true;
  }
  if (in_memory_) {
    out->assign(body_, static_cast<size_t>(offset), take);
    return true;
  }
  out->resize(take);
  if (pread_all(fd_, out->data(), take, body_offset_ + offset)) return true;
  out->clear();
  return false;
}

bool PromptCache::Entry::take_body(std::string* out) {
  if (held_ != nullptr) {
    *out = held_->body;
    return true;
  }
  if (!in_memory_) return read(0, static_cast<size_t>(body_length_), out);
  out->swap(body_);
  body_.clear();
  in_memory_ = false;
  return true;
}

// --- Flight ------------------------------------------------------------------

bool PromptCache::Flight::wait_for(std::chrono::milliseconds timeout) {
  std::unique_lock<std::mutex> lock(mutex_);
  return cv_.wait_for(lock, timeout, [this] { return done_; });
}

void PromptCache::Flight::on_done(std::function<void()> done) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!done_) {
      callbacks_.push_back(std::move(done));
      return;
    }
  }
  done();
}

bool PromptCache::Flight::stored() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return stored_;
}

void PromptCache::Flight::finish(bool stored) {
  std::vector<std::function<void()>> callbacks;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    done_ = true;
    stored_ = stored;
    callbacks.swap(callbacks_);
  }
  cv_.notify_all();
  for (auto& done : callbacks) done();
}

// --- Writer ------------------------------------------------------------------

PromptCache::Writer::Writer(PromptCache* cache) : cache_(cache) {}

PromptCache::Writer::~Writer() {
  if (!ended_) drop(false);
}

void PromptCache::Writer::drop(bool failure) {
  if (ended_) return;
  ended_ = true;
  if (fd_ >= 0) {
    ::close(fd_);
    fd_ = -1;
    ::unlink(tmp_path_.c_str());
  }
  if (failure) cache_->write_failures_++;
  if (flight_ != nullptr) cache_->finish_flight({key_.high, key_.low}, false);
}

bool PromptCache::Writer::append(const void* data, size_t n) {
  if (ended_) return false;
  if (n > limit_ - body_length_ || !write_all(fd_, data, n)) {
    drop(true);
    return false;
  }
  XXH3_64bits_update(&hash_->state, data, n);
  body_length_ += n;
  return true;
}

bool PromptCache::Writer::overwrite(uint64_t offset, const void* data, size_t n) {
  if (ended_ || offset > body_length_ || n > body_length_ - offset) return false;
  if (!pwrite_all(fd_, data, n, kEntryHeaderBytes + key_.material.size() + offset)) {
    drop(true);
    return false;
  }
  rewritten_ = true;
  return true;
}

bool PromptCache::Writer::commit(std::string_view meta) {
  if (ended_) return false;
  if (meta.size() > kMaxMetaBytes || meta.size() > limit_ - body_length_ ||
      !write_all(fd_, meta.data(), meta.size())) {
    drop(true);
    return false;
  }
  EntryHeader header;
  header.key_length = static_cast<uint32_t>(key_.material.size());
  header.meta_length = static_cast<uint32_t>(meta.size());
  header.body_length = body_length_;
  if (rewritten_) {  // the streamed hash no longer describes the bytes: read them back
    XXH3_64bits_reset(&hash_->state);
    if (!hash_range(fd_, kEntryHeaderBytes, header.file_length() - kEntryHeaderBytes, &hash_->state,
                    nullptr)) {
      drop(true);
      return false;
    }
  } else {
    XXH3_64bits_update(&hash_->state, meta.data(), meta.size());
  }
  header.checksum = XXH3_64bits_digest(&hash_->state);
  uint8_t bytes[kEntryHeaderBytes];
  encode_entry_header(header, bytes);
  const bool written = pwrite_all(fd_, bytes, sizeof bytes, 0);
  const bool closed = ::close(fd_) == 0;
  fd_ = -1;
  const std::string path = cache_->path_of({key_.high, key_.low});
  if (!written || !closed || ::rename(tmp_path_.c_str(), path.c_str()) != 0) {
    ::unlink(tmp_path_.c_str());
    drop(true);
    return false;
  }
  ended_ = true;
  cache_->store(this, header.file_length());
  return true;
}

// --- PromptCache -------------------------------------------------------------

std::unique_ptr<PromptCache> PromptCache::open(const Options& options, std::string* why) {
  std::unique_ptr<PromptCache> cache(new PromptCache(options));
  Options& o = cache->options_;
  if (o.max_entry_bytes == 0 || o.max_entry_bytes > o.max_bytes)
    o.max_entry_bytes = o.max_bytes / 8;
  std::error_code ec;
  std::filesystem::create_directories(o.dir, ec);
  if (ec) {
    *why = "cannot make the cache folder " + o.dir + ": " + ec.message();
    return nullptr;
  }
  const std::string lock_path = o.dir + "/.lock";
  cache->lock_fd_ = ::open(lock_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (cache->lock_fd_ < 0) {
    *why = "cannot open " + lock_path + ": " + std::strerror(errno);
    return nullptr;
  }
  if (::flock(cache->lock_fd_, LOCK_EX | LOCK_NB) != 0) {
    *why = "the cache folder " + o.dir + " is in use by another process";
    return nullptr;
  }
  if (!cache->scan(why)) return nullptr;
  return cache;
}

PromptCache::~PromptCache() {
  if (lock_fd_ >= 0) ::close(lock_fd_);
}

bool PromptCache::scan(std::string* why) {
  DIR* dir = ::opendir(options_.dir.c_str());
  if (dir == nullptr) {
    *why = "cannot read the cache folder " + options_.dir + ": " + std::strerror(errno);
    return false;
  }
  struct Found {
    Hash128 hash;
    uint64_t bytes;
    struct timespec mtime;
  };
  std::vector<Found> found;
  while (const dirent* e = ::readdir(dir)) {
    const std::string_view name = e->d_name;
    if (ends_with(name, kTmpSuffix)) {  // left by a crash: never renamed, never complete
      ::unlinkat(::dirfd(dir), e->d_name, 0);
      continue;
    }
    Found f;
    struct stat st;
    if (!parse_entry_name(name, &f.hash.high, &f.hash.low) ||
        ::fstatat(::dirfd(dir), e->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(st.st_mode)) {
      continue;
    }
    f.bytes = static_cast<uint64_t>(st.st_size);
    f.mtime = st.st_mtim;
    found.push_back(f);
  }
  ::closedir(dir);
  std::sort(found.begin(), found.end(), [](const Found& a, const Found& b) {
    return a.mtime.tv_sec != b.mtime.tv_sec ? a.mtime.tv_sec < b.mtime.tv_sec
                                            : a.mtime.tv_nsec < b.mtime.tv_nsec;
  });
  std::lock_guard<std::mutex> lock(mutex_);
  const int64_t now = now_seconds();
  for (const Found& f : found) add_locked(f.hash, f.bytes, now);  // the newest ends in front
  evict_locked();
  return true;
}

std::string PromptCache::path_of(const Hash128& h) const {
  CacheKey k;
  k.high = h.high;
  k.low = h.low;
  return options_.dir + "/" + k.hex() + kEntrySuffix;
}

void PromptCache::add_locked(const Hash128& h, uint64_t bytes, int64_t touched) {
  remove_locked(h, false);
  lru_.push_front(h);
  index_.emplace(h, Indexed{bytes, touched, lru_.begin()});
  bytes_ += bytes;
}

void PromptCache::remove_locked(Hash128 h, bool unlink_file) {
  const auto it = index_.find(h);
  if (it == index_.end()) return;
  bytes_ -= it->second.bytes;
  lru_.erase(it->second.lru);
  index_.erase(it);
  drop_held_locked(h);
  if (unlink_file) ::unlink(path_of(h).c_str());
}

void PromptCache::drop_held_locked(const Hash128& h) {
  const auto it = held_.find(h);
  if (it == held_.end()) return;
  held_bytes_ -= it->second.bytes;
  held_lru_.erase(it->second.lru);
  held_.erase(it);
}

std::unique_ptr<PromptCache::Entry> PromptCache::held_entry(const Hash128& h,
                                                            const std::string* material) {
  std::shared_ptr<const HeldAnswer> answer;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = held_.find(h);
    if (it == held_.end()) return nullptr;
    held_lru_.splice(held_lru_.begin(), held_lru_, it->second.lru);
    answer = it->second.answer;
  }
  if (material != nullptr && answer->material != *material) return nullptr;
  std::unique_ptr<Entry> entry(new Entry);
  entry->body_length_ = answer->body.size();
  entry->meta_ = answer->meta;
  entry->held_ = std::move(answer);
  return entry;
}

void PromptCache::hold(const Hash128& h, const Entry& entry) {
  const uint64_t bytes = entry.body_.size() + entry.meta_.size() + entry.material_.size();
  if (!entry.in_memory_ || bytes > options_.memory_bytes / 4) return;
  auto answer = std::make_shared<const HeldAnswer>(
      HeldAnswer{entry.material_, entry.body_, entry.meta_});  // copied before taking the lock
  std::lock_guard<std::mutex> lock(mutex_);
  if (index_.count(h) == 0) return;  // removed meanwhile
  drop_held_locked(h);
  while (held_bytes_ + bytes > options_.memory_bytes && !held_lru_.empty())
    drop_held_locked(held_lru_.back());
  held_lru_.push_front(h);
  held_.emplace(h, Held{std::move(answer), bytes, held_lru_.begin()});
  held_bytes_ += bytes;
}

void PromptCache::evict_locked() {
  while ((bytes_ > options_.max_bytes || index_.size() > options_.max_entries) && !lru_.empty()) {
    remove_locked(lru_.back(), true);
    evicted_++;
  }
}

std::unique_ptr<PromptCache::Entry> PromptCache::read_entry(const Hash128& h,
                                                            const std::string* material, int* fault,
                                                            ino_t* inode) const {
  *fault = ENOENT;
  std::unique_ptr<Entry> entry(new Entry);
  entry->fd_ = ::open(path_of(h).c_str(), O_RDONLY | O_CLOEXEC);
  if (entry->fd_ < 0) return nullptr;
  struct stat st;
  if (::fstat(entry->fd_, &st) != 0) return nullptr;
  *inode = st.st_ino;
  *fault = EBADMSG;
  uint8_t bytes[kEntryHeaderBytes];
  EntryHeader header;
  if (!pread_all(entry->fd_, bytes, sizeof bytes, 0) || !decode_entry_header(bytes, &header) ||
      header.file_length() != static_cast<uint64_t>(st.st_size) ||
      (material != nullptr && header.key_length != material->size())) {
    return nullptr;
  }
  std::string stored_key;
  XXH3_state_t state;
  XXH3_64bits_reset(&state);
  uint64_t offset = kEntryHeaderBytes;
  if (!hash_range(entry->fd_, offset, header.key_length, &state, &stored_key) ||
      (material != nullptr && stored_key != *material)) {
    return nullptr;
  }
  entry->material_ = std::move(stored_key);
  offset += header.key_length;
  entry->body_offset_ = offset;
  entry->body_length_ = header.body_length;
  entry->in_memory_ = header.body_length <= kInMemoryBytes;
  if (!hash_range(entry->fd_, offset, header.body_length, &state,
                  entry->in_memory_ ? &entry->body_ : nullptr)) {
    return nullptr;
  }
  offset += header.body_length;
  if (!hash_range(entry->fd_, offset, header.meta_length, &state, &entry->meta_) ||
      XXH3_64bits_digest(&state) != header.checksum) {
    return nullptr;
  }
  *fault = 0;
  return entry;
}

void PromptCache::forget(const Hash128& h, ino_t inode, bool corrupt) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (index_.count(h) == 0) return;
  // Only the file that was read: a fresh entry may have replaced it since.
  struct stat st;
  const bool present = ::stat(path_of(h).c_str(), &st) == 0;
  if (present && st.st_ino != inode) return;
  remove_locked(h, present);
  if (corrupt) corrupt_++;
}

void PromptCache::finish_flight(const Hash128& h, bool stored) {
  std::shared_ptr<Flight> flight;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = flights_.find(h);
    if (it == flights_.end()) return;
    flight = std::move(it->second);
    flights_.erase(it);
  }
  flight->finish(stored);
}

void PromptCache::store(Writer* writer, uint64_t file_bytes) {
  const Hash128 h{writer->key_.high, writer->key_.low};
  {
    std::lock_guard<std::mutex> lock(mutex_);
    add_locked(h, file_bytes, now_seconds());
    evict_locked();
  }
  stored_++;
  finish_flight(h, true);
}

void PromptCache::note_hit(const Hash128& h, const Entry& entry) {
  bool touch = false;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = index_.find(h);
    if (it != index_.end()) {
      lru_.splice(lru_.begin(), lru_, it->second.lru);
      const int64_t now = now_seconds();
      touch = now - it->second.touched >= kTouchSeconds;
      if (touch) it->second.touched = now;
    }
  }
  // Recency that survives a restart.
  if (touch && entry.fd_ >= 0) ::futimens(entry.fd_, nullptr);
  if (touch && entry.fd_ < 0) ::utimensat(AT_FDCWD, path_of(h).c_str(), nullptr, 0);
  hits_++;
}

std::unique_ptr<PromptCache::Entry> PromptCache::find_by_name(std::string_view name) {
  Hash128 h;
  if (!parse_entry_name(std::string(name) + kEntrySuffix, &h.high, &h.low)) return nullptr;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (index_.count(h) == 0) return nullptr;
  }
  if (auto held = held_entry(h, nullptr)) {
    note_hit(h, *held);
    return held;
  }
  int fault = 0;
  ino_t inode = 0;
  auto entry = read_entry(h, nullptr, &fault, &inode);
  if (entry == nullptr) {
    forget(h, inode, fault != ENOENT);
    return nullptr;
  }
  hold(h, *entry);
  note_hit(h, *entry);
  return entry;
}

PromptCache::Lookup PromptCache::find(const CacheKey& key) {
  const Hash128 h{key.high, key.low};
  Lookup result;
  for (int attempt = 0; attempt < 4; ++attempt) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (index_.count(h) == 0) {
        const auto it = flights_.find(h);
        if (it != flights_.end()) {
          waits_++;
          result.kind = Lookup::kWait;
          result.flight = it->second;
          return result;
        }
        misses_++;
        result.kind = Lookup::kRender;
        result.writer.reset(new Writer(this));
        result.writer->key_ = key;
        result.writer->flight_ = std::make_shared<Flight>();
        flights_.emplace(h, result.writer->flight_);
        break;
      }
    }
    result.entry = held_entry(h, &key.material);
    if (result.entry != nullptr) {
      note_hit(h, *result.entry);
      result.kind = Lookup::kHit;
      return result;
    }
    int fault = 0;
    ino_t inode = 0;
    result.entry = read_entry(h, &key.material, &fault, &inode);
    if (result.entry != nullptr) {
      hold(h, *result.entry);
      note_hit(h, *result.entry);
      result.kind = Lookup::kHit;
      return result;
    }
    forget(h, inode, fault != ENOENT);
  }
  if (result.writer == nullptr) {  // the entry kept changing under us: render uncached
    result.kind = Lookup::kRender;
    result.writer.reset(new Writer(this));
    result.writer->key_ = key;
    result.writer->ended_ = true;
    return result;
  }
  Writer& w = *result.writer;
  w.limit_ = options_.max_entry_bytes > kEntryHeaderBytes + key.material.size()
                 ? options_.max_entry_bytes - kEntryHeaderBytes - key.material.size()
                 : 0;
  w.hash_.reset(new Writer::HashState);
  XXH3_64bits_reset(&w.hash_->state);
  XXH3_64bits_update(&w.hash_->state, key.material.data(), key.material.size());
  w.tmp_path_ = options_.dir + "/" + key.hex() + "." + std::to_string(::getpid()) + "-" +
                std::to_string(tmp_counter_++) + kTmpSuffix;
  w.fd_ = ::open(w.tmp_path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  const uint8_t zeros[kEntryHeaderBytes] = {};
  if (w.fd_ < 0 || key.material.size() > kMaxKeyBytes || w.limit_ == 0 ||
      !write_all(w.fd_, zeros, sizeof zeros) ||
      !write_all(w.fd_, key.material.data(), key.material.size())) {
    w.drop(true);  // waiters render for themselves
  }
  return result;
}

PromptCache::Stats PromptCache::stats() const {
  Stats s;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    s.entries = index_.size();
    s.bytes = bytes_;
    s.held_bytes = held_bytes_;
  }
  s.hits = hits_;
  s.misses = misses_;
  s.waits = waits_;
  s.stored = stored_;
  s.evicted = evicted_;
  s.corrupt = corrupt_;
  s.write_failures = write_failures_;
  return s;
}

}  // namespace tavn::server
