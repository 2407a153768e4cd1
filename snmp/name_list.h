// The mechanism of the two lists, of destinations and of users.
#pragma once

#include <string_view>

/// Singly linked, each entry under its name: the head is a pointer; an entry has `next` and its name in a field,
/// `kName`.
namespace coupler::snmp {

/// The link to the first entry called `name`; where there is none, the empty link at the end, which is where a new
/// entry goes.
template <auto kName, typename Entry>
Entry** find_link(Entry** link, std::string_view name) {
  while (*link != nullptr && (*link)->*kName != name) link = &(*link)->next;
  return link;
}

/// Takes the first entry called `name`, if any, out of the list.
template <auto kName, typename Entry>
void remove_entry(Entry** head, std::string_view name) {
  Entry** const link = find_link<kName>(head, name);
  Entry* const entry = *link;
  if (entry == nullptr) return;
  *link = entry->next;
  delete entry;
}

}  // namespace coupler::snmp
