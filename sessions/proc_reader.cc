#include "sessions/proc_reader.h"

#include "support/handle.h"
#include "support/text.h"

namespace coupler::sessions {

std::optional<std::string_view> ProcReader::read(const char* name) {
  char path[32];
  if (!Text(path).format("%s%s", prefix_, name)) return std::nullopt;
  return read_path(path);
}

std::optional<std::string_view> ProcReader::read(int pid, const char* name) {
  char path[48];
  if (!Text(path).format("%s%d/%s", prefix_, pid, name)) return std::nullopt;
  return read_path(path);
}

std::optional<std::string_view> ProcReader::read_path(const char* path) {
  const Descriptor file(::openat(directory_, path, O_RDONLY | O_CLOEXEC));
  if (!file) return std::nullopt;
  size_t size = 0;
  while (size < sizeof(buffer_)) {
    const ssize_t got = ::read(file.get(), buffer_ + size, sizeof(buffer_) - size);
    if (got <= 0) break;
    size += static_cast<size_t>(got);
  }
  return std::string_view(buffer_, size);
}

}  // namespace coupler::sessions
