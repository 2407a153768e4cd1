#include "support/output.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>

namespace coupler {
namespace {

// To outgrow the limit raises SIGXFSZ, which ends a process that is not prepared for it.
bool fits_limit(uint64_t size) {
  rlimit limit;
  if (::getrlimit(RLIMIT_FSIZE, &limit) != 0 || size <= limit.rlim_cur) return true;
  errno = EFBIG;
  return false;
}

}  // namespace

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

// Non-blocking, so that a pipe without a reader is an error instead of a wait; a file is written as ever.
OutputFile::OutputFile(const char* path, mode_t permissions)
    : path_(path), descriptor_(::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, permissions)) {}

OutputFile::~OutputFile() {
  if (!descriptor_) return;
  const int reason = errno;
  ::unlink(path_);
  errno = reason;
}

bool OutputFile::write(const void* data, size_t size) {
  written_ += size;
  return fits_limit(written_) && write_all(descriptor_.get(), data, size);
}

bool OutputFile::set_size(off_t size) {
  return fits_limit(static_cast<uint64_t>(size)) && ::ftruncate(descriptor_.get(), size) == 0;
}

bool OutputFile::commit() {
  if (::close(descriptor_.release()) == 0) return true;
  const int reason = errno;
  ::unlink(path_);
  errno = reason;
  return false;
}

}  // namespace coupler
