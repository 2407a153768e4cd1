// Builds SSD firmware files.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tools/pack/builder.h"

/// Builds SSD firmware files: the firmware of a drive behind the list of the models that it is for.
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

/// Writes the file, whole or not at all. What stood at `path` before is replaced.
void write_ssd_file(const SsdFirmware& firmware, const File& binary, const std::filesystem::path& path,
                    const Progress& progress = {});

}  // namespace coupler::pack
