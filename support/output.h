// Files written whole or not at all.
#pragma once

#include <sys/types.h>
#include <climits>
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

/// A file that is written whole or not at all: it has no name until `commit` puts it in place, synced. Until then an
/// older file of its name stays as it is; then it is replaced, and lends its mode. What is no plain file (a link, a
/// device, a pipe with a reader) is written through as it is. Every failure leaves its reason in errno.
class OutputFile {
 public:
  /// A file that is to be at `path`, a text that outlives this object. The process's file mode creation mask applies to
  /// `permissions`, which a file has that replaces none.
  explicit OutputFile(const char* path, mode_t permissions = 0666);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  /// Whether the file could be opened.
  explicit operator bool() const { return static_cast<bool>(descriptor_); }

  /// Claims space for `size` bytes where the file system can. @return false when there is not as much
  bool claim(uint64_t size);

  /// Appends `size` bytes. Large pieces are on their way to the disk when it returns.
  bool write(const void* data, size_t size);

  /// Makes the empty file share `size` bytes of `source`, from `offset` on, where the file system can.
  bool share(int source, uint64_t offset, uint64_t size);

  /// Sets the file's size; what was not written reads as zero.
  bool set_size(uint64_t size);

  /// Puts the file in place. @return whether all that was written is there
  bool commit();

 private:
  enum class Kind { kUnnamed, kBeside, kThrough };

  void open(mode_t permissions);
  void open_beside(mode_t permissions);
  void open_through(mode_t permissions);
  bool lend_mode() const;
  bool name() const;
  bool name_as(const char* path) const;

  const SignalFreeWrites signal_free_;
  const char* path_;
  Kind kind_ = Kind::kUnnamed;
  mode_t lent_mode_ = 0;
  uint64_t written_ = 0;
  Descriptor descriptor_;
  char directory_[PATH_MAX];
  char beside_[PATH_MAX];  // a hidden name, on the way to its own where that is taken
};

}  // namespace coupler
