// The versions of the running software, as small text files of the platform tell them.
#include <cstdlib>
#include <optional>
#include <string_view>

#include "brantix/firmware.h"
#include "firmware/boards.h"
#include "platform/board/board.h"
#include "support/handle.h"
#include "support/lines.h"
#include "support/text.h"

const char gmSystemSwId[64] = "swid-kv3x-system";
const char gmNpuSwId[64] = "swid-kv3x-npu";
char gmBrantixMgrVersion[65] = "Unknown";
char gmSystemVersion[65] = "Unknown";
char gmNpuVersion[65] = "88.88(88.888888)";
char gmBiosVersion[65] = "Unknown";

namespace coupler::firmware {
namespace {

std::optional<std::string_view> behind_rommon(std::string_view line) {
  constexpr std::string_view kRommon = "rommon version: ";
  if (line.size() <= kRommon.size() || !line.starts_with(kRommon)) return std::nullopt;
  return line.substr(kRommon.size());
}

std::optional<std::string_view> behind_first_word(std::string_view line) {
  const size_t space = line.find(' ');
  if (space == line.npos) return std::nullopt;
  return line.substr(space + 1);
}

/// A file that tells a version.
struct VersionFile {
  const char* path;
  bool any_line;  // false: only its first line
  std::optional<std::string_view> (*version_in)(std::string_view line);
  char (&version)[65];
};
constexpr VersionFile kFirmware{"/etc/firmware_version.txt", true, behind_rommon, gmBiosVersion};
constexpr VersionFile kKickstart{"/opt/quorva/npu/version.txt", false, behind_first_word, gmNpuVersion};
constexpr VersionFile kSystem{"/etc/version.txt", false, behind_first_word, gmSystemVersion};

// A file that tells nothing leaves the last answer.
const char* refresh(const VersionFile& source) {
  const Descriptor file = open_at_once(source.path, O_RDONLY);
  LinesOf<4096> lines(file.get());
  std::optional<std::string_view> line;
  std::optional<std::string_view> version;
  do {
    line = lines.next_line();
    if (line) version = source.version_in(*line);
  } while (line && !version && source.any_line);
  if (version) Text(source.version).copy(up_to(*version, "\n"));
  return source.version;
}

char* copy_of(const char* version) {
  constexpr size_t kSize = 66;
  char* copy = static_cast<char*>(std::calloc(1, kSize));
  Text(copy, kSize - 1).copy(version);
  return copy;
}

const char* kickstart_version() {
  if (has_npu(get_platform_board_type())) return refresh(kKickstart);
  Text(gmNpuVersion).clear();
  return gmNpuVersion;
}

}  // namespace
}  // namespace coupler::firmware

const char* SCI_getFirmwareVersion(void) { return coupler::firmware::refresh(coupler::firmware::kFirmware); }

char* SCI_getBiosVersion(void) { return coupler::firmware::copy_of(SCI_getFirmwareVersion()); }

const char* SCI_getKickstartVersion(void) { return coupler::firmware::kickstart_version(); }

const char* SCI_getSystemVersion(void) { return coupler::firmware::refresh(coupler::firmware::kSystem); }

const char* SCI_getKickstartSwid(void) { return gmNpuSwId; }

const char* SCI_getSystemSwid(void) { return gmSystemSwId; }
