#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

#include "support/handle.h"

namespace coupler {

/// Writes all of `data`. On failure errno tells why, and part of it may have been written.
bool write_all(int descriptor, const void* data, size_t size);

/// A file that is written whole or not at all: it disappears again unless `commit` succeeded. Every failure leaves its
/// reason in errno.
class OutputFile {
 public:
  /// Creates or truncates the file at `path`, a text that outlives this object. The process's file mode creation mask
  /// applies to `permissions`.
  explicit OutputFile(const char* path, mode_t permissions = 0666);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  /// Whether the file could be created.
  explicit operator bool() const { return static_cast<bool>(descriptor_); }

  /// Appends `size` bytes, or none where the file would outgrow the process's limit.
  bool write(const void* data, size_t size);

  /// Sets the file's size; what was not written reads as zero.
  bool set_size(off_t size);

  /// Closes the file. @return whether all that was written is in it
  bool commit();

 private:
  const char* path_;
  Descriptor descriptor_;
  uint64_t written_ = 0;
};

}  // namespace coupler
