// Stands between the program and the C library, and keeps account of what the disk would hold after a power cut.
#include "tests/flow/fail_nth.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "tests/common/files.h"

namespace coupler::test {
namespace {

/// The function that a definition in this file hides.
#define REAL(function) reinterpret_cast<decltype(&function)>(dlsym(RTLD_NEXT, #function))

// Of each thread, so that what others do meanwhile is neither counted nor met by the fault.
thread_local const Fault* current = nullptr;
thread_local int calls = 0;

/// What the tests do themselves meets no fault.
class Unseen {
 public:
  Unseen() : fault_(std::exchange(current, nullptr)) {}
  ~Unseen() { current = fault_; }
  Unseen(const Unseen&) = delete;
  Unseen& operator=(const Unseen&) = delete;

 private:
  const Fault* fault_;
};

/// A file with bytes that are not on the disk yet.
struct Unsynced {
  int descriptor;
  std::string on_disk;
};
std::map<ino_t, Unsynced> unsynced;

/// What stood at names that a directory gave or took and that is not on the disk yet.
std::map<std::filesystem::path, std::optional<std::string>> unsynced_names;

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

/// To be called before a name comes to mean another file, or none.
void note_name(const char* path) {
  if (!loses_unsynced()) return;
  const Unseen unseen;
  const bool is_there = std::filesystem::exists(path);
  unsynced_names.try_emplace(path, is_there ? std::optional(read_file(path)) : std::nullopt);
}

void note_sync(int descriptor) {
  if (!loses_unsynced()) return;
  const Unseen unseen;
  unsynced.erase(file_number(descriptor));
  const auto place = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
  std::erase_if(unsynced_names, [&](const auto& name) { return name.first.parent_path() == place; });
}

void cut_power() {
  const Unseen unseen;
  for (const auto& [file, state] : unsynced) {
    if (ftruncate(state.descriptor, 0) != 0) std::abort();
    lseek(state.descriptor, 0, SEEK_SET);
    if (write(state.descriptor, state.on_disk.data(), state.on_disk.size()) < 0) std::abort();
  }
}

/// Whether this call is to fail; errno then tells why.
bool fails(std::string_view name) {
  if (current == nullptr) return false;
  const Kind& kind = *std::ranges::find(kKinds, name, &Kind::name);
  bool due = current->always == name;
  if (current->kind == name || (current->kind == kAnyOnFiles && kind.on_files)) {
    ++calls;
    due = due || calls == current->nth || (current->lasting && calls > current->nth);
  }
  if (!due) return false;
  if (current->outcome == Outcome::kPowerCut) cut_power();
  if (current->outcome != Outcome::kError) _exit(EXIT_SUCCESS);
  errno = kind.reason;
  return true;
}

/// How many of `n` bytes a call moves.
size_t moved(size_t n) { return n > 1 && fails("short") ? 1 : n; }

}  // namespace

Failing::Failing(const Fault& fault) : fault_(fault) {
  calls = 0;
  current = &fault_;
}
Failing::~Failing() { current = nullptr; }
bool Failing::happened() const { return calls >= current->nth; }

void Failing::lose_unsynced() {
  cut_power();
  for (const auto& [path, content] : std::exchange(unsynced_names, {})) {
    content ? write_file(path, *content) : static_cast<void>(std::filesystem::remove(path));
  }
}

}  // namespace coupler::test

using namespace coupler::test;

// What follows hides the functions of the C library from the whole program, the C++ library and the stand-ins included.
// Calls inside the C library itself are not seen: a stream's own read is one call here, fread.
#pragma GCC visibility push(default)
extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t n, size_t size);

void* malloc(size_t size) noexcept { return fails("memory") ? nullptr : __libc_malloc(size); }
void* calloc(size_t n, size_t size) noexcept { return fails("memory") ? nullptr : __libc_calloc(n, size); }

