#pragma once

#include <cstdint>
#include <cstdio>

#include "support/output.h"

namespace coupler {

/// Appends `length` bytes of `source` from `offset` on to `target`, or as many of them as `source` holds. Needs memory
/// for a few MiB, whatever the length. @return false when `source` could not be read or `target` could not take them
bool copy_bytes(std::FILE* source, uint64_t offset, uint64_t length, OutputFile& target);

}  // namespace coupler
