// Positioned reads: of the file under a stream, or of the stream where there is none.
#include "support/read_at.h"

#include <unistd.h>

#include <cerrno>

#include "support/handle.h"

namespace coupler {
namespace {

ReadResult read_file_at(int descriptor, uint64_t position, char* to, size_t size) {
  size_t got = 0;
  while (got < size) {
    const auto at = static_cast<off_t>(position + got);
    const ssize_t piece = resumed([=] { return ::pread(descriptor, to + got, size - got, at); });
    if (piece < 0) return {errno == ESPIPE || errno == EINVAL ? ReadResult::kNotPositioned : ReadResult::kFailed, got};
    if (piece == 0) break;
    got += static_cast<size_t>(piece);
  }
  return {ReadResult::kDone, got};
}

}  // namespace

ReadResult read_at(std::FILE* stream, uint64_t position, void* to, size_t size) {
  const int descriptor = ::fileno(stream);
  return descriptor < 0 ? seek_and_read(stream, position, to, size)
                        : read_file_at(descriptor, position, static_cast<char*>(to), size);
}

ReadResult seek_and_read(std::FILE* stream, uint64_t position, void* to, size_t size) {
  if (::fseeko(stream, static_cast<off_t>(position), SEEK_SET) != 0) return {ReadResult::kNotPositioned, 0};
  std::clearerr(stream);
  const size_t got = std::fread(to, 1, size, stream);
  return {std::ferror(stream) == 0 ? ReadResult::kDone : ReadResult::kFailed, got};
}

}  // namespace coupler
