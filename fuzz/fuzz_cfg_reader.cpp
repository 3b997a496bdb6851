// Configuration reader.  Input: a key (up to the first line break) and the
// file contents (the rest).  The key is looked up in section "logger", in
// the empty section and used as a section name for a full read_config().
#include <cstdio>
#include <cstring>

#include "fuzz/fuzz_tmp.h"
#include "log/log_cfg.h"

namespace {

bool trimmed(const std::string& s) {
  return s.empty() ||
         (static_cast<unsigned char>(s.front()) > 32 && static_cast<unsigned char>(s.back()) > 32);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string path = fuzz_tmp_make() + "tavn.cfg";
  const auto [key, body] = split_input(data, size);
  std::FILE* f = std::fopen(path.c_str(), "wb");
  check(f != nullptr);
  std::fwrite(body.data(), 1, body.size(), f);
  std::fclose(f);

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
  return 0;
}
