// A bundle taken apart into a manifest and files that make the very same bytes.
#pragma once

#include <string>
#include <vector>

namespace coupler::tools {

constexpr const char* kDumpedManifest = "bundle.json";

/// Writes the manifest and the content of each part into `directory`, which must be new or empty, and compares what
/// they make with the bundle.
///
/// @return names of the files
/// @throws Failure, with nothing left behind, when the file is no whole bundle or has bytes that no manifest expresses
std::vector<std::string> dump(const std::string& path, const std::string& directory);

}  // namespace coupler::tools
