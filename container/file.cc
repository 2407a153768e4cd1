// Files in the container format: how large they are, and positioned reads with the lines that tell of their failures.
#include "container/file.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "frame/log.h"
#include "support/handle.h"

namespace coupler::container {
namespace {

using Read = ReadResult (*)(std::FILE* file, uint64_t position, void* to, size_t size);

ReadResult read_by(Read read, std::FILE* file, uint64_t position, void* to, size_t size) {
  constexpr const char* kOperation = "get_orvix_descriptor";
  if (file == nullptr) {
    LOG_LINE(info, kOperation, "ERROR: %s: inFp is null", kOperation);
    return {ReadResult::kNotPositioned, 0};
  }
  const ReadResult result = read(file, position, to, size);
  if (result.state == ReadResult::kNotPositioned) {
    LOG_LINE(info, kOperation, "ERROR: %s: failed to seek inOffset %d, %s", kOperation, static_cast<int>(position),
             std::strerror(errno));
  }
  return result;
}

uint64_t file_size(const char* path) {
  constexpr const char* kOperation = "getFileSize";
  if (path == nullptr) {
    LOG_LINE(info, kOperation, "ERROR: %s: inFilename is null", kOperation);
    return 0;
  }
  const File file = open_for_reading(path);
  if (!file) {
    LOG_LINE(info, kOperation, "ERROR: %s: unable to open file %s, %s", kOperation, path, std::strerror(errno));
    return 0;
  }
  return size_of(file.get(), path);
}

// The stream is what its users know: it moves.
int read_descriptor(std::FILE* file, uint32_t offset, void* to, uint32_t size) {
  const ReadResult result = read_by(seek_and_read, file, offset, to, std::min<uint32_t>(size, INT_MAX));
  return result.state == ReadResult::kNotPositioned ? -1 : static_cast<int>(result.size);
}

}  // namespace

ReadResult read_at(std::FILE* file, uint64_t position, void* to, size_t size) {
  return read_by(coupler::read_at, file, position, to, size);
}

uint64_t size_of(std::FILE* file, const char* path) {
  constexpr const char* kOperation = "getFileSize";
  const off_t size = ::lseek(::fileno(file), 0, SEEK_END);
  if (size < 0) {
    LOG_LINE(info, kOperation, "ERROR: %s: failed to seek file %s, rc %d, %s", kOperation, path, -1,
             std::strerror(errno));
  }
  return static_cast<uint64_t>(std::max<off_t>(size, 0));
}

std::optional<Object> object_at(std::FILE* file, uint64_t position) {
  orvix_object object = {};
  const ReadResult result = read_at(file, position, &object, sizeof(object));
  if (result.state == ReadResult::kNotPositioned) return std::nullopt;
  return Object{position, ObjectHead(result.state == ReadResult::kDone ? object : orvix_object{})};
}

std::optional<Object> first_object(std::FILE* file, uint64_t base) { return object_at(file, base + kFileGuidSize); }

std::optional<Object> first_child(std::FILE* file, const Object& parent) {
  return object_at(file, parent.payload_at());
}

}  // namespace coupler::container

uint64_t getFileSize(const char* path) { return coupler::container::file_size(path); }

int get_orvix_descriptor(FILE* fp, uint32_t offset, void* buf, uint32_t n) {
  return coupler::container::read_descriptor(fp, offset, buf, n);
}
