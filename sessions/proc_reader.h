#pragma once

#include <fcntl.h>

#include <optional>
#include <string_view>

namespace coupler::sessions {

/// Reads small files of the proc file system: as much of one as settles every question that is asked of it. Allocates
/// nothing.
class ProcReader {
 public:
  /// Reads by absolute path.
  ProcReader() = default;
  /// Reads below "/proc", opened as `directory`, which must outlive the reader: no walk from the root for each file.
  explicit ProcReader(int directory) : directory_(directory), prefix_("") {}

  /// The start of a file, valid until the next call; empty when there is nothing to read, none when it cannot be
  /// opened.
  std::optional<std::string_view> read(const char* name);
  /// The same for a file of process `pid`.
  std::optional<std::string_view> read(int pid, const char* name);

 private:
  std::optional<std::string_view> read_path(const char* path);

  int directory_ = AT_FDCWD;
  const char* prefix_ = "/proc/";
  char buffer_[1024];
};

}  // namespace coupler::sessions
