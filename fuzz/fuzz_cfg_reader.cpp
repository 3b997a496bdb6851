// Configuration reader.  Input: a key (up to the first line break) and the
// file contents (the rest).  The key is looked up in section "logger", in
// the empty section and used as a section name for a full read_config().
//
// The reader opens its file by name once per key, about 25 times per input.
// Opens of the fuzz file name are served from memory (fmemopen over the
// input), which keeps the target at several thousand inputs a second; the
// file itself exists, written once, for read_config()'s time stamp.
#include <dlfcn.h>

#include <cstdio>
#include <cstring>

#include "fuzz/fuzz_tmp.h"
#include "log/log_cfg.h"

namespace {

const std::string& cfg_path() {
  static const std::string path = fuzz_tmp_make() + "tavn.cfg";
  return path;
}

const std::string* g_body = nullptr;  // the file contents of the running input

bool trimmed(const std::string& s) {
  return s.empty() ||
         (static_cast<unsigned char>(s.front()) > 32 && static_cast<unsigned char>(s.back()) > 32);
}

}  // namespace

// Every fopen() of the process comes here (this definition takes the place
// of the C library's); reads of the fuzz file get the input's body.
extern "C" std::FILE* fopen(const char* path, const char* mode) {
  if (g_body != nullptr && !g_body->empty() && mode[0] == 'r' && cfg_path() == path)
    return fmemopen(const_cast<char*>(g_body->data()), g_body->size(), "r");
  using Fopen = std::FILE* (*)(const char*, const char*);
  static const Fopen real = reinterpret_cast<Fopen>(dlsym(RTLD_NEXT, "fopen"));
  return real(path, mode);
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  std::FILE* f = fopen(cfg_path().c_str(), "wb");
  check(f != nullptr && std::fclose(f) == 0);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string& path = cfg_path();
  const auto [key, body] = split_input(data, size);
  g_body = &body;

  for (const char* section : {static_cast<const char*>(nullptr), ""}) {
    Log_Cfg_Heap_Reg heap("logger", path.c_str());
    std::string value;
    check(heap.get_string_value(key.c_str(), value, section) == 0 && value.size() <= 400 &&
          trimmed(value));
  }
  Log_Cfg_T<Log_Cfg_Heap_Reg, Log_Cfg> cfg;
  check(cfg.read_config(key.c_str(), path.c_str()) == 0);
  check(cfg.max_size() >= 40960u && cfg.charset() <= 2u && cfg.cfg_mtime != 0);
  check(std::strcmp(cfg.cfg_file(), path.c_str()) == 0);  // absolute: kept as given
  for (const auto* list : {&cfg.include, &cfg.exclude})
    for (const std::string& item : *list)
      check(!item.empty() && item.size() <= 400 && trimmed(item));
  g_body = nullptr;
  return 0;
}
