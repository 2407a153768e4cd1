// Opens and reads files of the proc file system to the end, whatever interrupts it.
#include "sessions/proc_reader.h"

namespace coupler::sessions {

Descriptor open_in(int directory, const char* path, int flags) {
  int descriptor;
  do {
    descriptor = ::openat(directory, path, flags | O_CLOEXEC);
  } while (descriptor < 0 && errno == EINTR);
  return Descriptor(descriptor);
}

std::optional<std::string_view> ProcReader::read(int directory, const char* path, Until until) {
  const Descriptor file = open_in(directory, path, O_RDONLY);
  if (!file) return std::nullopt;
  size_t size = 0;
  while (size < sizeof(buffer_)) {
    const ssize_t got = read_some(file.get(), buffer_ + size, sizeof(buffer_) - size);
    if (got < 0) return std::nullopt;
    if (got == 0) break;
    size += static_cast<size_t>(got);
    if (until == Until::kLineEnd && buffer_[size - 1] == '\n') break;
  }
  return std::string_view(buffer_, size);
}

}  // namespace coupler::sessions
