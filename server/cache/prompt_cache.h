// The prompt cache: finished answers on disk, one file per request key,
// under one folder with a size limit and least-recently-used eviction.
//
// Memory holds the index (key hash, size and recency of each entry, about
// 100 bytes each, at most Options::max_entries of them) and, up to
// Options::memory_bytes, the answers most recently served, as they were
// when their check passed (bodies up to 1 MiB), so a prompt asked for all
// day is read and checked once; the rest of the audio stays on disk.  The index is rebuilt from the
// folder when the cache is opened, ordered by the files' modification times, which a hit refreshes
// (at most once a minute per entry), so recency survives a restart.
//
// Every read from disk checks the entry: its length and its XXH3-64
// checksum, and that its stored key material is the request's.  A
// truncated, corrupt or foreign entry is deleted and reported as a miss,
// never served.  An answer held in memory was checked when it was read and
// is served as it was then, until its entry leaves the index.
//
// Writing: an entry is written under a temporary name ("*.tmp", removed
// when the cache is opened) and renamed to its real name only when
// complete, so a crash never leaves half an entry under a real name.  A
// failed write (a full disk: ENOSPC, or any other error) or an entry over
// Options::max_entry_bytes only means that this answer is not stored: the
// request carries on without the cache.
//
// Single flight: when find() misses, the first caller gets a Writer and
// renders; callers asking for the same key meanwhile get the Flight of that
// rendering and wait for it (blocking, or with a callback), then call
// find() again and read the stored entry.  If the rendering stored nothing
// (it failed, the entry was too large, the disk was full),
// Flight::stored() is false and each waiter renders for itself without the
// cache.
//
// One process per folder: open() takes an exclusive lock on "<dir>/.lock".
//
// Thread safety: every member of PromptCache may be called from any
// thread.  An Entry or a Writer belongs to one thread at a time; both must
// be destroyed before the cache.
#ifndef TAVN_SERVER_CACHE_PROMPT_CACHE_H_
#define TAVN_SERVER_CACHE_PROMPT_CACHE_H_

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "server/cache/cache_key.h"

namespace tavn::server {

class PromptCache {
 public:
  struct Options {
    std::string dir;                      // made if missing
    uint64_t max_bytes = 256ull << 20;    // sum of the entries' file sizes
    uint64_t max_entries = 100000;        // bounds the index's memory
    uint64_t max_entry_bytes = 0;         // 0: max_bytes / 8
    uint64_t memory_bytes = 32ull << 20;  // checked answers held in memory; 0: none
  };

  // An answer held in memory: shared by the entries served from it.
  struct HeldAnswer {
    std::string material, body, meta;
  };

  struct Stats {
    uint64_t hits = 0;            // find() served an entry
    uint64_t misses = 0;          // find() gave a Writer: the caller renders
    uint64_t waits = 0;           // find() gave a Flight: the caller waits
    uint64_t entries = 0;         // now in the index
    uint64_t bytes = 0;           // their file sizes
    uint64_t held_bytes = 0;      // answers held in memory (at most Options::memory_bytes)
    uint64_t stored = 0;          // entries written since open
    uint64_t evicted = 0;         // removed to keep within the limits
    uint64_t corrupt = 0;         // found damaged on read and removed
    uint64_t write_failures = 0;  // entries not stored: write error or too large
  };

  // An entry that was found and checked.  The file stays open, so the
  // body can be read even if the entry is evicted meanwhile.
  class Entry {
   public:
    ~Entry();
    Entry(const Entry&) = delete;
    Entry& operator=(const Entry&) = delete;

    uint64_t size() const { return body_length_; }
    const std::string& meta() const { return meta_; }
    // Up to `n` body bytes from `offset` into `*out` (replacing its
    // contents); false on a read error.  An offset at or past the end
    // gives an empty `*out`.
    bool read(uint64_t offset, size_t n, std::string* out) const;
    // The whole body into `*out`, moved rather than copied when the check
    // kept it in memory (the entry's own copy is then gone: later reads
    // come from the file).  False on a read error.
    bool take_body(std::string* out);

   private:
    friend class PromptCache;
    Entry() = default;
    int fd_ = -1;
    uint64_t body_offset_ = 0, body_length_ = 0;
    bool in_memory_ = false;  // small bodies are kept from the check's read
    std::string body_;
    std::string meta_;
    std::string material_;                    // the stored key material, once checked
    std::shared_ptr<const HeldAnswer> held_;  // set when served from memory
  };

  // The rendering of one key, for those who wait on it.
  class Flight {
   public:
    // Blocks until the rendering ended or `timeout` passed; true when it ended.
    bool wait_for(std::chrono::milliseconds timeout);
    // Calls `done` once the rendering ends, on the thread that ends it (or
    // on this thread at once when it already has).  `done` must not block.
    void on_done(std::function<void()> done);
    // True when the rendering ended with the entry stored (find() will
    // then most likely hit).
    bool stored() const;

   private:
    friend class PromptCache;
    void finish(bool stored);
    mutable std::mutex mutex_;
    std::condition_variable cv_;
    bool done_ = false, stored_ = false;
    std::vector<std::function<void()>> callbacks_;
  };

