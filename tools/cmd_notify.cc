// Sends an SNMP notification.
#include <charconv>
#include <cstdio>
#include <deque>
#include <limits>

#include "brantix/notify.h"
#include "tools/host.h"
#include "tools/print.h"

namespace coupler::tools {
namespace {

using Oid = std::vector<uint64_t>;

template <typename Number>
Number parse(std::string_view text, std::string what = "") {
  using Limits = std::numeric_limits<Number>;
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc() && end == text.data() + text.size()) return number;
  if (what.empty()) what = "a number from " + std::to_string(Limits::min()) + " to " + std::to_string(Limits::max());
  throw WrongUsage(std::string(text) + " is not " + what);
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

constexpr struct {
  char letter;
  uint8_t type;
} kTypes[] = {{'i', BRANTIX_SNMP_INTEGER},  {'s', BRANTIX_SNMP_OCTET_STRING}, {'o', BRANTIX_SNMP_OBJECT_ID},
              {'T', BRANTIX_SNMP_TEXT},     {'c', BRANTIX_SNMP_COUNTER32},    {'u', BRANTIX_SNMP_GAUGE32},
              {'C', BRANTIX_SNMP_COUNTER64}};

uint8_t type_of(std::string_view letter) {
  for (const auto& row : kTypes) {
    if (letter == std::string_view(&row.letter, 1)) return row.type;
  }
  throw WrongUsage(std::string(letter) + " is no type; types are i, s, o, T, c, u and C");
}

SCI_snmp_varbind_s make_variable(const std::string& oid, std::string_view letter, const std::string& text, Oids& oids) {
  SCI_snmp_varbind_s variable{};
  oids.set(oid, variable.oid, variable.oid_len);
  variable.type = type_of(letter);
  switch (variable.type) {
    case BRANTIX_SNMP_INTEGER:
      variable.value.integer = parse<int32_t>(text);
      break;
    case BRANTIX_SNMP_OBJECT_ID:
      oids.set(text, variable.value.oid, variable.value_oid_len);
      break;
    case BRANTIX_SNMP_COUNTER64:
      variable.value.counter64 = parse<uint64_t>(text);
      break;
    case BRANTIX_SNMP_COUNTER32:
    case BRANTIX_SNMP_GAUGE32:
      variable.value.unsigned32 = parse<uint32_t>(text);
      break;
    default:
      variable.value.text = text.c_str();
  }
  return variable;
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
