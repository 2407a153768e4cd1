// The parts of a firmware bundle, one by one.
#include "firmware/parts.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <new>

#include "frame/log.h"
#include "support/copy.h"
#include "support/number.h"

namespace coupler::firmware {
namespace {

constexpr uint64_t kMostLacking = uint64_t{2} << 30;

constexpr FirmwareKind kFirmwareKinds[] = {
    {orvix_object_firmware,
     {info, "%s: orvix_object_firmware %s\n"},
     &BundleOutputs::rommon_version,
     "rommon-",
     nullptr},
    {orvix_object_ssd,
     {info, "%s: orvix_object_ssd %s\n"},
     &BundleOutputs::ssd_version,
     "ssd-",
     "/mnt/boot/ssd_firmwares"},
    {orvix_object_firmwarehub,
     {info, "%s: orvix_object_firmwarehub %s\n"},
     &BundleOutputs::fpga_version,
     "fpga-",
     nullptr},
    {orvix_object_firmwareimageone,
     {info, "%s: orvix_object_firmwareimageone %s\n"},
     &BundleOutputs::power_sequencer_version,
     "PowerSequencer-",
     nullptr},
    {orvix_object_firmwareimagetwo,
     {info, "%s: orvix_object_firmwareimagetwo %s\n"},
     &BundleOutputs::lan_spi_version,
     "LanSpi-",
     nullptr},
};

// A header is at most 1 MiB long by its format.
std::unique_ptr<char[]> room_for(uint64_t header_length) {
  return std::unique_ptr<char[]>(new (std::nothrow) char[header_length + 1]());
}

bool is_well_formed(const Part& part, const PartText& text, const std::optional<FileName>& name) {
  const int64_t size = text.size();
  const auto payload = static_cast<size_t>(part.payload_length);
  if (size < 0 || static_cast<uint64_t>(size) > payload) {
    LOG_LINE(info, kWalk, "ERROR: part %s has size %lld, its payload %zu\n", text.whole(), static_cast<long long>(size),
             payload);
    return false;
  }
  if (!name) LOG_LINE(info, kWalk, "ERROR: part %s has no usable file name\n", text.whole());
  return name.has_value();
}

// A few hundred bytes could declare terabytes.
bool is_there(const Piece& piece, const PartText& text) {
  const uint64_t lacking = piece.length - held(piece);
  if (lacking <= kMostLacking) return true;
  LOG_LINE(info, kWalk, "ERROR: part %s lacks %zu of its bytes\n", text.whole(), static_cast<size_t>(lacking));
  return false;
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
  const uint64_t length = part.object.head.header_length();
  auto text = room_for(length);
  if (text == nullptr) return std::nullopt;
  const ReadResult result = container::read_at(part.bundle, part.object.header_at(), text.get(), length);
  if (result.state != ReadResult::kDone) return std::nullopt;
  return PartText(std::move(text));
}

int64_t PartText::size() const { return leading_number(&text_[name_length_ + 1]); }

Written write_part(const Part& part, const PartText& text, const char* directory, std::optional<FileName> name) {
  const int64_t size = text.size();
  VERBOSE_LINE(kWalk, "filesize %d, partPayloadLen %zu\n",
               static_cast<int>(std::clamp<int64_t>(size, INT_MIN, INT_MAX)), static_cast<size_t>(part.payload_length));
  if (!is_well_formed(part, text, name)) return Written::kMalformed;
  const Piece piece{part.bundle, part.object.payload_at(), static_cast<uint64_t>(size)};
  if (!is_there(piece, text)) return Written::kMalformed;
  char path[256];
  name->path_in(directory, path);
  if (is_copy(piece, path) || copy_to_file(piece, path)) return Written::kYes;
  log_unwritable(path);
  return Written::kUnwritable;
}

void log_unwritable(const char* path) {
  LOG_LINE(info, kWalk, "ERROR: failed to write file %s, %s\n", path, std::strerror(errno));
}

}  // namespace coupler::firmware
