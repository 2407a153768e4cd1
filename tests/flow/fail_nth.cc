// Stands between the program and the C library, and keeps account of what the disk would hold after a power cut.
#include "tests/flow/fail_nth.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <utility>

#include "tests/common/files.h"

namespace coupler::test {
namespace {

thread_local const Failing::Fault* current = nullptr;
thread_local int calls = 0;

/// What the tests do themselves meets no fault.
class Unseen {
 public:
  Unseen() : fault_(std::exchange(current, nullptr)) {}
  ~Unseen() { current = fault_; }
  Unseen(const Unseen&) = delete;
  Unseen& operator=(const Unseen&) = delete;

 private:
  const Failing::Fault* fault_;
};

/// A file with bytes that are not on the disk yet.
struct Unsynced {
  int descriptor;
  std::string on_disk;
};
std::map<ino_t, Unsynced> unsynced;

bool loses_unsynced() { return current != nullptr && current->outcome == Outcome::kPowerCut; }

ino_t file_number(int descriptor) {
  struct stat status;
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) ? status.st_ino : 0;
}

/// To be called before each change of a file's bytes.
void note_change(int descriptor) {
  if (!loses_unsynced()) return;
  const Unseen unseen;
  const ino_t file = file_number(descriptor);
  if (file == 0 || unsynced.contains(file)) return;
  unsynced[file] = {dup(descriptor), read_file("/proc/self/fd/" + std::to_string(descriptor))};
}

void note_sync(int descriptor) {
  if (!loses_unsynced()) return;
  const Unseen unseen;
  unsynced.erase(file_number(descriptor));
}

void note_truncation(const char* path, int flags) {
  if (!loses_unsynced() || (flags & O_TRUNC) == 0) return;
  const int descriptor = [path] {
    const Unseen unseen;
    return open(path, O_WRONLY | O_CLOEXEC);
  }();
  note_change(descriptor);
}

void cut_power() {
  const Unseen unseen;
  for (const auto& [file, state] : unsynced) {
    if (ftruncate(state.descriptor, 0) != 0) std::abort();
    lseek(state.descriptor, 0, SEEK_SET);
    if (write(state.descriptor, state.on_disk.data(), state.on_disk.size()) < 0) std::abort();
  }
}

[[noreturn]] void end_process() {
  if (loses_unsynced()) cut_power();
  _exit(EXIT_SUCCESS);
}

bool leaves_something(Call call) {
  return call == Call::kOpen || call == Call::kWrite || call == Call::kResize || call == Call::kSync ||
         call == Call::kName || call == Call::kRename || call == Call::kRemoval || call == Call::kRights ||
         call == Call::kClose;
}

bool fails(Call call) {
  if (current == nullptr) return false;
  for (const Call always : current->always) {
    if (always == call) return true;
  }
  if (call != current->call && !(current->call == Call::kAnyOnFiles && leaves_something(call))) return false;
  ++calls;
  if (calls == current->nth && current->outcome != Outcome::kError) end_process();
  return calls == current->nth || (current->lasting && current->nth > 0 && calls > current->nth);
}

/// The function that a definition in this file hides.
template <typename Function>
Function* hidden(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/// A descriptor that cannot be read for as long as this lives, so that the stream above it notes the error itself.
class Unreadable {
 public:
  explicit Unreadable(int descriptor) : descriptor_(descriptor), kept_(dup(descriptor)) {
    const int own_memory = open("/proc/self/mem", O_RDONLY | O_CLOEXEC);  // where nothing lies at 0: EIO
    dup3(own_memory, descriptor_, O_CLOEXEC);
    close(own_memory);
  }
  ~Unreadable() {
    dup3(kept_, descriptor_, O_CLOEXEC);
    close(kept_);
  }
  Unreadable(const Unreadable&) = delete;
  Unreadable& operator=(const Unreadable&) = delete;

 private:
  const Unseen unseen_;
  int descriptor_;
  int kept_;
};

}  // namespace

Failing::Failing(const Fault& fault) {
  calls = 0;
  current = &fault;
}
Failing::~Failing() { current = nullptr; }
bool Failing::happened() const { return calls >= current->nth; }
void Failing::lose_unsynced() { cut_power(); }

}  // namespace coupler::test

using namespace coupler::test;

// What follows hides the functions of the C library from the whole program, the C++ library and the stand-ins included.
// Calls inside the C library itself are not seen: a stream's own read is one call here, fread.
#define FAIL_IF_DUE(call, value, reason) \
  if (fails(call)) return errno = reason, value
#define CALL_OR_FAIL(call, value, reason, function, ...) \
  FAIL_IF_DUE(call, value, reason);                      \
  return hidden(function, #function)(__VA_ARGS__)
#pragma GCC visibility push(default)
extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t n, size_t size);

