// Finds the image header of an image or bundle file, whichever way it is nested, and copies it.
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

std::optional<Object> signature_of(std::FILE* file) {
  const auto signature = first_object(file);
  if (!signature) {
    LOG_LINE(info, kOperation, "ERROR: %s: failed to get orvix descriptor\n", kOperation);
    return std::nullopt;
  }
  if (signature->head.type == orvix_object_zeltasignature) return signature;
  LOG_LINE(info, kOperation, "ERROR: %s: not orvix_object_zeltasignature object type %d\n", kOperation,
           signature->head.type);
  return std::nullopt;
}

std::optional<Object> content_of(std::FILE* file, const Object& signature) {
  const auto content = first_child(file, signature);
  if (content) {
    LOG_LINE(info, kOperation, "INFO: %s: objType %d\n", kOperation, content->head.type);
  } else {
    LOG_LINE(info, kOperation, "ERROR: %s: failed to get zelta orvix descriptor\n", kOperation);
  }
  return content;
}

/// Follows the nesting from the start of the file to the object whose header is the image header:
///   signature > image type or bundle type
///   signature > controller type > image header
std::optional<Object> find_image_header(std::FILE* file) {
  const auto signature = signature_of(file);
  if (!signature) return std::nullopt;
  const auto content = content_of(file, *signature);
  if (!content) return std::nullopt;
  const int type = content->head.type;
  if (type == orvix_object_imagetype || type == orvix_object_bundletype) return content;
  if (type != orvix_object_controllertype) {
    LOG_LINE(info, kOperation, "ERROR: %s: not to handle this object type %d\n", kOperation, type);
    return std::nullopt;
  }
  auto child = first_child(file, *content);
  if (child && child->head.type != orvix_object_imageheader) child.reset();
  return child;
}

int32_t copy_image_header(const char* path, void* to, size_t capacity, size_t* copied) {
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
  const auto object = find_image_header(file.get());
  if (!object) return -1;
  *copied = image_header_size(object->head.header_length(), capacity);
  const ReadResult result = read_at(file.get(), object->header_at(), to, *copied);
  return result.state == ReadResult::kDone && result.size > 0 ? 0 : -1;
}

}  // namespace

size_t image_header_size(uint64_t header_length, size_t capacity) {
  if (header_length > capacity) return capacity;
  return static_cast<size_t>(header_length > kUnit ? header_length - kUnit : header_length);
}

}  // namespace coupler::container

int32_t extract_header_info(const char* path, void* buf, size_t capacity, size_t* copied) {
  return coupler::container::copy_image_header(path, buf, capacity, copied);
}
