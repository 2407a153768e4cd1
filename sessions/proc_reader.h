// Reads small files of the proc file system; allocates nothing.
#pragma once

#include <optional>
#include <string_view>

#include "support/handle.h"

namespace coupler::sessions {

/// Opens what is at `path`, relative to `directory`. Interrupted opens are resumed.
Descriptor open_in(int directory, const char* path, int flags);

/// Reads the start of a file: as much of it as settles every question that is asked of one.
class ProcReader {
 public:
  enum class Until { kEnd, kLineEnd };  // where reading may stop

  /// The start of the file at `path`, relative to `directory`, valid until the next call. @return nothing when it
  /// cannot be opened or read, as when its process has ended meanwhile
  std::optional<std::string_view> read(int directory, const char* path, Until until = Until::kEnd);

 private:
  char buffer_[1024];
};

}  // namespace coupler::sessions
