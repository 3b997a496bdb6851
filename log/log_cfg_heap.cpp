#include "log/log_cfg_heap.h"

#include <cstdio>
#include <memory>
#include <vector>

#include "log/log_cfg_text.h"

namespace {

// One read of the file: at most kLineBuffer - 1 bytes.
constexpr int kLineBuffer = 1000;

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};

}  // namespace

Log_Cfg_Heap::Log_Cfg_Heap(const char* section, const char* file)
    : section_(section != nullptr ? section : ""), file_(file != nullptr ? file : "") {}

Log_Cfg_Heap::~Log_Cfg_Heap() = default;

Log_Cfg_Heap_Reg::Log_Cfg_Heap_Reg(const char* section, const char* file)
    : Log_Cfg_Heap(section, file) {}

Log_Cfg_Heap_Reg::~Log_Cfg_Heap_Reg() { handle_ = nullptr; }

int Log_Cfg_Heap_Reg::get_string_value(const char* key, std::string& value,
                                       const char* section) const {
  if (key == nullptr) return -1;
  std::unique_ptr<std::FILE, FileCloser> f(std::fopen(file_.c_str(), "re"));
  if (!f) return -1;

  const std::string want_key(key);
  const std::string want_section(section != nullptr ? section : section_);
  std::string current;  // lines before any header belong to the empty section
  std::vector<std::string> pieces;
  char buf[kLineBuffer];
  for (;;) {
    buf[0] = '\0';
    if (std::fgets(buf, sizeof buf, f.get()) == nullptr) break;
    std::string line(buf);
    KAVRI_LOG::trim_ctl(line);
    if (line.empty() || line[0] == '#' || line[0] == ';') continue;
    if (line.size() >= 2 && line.front() == '[' && line.back() == ']') {
      current = line.substr(1, line.size() - 2);
      continue;
    }
    if (!KAVRI_LOG::equal_ascii_nocase(current, want_section)) continue;
    pieces.clear();
    KAVRI_LOG::split_quoted(line, "=", true, pieces);
    if (!KAVRI_LOG::equal_ascii_nocase(pieces[0], want_key)) continue;
    // The first matching line decides, even without a value.
    if (pieces.size() >= 2 && !pieces[1].empty()) value = pieces[1];
    return 0;
  }
  return 0;
}
