// SSD firmware files: what stands before the firmware of a drive.
#include "tools/pack/ssd_file.h"

#include <algorithm>

#include "tools/pack/builder.h"

namespace coupler::pack {
namespace {

size_t room_behind(const std::string& text, size_t size) {
  if (text.size() <= size) return size - text.size();
  throw Error('"' + text + "\" has " + std::to_string(text.size()) + " characters; its field holds " +
              std::to_string(size));
}

std::string padded(const std::string& text, size_t size = kSsdField) {
  return std::string(room_behind(text, size), '0') + text;
}

// Readers search the list as one text, which a zero byte would end.
std::string list(const std::vector<std::string>& models) {
  std::string text;
  for (const std::string& model : models) text += model + std::string(room_behind(model, kSsdField), ' ');
  return text;
}

/// The text at `offset` without the blanks that fill its field up, nor what fills it on the left.
std::string field(const std::string& head, size_t offset, const char* filling) {
  std::string text = head.substr(offset, kSsdField);
  text.erase(text.find_last_not_of(' ') + 1);
  return text.erase(0, text.find_first_not_of(filling));
}

}  // namespace

std::string ssd_head(const SsdFirmware& firmware, uint64_t size) {
  const size_t count = firmware.models.size();
  if (count > kMostSsdModels) throw Error("a list of " + std::to_string(count) + " models; the format holds 99");
  return "0001" + padded(firmware.identification) + std::string(kSsdField, '0') + padded(std::to_string(count), 2) +
         list(firmware.models) + padded(firmware.version) + padded(std::to_string(size));
}

bool is_number(const std::string& text) {
  return !text.empty() && text.size() < 18 && text.find_first_not_of("0123456789") == text.npos;
}

SsdFile read_ssd_file(const Input& input, uint64_t offset, uint64_t size) {
  constexpr uint64_t kLongestHead = kSsdModels + kSsdField * (kMostSsdModels + 2);
  const std::string head = input.read(offset, std::min(size, kLongestHead));
  if (head.size() < kSsdModels) return {"it is too short"};
  const std::string count = head.substr(kSsdModels - 2, 2);
  if (!is_number(count) || count == "00") return {"the number of models is none"};
  const size_t version = kSsdModels + kSsdField * std::stoul(count);
  const size_t binary = version + 2 * kSsdField;
  if (head.size() < binary) return {"it ends within its models"};
  const std::string length = field(head, version + kSsdField, " ");
  if (!is_number(length) || std::stoull(length) == 0) return {"the length of its binary is none"};
  SsdFile file{std::stoull(length) > size - binary ? "its binary is cut short" : ""};
  file.firmware = {field(head, 4, "0"), {}, field(head, version, "0")};
  for (size_t at = kSsdModels; at < version; at += kSsdField) file.firmware.models.push_back(field(head, at, ""));
  file.size = std::stoull(length);
  return file;
}

}  // namespace coupler::pack
