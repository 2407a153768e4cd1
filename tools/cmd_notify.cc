// Sends an SNMP notification.
#include <charconv>
#include <cstdio>
#include <deque>
#include <optional>

#include "brantix/notify.h"
#include "tools/host.h"
#include "tools/print.h"

namespace coupler::tools {
namespace {

using Oid = std::vector<uint64_t>;

template <typename Number>
Number parse(std::string_view text, const std::string& what) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) throw WrongUsage(std::string(text) + " is not " + what);
  return number;
}

Oid parse_oid(std::string_view text) {
  const std::string what = "an OID such as 1.3.6.1.6.3.1.1.5.3";
  Oid oid;
  if (text.starts_with('.')) text.remove_prefix(1);
  while (true) {
    const size_t dot = text.find('.');
    oid.push_back(parse<uint64_t>(text.substr(0, dot), what));
    if (dot == std::string_view::npos) break;
    text.remove_prefix(dot + 1);
  }
  if (oid.size() > UINT16_MAX) throw WrongUsage("an OID is too long");
  return oid;
}

/// OIDs that variables point to.
class Oids {
 public:
  void set(const std::string& text, const uint64_t*& oid, uint16_t& length) {
    const Oid& kept = kept_.emplace_back(parse_oid(text));
    oid = kept.data();
    length = static_cast<uint16_t>(kept.size());
  }

 private:
  std::deque<Oid> kept_;
};

void set_text(const std::string& text, SCI_snmp_varbind_s& variable, Oids&) { variable.value.text = text.c_str(); }
void set_unsigned32(const std::string& text, SCI_snmp_varbind_s& variable, Oids&) {
  variable.value.unsigned32 = parse<uint32_t>(text, "a number from 0 to 4294967295");
}

constexpr struct {
  char letter;
  uint8_t type;
  void (*set_value)(const std::string& text, SCI_snmp_varbind_s& variable, Oids& oids);
} kTypes[] = {
    {'i', BRANTIX_SNMP_INTEGER,
     [](const std::string& text, SCI_snmp_varbind_s& variable, Oids&) {
       variable.value.integer = parse<int32_t>(text, "a number from -2147483648 to 2147483647");
     }},
    {'s', BRANTIX_SNMP_OCTET_STRING, set_text},
    {'o', BRANTIX_SNMP_OBJECT_ID,
     [](const std::string& text, SCI_snmp_varbind_s& variable, Oids& oids) {
       oids.set(text, variable.value.oid, variable.value_oid_len);
     }},
    {'T', BRANTIX_SNMP_TEXT, set_text},
    {'c', BRANTIX_SNMP_COUNTER32, set_unsigned32},
    {'u', BRANTIX_SNMP_GAUGE32, set_unsigned32},
    {'C', BRANTIX_SNMP_COUNTER64,
     [](const std::string& text, SCI_snmp_varbind_s& variable, Oids&) {
       variable.value.counter64 = parse<uint64_t>(text, "a number from 0 to 18446744073709551615");
     }},
};

SCI_snmp_varbind_s make_variable(const std::string& oid, std::string_view letter, const std::string& text, Oids& oids) {
  SCI_snmp_varbind_s variable{};
  oids.set(oid, variable.oid, variable.oid_len);
  for (const auto& row : kTypes) {
    if (letter != std::string_view(&row.letter, 1)) continue;
    variable.type = row.type;
    row.set_value(text, variable, oids);
    return variable;
  }
  throw WrongUsage(std::string(letter) + " is no type; types are i, s, o, T, c, u and C");
}

std::string without_line_end(std::string text) {
  while (text.ends_with('\n')) text.pop_back();
  return text;
}

std::string send(const Oid& trap, const std::vector<SCI_snmp_varbind_s>& variables) {
  static constexpr SCI_snmp_varbind_s kNone[1] = {};
  char error[256] = "";
  Captured::take();
  SCI_sendSnmpNotification(trap.data(), static_cast<uint16_t>(trap.size()),
                           variables.empty() ? kNone : variables.data(), static_cast<uint16_t>(variables.size()), error,
                           sizeof error);
  const std::string text = Captured::take();
  if (error[0] != '\0') throw Failure(without_line_end(error));
  return text;
}

// The library tells only on standard output what became of a notification: the answer, or in the line before its last
// why there was none.
Json acknowledgement(const std::string& printed) {
  constexpr std::string_view kCode = ", ack code: ";
  const size_t code = printed.rfind(kCode);
  if (code != std::string::npos) return std::stoi(printed.substr(code + kCode.size()));
  if (printed.rfind(": num parts: ") != std::string::npos) return "none";
  const size_t end = printed.rfind('\n');
  const size_t begin = end == std::string::npos || end == 0 ? std::string::npos : printed.rfind('\n', end - 1);
  throw Failure("no answer from the notification service\n  " + printed.substr(begin + 1, end - begin - 1));
}

void notify(const Context& context, const Arguments& arguments) {
  const std::vector<std::string>& words = arguments.rest;
  if (words.size() % 3 != 0) throw WrongUsage("each variable takes three words: OID TYPE VALUE");
  if (words.size() / 3 > UINT16_MAX) throw WrongUsage("a notification has at most 65535 variables");
  Oids oids;
  std::vector<SCI_snmp_varbind_s> variables;
  for (size_t i = 0; i < words.size(); i += 3) {
    variables.push_back(make_variable(words[i], words[i + 1], words[i + 2], oids));
  }
  const Json answer = acknowledgement(send(parse_oid(arguments.at("OID")), variables));
  print_report(context,
               {{"notification", arguments.at("OID")}, {"variables", variables.size()}, {"acknowledgement", answer}});
}

}  // namespace

Command notify_command() {
  return {"notify",
          "Send an SNMP notification",
          {{"OID", "of the notification"},
           {.name = "VARIABLE",
            .about = "three words each: OID, TYPE (i INTEGER, s STRING, o OID, T text, c Counter32, u Gauge32, "
                     "C Counter64), VALUE; put -- before them when a text begins with -",
            .repeats = true}},
          notify};
}

}  // namespace coupler::tools
