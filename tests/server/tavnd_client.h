// What tests and benchmarks need to drive tavnd: a small blocking HTTP/1.1
// client (Boost.Beast) on a Unix socket or TCP, and tavnd itself started as
// a child process on a private socket.
//
// A TavndClient is used by one thread at a time; a TavndProcess by the
// thread that made it.
#ifndef TAVN_TESTS_SERVER_TAVND_CLIENT_H_
#define TAVN_TESTS_SERVER_TAVND_CLIENT_H_

#include <sys/types.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "engines/speech/remote/wire_format.h"

namespace tavn::test {

namespace wire = tavn::speech::wire;

struct Reply {
  int status = 0;                             // 0: no answer (connection failed or closed)
  std::map<std::string, std::string> fields;  // names in lower case
  std::string body;
  std::string error;  // why there is no answer

  // The value of the field `name` (lower case), or "".
  std::string field(const std::string& name) const {
    auto it = fields.find(name);
    return it == fields.end() ? "" : it->second;
  }
};

// An engine reply's frames: false with `*why` when the body is malformed.
bool read_frames(const std::string& body, std::vector<wire::Frame>* out, std::string* why);

class TavndClient {
 public:
  // `address`: "unix:/path" or "HOST:PORT".  Keeps one connection open
  // between requests; each call waits at most `timeout`.
  explicit TavndClient(std::string address, std::chrono::milliseconds timeout = std::chrono::seconds(60));
  ~TavndClient();

  // `method` `target` with `fields` ("Name: value" each) and `body`.
  Reply send(const std::string& method, const std::string& target, const std::vector<std::string>& fields = {},
             const std::string& body = "");

  // POST /v1/engine with the encoded request, "Tavn-Wire: 1" and, when
  // given, the bearer token.
  Reply engine(const wire::Request& request, const std::string& token = "");

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

class TavndProcess {
 public:
  // Starts tavnd (TAVND_PATH) listening on a Unix socket in `folder`, with
  // --allow-root, its log in `folder`/tavnd.log and `args`; waits until
  // it answers /healthz (false from started() after 20 s).
  TavndProcess(const std::string& folder, const std::vector<std::string>& args);
  ~TavndProcess();  // SIGKILL if still running

  bool started() const { return started_; }
  pid_t pid() const { return pid_; }
  const std::string& address() const { return address_; }  // "unix:..."
  std::string log() const;
  std::vector<pid_t> workers() const;  // its children now

  // Sends `signal` and waits up to `wait` for the exit: the exit status, or
  // -1 when it did not end (it is then killed).
  int stop(int signal, std::chrono::milliseconds wait = std::chrono::seconds(30));

 private:
  pid_t pid_ = -1;
  bool started_ = false;
  std::string address_, log_;
};

// Waits up to `wait` for `/healthz` at `address` to hold `text`.
bool wait_for_health(const std::string& address, const std::string& text,
                     std::chrono::milliseconds wait = std::chrono::seconds(20), const std::string& token = "");

}  // namespace tavn::test

#endif  // TAVN_TESTS_SERVER_TAVND_CLIENT_H_
