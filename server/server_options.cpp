#include "server/server_options.h"

#include <cstring>

#include "engines/speech/decimal_number.h"
#include "engines/speech/remote/server_address.h"

namespace tavn::server {
namespace {

struct OptionSpec {
  const char* name;
  bool flag;  // takes no value on the command line
};

constexpr OptionSpec kOptions[] = {
    {"listen", false},
    {"config", false},
    {"workers", false},
    {"queue", false},
    {"max-connections", false},
    {"read-timeout", false},
    {"idle-timeout", false},
    {"request-timeout", false},
    {"drain-timeout", false},
    {"token-file", false},
    {"user", false},
    {"allow-root", true},
    {"audio-root", false},
    {"log", false},
    {"cache-dir", false},
    {"cache-size", false},
    {"no-cache", true},
    {"worker-fd", false},
    {"list-voices", true},
    {"help", true},
};
// Not read from the configuration file.
constexpr const char* kCommandLineOnly[] = {"config", "worker-fd", "list-voices", "help"};

const OptionSpec* find_option(std::string_view name) {
  for (const OptionSpec& o : kOptions) {
    if (name == o.name) return &o;
  }
  return nullptr;
}

std::string_view trim(std::string_view s) {
  const char* blanks = " \t\r\n";
  const size_t b = s.find_first_not_of(blanks);
  if (b == std::string_view::npos) return {};
  return s.substr(b, s.find_last_not_of(blanks) - b + 1);
}

// Seconds with up to three decimals, e.g. "10", "0.5"; at most one day.
bool read_seconds(std::string_view s, Millis* out) {
  const size_t dot = s.find('.');
  uint64_t whole = 0, frac = 0;
  if (!speech::read_decimal(s.substr(0, dot), 86'400, &whole)) return false;
  if (dot != std::string_view::npos) {
    const std::string_view f = s.substr(dot + 1);
    if (f.empty() || f.size() > 3 || !speech::read_decimal(f, 999, &frac)) return false;
    for (size_t i = f.size(); i < 3; ++i) frac *= 10;
  }
  const uint64_t ms = whole * 1000 + frac;
  if (ms == 0 || ms > 86'400'000) return false;
  *out = Millis(ms);
  return true;
}

bool read_flag(std::string_view s, bool* out) {
  for (const char* yes : {"true", "yes", "1", "on"}) {
    if (s == yes) return *out = true;
  }
  for (const char* no : {"false", "no", "0", "off"}) {
    if (s == no) return !(*out = false);
  }
  return false;
}

// Applies one item; listen items are appended.
bool apply(const OptionItem& item, ServerOptions* o, std::string* why) {
  const std::string& k = item.key;
  const std::string& v = item.value;
  uint64_t n = 0;
  bool ok = true;
  const char* expect = "";
  if (k == "listen") {
    ListenAddress a;
    if (!parse_listen_address(v, &a, why)) return false;
    o->listen.push_back(a);
  } else if (k == "config") {
    o->config_file = v;
  } else if (k == "workers") {
    ok = speech::read_decimal(v, 256, &n) && n > 0, expect = "a number from 1 to 256";
    o->workers = static_cast<unsigned>(n);
  } else if (k == "queue") {
    ok = speech::read_decimal(v, 100'000, &n), expect = "a number from 0 to 100000";
    o->queue = n;
  } else if (k == "max-connections") {
    ok = speech::read_decimal(v, 100'000, &n) && n > 0, expect = "a number from 1 to 100000";
    o->max_connections = n;
  } else if (k == "read-timeout" || k == "idle-timeout" || k == "request-timeout" ||
             k == "drain-timeout") {
    Millis* m = k == "read-timeout"      ? &o->read_timeout
                : k == "idle-timeout"    ? &o->idle_timeout
                : k == "request-timeout" ? &o->request_timeout
                                         : &o->drain_timeout;
    ok = read_seconds(v, m), expect = "seconds, more than 0 and at most 86400 (e.g. 2.5)";
  } else if (k == "cache-size") {
    ok = speech::read_decimal(v, 1'048'576, &n) && n > 0, expect = "MiB, from 1 to 1048576";
    o->cache_mib = n;
  } else if (k == "no-cache") {
    ok = read_flag(v, &o->no_cache), expect = "true or false";
  } else if (k == "list-voices") {
    o->list_voices = true;
  } else if (k == "token-file" || k == "user" || k == "audio-root" || k == "log" ||
             k == "cache-dir") {
    std::string* s = k == "token-file"  ? &o->token_file
                     : k == "user"      ? &o->user
                     : k == "log"       ? &o->log_file
                     : k == "cache-dir" ? &o->cache_dir
                                        : &o->audio_root;
    *s = v;
    // The audio folder travels to the engine inside its parameter string,
    // where blanks, commas and semicolons separate items.
    if (k == "audio-root") {
      ok = v.empty() || (v[0] == '/' && v.find_first_of(" \t\r\n\f\v,;") == std::string::npos);
      expect = "an absolute path without blanks, commas or semicolons";
    }
  } else if (k == "allow-root") {
    ok = read_flag(v, &o->allow_root), expect = "true or false";
  } else if (k == "worker-fd") {
    ok = speech::read_decimal(v, 65'535, &n), expect = "a descriptor number";
    o->worker_fd = static_cast<int>(n);
  } else if (k == "help") {
    o->help = true;
  }
  if (!ok) *why = "--" + k + " " + v + ": expected " + expect;
  return ok;
}

}  // namespace

bool parse_listen_address(std::string_view text, ListenAddress* out, std::string* why) {
  speech::ServerAddress parsed;
  if (!speech::parse_server_address(text, &parsed, /*port_zero=*/true)) {
    *why = "--listen " + std::string(text) +
           ": expected unix:/PATH (at most 107 bytes), IPV4:PORT or [IPV6]:PORT (a numeric "
           "address or localhost; port 0 picks a free one)";
    return false;
  }
  out->is_unix = parsed.is_unix;
  out->path = std::move(parsed.path);
  out->host = std::move(parsed.host);
  out->port = parsed.port;
  out->text.assign(text.data(), text.size());
  return true;
}

bool read_command_line(int argc, const char* const* argv, OptionItems* out, std::string* why) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view arg = argv[i];
    if (arg.rfind("--", 0) != 0 || arg.size() == 2) {
      *why = "unexpected argument: " + std::string(arg) + " (options start with --)";
      return false;
    }
    const size_t eq = arg.find('=');
    const std::string name(arg.substr(2, eq == std::string_view::npos ? arg.npos : eq - 2));
    const OptionSpec* option = find_option(name);
    if (option == nullptr) {
      *why = "unknown option: --" + name;
      return false;
    }
    OptionItem item{name, "true"};
    if (eq != std::string_view::npos) {
      if (option->flag) {
        *why = "--" + name + " takes no value";
        return false;
      }
      item.value = std::string(arg.substr(eq + 1));
    } else if (!option->flag) {
      if (i + 1 >= argc) {
        *why = "--" + name + " needs a value";
        return false;
      }
      item.value = argv[++i];
    }
    out->push_back(std::move(item));
  }
  return true;
}

bool read_config_text(std::string_view text, OptionItems* out, std::string* why) {
  size_t line_no = 0;
  while (!text.empty()) {
    ++line_no;
    const size_t nl = text.find('\n');
    std::string_view line = text.substr(0, nl);
    text = nl == std::string_view::npos ? std::string_view() : text.substr(nl + 1);
    line = trim(line);
    if (line.empty() || line[0] == '#') continue;
    const std::string where = "line " + std::to_string(line_no) + ": ";
    const size_t eq = line.find('=');
    if (eq == std::string_view::npos) {
      *why = where + "expected key = value";
      return false;
    }
    const std::string key(trim(line.substr(0, eq)));
    bool command_line_only = false;
    for (const char* c : kCommandLineOnly) command_line_only |= key == c;
    if (find_option(key) == nullptr || command_line_only) {
      *why = where + "unknown key '" + key + "'";
      return false;
    }
    out->push_back({key, std::string(trim(line.substr(eq + 1)))});
  }
  return true;
}

bool build_options(const OptionItems& config, const OptionItems& command_line, ServerOptions* out,
                   std::string* why) {
  ServerOptions o;
  bool listen_on_command_line = false;
  for (const OptionItem& item : command_line) listen_on_command_line |= item.key == "listen";
  for (const OptionItem& item : config) {
    if (item.key == "listen" && listen_on_command_line) continue;
    if (!apply(item, &o, why)) return false;
  }
  for (const OptionItem& item : command_line) {
    if (!apply(item, &o, why)) return false;
  }
  if (o.listen.empty()) {
    ListenAddress a;
    parse_listen_address(kDefaultListen, &a, why);
    o.listen.push_back(a);
  }
  *out = o;
  return true;
}

const char* usage_text() {
  return "Usage: tavnd [OPTION]...\n"
         "Speaks over HTTP/1.1 on a pool of worker processes: the speech engine's wire\n"
         "format (POST /v1/engine), JSON (POST /v1/audio/speech, /v1/speak) and a page\n"
         "to listen at /.\n"
         "\n"
         "  --listen ADDRESS        unix:/PATH, IPV4:PORT or [IPV6]:PORT; repeatable\n"
         "                          (default 127.0.0.1:7010; other hosts only when named)\n"
         "  --config FILE           read \"key = value\" lines (same names, no --);\n"
         "                          the command line wins; SIGHUP reads it again\n"
         "  --workers N             worker processes, 1 to 256 (default: one per core)\n"
         "  --queue N               requests that may wait for a worker (default 64);\n"
         "                          beyond that: 503 with Retry-After\n"
         "  --max-connections N     open connections at most (default 256)\n"
         "  --read-timeout SECONDS  to read a request once it has begun (default 10)\n"
         "  --idle-timeout SECONDS  a connection waiting for a request, or a client not\n"
         "                          taking the answer (default 60)\n"
         "  --request-timeout SECONDS  a worker rendering one request longer is killed\n"
         "                          and replaced (default 300)\n"
         "  --drain-timeout SECONDS on SIGTERM, how long running requests may finish\n"
         "                          (default 30)\n"
         "  --token-file FILE       require \"Authorization: Bearer TOKEN\" on every route\n"
         "                          (the file's first line)\n"
         "  --user NAME             started as root: run as this user once bound\n"
         "  --allow-root            run as root without --user\n"
         "  --audio-root DIR        the one folder the engine may read audio files from\n"
         "                          (requests cannot name another)\n"
         "  --log FILE              log here instead of standard error (reopened on SIGHUP)\n"
         "  --cache-dir DIR         keep spoken answers here (default: $CACHE_DIRECTORY,\n"
         "                          $XDG_CACHE_HOME/tavnd or ~/.cache/tavnd)\n"
         "  --cache-size MIB        the cache's size limit (default 256)\n"
         "  --no-cache              keep no spoken answers\n"
         "  --list-voices           print the installed voices (name, language, rate) and exit\n"
         "  --help                  show this text\n"
         "\n"
         "Exit status: 0 after SIGTERM, 1 when the server cannot start, 2 for bad options.\n";
}

}  // namespace tavn::server
