// The file of settings that the stand-ins answer from: read afresh at each query, replaced as a whole.
#include "platform/settings.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <mutex>
#include <optional>
#include <set>

namespace platform {
namespace {

std::mutex mutex;
std::string in_process;

std::string settings_file() {
  const char* path = std::getenv("COUPLER_PLATFORM");
  return path == nullptr ? "" : path;
}

/// Nothing, with errno, when there is a file that cannot be read.
std::optional<std::string> read_text(const std::string& path) {
  if (path.empty()) return in_process;
  std::ifstream file(path);
  if (!file.is_open() && errno != ENOENT) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(file), {});
}

bool write_all(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = write(descriptor, text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    text.remove_prefix(static_cast<size_t>(count));
  }
  return true;
}

bool write_text(const std::string& path, const std::string& text) {
  if (path.empty()) {
    in_process = text;
    return true;
  }
  std::string temporary = path + ".XXXXXX";
  const int descriptor = mkostemp(temporary.data(), O_CLOEXEC);
  if (descriptor < 0) return false;
  struct stat old {};
  const mode_t mode = stat(path.c_str(), &old) == 0 ? old.st_mode & 07777 : 0644;
  const bool written = write_all(descriptor, text) && fchmod(descriptor, mode) == 0;
  if (close(descriptor) == 0 && written && rename(temporary.c_str(), path.c_str()) == 0) return true;
  const int reason = errno;
  unlink(temporary.c_str());
  errno = reason;
  return false;
}

std::string_view trim(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r";
  const size_t first = text.find_first_not_of(kBlanks);
  return first == text.npos ? "" : text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
}

std::string_view take_line(std::string_view& text) {
  const std::string_view line = text.substr(0, text.find('\n'));
  text.remove_prefix(line.size() == text.size() ? line.size() : line.size() + 1);
  return line;
}

/// The line's key; empty for a comment and for what is no setting.
std::string_view key_of(std::string_view line) {
  const size_t equals = line.find('=');
  const std::string_view key = trim(line.substr(0, equals));
  return equals == line.npos || key.starts_with('#') ? "" : key;
}

constexpr std::string_view kKeys[] = {
    "board_type",      "rommon_version",  "fpga_version",    "pseq_version",    "boot_status",
    "upgrade_state_0", "upgrade_state_1", "upgrade_state_2", "upgrade_state_3", "upgrade_result",
    "staged",          "ssd_present",     "ssd_model",       "ssd_revision",
};

void tell_once(const std::string& what) {
  static std::set<std::string> told;
  const std::lock_guard lock(mutex);
  if (told.insert(what).second) std::fprintf(stderr, "platform settings: %s\n", what.c_str());
}

}  // namespace

void tell_unknown_keys() {
  const std::string text = read_text(settings_file()).value_or("");
  for (std::string_view rest = text; !rest.empty();) {
    const std::string_view key = key_of(take_line(rest));
    if (!key.empty() && std::ranges::find(kKeys, key) == std::end(kKeys)) tell_once("no key " + std::string(key));
  }
}

std::string setting(std::string_view key, std::string_view otherwise) {
  const std::lock_guard lock(mutex);
  const std::string text = read_text(settings_file()).value_or("");
  std::string value(otherwise);
  for (std::string_view rest = text; !rest.empty();) {
    const std::string_view line = take_line(rest);
    if (key_of(line) == key) value = trim(line.substr(line.find('=') + 1));
  }
  return value;
}

int setting(std::string_view key, int otherwise) {
  const std::string text = setting(key, std::to_string(otherwise));
  const char* const end = text.data() + text.size();
  const auto [behind, error] = std::from_chars(text.data(), end, otherwise);
  if (error != std::errc() || behind != end) tell_once(std::string(key) + " = " + text + " is no number");
  return otherwise;
}

bool change_settings(const Changes& changes) {
  const std::lock_guard lock(mutex);
  const std::string path = settings_file();
  const std::optional<std::string> old = read_text(path);
  if (!old) return false;
  std::string text;
  for (std::string_view rest = *old; !rest.empty();) {
    const std::string_view line = take_line(rest);
    bool kept = true;
    for (const auto& change : changes) kept = kept && key_of(line) != change.first;
    if (kept) text.append(line).append("\n");
  }
  for (const auto& [key, value] : changes) text.append(key).append(" = ").append(value).append("\n");
  return write_text(path, text);
}

}  // namespace platform
