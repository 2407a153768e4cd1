// Pieces of one file as files of their own: shared, or copied window by window.
#include "support/copy.h"

#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "support/handle.h"
#include "support/output.h"
#include "support/read_at.h"

namespace coupler {
namespace {

constexpr uint64_t kWindow = 2 << 20;
constexpr uint64_t kBlock = 4096;
constexpr size_t kBuffer = 16384;

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

bool status_of(std::FILE* file, struct stat& status) { return ::fstat(::fileno(file), &status) == 0; }

uint64_t size_of(std::FILE* source) {
  struct stat status;
  if (status_of(source, status) && S_ISREG(status.st_mode)) return static_cast<uint64_t>(status.st_size);
  const off_t end = ::fseeko(source, 0, SEEK_END) == 0 ? ::ftello(source) : 0;
  return static_cast<uint64_t>(std::max<off_t>(end, 0));
}

// Whole blocks: what follows the piece in its last one is cut off again.
bool share(const Piece& piece, OutputFile& target) {
  const int descriptor = ::fileno(piece.source);
  if (descriptor < 0 || piece.length == 0 || piece.offset % kBlock != 0) return false;
  const uint64_t blocks = (piece.length + kBlock - 1) / kBlock * kBlock;
  const uint64_t behind = size_of(piece.source) - piece.offset;
  return target.share(descriptor, piece.offset, std::min(blocks, behind));
}

bool copy_through_buffer(Piece piece, OutputFile& target) {
  char buffer[kBuffer];
  while (piece.length > 0) {
    const ReadResult got = read_at(piece.source, piece.offset, buffer, std::min<uint64_t>(piece.length, kBuffer));
    if (got.state != ReadResult::kDone) return false;
    if (got.size == 0) return true;
    if (!target.write(buffer, got.size)) return false;
    piece.offset += got.size;
    piece.length -= got.size;
  }
  return true;
}

// The bytes go from the page cache to the target without a copy of ours. Where the source shrinks meanwhile, write
// fails with EFAULT; it raises no signal.
bool copy_bytes(Piece piece, OutputFile& target) {
  while (piece.length > 0) {
    const uint64_t size = std::min(kWindow, piece.length);
    const Mapping window(::fileno(piece.source), piece.offset, size);
    if (!window) return copy_through_buffer(piece, target);
    if (!target.write(window.data(), size)) return false;
    piece.offset += size;
    piece.length -= size;
  }
  return true;
}

/// Compares the next bytes of a piece with a file, which lacks none of them. What the source lacks is zero.
bool is_same(const Piece& piece, std::FILE* file, uint64_t at) {
  char ours[kBuffer] = {};
  char theirs[kBuffer];
  const size_t size = std::min<uint64_t>(kBuffer, piece.length - at);
  if (read_at(piece.source, piece.offset + at, ours, size).state == ReadResult::kFailed) return false;
  const ReadResult there = read_at(file, at, theirs, size);
  return there.state == ReadResult::kDone && there.size == size && std::memcmp(ours, theirs, size) == 0;
}

}  // namespace

uint64_t held(const Piece& piece) {
  const uint64_t size = size_of(piece.source);
  return size <= piece.offset ? 0 : std::min(piece.length, size - piece.offset);
}

bool is_another_file(std::FILE* source, const char* path) {
  struct stat mine, theirs;
  const bool same = status_of(source, mine) && ::stat(path, &theirs) == 0 && mine.st_dev == theirs.st_dev &&
                    mine.st_ino == theirs.st_ino;
  if (same) errno = EEXIST;
  return !same;
}

bool is_copy(const Piece& piece, const char* path) {
  const File file = open_for_reading(path);
  struct stat status;
  if (!file || !status_of(file.get(), status) || !S_ISREG(status.st_mode)) return false;
  if (static_cast<uint64_t>(status.st_size) != piece.length) return false;
  for (uint64_t at = 0; at < piece.length; at += kBuffer) {
    if (!is_same(piece, file.get(), at)) return false;
  }
  return true;
}

bool copy_to_file(const Piece& piece, const char* path) {
  if (!is_another_file(piece.source, path)) return false;
  OutputFile file(path);
  if (!file) return false;
  const Piece there{piece.source, piece.offset, held(piece)};
  const bool copied = share(there, file) || (file.claim(there.length) && copy_bytes(there, file));
  return copied && file.set_size(piece.length) && file.commit();
}

}  // namespace coupler
