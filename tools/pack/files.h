// Files in, one file out. Every failure is an `Error` that gives the path and the system's reason.
#pragma once

#include <filesystem>
#include <string_view>
#include <vector>

#include "tools/pack/builder.h"

namespace coupler::pack {

/// Fails when `out` is one of the `inputs`, by whatever name.
void refuse_overwriting(const std::filesystem::path& out, const std::vector<std::filesystem::path>& inputs);

/// Writes the file `path`, whole or not at all, with what `content` hands to its sink. What stood there is replaced.
void write_whole(const std::filesystem::path& path, const std::function<void(const Sink&)>& content);

}  // namespace coupler::pack
