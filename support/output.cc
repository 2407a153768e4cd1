// Files written whole or not at all: every write respects the process's limits, and what was not committed goes again.
#include "support/output.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>

namespace coupler {
namespace {

constexpr int kSignalsOfWrites[] = {SIGPIPE, SIGXFSZ};

}  // namespace

SignalFreeWrites::SignalFreeWrites() {
  sigset_t held;
  ::sigemptyset(&held);
  for (const int signal : kSignalsOfWrites) ::sigaddset(&held, signal);
  ::sigpending(&pending_);
  ::pthread_sigmask(SIG_BLOCK, &held, &mask_);
}

// Takes back the signals that came of the writes, not one that was pending before them.
SignalFreeWrites::~SignalFreeWrites() {
  const int reason = errno;
  constexpr timespec kAtOnce{};
  for (const int signal : kSignalsOfWrites) {
    sigset_t one;
    ::sigemptyset(&one);
    ::sigaddset(&one, signal);
    if (::sigismember(&pending_, signal) == 0) ::sigtimedwait(&one, nullptr, &kAtOnce);
  }
  ::pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
  errno = reason;
}

void unlink_keeping_errno(const char* path) {
  const int reason = errno;
  ::unlink(path);
  errno = reason;
}

bool write_all(int descriptor, const void* data, size_t size) {
  const char* next = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t written = ::write(descriptor, next, size);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    next += written;
    size -= static_cast<size_t>(written);
  }
  return true;
}

OutputFile::OutputFile(const char* path, mode_t permissions)
    : path_(path), descriptor_(open_at_once(path, O_WRONLY | O_CREAT | O_TRUNC, permissions)) {}

OutputFile::~OutputFile() {
  if (descriptor_) unlink_keeping_errno(path_);
}

bool OutputFile::write(const void* data, size_t size) { return write_all(descriptor_.get(), data, size); }

bool OutputFile::set_size(off_t size) { return ::ftruncate(descriptor_.get(), size) == 0; }

bool OutputFile::commit() {
  if (::close(descriptor_.release()) == 0) return true;
  unlink_keeping_errno(path_);
  return false;
}

}  // namespace coupler
