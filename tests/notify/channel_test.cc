// The first notification of a process, and what may be missing or happen while it is sent.
#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zmq.h>

#include <atomic>
#include <barrier>
#include <cerrno>
#include <cstdlib>
#include <functional>
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
const Frames kAcknowledged = {{"\1\0\0\0", 4}, {"\x2a\0\0\0", 4}};

int32_t notify() {
  char text[128] = "";
  const int32_t result = SCI_sendSnmpNotification(kTrap, 3, kNone, 0, text, sizeof text);
  EXPECT_STREQ(text, result == 0 ? "" : "Unable to send SNMP notification as RNQ message. Msg size=32\n");
  return result;
}

std::string printed_by(const std::function<void()>& action) {
  testing::internal::CaptureStdout();
  action();
  return testing::internal::GetCapturedStdout();
}

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
    constexpr int kThreads = 8;
    std::barrier start(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([&start] {
        start.arrive_and_wait();
        EXPECT_EQ(SCI_sendSnmpNotification(nullptr, 0, nullptr, 0, nullptr, 0), 0);
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(contexts, 1);
    Service service;
    expect_delivery(service);
    EXPECT_EQ(connections, 1) << "the channel was made anew";
  });
}

// A channel that cannot be had is reported, and the next notification tries again with what is there.
TEST(ChannelTest, TransportThatFailsOnce) {
  const struct {
    std::atomic<int>& failing;
    const char* reason;
    int contexts;
  } rows[] = {{failing_context, "cannot make a context: Too many open files", 2},
              {failing_connection, "cannot connect to tcp://127.0.0.1:5558: Too many open files", 1}};
  for (const auto& row : rows) {
    in_child([&row] {
      row.failing = 1;
      EXPECT_EQ(printed_by([] { EXPECT_EQ(notify(), -1); }),
                "SNMP-notif-client: " + std::string(row.reason) + "\nSCI_sendSnmpNotification: exit");
      row.failing = 0;
      EXPECT_EQ(printed_by([] { SCI_sendSnmpNotification(nullptr, 0, nullptr, 0, nullptr, 0); }),
                "SCI_sendSnmpNotification: exit");
      EXPECT_EQ(contexts, row.contexts);
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

#ifdef __SANITIZE_ADDRESS__
constexpr int kFewest = 2;  // the sanitizer looks at an exception through a pipe
#else
constexpr int kFewest = 0;
#endif

TEST(ChannelTest, FewFreeDescriptors) {
  for (int free = kFewest; free <= 20; ++free) {
    SCOPED_TRACE(free);
    in_child([free] {
      setenv("MESVO_TIMEOUT_MS", "20", 1);
      constexpr rlim_t kLimit = 100;
      const rlimit limit{kLimit, kLimit};
      setrlimit(RLIMIT_NOFILE, &limit);
      exhaust_descriptors();
      for (int i = 0; i < free; ++i) close(static_cast<int>(kLimit) - 1 - i);
      const bool refused = free < 8;
      EXPECT_EQ(notify(), refused ? -1 : 0);
      EXPECT_EQ(contexts, refused ? 0 : 1);
      EXPECT_TRUE(!refused || exhaust_descriptors() == free);
    });
  }
}

TEST(ChannelTest, ThreadsThatCannotBeStarted) {
  in_child([] {
    pthread_attr_t before, endless;
    pthread_getattr_default_np(&before);
    pthread_getattr_default_np(&endless);
    pthread_attr_setstacksize(&endless, size_t{1} << 46);
    ASSERT_EQ(pthread_setattr_default_np(&endless), 0);
    EXPECT_EQ(notify(), -1);
    EXPECT_EQ(contexts, 0);
    pthread_setattr_default_np(&before);
    Service service;
    expect_delivery(service);
  });
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
      EXPECT_EQ(connections, 2);
    });
    EXPECT_EQ(request.get().size(), 2U);
    expect_delivery(service);
    EXPECT_EQ(connections, 1);
  });
}

TEST(ChannelTest, CancelledThreadFinishesItsCall) {
  in_child([] {
    setenv("MESVO_TIMEOUT_MS", "20", 1);
    std::atomic<int> finished = 0;
    std::thread([&finished] {
      pthread_cancel(pthread_self());
      EXPECT_EQ(notify(), 0);
      EXPECT_EQ(SCI_registerMib(nullptr, 0, nullptr), 0);
      ++finished;
    }).join();
    EXPECT_EQ(finished, 1);
  });
}

TEST(ChannelTest, StandardOutputThatIsClosedOrBroken) {
  in_child([] {
    Service service;
    for (int stream = 0; stream <= 2; ++stream) close(stream);
    expect_delivery(service);
    EXPECT_EQ(write(STDOUT_FILENO, "x", 1), 1) << "a descriptor of the transport took its place";
  });
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
