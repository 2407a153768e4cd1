// Image handles: a copy of an image's header record, and the queries that read it.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "brantix/container.h"
#include "frame/log.h"
#include "support/handle.h"
#include "support/number.h"

/// The record and a zero tail, so that every text of the record ends inside the handle.
struct SCI_image_s {
  ImageHeader header;
  char tail[10];
};
static_assert(sizeof(SCI_image_s) == 586);

namespace coupler::firmware {
namespace {

constexpr const char* kOperation = "SCI_imageOpen";
constexpr size_t kRecordSize = sizeof(ImageHeader);

struct Free {
  void operator()(SCI_image_s* image) const { std::free(image); }
};
using Image = std::unique_ptr<SCI_image_s, Free>;

Image blank_image() { return Image(static_cast<SCI_image_s*>(std::calloc(1, sizeof(SCI_image_s)))); }

Image read_header_file(const char* path) {
  const uint64_t size = getFileSize(path);
  const File file = open_for_reading(path);
  if (!file) {
    LOG_LINE(info, kOperation, "ERROR: %s: hdr failed to open file %s, %s\n", kOperation, path, std::strerror(errno));
    return nullptr;
  }
  if (fseeko(file.get(), 0, SEEK_SET) != 0) {
    LOG_LINE(info, kOperation, "ERROR: %s: hdr failed to seek file %s, %s\n", kOperation, path, std::strerror(errno));
    return nullptr;
  }
  const auto expected = static_cast<size_t>(std::min<uint64_t>(size, kRecordSize));
  Image image = blank_image();
  if (image == nullptr) return nullptr;
  const size_t got = std::fread(image.get(), 1, expected, file.get());
  if (got != expected) {
    LOG_LINE(info, kOperation, "ERROR: %s: hdr size mismatched expect %d but got %d\n", kOperation,
             static_cast<int>(expected), static_cast<int>(got));
    return nullptr;
  }
  return image;
}

Image read_full_image(const char* path) {
  Image image = blank_image();
  size_t copied = 0;
  if (image == nullptr) return nullptr;
  if (extract_header_info(path, image.get(), kRecordSize, &copied) != 0) {
    LOG_LINE(info, kOperation, "ERROR: %s: failed to extract hdr from file %s, expect size %d\n", kOperation, path,
             static_cast<int>(kRecordSize));
    return nullptr;
  }
  return image;
}

SCI_image_s* open_image(const char* path) {
  if (path == nullptr) {
    LOG_LINE(info, kOperation, "ERROR: %s: aInImageName is null\n", kOperation);
    return nullptr;
  }
  const bool header_file = std::strstr(path, ".img__hdr") != nullptr;
  return (header_file ? read_header_file(path) : read_full_image(path)).release();
}

const char* text(const SCI_image_s* handle, size_t offset) {
  return handle == nullptr ? nullptr : reinterpret_cast<const char*>(handle) + offset;
}

}  // namespace
}  // namespace coupler::firmware

SCI_image_s* SCI_imageOpen(const char* aInImageName) { return coupler::firmware::open_image(aInImageName); }

void SCI_imageClose(SCI_image_s* handle) { std::free(handle); }

const char* SCI_imageName(const SCI_image_s* handle) {
  return coupler::firmware::text(handle, offsetof(ImageHeader, filename));
}
const char* SCI_imageVersion(const SCI_image_s* handle) {
  return coupler::firmware::text(handle, offsetof(ImageHeader, version));
}
const char* SCI_imageInterimVersion(const SCI_image_s* handle) {
  return coupler::firmware::text(handle, offsetof(ImageHeader, interim_version));
}

unsigned int SCI_imagePlatform(const SCI_image_s* handle) { return handle == nullptr ? 0 : handle->header.platform; }
unsigned int SCI_imageType(const SCI_image_s* handle) { return handle == nullptr ? 0 : handle->header.image_type; }

int64_t SCI_imageSize(const SCI_image_s* handle) {
  return handle == nullptr
             ? 0
             : coupler::leading_number(coupler::firmware::text(handle, offsetof(ImageHeader, image_size)));
}

int32_t SCI_verifyImageMD5(const SCI_image_s* handle) { return handle == nullptr ? -1 : 0; }

SCI_image_s* SCI_srgOpen(SCI_image_s* handle) { return handle; }
void SCI_srgClose(SCI_image_s*) {}

const char* SCI_srgGetVersion(const SCI_image_s* handle) { return SCI_imageVersion(handle); }
const char* SCI_srgGetInterimVersion(const SCI_image_s* handle) { return SCI_imageInterimVersion(handle); }
const char* SCI_srgGetPlatformVersion(const SCI_image_s* handle) {
  return coupler::firmware::text(handle, offsetof(ImageHeader, platform_version));
}
const char* SCI_srgGetSwid(const SCI_image_s* handle) {
  return coupler::firmware::text(handle, offsetof(ImageHeader, software_id));
}
const char* SCI_srgGetBuildDate(const SCI_image_s* handle) {
  return coupler::firmware::text(handle, offsetof(ImageHeader, build_date));
}
