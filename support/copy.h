#pragma once

#include <cstdint>
#include <cstdio>

namespace coupler {

/// Whether writing to `path` leaves `source` alone. Where it does not, errno tells why.
bool is_another_file(std::FILE* source, const char* path);

/// Writes `length` bytes of `source` from `offset` on as the file at `path`, which is whole or not there afterwards;
/// bytes that `source` lacks are zero. Needs memory for a few MiB, whatever the length.
///
/// @return false, with the reason in errno: `source` could not be read or the file not be written; where `source` is
///         that very file, it is left alone
bool copy_to_file(std::FILE* source, uint64_t offset, uint64_t length, const char* path);

}  // namespace coupler
