// Walks a firmware bundle: reports what it holds, and writes its parts as files.
#include "firmware/bundle.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string_view>

#include "brantix/container.h"
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
  explicit HeaderTexts(const BundleOutputs& outputs) {
    std::memcpy(bytes_, outputs.header, std::min(outputs.header_capacity, sizeof(ImageHeader)));
  }
  const char* at(size_t offset) const { return bytes_ + offset; }

 private:
  char bytes_[sizeof(ImageHeader) + 1] = {};
};

// As if the file had been looked for, measured and opened one after the other.
void log_unopenable(const char* path) {
  if (exists(path)) {
    getFileSize(path);
  } else {
    LOG_LINE(info, "extract_firmware_info", "ERROR: failed to access file %s\n", or_null(path));
  }
}

class BundleWalk {
 public:
  BundleWalk(std::FILE* bundle, uint64_t end, const BundleOutputs& outputs)
      : bundle_(bundle), end_(end), outputs_(outputs) {}

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
  const BundleOutputs& outputs_;
  int parts_ = 0;
  int files_ = 0;
  char image_name_[64] = "";
};

bool BundleWalk::run(uint64_t base) {
  auto position = first_part(base);
  if (!position) return false;
  for (; *position < end_ && parts_ < kMostParts; ++parts_) {
    const auto object = container::object_at(bundle_, *position);
    if (!object) return false;
    const Part part(bundle_, *object);
    if (!take(part)) return false;
    position = part.end();
  }
  return true;
}

std::optional<uint64_t> BundleWalk::first_part(uint64_t base) const {
  const auto signature = container::first_object(bundle_, base);
  if (!signature) return std::nullopt;
  if (signature->head.type != orvix_object_zeltasignature) {
    LOG_LINE(info, kWalk, "ERROR: not orvix_object_zeltasignature object type %d\n", signature->head.type);
    return std::nullopt;
  }
  const size_t length0 = signature->head.payload_length();
  VERBOSE_LINE(kWalk, "%s: headerLen0 %zu payloadLen0 %zu\n", kWalk, signature->head.header_length(), length0);
  const auto controller = container::first_child(bundle_, *signature);
  if (!controller) return std::nullopt;
  if (controller->head.type != orvix_object_controllertype) {
    LOG_LINE(info, kWalk, "ERROR: expect controller type but got %d\n", controller->head.type);
    return std::nullopt;
  }
  const size_t length1 = controller->head.payload_length();
  VERBOSE_LINE(kWalk, "%s: headerLen1 %zu payloadLen1 %zu\n", kWalk, controller->head.header_length(), length1);
  return controller->payload_at();
}

bool BundleWalk::take(const Part& part) {
  if (const FirmwareKind* kind = firmware_kind(part.object.head.type)) return take_firmware(part, *kind);
  switch (part.object.head.type) {
    case orvix_object_imageheader:
      return take_image_header(part);
    case orvix_object_imagefile:
    case orvix_object_textfile:
      return take_image_file(part);
    default:
      LOG_LINE(info, kWalk, "%s: invalid object type %d\n", kWalk, part.object.head.type);
      return false;
  }
}

bool BundleWalk::take_firmware(const Part& part, const FirmwareKind& kind) {
  const auto text = PartText::read(part);
  if (!text) return false;
  if (cs_debug_verbose != 0) kind.trace.write(kWalk, kWalk, text->whole());
  (outputs_.*kind.version).copy(text->name());
  const char* directory = kind.fixed_directory != nullptr ? kind.fixed_directory : outputs_.directory;
  return write(part, *text, directory, FileName::from(kind.file_prefix, text->name()));
}

bool BundleWalk::take_image_header(const Part& part) {
  VERBOSE_LINE(kWalk, "%s: orvix_object_imageheader numParts %d outHeaderInfo %p\n", kWalk, parts_,
               static_cast<void*>(outputs_.header));
  if (outputs_.header == nullptr) return true;
  *outputs_.header_length = container::image_header_size(part.object.head.header_length(), outputs_.header_capacity);
  const ReadResult result =
      container::read_at(bundle_, part.object.header_at(), outputs_.header, *outputs_.header_length);
  if (result.state != ReadResult::kDone) {
    LOG_LINE(info, kWalk, "%s: orvix_object_imageheader ERROR failed to get header\n", kWalk);
    return false;
  }
  const HeaderTexts texts(outputs_);
  Text(image_name_).copy(texts.at(offsetof(ImageHeader, filename)));
  VERBOSE_LINE(kWalk, "%s: orvix_object_imageheader filename %s version %s platform_version %s imageName %s\n", kWalk,
               texts.at(offsetof(ImageHeader, filename)), texts.at(offsetof(ImageHeader, version)),
               texts.at(offsetof(ImageHeader, platform_version)), image_name_);
  outputs_.package_version.copy(texts.at(offsetof(ImageHeader, version)));
  return outputs_.only_versions() || write_header();
}

