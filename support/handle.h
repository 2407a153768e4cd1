// Handles of the operating system that close themselves, and how they are opened and read.
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "support/cancellation.h"

namespace coupler {

/// Owns an operating system handle and closes it.
template <typename Raw, auto kNone, auto kClose>
class Handle {
 public:
  Handle() = default;
  explicit Handle(Raw raw) : raw_(raw) {}
  Handle(Handle&& other) noexcept : raw_(other.release()) {}
  Handle& operator=(Handle&& other) noexcept {
    std::swap(raw_, other.raw_);
    return *this;
  }
  ~Handle() {
    const CancellationHeldOff held_off;  // closing is where a thread may be cancelled, and a destructor throws nothing
    if (raw_ != kNone) kClose(raw_);
  }

  explicit operator bool() const { return raw_ != kNone; }
  Raw get() const { return raw_; }
  Raw release() { return std::exchange(raw_, kNone); }

 private:
  Raw raw_ = kNone;
};

inline void close_stream(std::FILE* stream) { std::fclose(stream); }
inline void close_pipe(std::FILE* stream) { ::pclose(stream); }
inline void close_directory(DIR* directory) { ::closedir(directory); }
inline void close_descriptor(int descriptor) { ::close(descriptor); }

using File = Handle<std::FILE*, nullptr, close_stream>;
using Pipe = Handle<std::FILE*, nullptr, close_pipe>;
using Directory = Handle<DIR*, nullptr, close_directory>;
using Descriptor = Handle<int, -1, close_descriptor>;

/// Whether there is a file at `path`. Where not, errno tells why.
inline bool exists(const char* path) {
  errno = EFAULT;
  return path != nullptr && ::access(path, F_OK) == 0;
}

/// What `call` returns once no signal interrupts it.
template <typename Call>
auto resumed(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

/// Opens `path` with these `flags` and O_CLOEXEC, and never waits for it: of a pipe without another end, reading finds
/// nothing and writing fails. A regular file is read and written as ever. On failure errno tells why.
inline Descriptor open_at_once(const char* path, int flags, mode_t permissions = 0666) {
  return Descriptor(resumed([=] { return ::open(path, flags | O_CLOEXEC | O_NONBLOCK, permissions); }));
}

/// One read, resumed when a signal interrupts it. @return number of bytes, 0 at the end, -1 with the reason in errno
inline ssize_t read_some(int descriptor, void* to, size_t size) {
  return resumed([=] { return ::read(descriptor, to, size); });
}

/// Opens a file for binary reading. On failure the result is empty and errno tells why.
inline File open_for_reading(const char* path) {
  Descriptor descriptor = open_at_once(path, O_RDONLY);
  if (!descriptor) return File();
  File file(::fdopen(descriptor.get(), "rb"));
  if (file) descriptor.release();
  return file;
}

}  // namespace coupler
