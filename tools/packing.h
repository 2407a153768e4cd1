// Builds files from manifests: what bundle, image and SSD packing share.
#pragma once

#include <functional>

#include "tools/command.h"
#include "tools/pack/manifest.h"

namespace coupler::tools {

/// Writes `out` and reports it with the warnings. An interrupt leaves everything as it was and ends the program as it
/// would without a handler.
///
/// @param inputs what must not be written over
/// @param size   in bytes, of what is written
/// @param write  does it, and calls the given function with the number of bytes done
void pack_file(const Context& context, const std::string& out, const std::vector<std::filesystem::path>& inputs,
               uint64_t size, const std::vector<std::string>& warnings,
               const std::function<void(const pack::Progress&)>& write);

/// What the arguments' MANIFEST describes, aligned as they want it.
pack::Manifest read_container(pack::Kind kind, const Arguments& arguments);

/// Builds it as the file OUT.
void pack_container(const Context& context, pack::Kind kind, const Arguments& arguments);

}  // namespace coupler::tools
