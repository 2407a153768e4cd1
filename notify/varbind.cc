// Turns a notification's OID and variables into the entries of its message.
#include "notify/varbind.h"

#include <cstring>

#include "frame/log.h"
#include "notify/tlv.h"

namespace coupler::notify {
namespace {

/// Bytes of a text with its NUL; one more than a message takes when it is too long.
uint32_t text_length(const char* text) {
  return text == nullptr ? 0 : static_cast<uint32_t>(::strnlen(text, BRANTIX_SNMP_TEXT_MAX + 1) + 1);
}

/// @return false when the variable's type is none
bool resolve(const SCI_snmp_varbind_s& variable, Value& resolved) {
  const auto& value = variable.value;
  switch (variable.type) {
    case BRANTIX_SNMP_INTEGER:
      resolved = {&value, sizeof(value.integer), kInteger};
      return true;
    case BRANTIX_SNMP_OCTET_STRING:
      resolved = {value.text, text_length(value.text), kOctetString};
      return true;
    case BRANTIX_SNMP_OBJECT_ID:
      resolved = {value.oid, static_cast<uint32_t>(kSubIdentifierSize * variable.value_oid_len), kObjectId};
      return true;
    case BRANTIX_SNMP_GAUGE32:
      resolved = {&value, sizeof(value.unsigned32), kGauge32};
      return true;
    case BRANTIX_SNMP_TEXT:
      resolved = {value.text, text_length(value.text), kText};
      return true;
    case BRANTIX_SNMP_COUNTER32:
      resolved = {&value, sizeof(value.unsigned32), kCounter32};
      return true;
    case BRANTIX_SNMP_COUNTER64:
      resolved = {&value, sizeof(value.counter64), kCounter64};
      return true;
    default:
      return false;
  }
}

/// A text must be there and not too long. Whether an OID is too long is for its conversion to say.
bool is_sendable(const Value& value, uint8_t type, int index, Text why) {
  if (value.type != kOctetString && value.type != kText) return true;
  if (value.bytes == nullptr) {
    LOG_LINE(critical, kSend, "%s: variable %d of type %d has no text", kSend, index, type);
    why.format("Unable to send SNMP notification. Text not set. var Idx=%d type=%d\n", index, type);
    return false;
  }
  if (value.length <= BRANTIX_SNMP_TEXT_MAX + 1) return true;
  why.format("Unable to send SNMP notification. Text too long. var Idx=%d type=%d\n", index, type);
  return false;
}

size_t oid_size(uint16_t count) { return kEntryHeadSize + kSubIdentifierSize * count; }

/// Checks an OID as `set_rnq_msg_oid` does, and under its name.
bool is_convertible(const void* oid, size_t count) {
  constexpr const char* kOperation = "set_rnq_msg_oid";
  if (count > BRANTIX_OID_MAX) {
    LOG_LINE(info, kOperation, "Unable to convert OID. Too many OIDs: %d", static_cast<int>(count));
    return false;
  }
  if (oid != nullptr || count == 0) return true;
  LOG_LINE(critical, kOperation, "Unable to convert OID. It is null");
  return false;
}

/// The form of an OID in a message is that of the host: it is copied straight from there.
bool add_oid(TlvWriter& message, EntryType type, const void* oid, size_t count) {
  return is_convertible(oid, count) && message.add(type, oid, static_cast<uint16_t>(kSubIdentifierSize * count));
}

bool add_value(TlvWriter& message, const Value& value) {
  if (value.type == kObjectId) return add_oid(message, kObjectId, value.bytes, value.length / kSubIdentifierSize);
  return message.add(value.type, value.bytes, static_cast<uint16_t>(value.length));
}

}  // namespace

std::optional<size_t> resolve(const Notification& notification, Value* values, Text why) {
  size_t size = kCountSize + oid_size(notification.oid_length);
  for (int i = 0; i < notification.variable_count; ++i) {
    const SCI_snmp_varbind_s& variable = notification.variables[i];
    if (!resolve(variable, values[i])) {
      why.format("Unable to send SNMP notification. Unexpected object type. var Idx=%d type=%d\n", i, variable.type);
      return std::nullopt;
    }
    if (!is_sendable(values[i], variable.type, i, why)) return std::nullopt;
    size += oid_size(variable.oid_len) + kEntryHeadSize + values[i].length;
  }
  return size;
}

bool fill_message(const Notification& notification, const Value* values, char* message, size_t size, Text why) {
  store_count(message, 1 + 2U * notification.variable_count);
  TlvWriter entries(message + kCountSize, size - kCountSize);
  if (!add_oid(entries, kNotificationOid, notification.oid, notification.oid_length)) {
    why.format("Unable to send SNMP notification. Cannot convert trap OID\n");
    return false;
  }
  for (int i = 0; i < notification.variable_count; ++i) {
    const SCI_snmp_varbind_s& variable = notification.variables[i];
    if (!add_oid(entries, kVariableOid, variable.oid, variable.oid_len)) {
      why.format("Unable to send SNMP notification. Cannot convert varbind OID %d\n", i);
      return false;
    }
    if (!add_value(entries, values[i])) {
      why.format("Unable to send SNMP notification. Cannot convert varbind value as OID\n");
      return false;
    }
  }
  return true;
}

}  // namespace coupler::notify

int32_t set_rnq_msg_oid(const uint64_t* src, uint16_t count, uint64_t* dst) {
  // A missing target is reported as a missing OID is.
  if (!coupler::notify::is_convertible(dst == nullptr ? nullptr : src, count)) return -1;
  if (count > 0) std::memcpy(dst, src, sizeof(uint64_t) * count);
  return 0;
}
