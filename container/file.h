#pragma once

#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <optional>

#include "container/format.h"

namespace coupler::container {

/// Reads up to `n` bytes at `position` into `buf`: the one way into a container file.
/// @return number of bytes read; -1, with a line at info, when there is no file or it cannot be positioned
ssize_t read_at(std::FILE* file, uint64_t position, void* buf, size_t n);

/// As `read_at`, for content: a file that ends early is fine, an input error is not. @return whether it went well
bool read_all_there_is(std::FILE* file, uint64_t position, void* buf, size_t n);

/// Reads the object head at `position`; bytes that the file lacks are zero. @return a null object after an input error;
/// nothing where `read_at` fails
std::optional<ObjectHead> read_head(std::FILE* file, uint64_t position);

}  // namespace coupler::container