void* malloc(size_t size) noexcept {
  FAIL_IF_DUE(Call::kMemory, nullptr, ENOMEM);
  return __libc_malloc(size);
}
void* calloc(size_t n, size_t size) noexcept {
  FAIL_IF_DUE(Call::kMemory, nullptr, ENOMEM);
  return __libc_calloc(n, size);
}

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  note_truncation(path, flags);
  CALL_OR_FAIL(Call::kOpen, -1, EMFILE, open, path, flags, mode);
}
int openat(int directory, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  CALL_OR_FAIL(Call::kOpen, -1, EMFILE, openat, directory, path, flags, mode);
}
DIR* opendir(const char* path) { CALL_OR_FAIL(Call::kOpen, nullptr, EMFILE, opendir, path); }
int mkostemp(char* name, int flags) { CALL_OR_FAIL(Call::kOpen, -1, EMFILE, mkostemp, name, flags); }
FILE* fdopen(int descriptor, const char* mode) noexcept {
  CALL_OR_FAIL(Call::kOpen, nullptr, ENOMEM, fdopen, descriptor, mode);
}
FILE* fopen(const char* path, const char* mode) { CALL_OR_FAIL(Call::kOpen, nullptr, EMFILE, fopen, path, mode); }
FILE* fopen64(const char* path, const char* mode) { CALL_OR_FAIL(Call::kOpen, nullptr, EMFILE, fopen64, path, mode); }

ssize_t read(int descriptor, void* to, size_t n) {
  FAIL_IF_DUE(Call::kInterruption, -1, EINTR);
  CALL_OR_FAIL(Call::kRead, -1, EIO, read, descriptor, to, n);
}
ssize_t pread(int descriptor, void* to, size_t n, off_t offset) {
  FAIL_IF_DUE(Call::kInterruption, -1, EINTR);
  CALL_OR_FAIL(Call::kRead, -1, EIO, pread, descriptor, to, n, offset);
}
size_t fread(void* to, size_t size, size_t n, FILE* file) {
  if (!fails(Call::kRead)) return hidden(fread, "fread")(to, size, n, file);
  const Unreadable unreadable(fileno(file));
  return hidden(fread, "fread")(to, size, n, file);
}

off_t lseek(int descriptor, off_t offset, int from) noexcept {
  CALL_OR_FAIL(Call::kSeek, -1, EIO, lseek, descriptor, offset, from);
}
int fseeko(FILE* file, off_t offset, int from) { CALL_OR_FAIL(Call::kSeek, -1, EIO, fseeko, file, offset, from); }
off_t ftello(FILE* file) { CALL_OR_FAIL(Call::kSeek, -1, EIO, ftello, file); }

void* mmap(void* at, size_t n, int protection, int flags, int descriptor, off_t offset) noexcept {
  CALL_OR_FAIL(Call::kMap, MAP_FAILED, ENODEV, mmap, at, n, protection, flags, descriptor, offset);
}

ssize_t write(int descriptor, const void* from, size_t n) {
  FAIL_IF_DUE(Call::kInterruption, -1, EINTR);
  FAIL_IF_DUE(Call::kWrite, -1, ENOSPC);
  note_change(descriptor);
  return hidden(write, "write")(descriptor, from, n);
}

int ftruncate(int descriptor, off_t size) noexcept {
  FAIL_IF_DUE(Call::kResize, -1, EFBIG);
  note_change(descriptor);
  return hidden(ftruncate, "ftruncate")(descriptor, size);
}
int fallocate(int descriptor, int mode, off_t offset, off_t size) {
  FAIL_IF_DUE(Call::kInterruption, -1, EINTR);
  FAIL_IF_DUE(Call::kResize, -1, ENOSPC);
  note_change(descriptor);
  return hidden(fallocate, "fallocate")(descriptor, mode, offset, size);
}

int fsync(int descriptor) {
  FAIL_IF_DUE(Call::kSync, -1, EIO);
  note_sync(descriptor);
  return hidden(fsync, "fsync")(descriptor);
}

int linkat(int from, const char* old, int to, const char* name, int flags) noexcept {
  CALL_OR_FAIL(Call::kName, -1, EIO, linkat, from, old, to, name, flags);
}
int rename(const char* old, const char* name) noexcept { CALL_OR_FAIL(Call::kRename, -1, EIO, rename, old, name); }
int unlink(const char* path) noexcept { CALL_OR_FAIL(Call::kRemoval, -1, EIO, unlink, path); }
int remove(const char* path) noexcept { CALL_OR_FAIL(Call::kRemoval, -1, EIO, remove, path); }

int flock(int descriptor, int operation) noexcept {
  if ((operation & LOCK_UN) != 0) return hidden(flock, "flock")(descriptor, operation);
  CALL_OR_FAIL(Call::kLock, -1, ENOLCK, flock, descriptor, operation);
}
int fchmod(int descriptor, mode_t mode) noexcept { CALL_OR_FAIL(Call::kRights, -1, EPERM, fchmod, descriptor, mode); }
int fchown(int descriptor, uid_t user, gid_t group) noexcept {
  CALL_OR_FAIL(Call::kRights, -1, EPERM, fchown, descriptor, user, group);
}

// What the commands themselves do is of no matter here, and would take its time.
int system(const char*) {
  FAIL_IF_DUE(Call::kProcess, -1, EAGAIN);
  return 0;
}
FILE* popen(const char* command, const char* mode) {
  CALL_OR_FAIL(Call::kProcess, nullptr, EAGAIN, popen, command, mode);
}
unsigned sleep(unsigned) { return 0; }

// A descriptor is closed in any case.
int close(int descriptor) {
  const bool failing = fails(Call::kClose);
  const int result = hidden(close, "close")(descriptor);
  return failing ? errno = EIO, -1 : result;
}
int fclose(FILE* file) {
  const bool failing = fails(Call::kClose);
  const int result = hidden(fclose, "fclose")(file);
  return failing ? errno = EIO, EOF : result;
}
}
#pragma GCC visibility pop
