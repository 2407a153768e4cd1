#include "snmp/rewrite.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <optional>

#include "snmp/agent.h"
#include "support/handle.h"
#include "support/lines.h"
#include "support/output.h"

namespace coupler::snmp {
namespace {

/// Gathers what is written, so that not every line is a system call.
class Gathered {
 public:
  explicit Gathered(OutputFile& file) : file_(file) {}

  bool add(std::string_view piece) {
    if (piece.size() > sizeof(bytes_) - size_ && !flush()) return false;
    std::memcpy(bytes_ + size_, piece.data(), piece.size());
    size_ += piece.size();
    return true;
  }

  bool flush() { return file_.write(bytes_, std::exchange(size_, 0)); }

 private:
  OutputFile& file_;
  char bytes_[16384];
  size_t size_ = 0;
};

/// @return the number of lines left out, or nothing when not all could be read and written
std::optional<unsigned> copy_unselected(const LineRemoval& removal, const char* key, int old, OutputFile& file) {
  unsigned dropped = 0;
  Gathered kept(file);
  LinesOf<511> lines(old);
  while (const auto line = lines.next_piece()) {
    if (removal.selects(*line, key)) {
      ++dropped;
    } else if (!kept.add(*line)) {
      return std::nullopt;
    }
  }
  const bool complete = !lines.failed() && kept.flush() && file.commit();
  return complete ? std::optional(dropped) : std::nullopt;
}

// Deleted and then renamed, not replaced: each step has its own line.
bool replace_config(const LineRemoval& removal, const char* key) {
  if (std::remove(kConfig) != 0) return removal.not_removed.write(removal.operation, key), false;
  removal.removed.write(removal.operation, key);
  if (std::rename(kNewConfig, kConfig) != 0) return removal.not_renamed.write(removal.operation, key), false;
  removal.renamed.write(removal.operation, key);
  return true;
}

void discard_new_config(const LineRemoval& removal, const char* key) {
  removal.nothing_selected.write(removal.operation, key);
  const LineRemoval::Message& outcome = std::remove(kNewConfig) == 0 ? removal.new_removed : removal.new_not_removed;
  outcome.write(removal.operation, key);
}

// The file may hold communities and passwords: no one may read the new one who may not read the old one.
mode_t permissions(int file) {
  struct stat status;
  return ::fstat(file, &status) == 0 ? status.st_mode & 0777 : 0600;
}

}  // namespace

RemovalResult remove_lines(const LineRemoval& removal, const char* key) {
  const RemovalResult failed{removal.failure, 0};
  const Descriptor old = open_at_once(kConfig, O_RDONLY);
  if (!old) return removal.not_opened.write(removal.operation, key), failed;
  OutputFile file(kNewConfig, permissions(old.get()));
  if (!file) return removal.new_not_opened.write(removal.operation, key), failed;
  const std::optional<unsigned> dropped = copy_unselected(removal, key, old.get(), file);
  if (!dropped) {
    LOG_LINE(critical, removal.operation, "\n%s not copied to %s: %s", kConfig, kNewConfig, std::strerror(errno));
    return failed;
  }
  if (*dropped == 0) return discard_new_config(removal, key), RemovalResult{0, 0};
  return replace_config(removal, key) ? RemovalResult{0, *dropped} : failed;
}

}  // namespace coupler::snmp
