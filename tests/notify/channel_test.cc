#include <dlfcn.h>
#include <gtest/gtest.h>
#include <zmq.h>

#include <atomic>
#include <barrier>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "brantix/notify.h"
#include "tests/notify/service.h"

// The message layer finds these in front of the transport's own, so that its calls are counted and one can fail.
namespace {
std::atomic<int> contexts = 0, connections = 0;
std::atomic<int> failing_context = 0, failing_connection = 0;

template <typename Function>
Function* next(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
}  // namespace

void* zmq_ctx_new() {
  if (++contexts != failing_context) return next(zmq_ctx_new, "zmq_ctx_new")();
  errno = EMFILE;
  return nullptr;
}

int zmq_connect(void* socket, const char* address) {
  if (++connections != failing_connection) return next(zmq_connect, "zmq_connect")(socket, address);
  errno = EMFILE;
  return -1;
}

namespace coupler::test {
namespace {

const uint64_t kTrap[] = {1, 3, 6};
const SCI_snmp_varbind_s kNone[1] = {};

int32_t notify(std::string& error) {
  char text[128] = "";
  const int32_t result = SCI_sendSnmpNotification(kTrap, 3, kNone, 0, text, sizeof text);
  error = text;
  return result;
}

/// A test of a first call, in a process of its own.
class FirstCallDeathTest : public testing::Test {
 protected:
  FirstCallDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  static void exit_with_result() { std::_Exit(testing::Test::HasFailure() ? 1 : 0); }
};

void refuse_together() {
  constexpr int kThreads = 8;
  std::barrier start(kThreads);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&start] {
      start.arrive_and_wait();
      char error[8];
      EXPECT_EQ(SCI_sendSnmpNotification(nullptr, 0, nullptr, 0, error, sizeof error), 0);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(contexts, 1);
  EXPECT_EQ(connections, 1);
  std::string error;
  Service service;
  auto request = service.answer({"\1", "\0\0\0\0"});
  EXPECT_EQ(notify(error), 0);
  EXPECT_EQ(request.get().size(), 2U);
  EXPECT_EQ(connections, 1) << "the channel was made anew";
}

TEST_F(FirstCallDeathTest, RefusedCallsThatComeTogetherMakeOneChannel) {
  EXPECT_EXIT((refuse_together(), exit_with_result()), testing::ExitedWithCode(0), "");
}

// A channel that cannot be had is reported, and the next notification tries again with what is there.
void fail_once(std::atomic<int>& failing, const std::string& reason, int contexts_in_all) {
  failing = 1;
  std::string error;
  testing::internal::CaptureStdout();
  EXPECT_EQ(notify(error), -1);
  EXPECT_EQ(error, "Unable to send SNMP notification as RNQ message. Msg size=32\n");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), reason + "\nSCI_sendSnmpNotification: exit");
  failing = 0;
  testing::internal::CaptureStdout();
  EXPECT_EQ(SCI_sendSnmpNotification(nullptr, 0, nullptr, 0, nullptr, 0), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "SCI_sendSnmpNotification: exit");
  EXPECT_EQ(contexts, contexts_in_all);
  Service service;
  auto request = service.answer({"\1", "\0\0\0\0"});
  EXPECT_EQ(notify(error), 0);
  EXPECT_EQ(request.get().size(), 2U);
}

TEST_F(FirstCallDeathTest, ChannelThatCannotBeMade) {
  EXPECT_EXIT((fail_once(failing_context, "SNMP-notif-client: cannot make a context: Too many open files", 2),
               exit_with_result()),
              testing::ExitedWithCode(0), "");
}

TEST_F(FirstCallDeathTest, ChannelThatCannotBeConnected) {
  EXPECT_EXIT((fail_once(failing_connection,
                         "SNMP-notif-client: cannot connect to tcp://127.0.0.1:5558: Too many open files", 1),
               exit_with_result()),
              testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace coupler::test
