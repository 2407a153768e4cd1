#include "platform/message/mesvo.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zmq.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/notify/service.h"

namespace {

using namespace std::string_literals;
using coupler::test::Frames;
using coupler::test::Service;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

const std::string kType7 = "\7\0\0\0"s;

/// A loopback port of the service's own. ZeroMQ's threads carry the messages, so client and service share the test's.
constexpr const char* kAnyPort = "tcp://127.0.0.1:*";

void send(mesvo::MsgRequestClientChannel& channel, std::string data) {
  channel.ipcSend(7, data.data(), static_cast<int>(data.size()));
}

template <typename Call>
std::string reason(Call call) {
  try {
    call();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "nothing thrown";
}

class MessageTest : public testing::Test {
 protected:
  mesvo::MsgRequestClientChannel channel_{"client"};
  mesvo::IpcMsg reply_;
};

TEST_F(MessageTest, RequestOnTheWire) {
  Service service(ZMQ_ROUTER, kAnyPort);
  channel_.setServerEndPoint(service.endpoint());
  char data[] = "a\0b";
  channel_.ipcSend(-2, data, 3);
  channel_.ipcSend(0x01020304, nullptr, 0);
  const auto peer = SizeIs(5), request = SizeIs(4);
  EXPECT_THAT(service.receive(), ElementsAre(peer, request, IsEmpty(), "\xfe\xff\xff\xff", "a\0b"s));
  EXPECT_THAT(service.receive(), ElementsAre(peer, request, IsEmpty(), "\4\3\2\1", ""));
}

TEST_F(MessageTest, Replies) {
  const struct {
    const char* name;
    Frames frames;
    int type;
    int parts;
    std::string first;
  } rows[] = {
      {"no data", {kType7}, 7, 0, ""},
      {"one data frame", {kType7, "acknowledged"}, 7, 1, "acknowledged"},
      {"two data frames", {kType7, "code", "text"}, 7, 2, "code"},
      {"data too short for a number", {kType7, "x"}, 7, 1, "x\0\0\0"s},
      {"empty data", {kType7, ""}, 7, 1, "\0\0\0\0"s},
      {"more data than is kept", {kType7, std::string(5000, 'l')}, 7, 1, std::string(4096, 'l') + "\0\0\0\0"s},
      {"negative type", {"\xff\xff\xff\xff", "code"}, -1, 1, "code"},
      {"type cut short", {"\7", "code"}, 0, 1, "code"},
      {"nothing at all", {""}, 0, 0, ""},
  };
  Service service(ZMQ_REP, kAnyPort);
  channel_.setServerEndPoint(service.endpoint());
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    send(channel_, "request");
    service.receive();
    service.reply(row.frames);
    channel_.ipcReceive(&reply_, -1);
    EXPECT_EQ(reply_.getMsgType(), row.type);
    ASSERT_EQ(reply_.getNumParts(), row.parts);
    ASSERT_EQ(reply_.getMsgData() == nullptr, row.parts == 0);
    const std::string first(row.parts == 0 ? "" : reply_.getMsgData(), row.first.size());
    EXPECT_EQ(first, row.first);
  }
}

TEST_F(MessageTest, ReplyThatIsTooLargeIsDropped) {
  Service service(ZMQ_REP, kAnyPort);
  channel_.setServerEndPoint(service.endpoint());
  send(channel_, "request");
  service.receive();
  service.reply({kType7, std::string((1 << 20) + 1, 'l')});
  EXPECT_THAT(reason([&] { channel_.ipcReceive(&reply_, 300); }), HasSubstr("no reply"));
}

TEST_F(MessageTest, ForkedProcessCannotUseIt) {
  channel_.setServerEndPoint("tcp://127.0.0.1:9");
  const pid_t child = fork();
  if (child == 0) {
    const auto refusal = HasSubstr("another process");
    EXPECT_THAT(reason([&] { send(channel_, "request"); }), refusal);
    EXPECT_THAT(reason([&] { channel_.ipcReceive(&reply_, -1); }), refusal);
    EXPECT_THAT(reason([&] { channel_.setServerEndPoint("tcp://127.0.0.1:9"); }), refusal);
    _exit(HasFailure() ? 1 : 0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST_F(MessageTest, LateReplyIsNotTakenForTheNext) {
  Service service(ZMQ_REP, kAnyPort);
  channel_.setServerEndPoint(service.endpoint());
  send(channel_, "one");
  EXPECT_THAT(reason([&] { channel_.ipcReceive(&reply_, 10); }), HasSubstr("no reply"));
  EXPECT_EQ(reply_.getMsgData(), nullptr);
  send(channel_, "two");
  service.echo();
  service.echo();
  channel_.ipcReceive(&reply_, -1);
  EXPECT_STREQ(reply_.getMsgData(), "two");
}

TEST_F(MessageTest, ServiceThatComesLaterAnswersTheNextRequest) {
  std::string endpoint;
  endpoint = Service(ZMQ_REP, kAnyPort).endpoint();
  channel_.setServerEndPoint(endpoint);
  send(channel_, "lost");
  setenv("MESVO_TIMEOUT_MS", "10", 1);
  EXPECT_EQ(reason([&] { channel_.ipcReceive(&reply_, -1); }),
            "client: cannot receive: no reply from " + endpoint + " within 10 ms");
  unsetenv("MESVO_TIMEOUT_MS");
  Service service(ZMQ_REP, endpoint);
  send(channel_, "next");
  service.echo();
  service.echo();
  channel_.ipcReceive(&reply_, -1);
  EXPECT_STREQ(reply_.getMsgData(), "next");
}

TEST_F(MessageTest, SignalsDoNotEndTheWait) {
  struct sigaction interrupting {};
  interrupting.sa_handler = [](int) {};
  sigaction(SIGALRM, &interrupting, nullptr);
  const itimerval often{{0, 2000}, {0, 2000}};
  const itimerval never{};
  channel_.setServerEndPoint("tcp://127.0.0.1:9");
  send(channel_, "request");
  setitimer(ITIMER_REAL, &often, nullptr);
  EXPECT_THAT(reason([&] { channel_.ipcReceive(&reply_, 50); }), HasSubstr("no reply"));
  setitimer(ITIMER_REAL, &never, nullptr);
}

TEST_F(MessageTest, MisuseIsThrownWithItsReason) {
  EXPECT_THAT(reason([&] { send(channel_, "request"); }), HasSubstr("no server end point"));
  EXPECT_THAT(reason([&] { channel_.setServerEndPoint("nowhere"); }), HasSubstr("Invalid argument"));
  channel_.setServerEndPoint("tcp://127.0.0.1:9");
  EXPECT_THAT(reason([&] { channel_.ipcReceive(&reply_, -1); }), HasSubstr("current state"));
  EXPECT_THAT(reason([&] { channel_.ipcReceive(nullptr, -1); }), HasSubstr("no message"));
  EXPECT_THAT(reason([&] { channel_.ipcSend(1, nullptr, 4); }), HasSubstr("no data"));
}

}  // namespace
