// tavnd's readers of outside text: its options and configuration file, the
// request's engine parameters it passes on, and the bearer token.
#include <gtest/gtest.h>

#include "server/bearer_token.h"
#include "server/request_params.h"
#include "server/server_options.h"

namespace {

using namespace tavn::server;

ServerOptions build(const std::string& config, std::vector<const char*> argv, std::string* why) {
  argv.insert(argv.begin(), "tavnd");
  OptionItems file, line;
  ServerOptions o;
  if (read_config_text(config, &file, why) && read_command_line(static_cast<int>(argv.size()), argv.data(), &line, why))
    build_options(file, line, &o, why);
  return o;
}

TEST(ServerOptions, CommandLineWinsOverTheFile) {
  std::string why;
  const ServerOptions d = build("", {}, &why);
  ASSERT_EQ(d.listen.size(), 1u);
  EXPECT_EQ(d.listen[0].host, "127.0.0.1");
  EXPECT_EQ(d.listen[0].port, 7010);
  EXPECT_EQ(d.workers, 0u);

  const std::string file =
      "# tavnd\n listen = unix:/run/tavn/a.sock \nlisten=[::1]:7011\r\nworkers = 3\nqueue = 0\n"
      "read-timeout = 2.5\nallow-root = yes\ntoken-file = /etc/tavn/token\n\n";
  const ServerOptions f = build(file, {}, &why);
  ASSERT_EQ(f.listen.size(), 2u) << why;
  EXPECT_TRUE(f.listen[0].is_unix);
  EXPECT_EQ(f.listen[0].path, "/run/tavn/a.sock");
  EXPECT_EQ(f.listen[1].host, "::1");
  EXPECT_EQ(f.listen[1].port, 7011);
  EXPECT_EQ(f.workers, 3u);
  EXPECT_EQ(f.queue, 0u);
  EXPECT_EQ(f.read_timeout.count(), 2500);
  EXPECT_TRUE(f.allow_root);
  EXPECT_EQ(f.token_file, "/etc/tavn/token");

  const ServerOptions c = build(file, {"--workers=5", "--listen", "192.0.2.7:80", "--read-timeout", "0.05"}, &why);
  ASSERT_EQ(c.listen.size(), 1u);
  EXPECT_EQ(c.listen[0].host, "192.0.2.7");
  EXPECT_EQ(c.workers, 5u);
  EXPECT_EQ(c.read_timeout.count(), 50);
  EXPECT_EQ(c.token_file, "/etc/tavn/token");
}

TEST(ServerOptions, RefusesWhatItCannotRead) {
  const std::string long_path = "unix:/" + std::string(107, 'a');
  const std::pair<std::string, std::vector<const char*>> cases[] = {
      {"config = /x\n", {}},
      {"worker-fd = 3\n", {}},
      {"workers\n", {}},
      {"nonsense = 1\n", {}},
      {"", {"--queue", "-1"}},
      {"", {"--queue", "100001"}},
      {"", {"--idle-timeout", "0"}},
      {"", {"--idle-timeout", "1.2345"}},
      {"", {"--idle-timeout", "86401"}},
      {"", {"--drain-timeout", ".5"}},
      {"", {"--listen", "127.0.0.1"}},
      {"", {"--listen", "127.0.0.1:65536"}},
      {"", {"--listen", "::1:80"}},
      {"", {"--listen", long_path.c_str()}},
      {"allow-root = maybe\n", {}},
      {"", {"--audio-root", "relative"}},
  };
  for (const auto& [file, args] : cases) {
    std::string why;
    std::vector<const char*> argv;
    for (const char* a : args) argv.push_back(a);
    build(file, argv, &why);
    EXPECT_FALSE(why.empty()) << file << (args.empty() ? "" : args.back());
  }
}

TEST(ServerSideParams, TheRequestNeverNamesTheAudioFolder) {
  const struct {
    const char* params;
    const char* root;
    const char* want;
  } cases[] = {
      {"voice=en,rate=200", "", "voice=en,rate=200"},
      {"voice=en,audio_root=/etc,rate=200", "", "voice=en,rate=200"},
      {"AUDIO_ROOT=/etc voice=de", "", "voice=de"},
      {"Audio_Root=/;audio_root=/home", "/srv/audio", ",audio_root=/srv/audio"},
      {"voice=en", "/srv/audio", "voice=en,audio_root=/srv/audio"},
      {"audio_rootx=1,xaudio_root=2", "", "audio_rootx=1,xaudio_root=2"},
  };
  for (const auto& c : cases) EXPECT_EQ(server_side_params(c.params, c.root), c.want) << c.params;
  // What follows a zero byte is not read, as TTSConnect does not read it.
  EXPECT_EQ(server_side_params(std::string("voice=en\0audio_root=/etc", 24), ""), "voice=en");
}

TEST(BearerToken, MatchesOnlyTheWholeToken) {
  const std::pair<const char*, bool> cases[] = {
      {"Bearer abc123", true},
      {"Bearer abc12", false},
      {"Bearer abc1234", false},
      {"bearer abc123", false},
      {"Bearer  abc123", false},
      {"abc123", false},
      {"", false},
      {"Bearer ", false},
  };
  for (const auto& [header, ok] : cases) EXPECT_EQ(bearer_matches(header, "abc123"), ok) << header;
}

}  // namespace
