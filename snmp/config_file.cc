// Changes of the agent's configuration file: each of them happens as a whole, or not at all.
#include "snmp/config_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <thread>

#include "support/output.h"

namespace coupler::snmp {
namespace {

constexpr const char* kDirectory = "/etc/snmp";
constexpr const char* kNewConfig = "/etc/snmp/snmpd.conf.new";
constexpr std::chrono::seconds kLongestWait(5);
constexpr size_t kPiece = 511;  // what a line buffer of 512 bytes holds

/// All pieces as one text. @return null without memory
std::unique_ptr<char[]> joined(std::initializer_list<std::string_view> pieces, size_t size) {
  std::unique_ptr<char[]> text(new (std::nothrow) char[size]);
  char* end = text.get();
  for (const std::string_view piece : pieces) {
    if (text) end = std::copy(piece.begin(), piece.end(), end);
  }
  return text;
}

/// One write, which a kill or a second writer does not divide. What does not fit is taken back.
bool append_whole(int config, std::initializer_list<std::string_view> pieces) {
  size_t size = 0;
  for (const std::string_view piece : pieces) size += piece.size();
  const std::unique_ptr<char[]> text = joined(pieces, size);
  const SignalFreeWrites signal_free;
  const off_t end = ::lseek(config, 0, SEEK_END);
  if (text && write_all(config, text.get(), size)) return true;
  const int reason = text ? errno : ENOMEM;
  [[maybe_unused]] const int restored = ::ftruncate(config, end);
  errno = reason;
  return false;
}

Descriptor open_for_appending() { return open_at_once(kConfig, O_WRONLY | O_APPEND | O_CREAT); }

/// The new file while it is written; it goes again unless it was finished. One that was left over, or a link that was
/// laid in its place, is not used.
class NewConfig {
 public:
  NewConfig() {
    ::unlink(kNewConfig);
    descriptor_ = open_at_once(kNewConfig, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
  }
  ~NewConfig() {
    if (descriptor_) unlink_keeping_errno(kNewConfig);
  }
  NewConfig(const NewConfig&) = delete;
  NewConfig& operator=(const NewConfig&) = delete;

  explicit operator bool() const { return static_cast<bool>(descriptor_); }
  int descriptor() const { return descriptor_.get(); }

  /// Closes the file, which stays.
  void finish() { Descriptor(descriptor_.release()); }

 private:
  Descriptor descriptor_;
};

/// The file may hold communities and passwords: no one may read the new one who may not read the old one.
bool copy_access_rights(int from, int to) {
  struct stat status;
  return ::fstat(from, &status) == 0 && ::fchown(to, status.st_uid, status.st_gid) == 0 &&
         ::fchmod(to, status.st_mode & 07777) == 0;
}

/// The length of what `text` holds of whole lines, and of whole pieces of the line that it begins.
size_t whole_pieces(std::string_view text) {
  const size_t line = text.rfind('\n') + 1;
  return text.size() - (text.size() - line) % kPiece;
}

/// The piece that holds the byte `at` of `text`, which begins with a piece.
std::string_view piece_around(std::string_view text, size_t at) {
  const size_t line = text.substr(0, at).rfind('\n') + 1;
  const std::string_view piece = text.substr(at - (at - line) % kPiece, kPiece);
  const size_t feed = piece.find('\n');
  return piece.substr(0, feed == piece.npos ? feed : feed + 1);
}

std::optional<size_t> position_of(std::string_view key, std::string_view text) {
  const void* const found = ::memmem(text.data(), text.size(), key.data(), key.size());
  if (text.empty() || found == nullptr) return std::nullopt;
  return static_cast<size_t>(static_cast<const char*>(found) - text.data());
}

/// @return the end of the moved text
char* move_to(char* to, std::string_view text) {
  if (to != text.data()) std::memmove(to, text.data(), text.size());
  return to + text.size();
}

/// @return 0 or the reason
int try_to_lock(int directory) { return ::flock(directory, LOCK_EX | LOCK_NB) == 0 ? 0 : errno; }

/// One filtered rewrite.
class Rewrite {
 public:
  Rewrite(const ConfigLock& lock, const LineRemoval& removal, const char* key)
      : lock_(lock), removal_(removal), key_(key) {}

  RemovalResult run();

 private:
  void say(const LineRemoval::Message& message) const { message.write(removal_.operation, key_); }
  RemovalResult fail(const LineRemoval::Message& message) const;
  size_t without_selected(char* text, size_t size);
  bool copy_unselected(int old, int file);
  bool copy_lines(int old, int file);
  RemovalResult replace_old() const;
  RemovalResult discard_new() const;

