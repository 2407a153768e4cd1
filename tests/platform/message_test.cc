// The message layer: requests and replies on the wire, and every wait ends.
#include "platform/message/mesvo.h"

#include <gmock/gmock.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

#include "tests/notify/service.h"

namespace {

using namespace std::string_literals;
using coupler::test::Frames;
using coupler::test::Service;
using testing::ElementsAre;
using testing::HasSubstr;

const std::string kType7 = "\7\0\0\0"s;

/// A loopback port of the service's own. ZeroMQ's threads carry the messages, so client and service share the test's.
constexpr const char *kAnyPort = "tcp://127.0.0.1:*", *kNowhere = "tcp://127.0.0.1:9";

void send(mesvo::MsgRequestClientChannel& channel, std::string data) {
  channel.ipcSend(7, data.data(), static_cast<int>(data.size()));
}

auto fails(const char* why) { return testing::ThrowsMessage<std::runtime_error>(HasSubstr(why)); }

class MessageTest : public testing::Test {
 protected:
  mesvo::MsgRequestClientChannel channel_{"client"};
  mesvo::IpcMsg reply_;
};

TEST_F(MessageTest, RequestsAndRepliesOnTheWire) {
  const struct {
    Frames frames;
    int type, parts;
    std::string first;
  } rows[] = {
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

TEST_F(MessageTest, NoSignalEndsTheWaitAndAServiceThatComesLaterAnswersTheNextRequest) {
  const std::string endpoint = Service(ZMQ_REP, kAnyPort).endpoint();
  channel_.setServerEndPoint(endpoint);
  send(channel_, "lost");
  struct sigaction interrupting {};
  interrupting.sa_handler = [](int) {};
  sigaction(SIGALRM, &interrupting, nullptr);
  const itimerval often{{0, 2000}, {0, 2000}}, never{};
  setenv("MESVO_TIMEOUT_MS", "10", 1);
  setitimer(ITIMER_REAL, &often, nullptr);
  EXPECT_THAT([&] { channel_.ipcReceive(&reply_, -1); },
              fails(("client: cannot receive: no reply from " + endpoint + " within 10 ms").c_str()));
  setitimer(ITIMER_REAL, &never, nullptr);
  EXPECT_EQ(reply_.getMsgData(), nullptr);
  unsetenv("MESVO_TIMEOUT_MS");
  Service service(ZMQ_REP, endpoint);
  send(channel_, "next");
  for (int request = 0; request < 2; ++request) service.echo();
  channel_.ipcReceive(&reply_, -1);
  EXPECT_STREQ(reply_.getMsgData(), "next");
}

TEST_F(MessageTest, MisuseIsThrownWithItsReason) {
  EXPECT_THAT([&] { channel_.setServerEndPoint("nowhere"); }, fails("Invalid argument"));
  channel_.setServerEndPoint(kNowhere);
  EXPECT_THAT([&] { channel_.ipcReceive(&reply_, -1); }, fails("current state"));
  EXPECT_THAT([&] { channel_.ipcReceive(nullptr, -1); }, fails("no message"));
  EXPECT_THAT([&] { channel_.ipcSend(1, nullptr, 4); }, fails("no data"));
  const auto use_in_a_forked_process = [&] {
    EXPECT_THAT([&] { send(channel_, "request"); }, fails("another process"));
    EXPECT_THAT([&] { channel_.ipcReceive(&reply_, -1); }, fails("another process"));
    EXPECT_THAT([&] { channel_.setServerEndPoint(kNowhere); }, fails("another process"));
    _exit(HasFailure() ? 1 : 0);
  };
  EXPECT_EXIT(use_in_a_forked_process(), testing::ExitedWithCode(0), "");
}

}  // namespace
