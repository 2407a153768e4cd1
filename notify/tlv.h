// The message of a notification: its layout, and how its entries are read and appended.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

/// Numbers are in the byte order of the machine, nothing is aligned:
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

/// Appends entries from a place in a message on; their count is for its user to store.
class TlvWriter {
 public:
  TlvWriter(char* place, size_t room) : place_(place), end_(place + room) {}

  /// @return false, with nothing written, when the entry does not fit
  bool add(uint16_t type, const void* value, uint16_t length);

 private:
  char* place_;
  char* const end_;
};

inline void store_count(void* message, uint32_t count) { std::memcpy(message, &count, sizeof(count)); }

}  // namespace coupler::notify