  // The caller renders the answer and writes it here as it goes.
  class Writer {
   public:
    ~Writer();  // without commit(): nothing is stored, waiters are told
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    // Appends body bytes.  False once the entry will not be stored (a
    // write failed, or it grew over max_entry_bytes); further calls do
    // nothing.  The request goes on regardless.
    bool append(const void* data, size_t n);
    // Replaces body bytes already appended (e.g. a WAVE header's sizes,
    // known only at the end).  False as append, or for a range past the
    // body's end.
    bool overwrite(uint64_t offset, const void* data, size_t n);
    // Finishes the entry with `meta` and makes it visible.  True when stored.
    bool commit(std::string_view meta);

   private:
    friend class PromptCache;
    explicit Writer(PromptCache* cache);
    void drop(bool failure);
    PromptCache* cache_;
    CacheKey key_;
    std::shared_ptr<Flight> flight_;
    std::string tmp_path_;
    int fd_ = -1;
    uint64_t body_length_ = 0;
    bool rewritten_ = false;  // overwrite() was used: checksum by reading back
    bool ended_ = false;
    uint64_t limit_ = 0;
    struct HashState;
    std::unique_ptr<HashState> hash_;
  };

  struct Lookup {
    enum Kind { kHit, kRender, kWait } kind = kRender;
    std::unique_ptr<Entry> entry;    // kHit
    std::unique_ptr<Writer> writer;  // kRender
    std::shared_ptr<Flight> flight;  // kWait
  };

  // Opens (or makes) the folder, removes leftover temporaries, indexes the
  // entries and evicts down to the limits.  Null with `*why` set when the
  // folder cannot be made, read or locked.
  static std::unique_ptr<PromptCache> open(const Options& options, std::string* why);
  ~PromptCache();

  // kHit with the checked entry; kWait while another caller renders this
  // key; otherwise kRender with the Writer for this key.
  Lookup find(const CacheKey& key);

  // The entry whose name is `name` (CacheKey::hex(), 32 lowercase hex
  // digits), checked as find() checks it but without a request to compare
  // with: for serving an answer again by the address given out with its
  // marks.  Null when there is none (or it was damaged: then removed);
  // never starts a rendering.
  std::unique_ptr<Entry> find_by_name(std::string_view name);

  Stats stats() const;
  const Options& options() const { return options_; }

 private:
  struct Hash128 {
    uint64_t high, low;
    bool operator==(const Hash128& o) const { return high == o.high && low == o.low; }
  };
  struct Hash128Hasher {
    size_t operator()(const Hash128& h) const { return static_cast<size_t>(h.low); }
  };
  struct Indexed {
    uint64_t bytes;
    int64_t touched;  // when its file's time was last set (steady seconds)
    std::list<Hash128>::iterator lru;
  };
  // A checked answer held in memory.
  struct Held {
    std::shared_ptr<const HeldAnswer> answer;
    uint64_t bytes;
    std::list<Hash128>::iterator lru;
  };

  explicit PromptCache(const Options& options) : options_(options) {}
  bool scan(std::string* why);
  std::string path_of(const Hash128& h) const;
  // The checked entry (its key material equal to `*material` unless that is
  // null), or null with `*fault` ENOENT (no file) or EBADMSG (damaged or
  // foreign) and `*inode` the file that was read.
  std::unique_ptr<Entry> read_entry(const Hash128& h, const std::string* material, int* fault,
                                    ino_t* inode) const;
  void note_hit(const Hash128& h, const Entry& entry);
  // An entry served from memory (its key material equal to `*material`
  // unless that is null), or null.
  std::unique_ptr<Entry> held_entry(const Hash128& h, const std::string* material);
  // Keeps a copy of `entry`, just checked, in memory when it is small enough.
  void hold(const Hash128& h, const Entry& entry);
  void drop_held_locked(const Hash128& h);
  void add_locked(const Hash128& h, uint64_t bytes, int64_t touched);
  void remove_locked(Hash128 h, bool unlink_file);  // by value: `h` may live in lru_
  void evict_locked();
  // Takes out of the index an entry whose file `inode` was missing or damaged.
  void forget(const Hash128& h, ino_t inode, bool corrupt);
  void finish_flight(const Hash128& h, bool stored);
  void store(Writer* writer, uint64_t file_bytes);

  Options options_;
  int lock_fd_ = -1;
  mutable std::mutex mutex_;
  std::unordered_map<Hash128, Indexed, Hash128Hasher> index_;
  std::list<Hash128> lru_;  // front: most recently used
  std::unordered_map<Hash128, Held, Hash128Hasher> held_;
  std::list<Hash128> held_lru_;  // front: most recently served
  uint64_t held_bytes_ = 0;
  std::unordered_map<Hash128, std::shared_ptr<Flight>, Hash128Hasher> flights_;
  uint64_t bytes_ = 0;
  std::atomic<uint64_t> tmp_counter_{0};
  std::atomic<uint64_t> hits_{0}, misses_{0}, waits_{0}, stored_{0}, evicted_{0}, corrupt_{0},
      write_failures_{0};
};

}  // namespace tavn::server

#endif  // TAVN_SERVER_CACHE_PROMPT_CACHE_H_
