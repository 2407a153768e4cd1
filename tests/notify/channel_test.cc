// The first notification of a process, and what may be missing or happen while it is sent.
#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <thread>

#include "brantix/notify.h"
#include "tests/notify/service.h"

// The library and the transport find these in front of the real ones, so that calls are counted and one can fail.
namespace {
struct Calls {
  bool fails() {
    errno = EMFILE;
    return ++made == failing;
  }
  std::atomic<int> made = 0, failing = 0;
} contexts, connections, threads, joins;

template <typename Function>
Function* next(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
}  // namespace

void* zmq_ctx_new() { return contexts.fails() ? nullptr : next(zmq_ctx_new, "zmq_ctx_new")(); }

int zmq_connect(void* socket, const char* address) {
  return connections.fails() ? -1 : next(zmq_connect, "zmq_connect")(socket, address);
}

#pragma GCC visibility push(default)
int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*), void* with) noexcept {
  return threads.fails() ? EAGAIN : next(pthread_create, "pthread_create")(thread, attributes, run, with);
}
int pthread_join(pthread_t thread, void** result) {
  return joins.fails() ? EINVAL : next(pthread_join, "pthread_join")(thread, result);
}
#pragma GCC visibility pop

namespace coupler::test {
namespace {

const SCI_snmp_varbind_s kNone[1] = {};

int32_t notify() {
  char text[128] = "";
  const int32_t result = SCI_sendSnmpNotification(kTrap.data(), 3, kNone, 0, text, sizeof text);
  EXPECT_STREQ(text, result == 0 ? "" : "Unable to send SNMP notification as RNQ message. Msg size=32\n");
  return result;
}

void refused_call() { EXPECT_EQ(SCI_sendSnmpNotification(nullptr, 0, nullptr, 0, nullptr, 0), 0); }

void expect_delivery(Service& service) {
  auto request = service.answer(kAcknowledged);
  EXPECT_EQ(notify(), 0);
  EXPECT_EQ(request.get().size(), 2U);
}

/// Runs a first call in a process of its own, which may not die of it.
void in_child(const std::function<void()>& body) {
  const pid_t child = fork();
  if (child == 0) {
    setenv("MESVO_TIMEOUT_MS", "5000", 1);
    body();
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST(ChannelTest, RefusedCallsThatComeTogetherMakeOneChannel) {
  in_child([] {
    std::vector<std::future<void>> calls;
    for (int i = 0; i < 8; ++i) calls.push_back(std::async(std::launch::async, refused_call));
    calls.clear();
    EXPECT_EQ(contexts.made, 1);
    Service service;
    expect_delivery(service);
    EXPECT_EQ(connections.made, 1) << "the channel was made anew";
  });
}

// A channel that cannot be had is reported, and the next notification tries again with what is there. Threads of the
// transport are left, others are joined.
TEST(ChannelTest, WhatFailsOnceIsTriedAgain) {
  const std::string no_thread = "no channel can be made: Resource temporarily unavailable\n";
  const struct {
    Calls& calls;
    int failing;
    std::string reason;
    std::vector<int> made;
  } rows[] = {
      {contexts, 1, "SNMP-notif-client: cannot make a context: Too many open files\n", {2, 6, 4}},
      {connections, 1, "SNMP-notif-client: cannot connect to tcp://127.0.0.1:5558: Too many open files\n", {1, 4, 2}},
      {threads, 1, no_thread, {1, 6, 3}},
      {threads, 2, no_thread, {1, 6, 3}},
  };
  for (const auto& row : rows) {
    in_child([&row] {
      row.calls.failing = row.failing;
      EXPECT_EQ(printed_by([] { EXPECT_EQ(notify(), -1); }), row.reason + kExit);
      EXPECT_EQ(printed_by(refused_call), kExit);
      EXPECT_EQ((std::vector<int>{contexts.made, threads.made, joins.made}), row.made);
      Service service;
      expect_delivery(service);
    });
  }
}

/// Opens descriptors until there is no more. @return how many
int exhaust_descriptors() {
  int opened = 0;
  while (open("/dev/null", O_RDONLY | O_CLOEXEC) >= 0) ++opened;
  return opened;
}

TEST(ChannelTest, FewFreeDescriptors) {
  for (const int free : {2, 7, 8, 20}) {
    in_child([free] {
      setenv("MESVO_TIMEOUT_MS", "20", 1);
      const rlimit limit{100, 100};
      setrlimit(RLIMIT_NOFILE, &limit);
      exhaust_descriptors();
      for (int i = 1; i <= free; ++i) close(100 - i);
      const bool refused = free < 8;
      EXPECT_EQ(notify(), refused ? -1 : 0) << free;
      EXPECT_EQ(contexts.made, refused ? 0 : 1);
      EXPECT_TRUE(!refused || exhaust_descriptors() == free);
    });
  }
}

TEST(ChannelTest, ForkedProcessMakesItsOwn) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the thread sanitizer lets a forked process with threads start no more of them";
#endif
  in_child([] {
    Service service;
    expect_delivery(service);
    auto request = service.answer(kAcknowledged);
    in_child([] {
      EXPECT_THAT(printed_by([] { EXPECT_EQ(notify(), 0); }), testing::HasSubstr("ack code: 42"));
      EXPECT_EQ(connections.made, 2);
    });
    EXPECT_EQ(request.get().size(), 2U);
    expect_delivery(service);
    EXPECT_EQ(connections.made, 1);
  });
}

TEST(ChannelTest, CancelledThreadFinishesItsCall) {
  in_child([] {
    setenv("MESVO_TIMEOUT_MS", "20", 1);
    std::atomic<int> finished = 0;
    std::thread([&finished] {
      pthread_cancel(pthread_self());
      EXPECT_EQ(notify(), 0);
      EXPECT_EQ(SCI_registerMib(nullptr, 0, nullptr) + SCI_DisableFileSyslogging(), 0);
      SCI_SendSyslogMessage(7, 0, 0, 0, 0, 0);
      ++finished;
    }).join();
    EXPECT_EQ(finished, 1);
  });
}

TEST(ChannelTest, StandardOutputThatIsClosedOrBroken) {
  for (const int first : {STDIN_FILENO, STDOUT_FILENO}) {
    in_child([=] {
      Service service;
      for (int stream = first; stream <= STDERR_FILENO; ++stream) close(stream);
      expect_delivery(service);
      for (int stream = first; stream <= STDERR_FILENO; ++stream) {
        EXPECT_EQ(std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(stream)), "/dev/null");
      }
    });
  }
  in_child([] {
    Service service;
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    dup2(ends[1], STDOUT_FILENO);
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    expect_delivery(service);
  });
}

}  // namespace
}  // namespace coupler::test
