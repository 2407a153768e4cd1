#include "firmware/parts.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <new>

#include "container/file.h"
#include "frame/log.h"
#include "support/copy.h"
#include "support/number.h"

namespace coupler::firmware {
namespace {

constexpr FirmwareKind kFirmwareKinds[] = {
    {orvix_object_firmware, 0, "rommon-", nullptr,
     [](const char* header) { VERBOSE_LINE(kWalk, "%s: orvix_object_firmware %s\n", kWalk, header); }},
    {orvix_object_ssd, 4, "ssd-", "/mnt/boot/ssd_firmwares",
     [](const char* header) { VERBOSE_LINE(kWalk, "%s: orvix_object_ssd %s\n", kWalk, header); }},
    {orvix_object_firmwarehub, 1, "fpga-", nullptr,
     [](const char* header) { VERBOSE_LINE(kWalk, "%s: orvix_object_firmwarehub %s\n", kWalk, header); }},
    {orvix_object_firmwareimageone, 2, "PowerSequencer-", nullptr,
     [](const char* header) { VERBOSE_LINE(kWalk, "%s: orvix_object_firmwareimageone %s\n", kWalk, header); }},
    {orvix_object_firmwareimagetwo, 3, "LanSpi-", nullptr,
     [](const char* header) { VERBOSE_LINE(kWalk, "%s: orvix_object_firmwareimagetwo %s\n", kWalk, header); }},
};

// A header is at most 1 MiB long by its format.
std::unique_ptr<char[]> room_for(uint64_t header_length) {
  return std::unique_ptr<char[]>(new (std::nothrow) char[header_length + 1]());
}

}  // namespace

const FirmwareKind* firmware_kind(int type) {
  for (const FirmwareKind& kind : kFirmwareKinds) {
    if (kind.type == type) return &kind;
  }
  return nullptr;
}

PartText::PartText(std::unique_ptr<char[]> text)
    : text_(std::move(text)), name_length_(std::strcspn(text_.get(), ";")) {}

std::optional<PartText> PartText::read(const Part& part) {
  auto text = room_for(part.head.header_length);
  if (text == nullptr) return std::nullopt;
  if (!container::read_all_there_is(part.bundle, part.header_at(), text.get(), part.head.header_length))
    return std::nullopt;
  return PartText(std::move(text));
}

int64_t PartText::size() const { return has_size() ? leading_number(&text_[name_length_ + 1]) : 0; }

Written write_part(const Part& part, const PartText& text, const char* directory, std::optional<FileName> name) {
  const int64_t size = text.size();
  const auto payload = static_cast<size_t>(part.head.payload_length);
  VERBOSE_LINE(kWalk, "filesize %d, partPayloadLen %zu\n",
               static_cast<int>(std::clamp<int64_t>(size, INT_MIN, INT_MAX)), payload);
  if (size < 0 || static_cast<uint64_t>(size) > payload) {
    LOG_LINE(info, kWalk, "ERROR: part %s has size %lld, its payload %zu\n", text.whole(), static_cast<long long>(size),
             payload);
    return Written::kMalformed;
  }
  if (!name) {
    LOG_LINE(info, kWalk, "ERROR: part %s has no usable file name\n", text.whole());
    return Written::kMalformed;
  }
  char path[256];
  name->path_in(directory, path);
  if (copy_to_file(part.bundle, part.payload_at(), static_cast<uint64_t>(size), path)) return Written::kYes;
  log_unwritable(path);
  return Written::kUnwritable;
}

void log_unwritable(const char* path) {
  LOG_LINE(info, kWalk, "ERROR: failed to write file %s, %s\n", path, std::strerror(errno));
}

}  // namespace coupler::firmware
