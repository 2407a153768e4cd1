// Files written whole or not at all: nothing has a name before it is whole, and no limit raises a signal.
#include "support/output.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <span>
#include <string_view>

#include "support/cancellation.h"
#include "support/text.h"

namespace coupler {
namespace {

constexpr int kSignalsOfWrites[] = {SIGPIPE, SIGXFSZ};
constexpr size_t kWorthSending = 1 << 20;
constexpr int kMostAttempts = 10;

bool is_no_room(int reason) { return reason == ENOSPC || reason == EDQUOT || reason == EFBIG; }

bool sync(int descriptor) {
  return resumed([=] { return ::fsync(descriptor); }) == 0 || errno == EINVAL;  // where there is nothing to sync
}

/// Waits until what was done in the directory at `path` outlives a power cut, where its file system can tell.
void sync_directory(const char* path) {
  const Descriptor directory = open_at_once(path, O_RDONLY | O_DIRECTORY);
  if (directory) sync(directory.get());
}

sigset_t set_of(std::span<const int> signals) {
  sigset_t set;
  ::sigemptyset(&set);
  for (const int signal : signals) ::sigaddset(&set, signal);
  return set;
}

/// Splits `path` into its directory and the hidden name beside it.
bool places_of(const char* path, Text directory, Text beside) {
  const std::string_view whole(path);
  const size_t slash = whole.rfind('/');
  const auto length = static_cast<int>(slash == whole.npos ? 0 : slash + 1);
  return directory.format("%.*s.", length, path) &&
         beside.format("%.*s.%.200s.unfinished", length, path, path + length);
}

}  // namespace

SignalFreeWrites::SignalFreeWrites() {
  const sigset_t held = set_of(kSignalsOfWrites);
  ::sigpending(&pending_);
  ::pthread_sigmask(SIG_BLOCK, &held, &mask_);
}

// Takes back the signals that came of the writes, not one that was pending before them.
SignalFreeWrites::~SignalFreeWrites() {
  const CancellationHeldOff held_off;
  const int reason = errno;
  constexpr timespec kAtOnce{};
  for (const int& signal : kSignalsOfWrites) {
    const sigset_t one = set_of({&signal, 1});
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
    const ssize_t written = resumed([=] { return ::write(descriptor, next, size); });
    if (written < 0) return false;
    next += written;
    size -= static_cast<size_t>(written);
  }
  return true;
}

OutputFile::OutputFile(const char* path, mode_t permissions) : path_(path) {
  errno = ENAMETOOLONG;
  if (!places_of(path, directory_, beside_)) return;
  struct stat old;
  const bool is_there = ::lstat(path, &old) == 0;
  if (is_there && !S_ISREG(old.st_mode)) {
    open_through(permissions);
  } else {
    lent_mode_ = is_there ? old.st_mode & 07777 : 0;
    open(permissions);
  }
}

OutputFile::~OutputFile() {
  if (descriptor_ && kind_ == Kind::kBeside) unlink_keeping_errno(beside_);
}

void OutputFile::open(mode_t permissions) {
  descriptor_ = open_at_once(directory_, O_WRONLY | O_TMPFILE, permissions);
  if (!descriptor_ && (errno == EOPNOTSUPP || errno == EISDIR)) open_beside(permissions);
}

void OutputFile::open_beside(mode_t permissions) {
  kind_ = Kind::kBeside;
  ::unlink(beside_);  // of a process that was killed
  descriptor_ = open_at_once(beside_, O_WRONLY | O_CREAT | O_EXCL, permissions);
}

void OutputFile::open_through(mode_t permissions) {
  kind_ = Kind::kThrough;
  descriptor_ = open_at_once(path_, O_WRONLY | O_CREAT | O_TRUNC, permissions);
  if (descriptor_) ::fcntl(descriptor_.get(), F_SETFL, 0);  // a reader may take its time
}

bool OutputFile::claim(uint64_t size) {
  const auto length = static_cast<off_t>(size);
  return resumed([=, this] { return ::fallocate(descriptor_.get(), 0, 0, length); }) == 0 || !is_no_room(errno);
}

bool OutputFile::write(const void* data, size_t size) {
  if (!write_all(descriptor_.get(), data, size)) return false;
  const auto begin = static_cast<off_t>(written_);
  if (size >= kWorthSending) {
    ::sync_file_range(descriptor_.get(), begin, static_cast<off_t>(size), SYNC_FILE_RANGE_WRITE);
  }
  written_ += size;
  return true;
}

bool OutputFile::share(int source, uint64_t offset, uint64_t size) {
  file_clone_range range{source, offset, size, 0};
  return kind_ != Kind::kThrough && ::ioctl(descriptor_.get(), FICLONERANGE, &range) == 0;
}

bool OutputFile::set_size(uint64_t size) {
  const auto length = static_cast<off_t>(size);
  if (resumed([=, this] { return ::ftruncate(descriptor_.get(), length); }) == 0) return true;
  if (kind_ != Kind::kThrough || errno != EINVAL) return false;
  constexpr char kZeros[4096] = {};  // a pipe or a device has no size
  while (written_ < size) {
    if (!write(kZeros, std::min<uint64_t>(size - written_, sizeof(kZeros)))) return false;
  }
  return true;
}

bool OutputFile::commit() {
  if (kind_ == Kind::kThrough) return ::close(descriptor_.release()) == 0;
  if (!lend_mode() || !sync(descriptor_.get()) || !name()) return false;
  descriptor_ = Descriptor();
  sync_directory(directory_);  // the file is whole in any case
  return true;
}

bool OutputFile::lend_mode() const {
  struct stat status;
  if (lent_mode_ == 0 || ::fstat(descriptor_.get(), &status) != 0) return lent_mode_ == 0;
  return (status.st_mode & 07777) == lent_mode_ || ::fchmod(descriptor_.get(), lent_mode_) == 0;
}

// A second process at the same file may take the hidden name away in between; then it is made again.
bool OutputFile::name() const {
  if (kind_ == Kind::kBeside) return ::rename(beside_, path_) == 0;
  if (name_as(path_)) return true;
  for (int i = 0; i < kMostAttempts && errno == EEXIST; ++i) {
    ::unlink(beside_);
    if (!name_as(beside_)) continue;
    if (::rename(beside_, path_) == 0) return true;
    if (errno != ENOENT) return unlink_keeping_errno(beside_), false;
    errno = EEXIST;
  }
  return false;
}

// The first way needs a right of root's, the second a mounted /proc.
bool OutputFile::name_as(const char* path) const {
  if (::linkat(descriptor_.get(), "", AT_FDCWD, path, AT_EMPTY_PATH) == 0) return true;
  if (errno != ENOENT) return false;
  char link[32];
  Text(link).format("/proc/self/fd/%d", descriptor_.get());
  return ::linkat(AT_FDCWD, link, AT_FDCWD, path, AT_SYMLINK_FOLLOW) == 0;
}

}  // namespace coupler
