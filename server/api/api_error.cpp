#include "server/api/api_error.h"

#include <nlohmann/json.hpp>

namespace tavn::server {

const char* ApiError::type() const {
  switch (status) {
    case 400: return "invalid_request_error";
    case 401: return "authentication_error";
    case 404: return "not_found_error";
    case 405: return "method_not_allowed";
    case 413: return "request_too_large";
    case 415: return "unsupported_media_type";
    case 416: return "range_not_satisfiable";
    case 429:
    case 503: return "server_busy";
    default: return "server_error";
  }
}

std::string ApiError::body() const {
  nlohmann::json error = {{"message", message}, {"type", type()}, {"param", nullptr}};
  if (!param.empty()) error["param"] = param;
  return nlohmann::json{{"error", std::move(error)}}.dump(-1, ' ', false,
                                                          nlohmann::json::error_handler_t::replace);
}

ApiError bad_field(std::string_view param, std::string message) {
  return ApiError{400, std::move(message), std::string(param)};
}

std::string quote_value(std::string_view value, size_t limit) {
  if (value.size() <= limit) return "'" + std::string(value) + "'";
  size_t cut = limit;
  // Back up over continuation bytes (10xxxxxx) to the start of a character.
  while (cut > 0 && (static_cast<unsigned char>(value[cut]) & 0xC0) == 0x80) --cut;
  return "'" + std::string(value.substr(0, cut)) + "...'";
}

}  // namespace tavn::server