  const ConfigLock& lock_;
  const LineRemoval& removal_;
  const char* key_;
  unsigned dropped_ = 0;
};

RemovalResult Rewrite::fail(const LineRemoval::Message& message) const {
  say(message);
  return {removal_.failure, 0};
}

/// Takes the selected lines out of `text`, of which only lines that hold the key are looked at. What is left stands at
/// its beginning. @return its length
size_t Rewrite::without_selected(char* text, size_t size) {
  const std::string_view key(key_);
  std::string_view rest(text, size);
  char* kept = text;
  while (const auto at = position_of(key, rest)) {
    const std::string_view piece = piece_around(rest, *at);
    const auto end = static_cast<size_t>(piece.end() - rest.begin());
    const bool goes = *at + key.size() <= end && removal_.selects(piece);
    kept = move_to(kept, rest.substr(0, goes ? end - piece.size() : end));
    dropped_ += goes ? 1 : 0;
    rest.remove_prefix(end);
  }
  return static_cast<size_t>(move_to(kept, rest) - text);
}

/// @return whether all of it is copied, and on the disk when it is to be used
bool Rewrite::copy_unselected(int old, int file) {
  return copy_access_rights(old, file) && copy_lines(old, file) && (dropped_ == 0 || ::fsync(file) == 0);
}

bool Rewrite::copy_lines(int old, int file) {
  const SignalFreeWrites signal_free;
  char text[32768];
  size_t held = 0;
  for (ssize_t got = 1; got > 0;) {
    got = read_some(old, text + held, sizeof(text) - held);
    if (got < 0) return false;
    held += static_cast<size_t>(got);
    const size_t decided = got > 0 ? whole_pieces({text, held}) : held;
    if (!write_all(file, text, without_selected(text, decided))) return false;
    held -= decided;
    std::memmove(text, text + decided, held);
  }
  return true;
}

// Deletion and move are one step, and only where that cannot be done, two.
RemovalResult Rewrite::replace_old() const {
  const bool replaced = ::rename(kNewConfig, kConfig) == 0;
  if (!replaced && ::unlink(kConfig) != 0) return fail(removal_.not_removed);
  say(removal_.removed);
  if (!replaced && ::rename(kNewConfig, kConfig) != 0) return fail(removal_.not_renamed);
  lock_.sync();
  say(removal_.renamed);
  return {0, dropped_};
}

RemovalResult Rewrite::discard_new() const {
  say(removal_.nothing_selected);
  say(::unlink(kNewConfig) == 0 ? removal_.new_removed : removal_.new_not_removed);
  return {0, 0};
}

RemovalResult Rewrite::run() {
  const Descriptor old = open_at_once(kConfig, O_RDONLY);
  if (!old) return fail(removal_.not_opened);
  if (!lock_.is_held(removal_.operation)) return {removal_.failure, 0};
  NewConfig file;
  if (!file) return fail(removal_.new_not_opened);
  if (!copy_unselected(old.get(), file.descriptor())) {
    LOG_LINE(critical, removal_.operation, "\n%s not copied to %s: %s", kConfig, kNewConfig, std::strerror(errno));
    return {removal_.failure, 0};
  }
  file.finish();
  return dropped_ > 0 ? replace_old() : discard_new();
}

}  // namespace

ConfigLock::ConfigLock() : directory_(open_at_once(kDirectory, O_RDONLY | O_DIRECTORY)) {
  const auto deadline = std::chrono::steady_clock::now() + kLongestWait;
  reason_ = directory_ ? try_to_lock(directory_.get()) : errno;
  while (reason_ == EWOULDBLOCK && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    reason_ = try_to_lock(directory_.get());
  }
}

// A child that the host has forked meanwhile has the directory open too, and would go on holding the lock.
ConfigLock::~ConfigLock() {
  if (directory_) ::flock(directory_.get(), LOCK_UN);
}

bool ConfigLock::is_held(const char* operation) const {
  if (reason_ != 0) LOG_LINE(critical, operation, "\n%s not locked: %s", kDirectory, std::strerror(reason_));
  return reason_ == 0;
}

void ConfigLock::sync() const { ::fsync(directory_.get()); }

bool can_be_appended_to() { return static_cast<bool>(open_for_appending()); }

bool append_to_config(const ConfigLock& lock, const char* operation, const LogMessage<>& not_opened,
                      std::initializer_list<std::string_view> pieces) {
  Descriptor config = open_for_appending();
  if (!config) {
    not_opened.write(operation);
    return false;
  }
  if (!lock.is_held(operation)) return false;
  const bool whole = append_whole(config.get(), pieces) && ::close(config.release()) == 0;
  if (!whole) LOG_LINE(critical, operation, "\n%s not written: %s", kConfig, std::strerror(errno));
  return whole;
}

RemovalResult remove_lines(const ConfigLock& lock, const LineRemoval& removal, const char* key) {
  return Rewrite(lock, removal, key).run();
}

}  // namespace coupler::snmp
