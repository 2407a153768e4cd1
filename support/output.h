// Files written whole or not at all.
#pragma once

#include <sys/types.h>
#include <csignal>

#include <cstddef>
#include <cstdint>

#include "support/handle.h"

namespace coupler {

/// Writes all of `data`. On failure errno tells why, and part of it may have been written.
bool write_all(int descriptor, const void* data, size_t size);

/// Deletes the file at `path` and leaves errno as it was.
void unlink_keeping_errno(const char* path);

/// For as long as it lives, a write of this thread that outgrows the process's file size limit, or that no one reads
/// any more, fails with its reason (EFBIG, EPIPE) instead of raising a signal, which would end the process.
class SignalFreeWrites {
 public:
  SignalFreeWrites();
  ~SignalFreeWrites();
  SignalFreeWrites(const SignalFreeWrites&) = delete;
  SignalFreeWrites& operator=(const SignalFreeWrites&) = delete;

 private:
  sigset_t mask_;
  sigset_t pending_;
};

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

  /// Appends `size` bytes.
  bool write(const void* data, size_t size);

  /// Sets the file's size; what was not written reads as zero.
  bool set_size(off_t size);

  /// Closes the file. @return whether all that was written is in it
  bool commit();

 private:
  const SignalFreeWrites signal_free_;
  const char* path_;
  Descriptor descriptor_;
};

}  // namespace coupler
