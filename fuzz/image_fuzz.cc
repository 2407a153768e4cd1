// An image, as a container and as a header file: the record fits its buffer, and every text of a handle ends inside it.
#include "fuzz/fuzz.h"

void coupler::fuzz::try_input(const std::string& bytes) {
  constexpr size_t kHandleSize = 586;
  for (const char* path : {"/tmp/image", "/tmp/image.img__hdr"}) {
    write_file(path, bytes);
    const std::unique_ptr<SCI_image_s, decltype(&SCI_imageClose)> handle(SCI_imageOpen(path), SCI_imageClose);
    if (handle == nullptr) continue;
    const char* start = SCI_srgGetBuildDate(handle.get());
    for (const auto text : {SCI_imageName, SCI_imageVersion, SCI_imageInterimVersion, SCI_srgGetBuildDate,
                            SCI_srgGetPlatformVersion, SCI_srgGetSwid}) {
      const char* field = text(handle.get());
      require(field + std::strlen(field) < start + kHandleSize);
    }
    SCI_imageSize(handle.get());
    SCI_imageType(handle.get());
  }
  for (const size_t capacity : {0U, 1U, 16U, 100U, 576U, 70000U}) {
    const Exactly record(capacity);
    size_t copied = 0;
    const int32_t result = extract_header_info("/tmp/image", record.data(), capacity, &copied);
    require(copied <= capacity && (result == 0 || result == -1) && (result == -1 || copied > 0));
  }
}
