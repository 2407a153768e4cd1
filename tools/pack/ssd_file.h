// SSD firmware files: what stands before the firmware of a drive.
#pragma once

#include <string>
#include <vector>

#include "tools/pack/files.h"

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

/// What a file says of itself, and what is wrong with it; empty when nothing is.
struct SsdFile {
  std::string fault;
  SsdFirmware firmware = {};
  uint64_t size = 0;  ///< of its binary, bytes
};

/// @param offset,size where it stands in `file`, and its length
SsdFile read_ssd_file(const Input& file, uint64_t offset, uint64_t size);

bool is_number(const std::string& text);

}  // namespace coupler::pack
