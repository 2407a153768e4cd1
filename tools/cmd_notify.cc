// Sends an SNMP notification.
#include <algorithm>
#include <deque>
#include <limits>
#include <sstream>

#include "brantix/notify.h"
#include "tools/host.h"
#include "tools/print.h"

namespace coupler::tools {
namespace {

using Variable = SCI_snmp_varbind_s;
using Oid = std::vector<uint64_t>;
using Oids = std::deque<Oid>;  // variables point to them

template <typename Number>
Number parse(const std::string& text, std::string what = "") {
  using Limits = std::numeric_limits<Number>;
  if (const auto number = number_in<Number>(text)) return *number;
  if (what.empty()) what = "a number from " + std::to_string(Limits::min()) + " to " + std::to_string(Limits::max());
  throw WrongUsage(text + " is not " + what);
}

Oid parse_oid(const std::string& text) {
  Oid oid;
  std::istringstream parts(text.substr(text.starts_with('.') ? 1 : 0) + '.');
  for (std::string part; std::getline(parts, part, '.');) {
    oid.push_back(parse<uint64_t>(part, "an OID such as 1.3.6.1.6.3.1.1.5.3"));
  }
  if (oid.size() > UINT16_MAX) throw WrongUsage("an OID is too long");
  return oid;
}

void set(const uint64_t*& oid, uint16_t& length, const std::string& text, Oids& kept) {
  const Oid& made = kept.emplace_back(parse_oid(text));
  oid = made.data();
  length = static_cast<uint16_t>(made.size());
}

// Functions that set a variable's value to what the text says.

void integer(Variable& variable, const std::string& text, Oids&) { variable.value.integer = parse<int32_t>(text); }
void unsigned32(Variable& variable, const std::string& text, Oids&) {
  variable.value.unsigned32 = parse<uint32_t>(text);
}
void counter64(Variable& variable, const std::string& text, Oids&) { variable.value.counter64 = parse<uint64_t>(text); }
void as_it_is(Variable& variable, const std::string& text, Oids&) { variable.value.text = text.c_str(); }
void object_id(Variable& variable, const std::string& text, Oids& kept) {
  set(variable.value.oid, variable.value_oid_len, text, kept);
}

constexpr struct Type {
  std::string_view letter;
  uint8_t type;
  void (*set)(Variable& variable, const std::string& text, Oids& kept);
} kTypes[] = {{"i", BRANTIX_SNMP_INTEGER, integer},      {"s", BRANTIX_SNMP_OCTET_STRING, as_it_is},
              {"o", BRANTIX_SNMP_OBJECT_ID, object_id},  {"T", BRANTIX_SNMP_TEXT, as_it_is},
              {"c", BRANTIX_SNMP_COUNTER32, unsigned32}, {"u", BRANTIX_SNMP_GAUGE32, unsigned32},
              {"C", BRANTIX_SNMP_COUNTER64, counter64}};

Variable make_variable(const std::string& oid, const std::string& letter, const std::string& text, Oids& kept) {
  Variable variable{};
  set(variable.oid, variable.oid_len, oid, kept);
  const auto* const type = std::ranges::find(kTypes, letter, &Type::letter);
  if (type == std::end(kTypes)) throw WrongUsage(letter + " is no type; types are i, s, o, T, c, u and C");
  variable.type = type->type;
  type->set(variable, text, kept);
  return variable;
}

std::string send(const Oid& trap, const std::vector<Variable>& variables) {
  char error[256] = "";
  Captured::take();
  SCI_sendSnmpNotification(trap.data(), static_cast<uint16_t>(trap.size()), variables.data(),
                           static_cast<uint16_t>(variables.size()), error, sizeof error);
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
  const std::string lines = printed.substr(0, printed.rfind('\n'));
  throw Failure("no answer from the notification service\n  " + lines.substr(lines.rfind('\n') + 1));
}

void notify(const Context& context, const Arguments& arguments) {
  const std::vector<std::string>& words = arguments.rest;
  if (words.size() % 3 != 0) throw WrongUsage("each variable takes three words: OID TYPE VALUE");
  if (words.size() / 3 > UINT16_MAX) throw WrongUsage("a notification has at most 65535 variables");
  Oids oids;
  std::vector<Variable> variables;
  variables.reserve(1 + words.size() / 3);  // the library refuses null, also for none
  for (size_t i = 0; i < words.size(); i += 3) {
    variables.push_back(make_variable(words[i], words[i + 1], words[i + 2], oids));
  }
  const Json answer = acknowledgement(send(parse_oid(arguments.at("OID")), variables));
  print_report(context,
               {{"notification", arguments.at("OID")}, {"variables", variables.size()}, {"acknowledgement", answer}});
}

}  // namespace

Commands notify_commands() {
  return {{"notify",
           "Send an SNMP notification",
           {{"OID", "of the notification"},
            {.name = "VARIABLE",
             .about = "three words each: OID, TYPE (i INTEGER, s STRING, o OID, T text, c Counter32, u Gauge32, "
                      "C Counter64), VALUE; put -- before them when a text begins with -",
             .repeats = true,
             .optional = true}},
           notify}};
}

}  // namespace coupler::tools
