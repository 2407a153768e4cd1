// A notification as its host gives it, and its way into a message.
#pragma once

#include <optional>

#include "brantix/notify.h"
#include "notify/tlv.h"
#include "support/text.h"

namespace coupler::notify {

constexpr const char* kSend = "SCI_sendSnmpNotification";

struct Notification {
  const uint64_t* oid;
  uint16_t oid_length;
  const SCI_snmp_varbind_s* variables;
  uint16_t variable_count;
};

/// What the value of a variable becomes in a message. The bytes are the host's.
struct Value {
  const void* bytes;
  uint32_t length;
  EntryType type;
};

/// Tells what each variable becomes; `values` takes as many as there are variables.
/// @return the size in bytes of the notification's message; nothing when a variable cannot be sent: `why` then tells
std::optional<size_t> resolve(const Notification& notification, Value* values, Text why);

/// Writes the notification to a message of that size. @return false when an OID cannot be sent: `why` then tells
bool fill_message(const Notification& notification, const Value* values, char* message, size_t size, Text why);

}  // namespace coupler::notify
