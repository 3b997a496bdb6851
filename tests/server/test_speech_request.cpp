#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "server/api/api_error.h"
#include "server/api/audio_output.h"
#include "server/api/speech_request.h"
#include "server/api/voice_catalog.h"

namespace tavn::server {
namespace {

const VoiceNames kVoices = {"en", "en-us", "de", "flite:slt"};

// "voice rate pitch volume row[raw] [marks] [model=M] text-length" for a request that was read, or
// "STATUS param: message" for a refusal.
std::string read(SpeechRoute route, const std::string& body, const char* content_type = "application/json") {
  SpeechRequest r;
  ApiError e;
  if (!read_speech_request(route, content_type, body, kVoices, &r, &e))
    return std::to_string(e.status) + " " + e.param + ": " + e.message;
  std::string s = r.voice + " " + std::to_string(r.rate) + " " + std::to_string(r.pitch) + " " +
                  std::to_string(r.volume) + " " + std::to_string(r.output.row) + (r.output.raw ? "raw" : "");
  if (r.marks) s += " marks";
  if (!r.model.empty()) s += " model=" + r.model;
  return s + " " + std::to_string(r.text.size());
}

struct Case {
  std::string body, expected;  // expected: the whole summary, or the start of a refusal
};

void check(SpeechRoute route, const std::vector<Case>& cases) {
  for (const auto& c : cases) {
    const std::string got = read(route, c.body);
    EXPECT_EQ(got.substr(0, c.expected.size()), c.expected) << c.body.substr(0, 200);
  }
}

TEST(SpeechRequest, ReadsTheAudioSpeechShape) {
  const std::string big(kMaxTextBytes, 'a');
  check(SpeechRoute::kAudioSpeech,
        {
            {R"({"model":"tts-1","input":"Hello.","voice":"en"})", "en 175 50 100 30 model=tts-1 6"},
            {R"({"input":"Hi","voice":"EN-US","response_format":"wav"})", "en-us 175 50 100 4 2"},
            {R"({"input":"Hi","voice":"de","response_format":"pcm","speed":null})", "de 175 50 100 4raw 2"},
            // speed: 175 x speed, rounded, clamped to 80..450
            {R"({"input":"Hi","voice":"en","speed":0.25})", "en 80 "},
            {R"({"input":"Hi","voice":"en","speed":0.5})", "en 88 "},
            {R"({"input":"Hi","voice":"en","speed":1.2})", "en 210 "},
            {R"({"input":"Hi","voice":"en","speed":2})", "en 350 "},
            {R"({"input":"Hi","voice":"en","speed":4.0})", "en 450 "},
            {R"({"input":"Hi","voice":"en","speed":0.24})", "400 speed: 'speed' must be from 0.25 to 4"},
            {R"({"input":"Hi","voice":"en","speed":4.01})", "400 speed"},
            {R"({"input":"Hi","voice":"en","speed":"1"})", "400 speed: 'speed' must be a number"},
            {R"({"input":"Hi","voice":"en","response_format":"opus"})",
             "400 response_format: response_format 'opus' is not supported; supported: wav, mp3, pcm"},
            {R"({"input":"Hi","voice":"en","model":7})", "400 model"},
            {R"({"input":"Hi"})", "400 voice: 'voice' is required"},
            {R"({"input":"Hi","voice":"alloy"})", "400 voice: voice 'alloy' is not installed"},
            {R"({"voice":"en"})", "400 input: 'input' is required"},
            {R"({"input":["Hi"],"voice":"en"})", "400 input: 'input' must be a string"},
            {R"({"input":" \n\t\u0000","voice":"en"})", "400 input: 'input' is empty"},
            {R"({"input":")" + big + R"(","voice":"en"})", "en 175 50 100 30 65536"},
            {R"({"input":")" + big + R"(b","voice":"en"})", "413 input: 'input' is over 65536 bytes"},
            // Members it does not know are ignored, however deep.
            {R"({"input":"Hi","voice":"en","instructions":"calm","x":)" + std::string(5000, '[') +
                 std::string(5000, ']') + "}",
             "en 175 50 100 30 2"},
        });
}

TEST(SpeechRequest, ReadsTheSpeakShape) {
  check(SpeechRoute::kSpeak,
        {
            {R"({"text":"Hi."})", "en 175 50 100 4 3"},
            {R"({"text":"<speak>Hi</speak>","voice":"flite:slt","rate":80,"pitch":0,"volume":200})",
             "flite:slt 80 0 200 4 "},
            {R"({"text":"Hi","rate":450.4,"pitch":100,"volume":0})", "en 450 100 0 4 "},
            {R"({"text":"Hi","rate":79.5,"pitch":49.5})", "en 80 50 100 4 "},
            {R"({"text":"Hi","rate":79.4})", "400 rate: 'rate' must be from 80 to 450 words per minute"},
            {R"({"text":"Hi","rate":"fast"})", "400 rate: 'rate' must be a number"},
            {R"({"text":"Hi","pitch":101})", "400 pitch"},
            {R"({"text":"Hi","volume":-1})", "400 volume"},
            {R"({"text":"Hi","format":12})", "en 175 50 100 12 "},
            {R"({"text":"Hi","format":0})", "en 175 50 100 4 "},
            {R"({"text":"Hi","format":"ULAW8K1C","header":false})", "en 175 50 100 12raw "},
            {R"({"text":"Hi","format":"tts_adf_mp316k1c"})", "en 175 50 100 30 "},
            {R"({"text":"Hi","format":"17"})", "en 175 50 100 17 "},
            {R"({"text":"Hi","format":31})", "400 format: format '31' is not a row"},
            {R"({"text":"Hi","format":4.5})", "400 format"},
            {R"({"text":"Hi","format":"pcm99"})", "400 format: format 'pcm99'"},
            {R"({"text":"Hi","format":true})", "400 format: 'format' must be a row number or a row name"},
            {R"({"text":"Hi","header":"no"})", "400 header: 'header' must be true or false"},
            {R"({"text":"Hi","marks":"json"})", "en 175 50 100 4 marks "},
            {R"({"text":"Hi","marks":"xml"})", "400 marks: marks 'xml' is not supported; supported: none, json"},
            {R"({"text":"Hi","voice":"xx-)" + std::string(100, 'y') + R"("})",
             "400 voice: voice 'xx-yyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyy...' is not installed"},
            {R"({"input":"Hi"})", "400 text: 'text' is required"},
        });
}

TEST(SpeechRequest, RefusesBodiesThatAreNotAJsonObject) {
  const struct {
    std::string body, content_type, expected;
  } cases[] = {
      {R"({"text":"Hi"})", "text/plain", "415 : Content-Type must be application/json"},
      {R"({"text":"Hi"})", "", "415 "},
      {R"({"text":"Hi"})", " Application/JSON ; charset=utf-8", "en 175"},
      {"{", "application/json", "400 : the body is not valid JSON: parse error at line 1, column 2"},
      {"", "application/json", "400 : the body is not valid JSON"},
      {"[1,2]", "application/json", "400 : the body must be a JSON object"},
      {"{\"text\":\"caf\xc3\"}", "application/json", "400 : the body is not valid JSON"},         // cut UTF-8
      {"{\"text\":\"\xed\xa0\x80\"}", "application/json", "400 : the body is not valid JSON"},    // a surrogate
      {R"({"text":"\ud800"})", "application/json", "400 : the body is not valid JSON"},           // lone escape
      {R"({"text":"Hi","rate":1e999})", "application/json", "400 : the body is not valid JSON"},  // overflow
      {R"({"text":"Hi"} {"text":"Ho"})", "application/json", "400 : the body is not valid JSON"},
      {std::string(kMaxBodyBytes + 1, ' '), "application/json", "413 : the body is over"},
  };
  for (const auto& c : cases) {
    const std::string got = read(SpeechRoute::kSpeak, c.body, c.content_type.c_str());
    EXPECT_EQ(got.substr(0, c.expected.size()), c.expected) << c.body.substr(0, 100);
  }
}

TEST(SpeechRequest, EngineParamsCarryEverySetting) {
  SpeechRequest r;
  ApiError e;
  ASSERT_TRUE(read_speech_request(SpeechRoute::kSpeak, "application/json",
                                  R"({"text":"Hi","voice":"de","rate":200,"pitch":10,"volume":20})", kVoices, &r, &e));
  EXPECT_EQ(engine_params(r), "voice=de,rate=200,pitch=10,volume=20");
}

TEST(ApiError, BodyIsTheErrorObjectAndAlwaysValidJson) {
  using nlohmann::json;
  const json with_param = json::parse(bad_field("voice", "no such voice").body());
  EXPECT_EQ(with_param, json::parse(R"({"error":{"message":"no such voice","type":"invalid_request_error",
                                               "param":"voice"}})"));
  const json busy = json::parse(ApiError{503, "busy \xff\"", ""}.body());
  EXPECT_EQ(busy["error"]["type"], "server_busy");
  EXPECT_TRUE(busy["error"]["param"].is_null());
  EXPECT_EQ(busy["error"]["message"], "busy \xef\xbf\xbd\"");  // U+FFFD
  // Quoting never cuts a character in two.
  EXPECT_EQ(quote_value("\xc3\xa9\xc3\xa9\xc3\xa9", 3), "'\xc3\xa9...'");
}

TEST(AudioOutput, MediaTypesExtensionsAndRowNames) {
  const struct {
    AudioOutput out;
    const char *media_type, *extension;
    size_t header;
  } cases[] = {
      {{1, false}, "audio/wav", "wav", 44},
      {{1, true}, "application/octet-stream", "raw", 44},
      {{4, true}, "audio/pcm", "pcm", 44},
      {{9, false}, "audio/wav", "wav", 58},
      {{11, true}, "application/octet-stream", "al", 58},
      {{12, true}, "audio/basic", "ul", 58},
      {{16, true}, "application/octet-stream", "ul", 58},
      {{17, false}, "application/octet-stream", "g726", 0},
      {{22, false}, "application/octet-stream", "vox", 0},
      {{24, false}, "audio/amr", "amr", 0},
      {{26, false}, "audio/amr-wb", "awb", 0},
      {{27, true}, "audio/mpeg", "mp3", 0},
      {{31, false}, "application/octet-stream", "bin", 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.out.row);
    EXPECT_STREQ(media_type(c.out), c.media_type);
    EXPECT_STREQ(file_extension(c.out), c.extension);
    EXPECT_EQ(wave_header_length(c.out.row), c.header);
  }
  const struct {
    const char* name;
    int row;  // -1: refused
  } names[] = {{"0", 4},
               {"30", 30},
               {"05", 5},
               {"31", -1},
               {"100", -1},
               {"", -1},
               {"TTS_ADF_DEFAULT", 4},
               {"vox8k1c", 22},
               {"TTS_ADF_VOX8K1C ", -1},
               {"TTS_ADF_", -1},
               {"-1", -1}};
  for (const auto& n : names) {
    uint32_t row = 99;
    EXPECT_EQ(find_format_row(n.name, &row) ? static_cast<int>(row) : -1, n.row) << n.name;
  }
}

TEST(VoiceCatalog, ReadsTheEngineListAndAnswersWithVoicesAndFormats) {
  const auto voices = parse_voice_list(
      "en\ten\t22050\nflite:slt\ten-us\t16000\n"
      "broken line\n\tno-name\t1\nbad-rate\tde\t22k\nde\tde\t22050");  // the last without a line end
  ASSERT_EQ(voices.size(), 3u);
  EXPECT_EQ(voice_names(voices), (VoiceNames{"de", "en", "flite:slt"}));
  const auto doc = nlohmann::json::parse(voices_json(voices));
  EXPECT_EQ(doc["voices"][1],
            nlohmann::json::parse(R"({"name":"flite:slt","language":"en-us","sample_rate":16000,"backend":"flite"})"));
  EXPECT_EQ(doc["voices"][2]["backend"], "espeak-ng");
  ASSERT_EQ(doc["formats"].size(), 30u);
  EXPECT_EQ(doc["formats"][11],
            nlohmann::json::parse(R"({"row":12,"name":"ULAW8K1C","media_type":"audio/wav","extension":"wav"})"));
}

}  // namespace
}  // namespace tavn::server
