// Configuration reader.  Input: a key (up to the first line break) and the
// file contents (the rest).  The key is looked up in section "logger", in
// the empty section and used as a section name for a full read_config().
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fuzz/fuzz_tmp.h"
#include "log/log_cfg.h"

namespace {

using Cfg = Log_Cfg_T<Log_Cfg_Heap_Reg, Log_Cfg>;

std::string g_path;

void check(bool ok) {
  if (!ok) abort();
}

bool trimmed(const std::string& s) {
  return s.empty() || (static_cast<unsigned char>(s.front()) > 32 &&
                       static_cast<unsigned char>(s.back()) > 32);
}

void lookup(const std::string& key, const char* section) {
  Log_Cfg_Heap_Reg heap("logger", g_path.c_str());
  std::string value;
  check(heap.get_string_value(key.c_str(), value, section) == 0);
  check(value.size() <= 400 && trimmed(value));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  g_path = fuzz_tmp_make() + "tavn.cfg";
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const char* text = reinterpret_cast<const char*>(data);
  const void* nl = std::memchr(text, '\n', size);
  const size_t key_len = nl != nullptr ? static_cast<const char*>(nl) - text : 0;
  const std::string key(text, key_len);
  const size_t body = nl != nullptr ? key_len + 1 : 0;

  std::FILE* f = std::fopen(g_path.c_str(), "wb");
  if (f == nullptr) abort();
  std::fwrite(text + body, 1, size - body, f);
  std::fclose(f);

  lookup(key, nullptr);
  lookup(key, "");

  Cfg cfg;
  check(cfg.read_config(key.c_str(), g_path.c_str()) == 0);
  check(cfg.max_size() >= 40960u);
  check(cfg.charset() <= 2u);
  check(cfg.cfg_mtime != 0);
  check(std::strcmp(cfg.cfg_file(), g_path.c_str()) == 0);  // absolute: kept as given
  for (const auto* list : {&cfg.include, &cfg.exclude}) {
    for (const std::string& item : *list) check(!item.empty() && item.size() <= 400 && trimmed(item));
  }
  return 0;
}
