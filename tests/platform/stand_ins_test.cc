// The stand-ins of the platform's libraries: what firmware library and board query make of the settings, what syslog
// makes of a message, which may be a text or a number, and the message layer's requests and replies.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <syslog.h>

#include "platform/board/board.h"
#include "platform/firmware/melskfw.h"
#include "platform/message/mesvo.h"
#include "platform/syslog/tolm_syslog.h"
#include "tests/common/appliance.h"
#include "tests/common/log_capture.h"
#include "tests/notify/service.h"

namespace coupler::test {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;

using PlatformFirmwareTest = ApplianceTest;

TEST_F(PlatformFirmwareTest, SettingsAreReadAsAPersonWritesThemAndMistakesToldOnce) {
  const std::tuple<std::string, int, std::string> rows[] = {
      {"\tboard_type=1 \r\n", 1, ""},
      {"# board_type = 3\n# bord = 1\n", 2, ""},
      {"board_type = 1\n\nboard_type = 3", 3, ""},
      {"board_type = x\nboard_type = seven\n", 2, "board_type = seven is no number"},
      {"board_type = 3x\n", 3, "board_type = 3x is no number"},
      {"board_type = 99999999999\n", 2, "board_type = 99999999999 is no number"},
      {"board_type\n= 3\nbord = 3\nbord = 1\n", 2, "no key bord"},
      {read_file("/etc/platform.conf"), 2, ""},
  };
  for (const auto& [text, board, told] : rows) {
    SCOPED_TRACE(text);
    write_file(kSettings, text);
    testing::internal::CaptureStderr();
    melskfw_initBrantixDebug(0, 0, 0, nullptr, nullptr);
    for (int again = 0; again < 2; ++again) EXPECT_EQ(get_platform_board_type(), board);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), told.empty() ? "" : "platform settings: " + told + "\n");
  }
}

TEST_F(PlatformFirmwareTest, StagingKeepsTheRestAndTheModeAndARefusedOneEverything) {
  LogCapture log;
  write_file("/tmp/firmware", "x");
  melskfw_initBrantixDebug(debug, info, critical, gLogPelkFn, gLogPelkModuleOffset);
  write_file(kSettings, "# mine\nupgrade_state_2 = 3\nboard_type = 1\n");
  chmod(kSettings, 0640);
  EXPECT_EQ(melskfw_upgradeStart("/tmp/firmware"), 0);
  const std::string staged = read_file(kSettings);
  EXPECT_THAT(staged, testing::StartsWith("# mine\nboard_type = 1\nstaged = /tmp/firmware\n"));
  for (int component = 0; component < 4; ++component) EXPECT_EQ(melskfw_getUpgState(component), 1);
  EXPECT_EQ(std::filesystem::status(kSettings).permissions(), std::filesystem::perms(0640));

  write_file("/tmp/fw\nboard_type = 1", "x");
  for (const char* path : {static_cast<const char*>(nullptr), "", "/tmp/none", "/tmp/fw\nboard_type = 1"}) {
    EXPECT_NE(melskfw_upgradeStart(path), 0);
    EXPECT_THAT(log.take_lines(), ElementsAre(testing::StartsWith("critical melskfw_upgradeStart|cannot stage ")));
  }
  EXPECT_EQ(read_file(kSettings), staged);

  melskfw_initBrantixDebug(0, 0, 0, nullptr, nullptr);
}

long address(const void* text) { return reinterpret_cast<long>(text); }

TEST(PlatformSyslogTest, TextsAndNumbersReachTheLog) {
  const std::string endless(5000, 'e');
  const std::pair<long, std::string> rows[] = {{address("100%n%s\nlines"), "100%n%s lines"},
                                               {address(endless.c_str()), std::string(1024, 'e')},
                                               {0, "0"},
                                               {-5, "-5"}};
  openlog("test", LOG_PERROR, LOG_USER);
  for (const auto& [message, text] : rows) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(tolm_syslog(LOG_ERR, "VTRC", 0, message, 0, 0), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "test: VTRC: " + text + '\n');
  }
  closelog();
}

const std::string kType7 = "\7\0\0\0"s;

TEST(MessageTest, RequestsAndRepliesOnTheWire) {
  const std::tuple<Frames, int, int, std::string> rows[] = {
      {{kType7}, 7, 0, ""},
      {{kType7, "code", "text"}, 7, 2, "code"},
      {{kType7, "x"}, 7, 1, "x\0\0\0"s},
      {{kType7, ""}, 7, 1, "\0\0\0\0"s},
      {{kType7, std::string(5000, 'l')}, 7, 1, std::string(4096, 'l') + "\0\0\0\0"s},
      {{"\xff\xff\xff\xff", "code"}, -1, 1, "code"},
      {{"\7", "code"}, 0, 1, "code"},
      {{""}, 0, 0, ""},
  };
  Service service;  // ZeroMQ's threads carry the messages, so client and service share the test's
  mesvo::MsgRequestClientChannel channel("client");
  mesvo::IpcMsg reply;
  channel.setServerEndPoint(kAddress);
  char data[] = "a\0b";
  for (const auto& [frames, type, parts, first] : rows) {
    channel.ipcSend(-256, data, 3);
    EXPECT_THAT(service.receive(), ElementsAre("\0\xff\xff\xff"s, "a\0b"s));
    service.reply(frames);
    channel.ipcReceive(&reply, -1);
    EXPECT_EQ(reply.getMsgType(), type);
    ASSERT_EQ(reply.getNumParts(), parts) << first;
    ASSERT_EQ(reply.getMsgData() == nullptr, parts == 0);
    EXPECT_EQ(std::string(parts == 0 ? "" : reply.getMsgData(), first.size()), first);
  }
  channel.ipcSend(7, nullptr, 0);
  EXPECT_THAT(service.receive(), ElementsAre(kType7, ""));
  service.reply({kType7, std::string((1 << 20) + 1, 'l')});
  EXPECT_ANY_THROW(channel.ipcReceive(&reply, 300));
}

}  // namespace
}  // namespace coupler::test
