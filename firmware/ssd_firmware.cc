#include "firmware/ssd_firmware.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>

#include "brantix/firmware.h"
#include "frame/log.h"
#include "support/copy.h"
#include "support/file_name.h"
#include "support/handle.h"
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
  return fseeko(file, static_cast<off_t>(offset), SEEK_SET) == 0 && std::fread(text, 1, size, file) > 0;
}

std::string_view fitted_model() {
  return {equipped_ssd_model_num, strnlen(equipped_ssd_model_num, sizeof(equipped_ssd_model_num))};
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
  return copy_to_file(file, offset, *length, path);
}

// Reports each field as soon as it is known: what was read before a failure stays in the record.
bool extract(std::FILE* file, FirmwareInfo& report) {
  char start[kStartSize + 1];
  char text[kTextSize + 1];
  char digits[kCountSize + 1];
  char models[kTextSize * kMostModels + 1];
  if (!read_text(file, 0, start) || !read_text(file, kIdentificationAt, text)) return false;
  Text(report.ssdModel).fill(without_padding(text));
  if (!read_text(file, kCountAt, digits)) return false;
  const auto count = model_count(digits);
  if (!count || !read_text(file, kModelsAt, models, kTextSize * *count)) return false;
  if (std::string_view(models).find(fitted_model()) == std::string_view::npos) return true;
  report.ssdMatched = 1;
  if (!read_text(file, length_at(*count), text)) return false;
  const auto length = binary_length(text);
  if (!read_text(file, version_at(*count), text)) return false;
  Text(report.ssdVersion).fill(without_padding(text));
  return write_binary(file, binary_at(*count), length, report.ssdVersion);
}

}  // namespace
}  // namespace coupler::firmware

int32_t SCI_extractSsdfirmwareBinary(const char* path, FirmwareInfo* aOutInfo) {
  if (aOutInfo == nullptr) {
    LOG_LINE(info, coupler::firmware::kOperation, "ERROR: aOutInfo is null\n");
    return -1;
  }
  coupler::Text(aOutInfo->ssdVersion).clear();
  coupler::Text(aOutInfo->ssdModel).clear();
  aOutInfo->ssdMatched = 0;
  const coupler::File file = path == nullptr ? coupler::File() : coupler::open_for_reading(path);
  if (!file) return -1;
  get_equipped_ssd_modelNumber();
  return coupler::firmware::extract(file.get(), *aOutInfo) ? 0 : -1;
}
