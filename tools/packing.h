#pragma once

#include "tools/command.h"
#include "tools/pack/manifest.h"

namespace coupler::tool {

/// Builds the container that the manifest describes as the file `out`, with progress, and reports it.
void pack_file(const Context& context, pack::Kind kind, const std::string& manifest, const std::string& out);

}  // namespace coupler::tool
