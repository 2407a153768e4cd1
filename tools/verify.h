// What is wrong with a firmware bundle, found without unpacking it.
#pragma once

#include <cstdint>

#include "tools/pack/ssd_file.h"
#include "tools/tree.h"

namespace coupler::tools {

/// Everything that can be known from heads and headers, in the order of the file. A bundle without findings ends where
/// its signature object ends, so that none of its proper prefixes is without findings.
Findings verify(const Tree& tree);

/// @param offset,size where the SSD firmware file stands in `file`, and its length
pack::SsdFile ssd_file_at(const Input& file, uint64_t offset, uint64_t size);

}  // namespace coupler::tools
