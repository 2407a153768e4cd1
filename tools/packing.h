// Builds files from manifests: what bundle, image and SSD packing share.
#pragma once

#include "tools/command.h"
#include "tools/pack/manifest.h"

namespace coupler::tools {

/// What the arguments' MANIFEST describes, aligned as they want it.
pack::Manifest read_manifest(pack::Kind kind, const Arguments& arguments);

void print_warnings(const pack::Manifest& wanted);

/// Builds it as the file OUT.
void pack_file(const Context& context, pack::Kind kind, const Arguments& arguments);

/// The command that does so.
Command pack_command(pack::Kind kind, const char* about, const char* manifest, const char* out);

}  // namespace coupler::tools
