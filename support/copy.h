// Pieces of one file as files of their own.
#pragma once

#include <cstdint>
#include <cstdio>

namespace coupler {

/// `length` bytes of `source` from `offset` on; those that it lacks are zero.
struct Piece {
  std::FILE* source;
  uint64_t offset;
  uint64_t length;
};

/// How many bytes of the piece its source holds.
uint64_t held(const Piece& piece);

/// Whether writing to `path` leaves `source` alone. Where it does not, errno tells why.
bool is_another_file(std::FILE* source, const char* path);

/// Whether the file at `path` is the piece, byte for byte.
bool is_copy(const Piece& piece, const char* path);

/// Writes the piece as the file at `path` (see `OutputFile`): its blocks are shared where the file system can, else it
/// is copied. Needs memory for a few MiB, whatever the length.
///
/// @return false, with the reason in errno: `source` could not be read or the file not be written; where `source` is
///         that very file, it is left alone
bool copy_to_file(const Piece& piece, const char* path);

}  // namespace coupler
