#include "server/api/speech_request.h"

#include <strings.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

namespace tavn::server {
namespace {

using nlohmann::json;

constexpr int kBaseRate = 175, kMinRate = 80, kMaxRate = 450;

// Reads the members of one request, stopping at the first fault.
class FieldReader {
 public:
  FieldReader(const json& object, ApiError* error) : object_(object), error_(error) {}

  // The member `name`, or nullptr when absent (a null value counts as absent).
  const json* find(const char* name) const {
    const auto it = object_.find(name);
    return it == object_.end() || it->is_null() ? nullptr : &*it;
  }

  bool string(const char* name, bool required, std::string* out) {
    const json* v = find(name);
    if (v == nullptr) return !required || fail(name, std::string("'") + name + "' is required");
    if (!v->is_string()) return fail(name, std::string("'") + name + "' must be a string");
    *out = v->get<std::string>();
    return true;
  }

  // A number within [low, high]; absent leaves `*out` alone.
  bool number(const char* name, double low, double high, const char* unit, double* out) {
    return number_near(name, low, high, 0, unit, out);
  }

  // A number that rounds to a whole one within [low, high].
  bool whole_number(const char* name, int low, int high, const char* unit, int* out) {
    double x = *out;
    if (!number_near(name, low, high, 0.5, unit, &x)) return false;
    *out = std::clamp(static_cast<int>(std::lround(x)), low, high);
    return true;
  }

  bool boolean(const char* name, bool* out) {
    const json* v = find(name);
    if (v == nullptr) return true;
    if (!v->is_boolean()) return fail(name, std::string("'") + name + "' must be true or false");
    *out = v->get<bool>();
    return true;
  }

  bool fail(std::string_view param, std::string message, int status = 400) {
    *error_ = ApiError{status, std::move(message), std::string(param)};
    return false;
  }

 private:
  // A number within [low - slack, high + slack) (or up to high when slack is 0).
  bool number_near(const char* name, double low, double high, double slack, const char* unit,
                   double* out) {
    const json* v = find(name);
    if (v == nullptr) return true;
    if (!v->is_number()) return fail(name, std::string("'") + name + "' must be a number");
    const double x = v->get<double>();
    const bool inside = slack == 0 ? x >= low && x <= high : x >= low - slack && x < high + slack;
    if (!inside) {
      return fail(name, std::string("'") + name + "' must be from " + shown(low) + " to " +
                            shown(high) + unit);
    }
    *out = x;
    return true;
  }

  static std::string shown(double x) {
    std::string s = std::to_string(x);
    s.erase(s.find_last_not_of('0') + 1);
    if (s.back() == '.') s.pop_back();
    return s;
  }