// The rights of what is created are of no matter here.
int open(const char* path, int flags, ...) {
  const bool nameless = (flags & O_TMPFILE) == O_TMPFILE && fails("nameless");
  if (loses_unsynced() && (flags & O_TRUNC) != 0) note_change(REAL(open)(path, O_WRONLY | O_CLOEXEC));
  return nameless || fails("open") ? -1 : REAL(open)(path, flags, 0666);
}
int openat(int directory, const char* path, int flags, ...) {
  return fails("interruption") || fails("open") ? -1 : REAL(openat)(directory, path, flags, 0666);
}
DIR* opendir(const char* path) { return fails("interruption") || fails("open") ? nullptr : REAL(opendir)(path); }
dirent* readdir(DIR* directory) { return fails("interruption") ? nullptr : REAL(readdir)(directory); }
int mkostemp(char* name, int flags) { return fails("open") ? -1 : REAL(mkostemp)(name, flags); }
FILE* fdopen(int descriptor, const char* mode) noexcept {
  return fails("open") ? nullptr : REAL(fdopen)(descriptor, mode);
}
FILE* fopen64(const char* path, const char* mode) { return fails("open") ? nullptr : REAL(fopen64)(path, mode); }

ssize_t read(int descriptor, void* to, size_t n) {
  return fails("interruption") || fails("read") ? -1 : REAL(read)(descriptor, to, moved(n));
}
ssize_t pread(int descriptor, void* to, size_t n, off_t at) {
  const bool failing = fails("interruption") || fails("read") || fails("position");
  return failing ? -1 : REAL(pread)(descriptor, to, moved(n), at);
}
size_t fread(void* to, size_t size, size_t n, FILE* file) {
  constexpr int kErrorSeen = 0x20;  // the C library's own, which ferror asks for
  if (!fails("read")) return REAL(fread)(to, size, n, file);
  file->_flags |= kErrorSeen;
  return 0;
}

off_t lseek(int descriptor, off_t to, int from) noexcept {
  return fails("seek") ? -1 : REAL(lseek)(descriptor, to, from);
}
int fseeko(FILE* file, off_t to, int from) { return fails("seek") ? -1 : REAL(fseeko)(file, to, from); }
off_t ftello(FILE* file) { return fails("seek") ? -1 : REAL(ftello)(file); }

void* mmap(void* at, size_t n, int protection, int flags, int descriptor, off_t offset) noexcept {
  return fails("map") ? MAP_FAILED : REAL(mmap)(at, n, protection, flags, descriptor, offset);
}

ssize_t write(int descriptor, const void* from, size_t n) {
  note_change(descriptor);
  return fails("interruption") || fails("write") ? -1 : REAL(write)(descriptor, from, moved(n));
}
int ftruncate(int descriptor, off_t size) noexcept {
  note_change(descriptor);
  return fails("resize") ? -1 : REAL(ftruncate)(descriptor, size);
}
int fallocate(int descriptor, int mode, off_t offset, off_t size) {
  note_change(descriptor);
  return fails("interruption") || fails("resize") ? -1 : REAL(fallocate)(descriptor, mode, offset, size);
}
int fsync(int descriptor) {
  if (fails("sync")) return -1;
  note_sync(descriptor);
  return REAL(fsync)(descriptor);
}

int linkat(int from, const char* old, int to, const char* name, int flags) noexcept {
  note_name(name);
  const bool denied = (flags & AT_EMPTY_PATH) != 0 && fails("privilege");
  return denied || fails("name") ? -1 : REAL(linkat)(from, old, to, name, flags);
}
int rename(const char* old, const char* name) noexcept {
  note_name(name);
  return fails("rename") ? -1 : REAL(rename)(old, name);
}
int unlink(const char* path) noexcept {
  note_name(path);
  return fails("removal") ? -1 : REAL(unlink)(path);
}

int flock(int descriptor, int operation) noexcept {
  return (operation & LOCK_UN) == 0 && fails("lock") ? -1 : REAL(flock)(descriptor, operation);
}
int fchmod(int descriptor, mode_t mode) noexcept { return fails("rights") ? -1 : REAL(fchmod)(descriptor, mode); }
int fchown(int descriptor, uid_t user, gid_t group) noexcept {
  return fails("rights") ? -1 : REAL(fchown)(descriptor, user, group);
}

// What the commands themselves do is of no matter here, and would take its time.
int system(const char*) { return fails("process") ? -1 : 0; }
FILE* popen(const char* command, const char* mode) { return fails("process") ? nullptr : REAL(popen)(command, mode); }
unsigned sleep(unsigned) { return 0; }

// A descriptor is closed in any case.
int close(int descriptor) {
  const bool failing = fails("close");
  const int result = REAL(close)(descriptor);
  return failing ? -1 : result;
}
int fclose(FILE* file) {
  const bool failing = fails("close");
  const int result = REAL(fclose)(file);
  return failing ? EOF : result;
}
}
#pragma GCC visibility pop
