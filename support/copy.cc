#include "support/copy.h"

#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "support/output.h"

namespace coupler {
namespace {

constexpr uint64_t kWindow = 2 << 20;

/// A piece of a file in memory, for as long as the object lives.
class Mapping {
 public:
  Mapping(int descriptor, uint64_t offset, uint64_t length)
      : lead_(offset % static_cast<uint64_t>(::sysconf(_SC_PAGESIZE))),
        size_(lead_ + length),
        address_(::mmap(nullptr, size_, PROT_READ, MAP_PRIVATE | MAP_POPULATE, descriptor,
                        static_cast<off_t>(offset - lead_))) {}
  ~Mapping() {
    if (*this) ::munmap(address_, size_);
  }
  Mapping(const Mapping&) = delete;
  Mapping& operator=(const Mapping&) = delete;

  explicit operator bool() const { return address_ != MAP_FAILED; }
  const char* data() const { return static_cast<const char*>(address_) + lead_; }

 private:
  uint64_t lead_;
  uint64_t size_;
  void* address_;
};

uint64_t mappable_size(int descriptor) {
  struct stat status;
  const bool regular = descriptor >= 0 && ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
  return regular ? static_cast<uint64_t>(status.st_size) : 0;
}

bool copy_through_buffer(std::FILE* source, uint64_t offset, uint64_t length, OutputFile& target) {
  char buffer[16384];
  std::clearerr(source);
  if (::fseeko(source, static_cast<off_t>(offset), SEEK_SET) != 0) return errno == EINVAL;  // behind what it holds
  while (length > 0) {
    const size_t got = std::fread(buffer, 1, std::min<uint64_t>(length, sizeof(buffer)), source);
    if (got == 0) return std::ferror(source) == 0;
    if (!target.write(buffer, got)) return false;
    length -= got;
  }
  return true;
}

// The bytes go from the page cache to the target without a copy of ours. Where the source shrinks meanwhile, write
// fails with EFAULT; it raises no signal.
bool copy_bytes(std::FILE* source, uint64_t offset, uint64_t length, OutputFile& target) {
  const int descriptor = ::fileno(source);
  const uint64_t size = mappable_size(descriptor);
  if (size == 0) return copy_through_buffer(source, offset, length, target);
  const uint64_t end = std::min(size, offset + length);
  while (offset < end) {
    const uint64_t piece = std::min(kWindow, end - offset);
    const Mapping window(descriptor, offset, piece);
    if (!window) return copy_through_buffer(source, offset, end - offset, target);
    if (!target.write(window.data(), piece)) return false;
    offset += piece;
  }
  return true;
}

}  // namespace

bool is_another_file(std::FILE* source, const char* path) {
  struct stat mine, theirs;
  const bool same = ::fstat(::fileno(source), &mine) == 0 && ::stat(path, &theirs) == 0 &&
                    mine.st_dev == theirs.st_dev && mine.st_ino == theirs.st_ino;
  if (same) errno = EEXIST;
  return !same;
}

bool copy_to_file(std::FILE* source, uint64_t offset, uint64_t length, const char* path) {
  if (!is_another_file(source, path)) return false;
  OutputFile file(path);
  return file && copy_bytes(source, offset, length, file) && file.set_size(static_cast<off_t>(length)) && file.commit();
}

}  // namespace coupler
