#include "tests/flow/fail_nth.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace coupler::test {
namespace {

thread_local const Failing::Fault* current = nullptr;
thread_local int calls = 0;

bool fails(Call call) {
  if (current == nullptr) return false;
  for (const Call always : current->always) {
    if (always == call) return true;
  }
  if (call != current->call) return false;
  ++calls;
  return calls == current->nth || (current->lasting && current->nth > 0 && calls > current->nth);
}

/// The function that a definition in this file hides.
template <typename Function>
Function* hidden(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

template <typename Result>
Result failure(Result result, int reason) {
  errno = reason;
  return result;
}

/// A descriptor that cannot be read for as long as this lives, so that the stream above it notes the error itself.
class Unreadable {
 public:
  explicit Unreadable(int descriptor)
      : fault_(std::exchange(current, nullptr)), descriptor_(descriptor), kept_(dup(descriptor)) {
    const int own_memory = open("/proc/self/mem", O_RDONLY | O_CLOEXEC);  // where nothing lies at 0: EIO
    dup3(own_memory, descriptor_, O_CLOEXEC);
    close(own_memory);
  }
  ~Unreadable() {
    dup3(kept_, descriptor_, O_CLOEXEC);
    close(kept_);
    current = fault_;
  }
  Unreadable(const Unreadable&) = delete;
  Unreadable& operator=(const Unreadable&) = delete;

 private:
  const Failing::Fault* fault_;
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

}  // namespace coupler::test

using namespace coupler::test;

// What follows hides the functions of the C library from the whole program, the C++ library and the stand-ins included.
// Calls inside the C library itself are not seen: a stream's own read is one call here, fread.
#pragma GCC visibility push(default)
extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t n, size_t size);

void* malloc(size_t size) noexcept {
  return fails(Call::kMemory) ? failure<void*>(nullptr, ENOMEM) : __libc_malloc(size);
}
void* calloc(size_t n, size_t size) noexcept {
  return fails(Call::kMemory) ? failure<void*>(nullptr, ENOMEM) : __libc_calloc(n, size);
}

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return fails(Call::kOpen) ? failure(-1, EMFILE) : hidden(open, "open")(path, flags, mode);
}
int mkostemp(char* name, int flags) {
  return fails(Call::kOpen) ? failure(-1, EMFILE) : hidden(mkostemp, "mkostemp")(name, flags);
}
FILE* fdopen(int descriptor, const char* mode) noexcept {
  return fails(Call::kOpen) ? failure<FILE*>(nullptr, ENOMEM) : hidden(fdopen, "fdopen")(descriptor, mode);
}
FILE* fopen(const char* path, const char* mode) {
  return fails(Call::kOpen) ? failure<FILE*>(nullptr, EMFILE) : hidden(fopen, "fopen")(path, mode);
}
FILE* fopen64(const char* path, const char* mode) {
  return fails(Call::kOpen) ? failure<FILE*>(nullptr, EMFILE) : hidden(fopen64, "fopen64")(path, mode);
}

ssize_t read(int descriptor, void* to, size_t n) {
  if (fails(Call::kInterruption)) return failure<ssize_t>(-1, EINTR);
  return fails(Call::kRead) ? failure<ssize_t>(-1, EIO) : hidden(read, "read")(descriptor, to, n);
}
ssize_t pread(int descriptor, void* to, size_t n, off_t offset) {
  if (fails(Call::kInterruption)) return failure<ssize_t>(-1, EINTR);
  return fails(Call::kRead) ? failure<ssize_t>(-1, EIO) : hidden(pread, "pread")(descriptor, to, n, offset);
}
size_t fread(void* to, size_t size, size_t n, FILE* file) {
  if (!fails(Call::kRead)) return hidden(fread, "fread")(to, size, n, file);
  const Unreadable unreadable(fileno(file));
  return hidden(fread, "fread")(to, size, n, file);
}

off_t lseek(int descriptor, off_t offset, int from) noexcept {
  return fails(Call::kSeek) ? failure<off_t>(-1, EIO) : hidden(lseek, "lseek")(descriptor, offset, from);
}
int fseeko(FILE* file, off_t offset, int from) {
  return fails(Call::kSeek) ? failure(-1, EIO) : hidden(fseeko, "fseeko")(file, offset, from);
}
off_t ftello(FILE* file) { return fails(Call::kSeek) ? failure<off_t>(-1, EIO) : hidden(ftello, "ftello")(file); }

void* mmap(void* at, size_t n, int protection, int flags, int descriptor, off_t offset) noexcept {
  return fails(Call::kMap) ? failure(MAP_FAILED, ENODEV)
                           : hidden(mmap, "mmap")(at, n, protection, flags, descriptor, offset);
}

ssize_t write(int descriptor, const void* from, size_t n) {
  if (fails(Call::kInterruption)) return failure<ssize_t>(-1, EINTR);
  return fails(Call::kWrite) ? failure<ssize_t>(-1, ENOSPC) : hidden(write, "write")(descriptor, from, n);
}

int ftruncate(int descriptor, off_t size) noexcept {
  return fails(Call::kResize) ? failure(-1, EFBIG) : hidden(ftruncate, "ftruncate")(descriptor, size);
}

int fallocate(int descriptor, int mode, off_t offset, off_t size) {
  if (fails(Call::kInterruption)) return failure(-1, EINTR);
  return fails(Call::kResize) ? failure(-1, ENOSPC) : hidden(fallocate, "fallocate")(descriptor, mode, offset, size);
}

int fsync(int descriptor) { return fails(Call::kSync) ? failure(-1, EIO) : hidden(fsync, "fsync")(descriptor); }
int linkat(int from, const char* old, int to, const char* name, int flags) noexcept {
  return fails(Call::kLink) ? failure(-1, EIO) : hidden(linkat, "linkat")(from, old, to, name, flags);
}

// A descriptor is closed in any case.
int close(int descriptor) {
  const bool failing = fails(Call::kClose);
  const int result = hidden(close, "close")(descriptor);
  return failing ? failure(-1, EIO) : result;
}
int fclose(FILE* file) {
  const bool failing = fails(Call::kClose);
  const int result = hidden(fclose, "fclose")(file);
  return failing ? failure(EOF, EIO) : result;
}
}
#pragma GCC visibility pop
