// SSD firmware files: what stands before the firmware of a drive.
#pragma once

#include <string>
#include <vector>

/// SSD firmware files: the firmware of a drive behind the list of the models that it is for.
namespace coupler::pack {

constexpr size_t kSsdField = 16;
constexpr size_t kSsdModels = 38;  // where their list begins, behind its length of two digits
constexpr size_t kMostSsdModels = 99;

struct SsdFirmware {
  std::string identification;
  std::vector<std::string> models;
  std::string version;
};

/// What stands in the file before a binary of `size` bytes.
///
/// @throws Error when a text is longer than 16 characters, or there are more than 99 models
std::string ssd_head(const SsdFirmware& firmware, uint64_t size);

constexpr size_t kLongestSsdHead = kSsdModels + kSsdField * (kMostSsdModels + 2);

/// What a file says of itself, and what is wrong with it; empty when nothing is.
struct SsdFile {
  std::string fault;
  SsdFirmware firmware = {};
  uint64_t size = 0;  ///< of its binary, bytes
};

/// @param head the file's beginning, as much of `kLongestSsdHead` bytes as there is
/// @param size of the whole file
SsdFile read_ssd_head(const std::string& head, uint64_t size);

bool is_number(const std::string& text);

}  // namespace coupler::pack
