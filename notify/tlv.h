#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

/// The message of a notification. Numbers are in the byte order of the machine, nothing is aligned:
///
///     0       4      6        8
///     +-------+------+--------+------------------+------+--------+------------------+---
///     | count | type | length | value: length B. | type | length | value: length B. | ...
///     +-------+------+--------+------------------+------+--------+------------------+---
///
/// `count` is the number of entries. The first entry is the notification's OID; each variable adds two, its OID and its
/// value. A sub-identifier takes 8 bytes, a text its characters and a NUL.
namespace coupler::notify {

enum EntryType : uint16_t {
  kNotificationOid = 1,
  kVariableOid = 2,
  kInteger = 3,      // 4 bytes
  kOctetString = 4,  // text
  kObjectId = 5,     // sub-identifiers
  kGauge32 = 6,      // 4 bytes
  kText = 7,         // text
  kCounter32 = 8,    // 4 bytes
  kCounter64 = 9,    // 8 bytes
};

constexpr size_t kCountSize = 4;
constexpr size_t kEntryHeadSize = 4;
constexpr size_t kSubIdentifierSize = 8;

struct Entry {
  uint16_t type;
  std::string_view value;
};

/// Walks the entries of a message that may be anything.
class TlvReader {
 public:
  TlvReader(const void* message, size_t size);

  /// The number of entries that the message claims to hold; 0 when it is too short to say.
  uint32_t count() const { return count_; }

  /// @return the next entry; nothing behind the last, and from one on that the message cuts short
  std::optional<Entry> next();

  /// Whether every claimed entry was read. `used` is then the size of the message.
  bool at_end() const { return used_ >= kCountSize && read_ == count_; }
  size_t used() const { return used_; }

 private:
  const char* message_;
  size_t size_;
  size_t used_ = 0;
  uint32_t count_ = 0;
  uint32_t read_ = 0;
};

/// Adds entries to a message in a buffer, whose first `used` bytes are the message so far.
class TlvWriter {
 public:
  TlvWriter(void* message, size_t capacity, size_t used = kCountSize)
      : message_(static_cast<char*>(message)), capacity_(capacity), used_(used) {}

  /// @return false, with nothing changed, when the entry does not fit
  bool add(uint16_t type, const void* value, uint16_t length);

 private:
  char* message_;
  size_t capacity_;
  size_t used_;
};

}  // namespace coupler::notify