bool BundleWalk::take_image_file(const Part& part) {
  const auto text = PartText::read(part);
  if (!text) return false;
  VERBOSE_LINE(kWalk, "%s: orvix_object_imagefile %s\n", kWalk, text->whole());
  char name[64];
  Text(name).copy(text->name());
  if (!is_script(name)) ++*outputs_.image_count;
  const bool listing = outputs_.image_list != nullptr && files_ < outputs_.list_entries;
  VERBOSE_LINE(kWalk, "%s: orvix_object_imagefile fileIdx %d numVers %d imageList %p\n", kWalk, files_,
               outputs_.list_entries, static_cast<void*>(outputs_.image_list));
  if (listing) list(part, name);
  return write(part, *text, outputs_.directory, FileName::from("", name));
}

void BundleWalk::list(const Part& part, const char* name) {
  VERBOSE_LINE(kWalk, "%s: orvix_object_imagefile fileIdx %d scriptName %s imageName %s-\n", kWalk, files_, name,
               image_name_);
  const auto room = static_cast<size_t>(std::max(outputs_.entry_size, 0));
  Text(outputs_.image_list + kListStride * static_cast<size_t>(files_), room).copy(name);
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
  BundleOutputs outputs = outputs_;
  outputs.header = header;
  outputs.header_capacity = sizeof(header);
  outputs.header_length = &header_length;
  outputs.directory = nullptr;
  outputs.image_count = &image_count;
  outputs.image_list = nullptr;
  outputs.list_entries = 0;
  BundleWalk(bundle_, end_, outputs).run(part.object.payload_at());
}

// A file that cannot be written ends the walk, unless only versions are asked.
bool BundleWalk::write(const Part& part, const PartText& text, const char* directory,
                       std::optional<FileName> name) const {
  if (!text.has_size() || directory == nullptr) return true;
  const Written written = write_part(part, text, directory, name);
  return written == Written::kYes || (written == Written::kUnwritable && outputs_.only_versions());
}

bool BundleWalk::write_header() const {
  char path[256];
  Text(path).format("%s/hdr", outputs_.directory);
  if (is_another_file(bundle_, path)) {
    OutputFile file(path);
    if (file && file.write(outputs_.header, outputs_.header_capacity) && file.commit()) return true;
  }
  log_unwritable(path);
  return false;
}

}  // namespace

bool walk_bundle(std::FILE* bundle, uint64_t end, uint64_t base, const BundleOutputs& outputs) {
  return BundleWalk(bundle, end, outputs).run(base);
}

bool read_bundle(const char* path, const BundleOutputs& outputs) {
  const File file = path == nullptr ? File() : open_for_reading(path);
  if (!file) {
    log_unopenable(path);
    return false;
  }
  const uint64_t size = std::min<uint64_t>(container::size_of(file.get(), path), UINT32_MAX);
  const bool whole = walk_bundle(file.get(), size, 0, outputs);
  return whole && size > 0;  // a size that could not be told would pass for a bundle without parts
}

}  // namespace coupler::firmware

int32_t extract_fw_info(FILE* fp, uint32_t end, uint32_t base, void* hdr, size_t hdrCapacity, size_t* hdrLen,
                        char* packageVersion, size_t packageVersionCapacity, char* rommonVersion, size_t rommonCapacity,
                        char* fpgaVersion, size_t fpgaCapacity, char* pseqVersion, size_t pseqCapacity,
                        char* lanSpiVersion, size_t lanSpiCapacity, char* ssdVersion, size_t ssdCapacity,
                        const char* outDir, int* imageCount, char* imageList, int numVers, int entrySize) {
  return coupler::firmware::walk_bundle(fp, end, base,
                                        {static_cast<char*>(hdr),
                                         hdrCapacity,
                                         hdrLen,
                                         {packageVersion, packageVersionCapacity},
                                         {rommonVersion, rommonCapacity},
                                         {fpgaVersion, fpgaCapacity},
                                         {pseqVersion, pseqCapacity},
                                         {lanSpiVersion, lanSpiCapacity},
                                         {ssdVersion, ssdCapacity},
                                         outDir,
                                         imageCount,
                                         imageList,
                                         numVers,
                                         entrySize})
             ? 0
             : -1;
}

int32_t extract_firmware_info(const char* path, void* hdr, size_t hdrCapacity, size_t* hdrLen, char* packageVersion,
                              size_t packageVersionCapacity, char* rommonVersion, size_t rommonCapacity,
                              char* fpgaVersion, size_t fpgaCapacity, char* pseqVersion, size_t pseqCapacity,
                              char* lanSpiVersion, size_t lanSpiCapacity, char* ssdVersion, size_t ssdCapacity,
                              const char* outDir, int* imageCount, char* imageList, int numVers, int entrySize) {
  return coupler::firmware::read_bundle(path, {static_cast<char*>(hdr),
                                               hdrCapacity,
                                               hdrLen,
                                               {packageVersion, packageVersionCapacity},
                                               {rommonVersion, rommonCapacity},
                                               {fpgaVersion, fpgaCapacity},
                                               {pseqVersion, pseqCapacity},
                                               {lanSpiVersion, lanSpiCapacity},
                                               {ssdVersion, ssdCapacity},
                                               outDir,
                                               imageCount,
                                               imageList,
                                               numVers,
                                               entrySize})
             ? 0
             : -1;
}
