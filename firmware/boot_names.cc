// The boot loader's system images, as the markers under /mnt/boot name them.
#include <algorithm>
#include <string_view>

#include "brantix/firmware.h"
#include "frame/log.h"
#include "frame/message.h"
#include "support/handle.h"
#include "support/lines.h"
#include "support/text.h"

namespace coupler::firmware {
namespace {

constexpr const char* kOperation = "SCI_getBootloaderSysNames";
constexpr size_t kMessageSize = 256;

/// Why a marker says nothing.
struct Failure {
  const char* words;                          // in the caller's message
  LogMessage<const char*, const char*> line;  // the operation and the marker's path
};
constexpr Failure kMissing{"access file", {info, "ERROR: %s: failed to access file %s\n"}};
constexpr Failure kUnopenable{"open file", {info, "ERROR: %s: failed to open file %s\n"}};
constexpr Failure kWithoutLine{"read the file", {info, "ERROR: %s: failed to read the file %s\n"}};

void take_boot_string(std::string_view line, BootloaderSysNames& names) {
  constexpr std::string_view kSeparators = ":\n";
  take_word(line, kSeparators);
  const std::string_view file = take_word(line, kSeparators).substr(0, sizeof(names.bootStringImage));
  if (file.empty()) return;
  Text(names.bootStringImage).format("/mnt/boot/%.*s", static_cast<int>(file.size()), file.data());
}

void take_npu(std::string_view line, BootloaderSysNames& names) {
  const std::string_view image = up_to(line, "\n");
  if (!image.empty()) Text(names.npuImage).copy(image);
}

void take_management(std::string_view line, BootloaderSysNames& names) {
  constexpr std::string_view kEnds = " \n";
  const std::string_view image = up_to(line, kEnds);
  Text(names.managementImage).copy(image);
  line.remove_prefix(std::min(image.size() + 1, line.size()));
  Text(names.managementDetail).copy(up_to(line, kEnds));
}

/// A file whose first line names a system image. As long as it says nothing, its own path stands for the image.
struct Marker {
  const char* path;
  char (BootloaderSysNames::*image)[256];
  void (*take)(std::string_view line, BootloaderSysNames& names);
  bool tells_caller;  // of its failure
  bool needs_line;    // once it can be opened
};
constexpr Marker kMarkers[] = {
    {"/mnt/boot/.boot_string", &BootloaderSysNames::bootStringImage, take_boot_string, true, true},
    {"/mnt/boot/.boot_npu", &BootloaderSysNames::npuImage, take_npu, true, false},
    {"/mnt/boot/.boot_brantixmgr", &BootloaderSysNames::managementImage, take_management, false, false},
};

/// @return why the marker says nothing; null when it was taken
const Failure* read(const Marker& marker, BootloaderSysNames& names) {
  if (!exists(marker.path)) return &kMissing;
  const Descriptor file = open_at_once(marker.path, O_RDONLY);
  if (!file) return &kUnopenable;
  LinesOf<4096> lines(file.get());
  const auto line = lines.next_line();
  if (!line) return &kWithoutLine;
  marker.take(*line, names);
  return nullptr;
}

/// Tells of a failure. @return whether the next marker is read all the same
bool go_on_after(const Failure& failure, const Marker& marker, char* message) {
  failure.line.write(kOperation, kOperation, marker.path);
  if (marker.tells_caller) {
    Text(message, kMessageSize).format("INFO: failed to %s %s\n", failure.words, marker.path);
  }
  return &failure != &kWithoutLine || !marker.needs_line;
}

int32_t read_markers(BootloaderSysNames& names, char* message) {
  for (const Marker& marker : kMarkers) Text(names.*marker.image).copy(marker.path);
  for (const Marker& marker : kMarkers) {
    const Failure* failure = read(marker, names);
    if (failure != nullptr && !go_on_after(*failure, marker, message)) return -1;
  }
  return 0;
}

}  // namespace
}  // namespace coupler::firmware

int32_t SCI_getBootloaderSysNames(BootloaderSysNames* names, char* message) {
  using coupler::firmware::kOperation;
  if (names == nullptr || message == nullptr) {
    LOG_LINE(info, kOperation, "ERROR: %s: null pointer\n", kOperation);
    return -1;
  }
  return coupler::firmware::read_markers(*names, message);
}
