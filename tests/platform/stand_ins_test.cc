// The stand-ins of the platform's libraries: what firmware library and board query make of the settings, what syslog
// makes of a message, which may be a text, a number, or no readable memory, and the message layer's requests and
// replies.
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

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
using testing::HasSubstr;

constexpr const char *kSettings = "/tmp/platform.conf", *kFirmware = "/tmp/firmware";

TEST(PlatformFirmwareTest, SettingsAreReadAsAPersonWritesThemAndMistakesToldOnce) {
  setenv("COUPLER_PLATFORM", kSettings, 1);
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

TEST(PlatformFirmwareTest, StagingKeepsTheRestAndTheModeAndARefusedOneEverything) {
  LogCapture log;
  setenv("COUPLER_PLATFORM", kSettings, 1);
  write_file(kFirmware, "x");
  melskfw_initBrantixDebug(debug, info, critical, gLogPelkFn, gLogPelkModuleOffset);
  write_file(kSettings, "# mine\nupgrade_state_2 = 3\nboard_type = 1\n");
  chmod(kSettings, 0640);
  EXPECT_EQ(melskfw_upgradeStart(kFirmware), 0);
  const std::string staged = read_file(kSettings);
  EXPECT_THAT(staged, testing::StartsWith("# mine\nboard_type = 1\nstaged = /tmp/firmware\n"));
  for (int component = 0; component < 4; ++component) EXPECT_EQ(melskfw_getUpgState(component), 1);
  EXPECT_EQ(std::filesystem::status(kSettings).permissions(), std::filesystem::perms(0640));

  write_file("/tmp/fw\nboard_type = 1", "x");
  for (const char* path : {static_cast<const char*>(nullptr), "", "/tmp/none", "/tmp/fw\nboard_type = 1"}) {
    EXPECT_NE(melskfw_upgradeStart(path), 0);
    EXPECT_THAT(log.take_lines(),
                testing::ElementsAre(testing::StartsWith("critical melskfw_upgradeStart|cannot stage ")));
  }
  EXPECT_EQ(read_file(kSettings), staged);

  melskfw_initBrantixDebug(0, 0, 0, nullptr, nullptr);
}

long address(const void* text) { return reinterpret_cast<long>(text); }

/// Fills a page with a text, in front of a page that nobody may read. @return the text's last `size` bytes
char* before_forbidden_page(size_t size) {
  const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  char* pages = static_cast<char*>(mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  std::memset(pages, 'p', page);
  mprotect(pages + page, page, PROT_NONE);
  return pages + page - size;
}

TEST(PlatformSyslogTest, TextsAndNumbersReachTheLog) {
  const int log = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const sockaddr_un place{AF_UNIX, "/dev/log"};
  ASSERT_EQ(bind(log, reinterpret_cast<const sockaddr*>(&place), sizeof place), 0) << std::strerror(errno);
  char* ended = before_forbidden_page(6);
  ended[5] = '\0';
  const long unended = address(before_forbidden_page(6));
  const std::string endless(5000, 'e');
  const std::tuple<long, long, std::string, std::string> rows[] = {
      {LOG_ERR, address("link down"), "<11>", "link down"},
      {LOG_LOCAL7 | LOG_DEBUG, address("100%n%s"), "<191>", "100%n%s"},
      {-1, address("two\nlines"), "<14>", "two lines"},
      {1 << 20, 0, "<14>", "0"},
      {LOG_INFO, -5, "<14>", "-5"},
      {LOG_INFO, address(ended), "<14>", "ppppp"},
      {LOG_INFO, unended, "<14>", std::to_string(unended)},
      {LOG_INFO, address(endless.c_str()), "<14>", std::string(1024, 'e')},
  };
  for (const auto& [priority, message, head, text] : rows) {
    EXPECT_EQ(tolm_syslog(priority, "VTRC", 0, message, 0, 0), 0);
    char line[4096] = "";
    ASSERT_GT(recv(log, line, sizeof line - 1, MSG_DONTWAIT), 0);
    EXPECT_THAT(line, testing::AllOf(testing::StartsWith(head), testing::EndsWith("VTRC: " + text)));
  }
  close(log);
}

const std::string kType7 = "\7\0\0\0"s;

/// A loopback port of the service's own. ZeroMQ's threads carry the messages, so client and service share the test's.
constexpr const char* kAnyPort = "tcp://127.0.0.1:*";

auto fails(const char* why) { return testing::ThrowsMessage<std::runtime_error>(HasSubstr(why)); }

class MessageTest : public testing::Test {
 protected:
  mesvo::MsgRequestClientChannel channel_{"client"};
  mesvo::IpcMsg reply_;
};

TEST_F(MessageTest, RequestsAndRepliesOnTheWire) {
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
  Service service(ZMQ_REP, kAnyPort);
  channel_.setServerEndPoint(service.endpoint());
  char data[] = "a\0b";
  for (const auto& [frames, type, parts, first] : rows) {
    channel_.ipcSend(-256, data, parts == 0 ? 0 : 3);
    EXPECT_THAT(service.receive(), ElementsAre("\0\xff\xff\xff"s, parts == 0 ? "" : "a\0b"s));
    service.reply(frames);
    channel_.ipcReceive(&reply_, -1);
    EXPECT_EQ(reply_.getMsgType(), type);
    ASSERT_EQ(reply_.getNumParts(), parts) << first;
    ASSERT_EQ(reply_.getMsgData() == nullptr, parts == 0);
    EXPECT_EQ(std::string(parts == 0 ? "" : reply_.getMsgData(), first.size()), first);
  }
  channel_.ipcSend(7, nullptr, 0);
  service.receive();
  service.reply({kType7, std::string((1 << 20) + 1, 'l')});
  EXPECT_THAT([&] { channel_.ipcReceive(&reply_, 300); }, fails("no reply"));
}

TEST_F(MessageTest, MisuseIsThrownWithItsReason) {
  EXPECT_THAT([&] { channel_.setServerEndPoint("nowhere"); }, fails("Invalid argument"));
  channel_.setServerEndPoint("tcp://127.0.0.1:9");
  EXPECT_THAT([&] { channel_.ipcReceive(&reply_, -1); }, fails("current state"));
  EXPECT_THAT([&] { channel_.ipcReceive(nullptr, -1); }, fails("no message"));
  EXPECT_THAT([&] { channel_.ipcSend(1, nullptr, 4); }, fails("no data"));
}

}  // namespace
}  // namespace coupler::test
