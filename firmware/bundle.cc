#include "firmware/bundle.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string_view>

#include "container/file.h"
#include "container/image_header.h"
#include "firmware/parts.h"
#include "frame/log.h"
#include "support/copy.h"
#include "support/handle.h"
#include "support/output.h"

namespace coupler::firmware {
namespace {

constexpr int kMostParts = 20;
constexpr size_t kListStride = 64;

bool is_script(std::string_view name) { return name == "verify_firmware.py" || name == "firmware_incomp.json"; }

/// The texts of the caller's header buffer. One that is not terminated in its field runs on, to the record's end.
class HeaderTexts {
 public:
  explicit HeaderTexts(const BundleReport& report) {
    std::memcpy(bytes_, report.header, std::min(report.header_capacity, sizeof(ImageHeader)));
  }
  const char* at(size_t offset) const { return bytes_ + offset; }

 private:
  char bytes_[sizeof(ImageHeader) + 1] = {};
};

class BundleWalk {
 public:
  BundleWalk(std::FILE* bundle, uint64_t end, const BundleReport& report)
      : bundle_(bundle), end_(end), report_(report) {}

  bool run(uint64_t base);

 private:
  std::optional<uint64_t> first_part(uint64_t base) const;
  bool take(const Part& part);
  bool take_firmware(const Part& part, const FirmwareKind& kind);
  bool take_image_header(const Part& part);
  bool take_image_file(const Part& part);
  void list(const Part& part, const char* name);
  void look_into(const Part& part) const;
  bool write(const Part& part, const PartText& text, const char* directory, std::optional<FileName> name) const;
  bool write_header() const;

  std::FILE* bundle_;
  uint64_t end_;
  const BundleReport& report_;
  int parts_ = 0;
  int files_ = 0;
  char image_name_[64] = "";
};

bool BundleWalk::run(uint64_t base) {
  auto position = first_part(base);
  if (!position) return false;
  for (; *position < end_ && parts_ < kMostParts; ++parts_) {
    const auto head = container::read_head(bundle_, *position);
    if (!head) return false;
    const Part part{bundle_, *position, *head};
    if (!take(part)) return false;
    position = part.end();
  }
  return true;
}

std::optional<uint64_t> BundleWalk::first_part(uint64_t base) const {
  const auto signature = container::read_head(bundle_, base + container::kFileGuidSize);
  if (!signature) return std::nullopt;
  if (signature->type != orvix_object_zeltasignature) {
    LOG_LINE(info, kWalk, "ERROR: not orvix_object_zeltasignature object type %d\n", signature->type);
    return std::nullopt;
  }
  VERBOSE_LINE(kWalk, "%s: headerLen0 %zu payloadLen0 %zu\n", kWalk, static_cast<size_t>(signature->header_length),
               static_cast<size_t>(signature->payload_length));
  const uint64_t controller_at = base + container::kFileGuidSize + container::kHeadSize + signature->header_length;
  const auto controller = container::read_head(bundle_, controller_at);
  if (!controller) return std::nullopt;
  if (controller->type != orvix_object_controllertype) {
    LOG_LINE(info, kWalk, "ERROR: expect controller type but got %d\n", controller->type);
    return std::nullopt;
  }
  VERBOSE_LINE(kWalk, "%s: headerLen1 %zu payloadLen1 %zu\n", kWalk, static_cast<size_t>(controller->header_length),
               static_cast<size_t>(controller->payload_length));
  return controller_at + container::kHeadSize + controller->header_length;
}

bool BundleWalk::take(const Part& part) {
  if (const FirmwareKind* kind = firmware_kind(part.head.type)) return take_firmware(part, *kind);
  switch (part.head.type) {
    case orvix_object_imageheader:
      return take_image_header(part);
    case orvix_object_imagefile:
    case orvix_object_textfile:
      return take_image_file(part);
    default:
      LOG_LINE(info, kWalk, "%s: invalid object type %d\n", kWalk, part.head.type);
      return false;
  }
}

bool BundleWalk::take_firmware(const Part& part, const FirmwareKind& kind) {
  const auto text = PartText::read(part);
  if (!text) return false;
  kind.trace(text->whole());
  report_.versions[kind.version].copy(text->name());
  const char* directory = kind.fixed_directory != nullptr ? kind.fixed_directory : report_.directory;
  return write(part, *text, directory, FileName::from(kind.file_prefix, text->name()));
}

bool BundleWalk::take_image_header(const Part& part) {
  VERBOSE_LINE(kWalk, "%s: orvix_object_imageheader numParts %d outHeaderInfo %p\n", kWalk, parts_,
               static_cast<void*>(report_.header));
  if (report_.header == nullptr) return true;
  *report_.header_length = container::image_header_size(part.head.header_length, report_.header_capacity);
  if (!container::read_all_there_is(bundle_, part.header_at(), report_.header, *report_.header_length)) {
    LOG_LINE(info, kWalk, "%s: orvix_object_imageheader ERROR failed to get header\n", kWalk);
    return false;
  }
  const HeaderTexts texts(report_);
  Text(image_name_).copy(texts.at(offsetof(ImageHeader, filename)));
  VERBOSE_LINE(kWalk, "%s: orvix_object_imageheader filename %s version %s platform_version %s imageName %s\n", kWalk,
               texts.at(offsetof(ImageHeader, filename)), texts.at(offsetof(ImageHeader, version)),
               texts.at(offsetof(ImageHeader, platform_version)), image_name_);
  report_.package_version.copy(texts.at(offsetof(ImageHeader, version)));
  return report_.directory == nullptr || write_header();
}

bool BundleWalk::take_image_file(const Part& part) {
  const auto text = PartText::read(part);
  if (!text) return false;
  VERBOSE_LINE(kWalk, "%s: orvix_object_imagefile %s\n", kWalk, text->whole());
  char name[64];
  Text(name).copy(text->name());
  if (!is_script(name)) ++*report_.image_count;
  const bool listing = report_.image_list != nullptr && files_ < report_.list_entries;
  VERBOSE_LINE(kWalk, "%s: orvix_object_imagefile fileIdx %d numVers %d imageList %p\n", kWalk, files_,
               report_.list_entries, static_cast<void*>(report_.image_list));
  if (listing) list(part, name);
  return write(part, *text, report_.directory, FileName::from("", name));
}

void BundleWalk::list(const Part& part, const char* name) {
  VERBOSE_LINE(kWalk, "%s: orvix_object_imagefile fileIdx %d scriptName %s imageName %s-\n", kWalk, files_, name,
               image_name_);
  const auto room = static_cast<size_t>(std::max(report_.entry_size, 0));
  Text(report_.image_list + kListStride * static_cast<size_t>(files_), room).copy(name);
  ++files_;
  if (image_name_[0] == '\0' || std::strcmp(name, image_name_) != 0) return;
  VERBOSE_LINE(kWalk, "%s: match up ...\n", kWalk);
  look_into(part);
}

// The image that the bundle's header names is a container of its own. Its versions replace those of the bundle; its
// walk ends where the bundle ends, and how it ends does not matter.
void BundleWalk::look_into(const Part& part) const {
  char header[sizeof(ImageHeader)] = {};
  size_t header_length = 0;
  int image_count = 0;
  BundleReport report = report_;
  report.header = header;
  report.header_capacity = sizeof(header);
  report.header_length = &header_length;
  report.directory = nullptr;
  report.image_count = &image_count;
  report.image_list = nullptr;
  report.list_entries = 0;
  report.entry_size = 0;
  BundleWalk(bundle_, end_, report).run(part.payload_at());
}

// A file that cannot be written ends the walk, unless the caller only asked for the versions.
bool BundleWalk::write(const Part& part, const PartText& text, const char* directory,
                       std::optional<FileName> name) const {
  if (!text.has_size() || directory == nullptr) return true;
  const Written written = write_part(part, text, directory, name);
  return written == Written::kYes || (written == Written::kUnwritable && report_.directory == nullptr);
}

bool BundleWalk::write_header() const {
  char path[256];
  Text(path).format("%s/hdr", report_.directory);
  if (is_another_file(bundle_, path)) {
    OutputFile file(path);
    if (file && file.write(report_.header, report_.header_capacity) && file.commit()) return true;
  }
  log_unwritable(path);
  return false;
}

}  // namespace

bool walk_bundle(std::FILE* bundle, uint64_t end, uint64_t base, const BundleReport& report) {
  return BundleWalk(bundle, end, report).run(base);
}

}  // namespace coupler::firmware