  const json& object_;
  ApiError* error_;
};

bool is_blank(std::string_view text) {
  return text.find_first_not_of(std::string_view(" \t\n\r\v\f\0", 7)) == std::string_view::npos;
}

bool read_text(FieldReader& r, const char* name, std::string* out) {
  if (!r.string(name, true, out)) return false;
  if (out->size() > kMaxTextBytes) {
    return r.fail(name,
                  std::string("'") + name + "' is over " + std::to_string(kMaxTextBytes) + " bytes",
                  413);
  }
  if (is_blank(*out)) return r.fail(name, std::string("'") + name + "' is empty");
  return true;
}

bool read_voice(FieldReader& r, const VoiceNames& voices, bool required, std::string* voice) {
  if (!r.string("voice", required, voice)) return false;
  if (voices.count(*voice) != 0) return true;
  const auto it = std::find_if(voices.begin(), voices.end(), [&](const std::string& name) {
    return name.size() == voice->size() &&
           strncasecmp(name.data(), voice->data(), name.size()) == 0;
  });
  if (it != voices.end()) {
    *voice = *it;
    return true;
  }
  return r.fail("voice", "voice " + quote_value(*voice) +
                             " is not installed; GET /v1/voices lists the installed voices");
}

bool read_audio_speech(FieldReader& r, const VoiceNames& voices, SpeechRequest* out) {
  if (!read_text(r, "input", &out->text) || !read_voice(r, voices, true, &out->voice) ||
      !r.string("model", false, &out->model)) {
    return false;
  }
  std::string format = "mp3";
  if (!r.string("response_format", false, &format)) return false;
  if (format == "mp3") {
    out->output = AudioOutput{30, false};
  } else if (format == "wav") {
    out->output = AudioOutput{4, false};
  } else if (format == "pcm") {
    out->output = AudioOutput{4, true};
  } else {
    return r.fail("response_format", "response_format " + quote_value(format) +
                                         " is not supported; supported: wav, mp3, pcm");
  }
  double speed = 1.0;
  if (!r.number("speed", 0.25, 4.0, "", &speed)) return false;
  out->rate = std::clamp(static_cast<int>(std::lround(kBaseRate * speed)), kMinRate, kMaxRate);
  return true;
}

bool read_speak(FieldReader& r, const VoiceNames& voices, SpeechRequest* out) {
  out->voice = "en";
  if (!read_text(r, "text", &out->text) || !read_voice(r, voices, false, &out->voice) ||
      !r.whole_number("rate", kMinRate, kMaxRate, " words per minute", &out->rate) ||
      !r.whole_number("pitch", 0, 100, "", &out->pitch) ||
      !r.whole_number("volume", 0, 200, "", &out->volume)) {
    return false;
  }
  if (const json* f = r.find("format")) {
    std::string name;
    if (f->is_number()) {
      const double x = f->get<double>();
      if (x >= 0 && x <= kLastRow && x == std::floor(x)) name = std::to_string(static_cast<int>(x));
    } else if (f->is_string()) {
      name = f->get<std::string>();
    } else {
      return r.fail("format", "'format' must be a row number or a row name");
    }
    if (!find_format_row(name, &out->output.row)) {
      return r.fail("format", "format " + quote_value(f->is_string() ? name : f->dump()) +
                                  " is not a row of the audio format table (0 to 30, or a name "
                                  "such as TTS_ADF_PCM16K16B1C)");
    }
  }
  bool header = true;
  if (!r.boolean("header", &header)) return false;
  out->output.raw = !header;
  std::string marks = "none";
  if (!r.string("marks", false, &marks)) return false;
  if (marks != "none" && marks != "json") {
    return r.fail("marks",
                  "marks " + quote_value(marks) + " is not supported; supported: none, json");
  }
  out->marks = marks == "json";
  return true;
}

// Builds the document as the library's own reader does, but keeps the
// message of a syntax error instead of throwing it: bad input is common
// here, and an exception per request costs more than the whole parse.
class DocumentReader : public nlohmann::detail::json_sax_dom_parser<json> {
 public:
  explicit DocumentReader(json& doc) : json_sax_dom_parser(doc, false) {}

  template <class Exception>
  bool parse_error(size_t, const std::string&, const Exception& e) {
    // The parser's own words without their "[json.exception...] " prefix.
    std::string what = e.what();
    const size_t end = what.find("] ");
    if (what.rfind("[json.exception", 0) == 0 && end != std::string::npos) what.erase(0, end + 2);
    failure = "the body is not valid JSON: " + what;
    return false;
  }

  std::string failure;
};

}  // namespace

bool is_json_content_type(std::string_view content_type) {
  constexpr std::string_view kJson = "application/json";
  const size_t end = std::min(content_type.find(';'), content_type.size());
  std::string_view type = content_type.substr(0, end);
  while (!type.empty() && (type.back() == ' ' || type.back() == '\t')) type.remove_suffix(1);
  while (!type.empty() && (type.front() == ' ' || type.front() == '\t')) type.remove_prefix(1);
  return type.size() == kJson.size() && strncasecmp(type.data(), kJson.data(), kJson.size()) == 0;
}

bool read_speech_request(SpeechRoute route, std::string_view content_type, std::string_view body,
                         const VoiceNames& voices, SpeechRequest* out, ApiError* error) {
  if (!is_json_content_type(content_type)) {
    *error = ApiError{415, "Content-Type must be application/json", ""};
    return false;
  }
  if (body.size() > kMaxBodyBytes) {
    *error = ApiError{413, "the body is over " + std::to_string(kMaxBodyBytes) + " bytes", ""};
    return false;
  }
  json doc;
  DocumentReader reader(doc);
  if (!json::sax_parse(body, &reader)) {
    *error = ApiError{400, reader.failure, ""};
    return false;
  }
  if (!doc.is_object()) {
    *error = ApiError{400, "the body must be a JSON object", ""};
    return false;
  }
  *out = SpeechRequest{};
  FieldReader fields(doc, error);
  return route == SpeechRoute::kAudioSpeech ? read_audio_speech(fields, voices, out)
                                            : read_speak(fields, voices, out);
}

std::string engine_params(const SpeechRequest& request) {
  return "voice=" + request.voice + ",rate=" + std::to_string(request.rate) +
         ",pitch=" + std::to_string(request.pitch) + ",volume=" + std::to_string(request.volume);
}

}  // namespace tavn::server
