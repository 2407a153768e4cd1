// What is wrong with a firmware bundle, found without unpacking it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace coupler::tools {

struct Finding {
  uint64_t offset;   ///< in the file, bytes
  std::string part;  ///< what its header says; empty where no part is meant
  std::string text;
};

/// Everything that can be known from heads and headers, in the order of the file. A bundle without findings ends where
/// its signature object ends, so that none of its proper prefixes is without findings.
///
/// @throws Failure when the file cannot be read
std::vector<Finding> verify(const std::string& path);

/// The most bytes that stand before the binary of an SSD firmware file.
constexpr size_t kLongestSsdHead = 38 + 16 * (99 + 2);

/// What is wrong with the head of an SSD firmware file of `size` bytes; empty when nothing is.
std::string ssd_fault(const std::string& head, uint64_t size);

}  // namespace coupler::tools
