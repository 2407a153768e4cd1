// An image, as a container and as a header file: the record fits its buffer, and every text of a handle ends inside it.
#include "brantix/container.h"
#include "fuzz/fuzz.h"
#include "tests/common/files.h"
#include "tests/common/silent_host.h"

namespace {

using namespace coupler::fuzz;
using coupler::test::write_file;

constexpr size_t kHandleSize = 586;

void read_handle(const char* path) {
  const std::unique_ptr<SCI_image_s, decltype(&SCI_imageClose)> handle(SCI_imageOpen(path), SCI_imageClose);
  if (handle == nullptr) return;
  const char* start = SCI_srgGetBuildDate(handle.get());
  for (const auto text : {SCI_imageName, SCI_imageVersion, SCI_imageInterimVersion, SCI_srgGetBuildDate,
                          SCI_srgGetPlatformVersion, SCI_srgGetSwid}) {
    const char* field = text(handle.get());
    require(field + std::strlen(field) < start + kHandleSize);
  }
  SCI_imageSize(handle.get());
  SCI_imageType(handle.get());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const coupler::test::SilentHost host;
  static const coupler::test::ScratchDirectory directory;
  static const std::string image = directory / "image", header_file = directory / "image.img__hdr";
  for (const std::string& path : {image, header_file}) {
    write_file(path, std::string(reinterpret_cast<const char*>(data), size));
    read_handle(path.c_str());
  }
  for (const size_t capacity : std::initializer_list<size_t>{0, 1, 16, 100, 576, 70000}) {
    const Exactly record(capacity);
    size_t copied = 0;
    const int32_t result = extract_header_info(image.c_str(), record.data(), capacity, &copied);
    require(copied <= capacity && (result == 0 || result == -1) && (result == -1 || copied > 0));
  }
  return 0;
}
