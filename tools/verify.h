// What is wrong with a firmware bundle, found without unpacking it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/tree.h"

namespace coupler::tools {

/// Everything that can be known from heads and headers, in the order of the file. A bundle without findings ends where
/// its signature object ends, so that none of its proper prefixes is without findings.
Findings verify(const Tree& tree);

/// The findings that are no notes.
Findings faults(const Tree& tree);

/// What an SSD firmware file says of itself, and what is wrong with it; empty when nothing is.
struct SsdHead {
  std::string fault;
  std::string identification = {};
  std::vector<std::string> models = {};
  std::string version = {};
  uint64_t size = 0;  ///< of its binary, bytes
};

/// @param offset,size where the SSD firmware file stands in `file`, and its length
SsdHead read_ssd_head(const Input& file, uint64_t offset, uint64_t size);

}  // namespace coupler::tools
