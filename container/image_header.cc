#include "container/image_header.h"

#include <cerrno>
#include <cstring>
#include <optional>

#include "container/file.h"
#include "frame/log.h"
#include "support/handle.h"
#include "support/text.h"

namespace coupler::container {
namespace {

constexpr const char* kOperation = "extract_header_info";

struct Place {
  uint64_t offset;
  uint64_t length;
};

/// Follows the nesting from the start of the file to the image header:
///   signature > image type or bundle type: the header of the latter
///   signature > controller type > image header: the header of the latter
std::optional<Place> find_image_header(std::FILE* file) {
  const auto signature = read_head(file, kFileGuidSize);
  if (!signature) {
    LOG_LINE(info, kOperation, "ERROR: %s: failed to get orvix descriptor\n", kOperation);
    return std::nullopt;
  }
  if (signature->type != orvix_object_zeltasignature) {
    LOG_LINE(info, kOperation, "ERROR: %s: not orvix_object_zeltasignature object type %d\n", kOperation,
             signature->type);
    return std::nullopt;
  }
  const uint64_t content_at = kFileGuidSize + kHeadSize + signature->header_length;
  const auto content = read_head(file, content_at);
  if (!content) {
    LOG_LINE(info, kOperation, "ERROR: %s: failed to get zelta orvix descriptor\n", kOperation);
    return std::nullopt;
  }
  LOG_LINE(info, kOperation, "INFO: %s: objType %d\n", kOperation, content->type);
  if (content->type == orvix_object_imagetype || content->type == orvix_object_bundletype) {
    return Place{content_at + kHeadSize, content->header_length};
  }
  if (content->type != orvix_object_controllertype) {
    LOG_LINE(info, kOperation, "ERROR: %s: not to handle this object type %d\n", kOperation, content->type);
    return std::nullopt;
  }
  const uint64_t child_at = content_at + kHeadSize + content->header_length;
  const auto child = read_head(file, child_at);
  if (!child || child->type != orvix_object_imageheader) return std::nullopt;
  return Place{child_at + kHeadSize, child->header_length};
}

}  // namespace

size_t image_header_size(uint64_t header_length, size_t capacity) {
  if (header_length > capacity) return capacity;
  return static_cast<size_t>(header_length > kUnit ? header_length - kUnit : header_length);
}

}  // namespace coupler::container

int32_t extract_header_info(const char* path, void* buf, size_t capacity, size_t* copied) {
  using namespace coupler;
  using namespace coupler::container;
  if (!exists(path)) {
    LOG_LINE(info, kOperation, "ERROR: %s: failed to access file %s, %s\n", kOperation, or_null(path),
             std::strerror(errno));
    return -1;
  }
  const File file = open_for_reading(path);
  if (!file) {
    LOG_LINE(info, kOperation, "ERROR: %s: failed to open file %s, %s\n", kOperation, path, std::strerror(errno));
    return -1;
  }
  const auto header = find_image_header(file.get());
  if (!header) return -1;
  *copied = image_header_size(header->length, capacity);
  return read_at(file.get(), header->offset, buf, *copied) > 0 && std::ferror(file.get()) == 0 ? 0 : -1;
}