int32_t extract_fw_info(FILE* fp, uint32_t end, uint32_t base, void* hdr, size_t hdrCapacity, size_t* hdrLen,
                        char* packageVersion, size_t packageVersionCapacity, char* rommonVersion, size_t rommonCapacity,
                        char* fpgaVersion, size_t fpgaCapacity, char* pseqVersion, size_t pseqCapacity,
                        char* lanSpiVersion, size_t lanSpiCapacity, char* ssdVersion, size_t ssdCapacity,
                        const char* outDir, int* imageCount, char* imageList, int numVers, int entrySize) {
  const coupler::firmware::BundleReport report{static_cast<char*>(hdr),
                                               hdrCapacity,
                                               hdrLen,
                                               {packageVersion, packageVersionCapacity},
                                               {{rommonVersion, rommonCapacity},
                                                {fpgaVersion, fpgaCapacity},
                                                {pseqVersion, pseqCapacity},
                                                {lanSpiVersion, lanSpiCapacity},
                                                {ssdVersion, ssdCapacity}},
                                               outDir,
                                               imageCount,
                                               imageList,
                                               numVers,
                                               entrySize};
  return coupler::firmware::walk_bundle(fp, end, base, report) ? 0 : -1;
}

int32_t extract_firmware_info(const char* path, void* hdr, size_t hdrCapacity, size_t* hdrLen, char* packageVersion,
                              size_t packageVersionCapacity, char* rommonVersion, size_t rommonCapacity,
                              char* fpgaVersion, size_t fpgaCapacity, char* pseqVersion, size_t pseqCapacity,
                              char* lanSpiVersion, size_t lanSpiCapacity, char* ssdVersion, size_t ssdCapacity,
                              const char* outDir, int* imageCount, char* imageList, int numVers, int entrySize) {
  if (!coupler::exists(path)) {
    LOG_LINE(info, "extract_firmware_info", "ERROR: failed to access file %s\n", coupler::or_null(path));
    return -1;
  }
  const uint64_t size = std::min<uint64_t>(getFileSize(path), UINT32_MAX);  // positions in a bundle are 32-bit
  const coupler::File file = coupler::open_for_reading(path);
  if (!file) return -1;
  const int32_t result = extract_fw_info(
      file.get(), static_cast<uint32_t>(size), 0, hdr, hdrCapacity, hdrLen, packageVersion, packageVersionCapacity,
      rommonVersion, rommonCapacity, fpgaVersion, fpgaCapacity, pseqVersion, pseqCapacity, lanSpiVersion,
      lanSpiCapacity, ssdVersion, ssdCapacity, outDir, imageCount, imageList, numVers, entrySize);
  return size == 0 ? -1 : result;  // a size that could not be told would pass for a bundle without parts
}
