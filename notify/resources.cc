// Takes what a channel will need and gives it back, all at once: one by one it might be there and together not.
#include "notify/resources.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <semaphore>
#include <stdexcept>
#include <string>
#include <system_error>

#include "support/handle.h"

namespace coupler::notify {
namespace {

constexpr size_t kDescriptors = 8;  // six for a context and its socket, one for the connection, one that passes by
constexpr size_t kThreads = 2;      // of a context
constexpr size_t kMemory = 1 << 20;

void* wait_for_release(void* released) {
  static_cast<std::binary_semaphore*>(released)->acquire();
  return nullptr;
}

/// A thread that lives until this ends.
class Thread {
 public:
  Thread() : error_(pthread_create(&thread_, nullptr, wait_for_release, &released_)) {}
  ~Thread() {
    if (error_ != 0) return;
    released_.release();
    pthread_join(thread_, nullptr);
  }
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  int error() const { return error_; }

 private:
  std::binary_semaphore released_{0};
  pthread_t thread_ = {};
  int error_;
};

[[noreturn]] void refuse(int error) {
  throw std::runtime_error("no channel can be made: " + std::generic_category().message(error));
}

void require_descriptors() {
  std::array<Descriptor, kDescriptors> taken;
  for (Descriptor& descriptor : taken) {
    descriptor = open_at_once("/dev/null", O_RDONLY);
    if (!descriptor) refuse(errno);
  }
}

void require_threads() {
  const std::array<Thread, kThreads> started;
  for (const Thread& thread : started) {
    if (thread.error() != 0) refuse(thread.error());
  }
}

}  // namespace

void occupy_standard_streams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    if (::fcntl(stream, F_GETFD) >= 0) continue;
    Descriptor nowhere = open_at_once("/dev/null", O_RDWR);
    if (nowhere.get() == stream) nowhere.release();
  }
}

void require_channel_resources() {
  const auto memory = std::make_unique_for_overwrite<char[]>(kMemory);
  require_descriptors();
  require_threads();
}

}  // namespace coupler::notify
