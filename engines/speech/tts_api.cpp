// The eight engine operations of synth/kavritts.h on top of the speech back
// ends (libespeak-ng and flite), in this process or, when conn_str1 names a
// speech server, on that server (conn_str2 naming a second one).
//
// Handles are numbers from 1 upwards, kept in a registry under its own lock;
// a call holds a reference to its connection, so a TTSDisconnect or
// TTSUninitialize on another thread never frees a connection in use.  No
// exception leaves an operation.
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>

#include "engines/speech/backends/backend.h"
#include "engines/speech/connection.h"
#include "engines/speech/engine_codes.h"
#include "engines/speech/engine_params.h"
#include "engines/speech/remote/remote_connection.h"
#include "synth/kavritts.h"

namespace tavn::speech {
namespace {

struct Registry {
  std::mutex mu;
  uint32_t last_handle = 0;
  std::map<uint32_t, std::shared_ptr<EngineConnection>> connections;
};

// Never destroyed, like the back ends' state: TTSUninitialize may run
// from an exit handler.
Registry& registry() {
  static Registry* r = new Registry;
  return *r;
}

std::shared_ptr<EngineConnection> find(uint32_t handle) {
  Registry& r = registry();
  std::lock_guard<std::mutex> lock(r.mu);
  auto it = r.connections.find(handle);
  return it == r.connections.end() ? nullptr : it->second;
}

// A free handle: the next number, skipping 0 and numbers still in use.
uint32_t add(std::shared_ptr<EngineConnection> connection) {
  Registry& r = registry();
  std::lock_guard<std::mutex> lock(r.mu);
  uint32_t handle = r.last_handle;
  do {
    ++handle;
  } while (handle == 0 || r.connections.count(handle) != 0);
  r.connections.emplace(handle, std::move(connection));
  r.last_handle = handle;
  return handle;
}

uint32_t connect(TTSConnectRecord* record, uint32_t* handle) {
  if (!Backend::Running()) return ENGINE_ERR_NOT_INITIALIZED;
  EngineSettings settings;
  const size_t length = strnlen(record->params, sizeof record->params);
  const std::string_view params(record->params, length);
  if (uint32_t r = parse_engine_params(params, &settings)) return r;
  const std::string_view conn_str1(record->conn_str1,
                                   strnlen(record->conn_str1, sizeof record->conn_str1));
  const std::string_view conn_str2(record->conn_str2,
                                   strnlen(record->conn_str2, sizeof record->conn_str2));
  std::shared_ptr<EngineConnection> connection;
  if (!conn_str1.empty()) {
    if (uint32_t r = RemoteConnection::Open(conn_str1, conn_str2, params, settings, &connection))
      return r;
  } else {
    if (uint32_t r = Backend::ForVoice(settings.voice).CheckVoice(settings.voice)) return r;
    connection = std::make_shared<Connection>(settings);
  }
  *handle = add(std::move(connection));
  return 0;
}

// Runs `op`, turning an exception into a result code.
template <typename Op>
uint32_t guarded(Op op) {
  try {
    return op();
  } catch (const std::bad_alloc&) {
    return ENGINE_ERR_NO_MEMORY;
  } catch (...) {
    return ENGINE_ERR_INTERNAL;
  }
}

}  // namespace
}  // namespace tavn::speech

using namespace tavn::speech;

extern "C" {

uint32_t TTSInitialize(void) {
  return guarded([] { return Backend::InitializeAll(); });
}

uint32_t TTSUninitialize(void) {
  return guarded([] {
    std::map<uint32_t, std::shared_ptr<EngineConnection>> gone;  // freed outside the lock
    {
      Registry& r = registry();
      std::lock_guard<std::mutex> lock(r.mu);
      gone.swap(r.connections);
    }
    Backend::TerminateAll();
    return 0u;
  });
}

uint32_t TTSConnect(TTSConnectRecord* record) {
  if (record == nullptr) return 0;
  uint32_t handle = 0;
  const uint32_t r = guarded([&] { return connect(record, &handle); });
  if (r != 0) {
    record->error_code = r;
    return 0;
  }
  return handle;
}

uint32_t TTSSetSynthParam(uint32_t handle, uint32_t id, uint32_t value) {
  return guarded([&] {
    std::shared_ptr<EngineConnection> c = find(handle);
    if (!c) return ENGINE_ERR_BAD_HANDLE;
    if (id != TTS_PARAM_AUDIO_FORMAT) return ENGINE_ERR_UNKNOWN_PARAM;
    return c->set_format(value);
  });
}

uint32_t TTSGetParam(uint32_t handle, uint32_t id, void* value, uint32_t* size) {
  return guarded([&] {
    std::shared_ptr<EngineConnection> c = find(handle);
    if (!c) return ENGINE_ERR_BAD_HANDLE;
    if (id != TTS_PARAM_AUDIO_FORMAT) return ENGINE_ERR_UNKNOWN_PARAM;
    if (value == nullptr || size == nullptr) return ENGINE_ERR_NULL_ARGUMENT;
    if (*size < sizeof(uint32_t)) return ENGINE_ERR_SIZE;
    const uint32_t format = c->format();
    std::memcpy(value, &format, sizeof format);
    *size = sizeof format;
    return 0u;
  });
}

uint32_t TTSSynthText(uint32_t handle, TTSSynthRecord* record) {
  return guarded([&] {
    std::shared_ptr<EngineConnection> c = find(handle);
    if (!c) return ENGINE_ERR_BAD_HANDLE;
    if (record == nullptr) return ENGINE_ERR_NULL_ARGUMENT;
    return c->start(record);
  });
}

uint32_t TTSFetchNext(uint32_t handle, TTSSynthRecord* record) {
  return guarded([&] {
    std::shared_ptr<EngineConnection> c = find(handle);
    if (!c) return ENGINE_ERR_BAD_HANDLE;
    if (record == nullptr) return ENGINE_ERR_NULL_ARGUMENT;
    return c->next(record);
  });
}

uint32_t TTSDisconnect(uint32_t handle) {
  return guarded([&] {
    std::shared_ptr<EngineConnection> gone;  // freed after the registry's lock is released
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mu);
    auto it = r.connections.find(handle);
    if (it == r.connections.end()) return ENGINE_ERR_BAD_HANDLE;
    gone = std::move(it->second);
    r.connections.erase(it);
    return 0u;
  });
}

}  // extern "C"
