// Reads the entries of a message, whatever it holds, and appends one more.
#include "notify/tlv.h"

#include "brantix/notify.h"

namespace coupler::notify {
namespace {

template <typename Number>
Number load(const char* from) {
  Number number;
  std::memcpy(&number, from, sizeof(number));
  return number;
}

bool append(char* message, size_t capacity, const Entry& entry) {
  TlvReader present(message, capacity);
  while (present.next()) {
  }
  if (!present.at_end()) return false;
  TlvWriter behind(message + present.used(), capacity - present.used());
  if (!behind.add(entry.type, entry.value.data(), static_cast<uint16_t>(entry.value.size()))) return false;
  store_count(message, present.count() + 1);
  return true;
}

}  // namespace

TlvReader::TlvReader(const void* message, size_t size) : message_(static_cast<const char*>(message)), size_(size) {
  if (size < kCountSize) return;
  count_ = load<uint32_t>(message_);
  used_ = kCountSize;
}

std::optional<Entry> TlvReader::next() {
  if (read_ == count_ || size_ - used_ < kEntryHeadSize) return std::nullopt;
  const char* head = message_ + used_;
  const auto length = load<uint16_t>(head + 2);
  if (size_ - used_ - kEntryHeadSize < length) return std::nullopt;
  used_ += kEntryHeadSize + length;
  ++read_;
  return Entry{load<uint16_t>(head), {head + kEntryHeadSize, length}};
}

// Not inline: where the compiler sees how long an OID may be, it copies with an instruction that is far slower.
bool TlvWriter::add(uint16_t type, const void* value, uint16_t length) {
  if (static_cast<size_t>(end_ - place_) < kEntryHeadSize + length) return false;
  std::memcpy(place_, &type, sizeof(type));
  std::memcpy(place_ + 2, &length, sizeof(length));
  if (length > 0) std::memcpy(place_ + kEntryHeadSize, value, length);
  place_ += kEntryHeadSize + length;
  return true;
}

}  // namespace coupler::notify

int32_t tlv_array_add_tlv(void* array, int32_t maxSize, uint16_t type, uint16_t length, const void* value) {
  constexpr int32_t kDoesNotFit = 48;
  if (array == nullptr || (value == nullptr && length > 0) || maxSize < 0) return kDoesNotFit;
  const bool appended = coupler::notify::append(static_cast<char*>(array), static_cast<size_t>(maxSize),
                                                {type, {static_cast<const char*>(value), length}});
  return appended ? 0 : kDoesNotFit;
}
