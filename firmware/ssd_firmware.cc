// Takes the firmware of the fitted drive out of an SSD firmware file.
#include "firmware/ssd_firmware.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>

#include "brantix/firmware.h"
#include "firmware/fitted_ssd.h"
#include "frame/log.h"
#include "support/copy.h"
#include "support/file_name.h"
#include "support/handle.h"
#include "support/read_at.h"
#include "support/text.h"

namespace coupler::firmware {

std::string_view without_padding(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of('0'), text.size()));
}

std::optional<size_t> model_count(std::string_view text) {
  size_t count = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
  if (text.size() != kCountSize || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return count;
}

std::optional<uint64_t> binary_length(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  uint64_t length = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), length);
  const bool ends = end == text.data() + text.size() || *end == ' ';
  if (error != std::errc() || !ends || length == 0 || length > kLongestBinary) return std::nullopt;
  return length;
}

namespace {

constexpr const char* kOperation = "SCI_extractSsdfirmwareBinary";

/// Reads `size` bytes at `offset` as a text. What the file lacks of them is zero, but one must be there.
template <size_t kCapacity>
bool read_text(std::FILE* file, uint64_t offset, char (&text)[kCapacity], size_t size = kCapacity - 1) {
  std::memset(text, 0, kCapacity);
  return read_at(file, offset, text, size).size > 0;
}

bool is_listed(std::string_view models) {
  const auto fitted = fitted_ssd_model();
  return models.find(text_in(fitted)) != models.npos;
}

bool write_binary(std::FILE* file, uint64_t offset, std::optional<uint64_t> length, const char* version) {
  const auto name = FileName::from("ssd-", version);
  if (!name) {
    LOG_LINE(info, kOperation, "ERROR: version %s has no usable file name\n", version);
    return false;
  }
  char first[2];
  if (!length || !read_text(file, offset, first)) return false;
  char path[256];
  name->path_in("/mnt/boot/equipped_ssd_firmware", path);
  const Piece binary{file, offset, *length};
  return is_copy(binary, path) || copy_to_file(binary, path);
}

// Reports each field as soon as it is known: what was read before a failure stays in the record.
bool extract(std::FILE* file, FirmwareInfo& report) {
  char identification[kTextSize + 1];
  char digits[kCountSize + 1];
  char models[kTextSize * kMostModels + 1];
  char length[kTextSize + 1];
  char version[kTextSize + 1];
  if (!read_text(file, kIdentificationAt, identification)) return false;
  Text(report.ssdModel).fill(without_padding(identification));
  if (!read_text(file, kCountAt, digits)) return false;
  const auto count = model_count(digits);
  if (!count || !read_text(file, kModelsAt, models, kTextSize * *count)) return false;
  if (!is_listed(models)) return true;
  report.ssdMatched = 1;
  if (!read_text(file, length_at(*count), length) || !read_text(file, version_at(*count), version)) return false;
  Text(report.ssdVersion).fill(without_padding(version));
  return write_binary(file, binary_at(*count), binary_length(length), report.ssdVersion);
}

int32_t extract_from(const char* path, FirmwareInfo& report) {
  Text(report.ssdVersion).clear();
  Text(report.ssdModel).clear();
  report.ssdMatched = 0;
  const File file = path == nullptr ? File() : open_for_reading(path);
  if (!file) return -1;
  get_equipped_ssd_modelNumber();
  return extract(file.get(), report) ? 0 : -1;
}

}  // namespace
}  // namespace coupler::firmware

int32_t SCI_extractSsdfirmwareBinary(const char* path, FirmwareInfo* aOutInfo) {
  if (aOutInfo == nullptr) {
    LOG_LINE(info, coupler::firmware::kOperation, "ERROR: aOutInfo is null\n");
    return -1;
  }
  return coupler::firmware::extract_from(path, *aOutInfo);
}
