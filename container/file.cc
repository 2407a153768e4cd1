#include "container/file.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "frame/log.h"
#include "support/handle.h"

namespace coupler::container {

ssize_t read_at(std::FILE* file, uint64_t position, void* buf, size_t n) {
  constexpr const char* kOperation = "get_orvix_descriptor";
  if (file == nullptr) {
    LOG_LINE(info, kOperation, "ERROR: %s: inFp is null", kOperation);
    return -1;
  }
  if (fseeko(file, static_cast<off_t>(position), SEEK_SET) != 0) {
    LOG_LINE(info, kOperation, "ERROR: %s: failed to seek inOffset %d, %s", kOperation, static_cast<int>(position),
             std::strerror(errno));
    return -1;
  }
  std::clearerr(file);
  return static_cast<ssize_t>(std::fread(buf, 1, n, file));
}

bool read_all_there_is(std::FILE* file, uint64_t position, void* buf, size_t n) {
  return read_at(file, position, buf, n) >= 0 && std::ferror(file) == 0;
}

std::optional<ObjectHead> read_head(std::FILE* file, uint64_t position) {
  orvix_object object = {};
  if (read_at(file, position, &object, sizeof(object)) < 0) return std::nullopt;
  return std::ferror(file) == 0 ? decode_head(object) : ObjectHead{orvix_object_null, 0, 0};
}

}  // namespace coupler::container

using namespace coupler;

uint64_t getFileSize(const char* path) {
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
  const int rc = fseeko(file.get(), 0, SEEK_END);
  if (rc != 0) {
    LOG_LINE(info, kOperation, "ERROR: %s: failed to seek file %s, rc %d, %s", kOperation, path, rc,
             std::strerror(errno));
    return 0;
  }
  return static_cast<uint64_t>(std::max<off_t>(ftello(file.get()), 0));
}

int get_orvix_descriptor(FILE* fp, uint32_t offset, void* buf, uint32_t n) {
  return static_cast<int>(container::read_at(fp, offset, buf, std::min<uint32_t>(n, INT_MAX)));
}
