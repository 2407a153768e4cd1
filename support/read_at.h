// Positioned reads of a stream.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace coupler {

/// What a positioned read came to. On failure errno tells why.
struct ReadResult {
  enum { kDone, kFailed, kNotPositioned } state;
  size_t size;  // bytes read; after kDone as many as were asked for, or as there are
};

/// Reads `size` bytes at `position`; leaves the stream where it stands when there is a file under it, which is then
/// read itself: nothing but the bytes asked for.
ReadResult read_at(std::FILE* stream, uint64_t position, void* to, size_t size);

/// As `read_at`, by way of the stream, which then stands behind what was read.
ReadResult seek_and_read(std::FILE* stream, uint64_t position, void* to, size_t size);

}  // namespace coupler
