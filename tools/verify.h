// What is wrong with a firmware bundle, found without unpacking it.
#pragma once

#include "tools/tree.h"

namespace coupler::tools {

/// Everything that can be known from heads and headers, in the order of the file. A bundle without findings ends where
/// its signature object ends, so that none of its proper prefixes is without findings.
Findings verify(const Tree& tree);

}  // namespace coupler::tools
