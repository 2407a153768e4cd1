// The platform's notification service: takes notifications at tcp://127.0.0.1:5558, acknowledges and prints them, and
// passes them on as SNMP traps where it is told to.
//
// A request is the message layer's two frames, the message type (1) as a 4-byte little-endian integer and the data: a
// 32-bit count, then entries of a 16-bit type, a 16-bit length and the value. The reply has the same type and, as its
// data, a 32-bit acknowledgement code: 0, or -1 for what is no notification.

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zmq.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr const char* kEndPoint = "tcp://127.0.0.1:5558";
constexpr const char* kUsage =
    "usage: notification-service [--trap HOST[:PORT]] [--community NAME]\n\n"
    "Prints each notification that arrives at tcp://127.0.0.1:5558.\n\n"
    "  --trap HOST[:PORT]  send each on as an SNMPv2 trap, with snmptrap\n"
    "  --community NAME    community of the traps (public)\n";

struct Malformed : std::runtime_error {
  using runtime_error::runtime_error;
};

struct Variable {
  std::string oid;
  char letter;       // the value's type as snmptrap names it
  const char* name;  // and as people do
  std::string value;
};

struct Notification {
  std::string oid;
  std::vector<Variable> variables;
};

struct Entry {
  uint16_t type;
  std::string_view value;
};

template <typename Number>
Number take(std::string_view& bytes) {
  Number number = 0;
  if (bytes.size() < sizeof number) throw Malformed("it ends too early");
  std::memcpy(&number, bytes.data(), sizeof number);
  bytes.remove_prefix(sizeof number);
  return number;
}

Entry take_entry(std::string_view& bytes) {
  const auto type = take<uint16_t>(bytes);
  const auto length = take<uint16_t>(bytes);
  if (bytes.size() < length) throw Malformed("an entry ends too early");
  const Entry entry{type, bytes.substr(0, length)};
  bytes.remove_prefix(length);
  return entry;
}

std::string oid_text(std::string_view value) {
  std::string text;
  while (!value.empty()) text += "." + std::to_string(take<uint64_t>(value));
  return text;
}

template <typename Number>
std::string number_text(std::string_view value) {
  return value.size() == sizeof(Number) ? std::to_string(take<Number>(value)) : throw Malformed("a number is too long");
}

std::string plain_text(std::string_view value) {
  if (value.empty() || value.find('\0') != value.size() - 1) throw Malformed("a text does not end with NUL");
  return std::string(value.substr(0, value.size() - 1));
}

Variable decode_variable(const Entry& oid, const Entry& value) {
  static constexpr struct {
    uint16_t type;
    char letter;
    const char* name;
    std::string (*text)(std::string_view);
  } kTypes[] = {
      {3, 'i', "INTEGER", number_text<int32_t>},
      {4, 's', "STRING", plain_text},
      {5, 'o', "OID", oid_text},
      {6, 'u', "Gauge32", number_text<uint32_t>},
      {7, 's', "Text", plain_text},
      {8, 'c', "Counter32", number_text<uint32_t>},
      {9, 'C', "Counter64", number_text<uint64_t>},
  };
  if (oid.type != 2) throw Malformed("a variable has no OID");
  for (const auto& row : kTypes) {
    if (row.type == value.type) return {oid_text(oid.value), row.letter, row.name, row.text(value.value)};
  }
  throw Malformed("a value has type " + std::to_string(value.type));
}

Notification decode(std::string_view bytes) {
  const auto count = take<uint32_t>(bytes);
  const Entry trap = take_entry(bytes);
  if (trap.type != 1 || count % 2 == 0) throw Malformed("it does not begin with its OID");
  Notification notification{oid_text(trap.value), {}};
  for (uint32_t i = 1; i < count; i += 2) {
    const Entry oid = take_entry(bytes);
    notification.variables.push_back(decode_variable(oid, take_entry(bytes)));
  }
  if (!bytes.empty()) throw Malformed("bytes follow its last entry");
  return notification;
}

// A text may hold anything; a terminal shows it and does not obey it.
std::string printable(const std::string& text) {
  std::string shown;
  for (const char c : text) {
    char escaped[5];
    const bool control = static_cast<unsigned char>(c) < ' ' || c == 0x7f;
    if (control) std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned>(c));
    shown += control ? escaped : std::string(1, c);
  }
  return shown;
}

void print(const Notification& notification) {
  std::printf("notification %s\n", notification.oid.c_str());
  for (const Variable& variable : notification.variables) {
    std::printf("  %s = %s: %s\n", variable.oid.c_str(), variable.name, printable(variable.value).c_str());
  }
}

void send_trap(const Notification& notification, const std::string& receiver, const std::string& community) {
  std::vector<std::string> words = {"snmptrap", "-v", "2c", "-m", "", "-c", community, receiver, "", notification.oid};
  for (const Variable& variable : notification.variables) {
    words.insert(words.end(), {variable.oid, std::string(1, variable.letter), variable.value});
  }
  std::vector<char*> arguments(words.size() + 1);
  std::transform(words.begin(), words.end(), arguments.begin(), [](std::string& word) { return word.data(); });
  pid_t process = 0;
  int status = posix_spawnp(&process, "snmptrap", nullptr, nullptr, arguments.data(), environ);
  if (status == 0) waitpid(process, &status, 0);
  std::printf(status == 0 ? "  sent on to %s\n" : "  cannot be sent on to %s\n", receiver.c_str());
}

std::vector<std::string> receive(void* socket) {
  std::vector<std::string> frames;
  for (bool more = true; more;) {
    zmq_msg_t frame;
    zmq_msg_init(&frame);
    if (zmq_msg_recv(&frame, socket, 0) >= 0) {
      frames.emplace_back(static_cast<const char*>(zmq_msg_data(&frame)), zmq_msg_size(&frame));
    }
    more = zmq_msg_more(&frame) != 0;
    zmq_msg_close(&frame);
  }
  return frames;
}

void acknowledge(void* socket, std::string type, int32_t code) {
  type.resize(sizeof(int32_t));
  zmq_send(socket, type.data(), type.size(), ZMQ_SNDMORE);
  zmq_send(socket, &code, sizeof code, 0);
}

void serve(void* socket, const std::string& receiver, const std::string& community) {
  const std::vector<std::string> frames = receive(socket);
  if (frames.empty()) return;
  try {
    if (frames.size() != 2 || frames[0] != std::string("\1\0\0\0", 4)) throw Malformed("it is no request of type 1");
    const Notification notification = decode(frames[1]);
    acknowledge(socket, frames[0], 0);
    print(notification);
    if (!receiver.empty()) send_trap(notification, receiver, community);
  } catch (const Malformed& reason) {
    acknowledge(socket, frames[0], -1);
    std::printf("not a notification: %s\n", reason.what());
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::string receiver, community = "public";
  for (int i = 1; i < argc; i += 2) {
    const std::string_view option = argv[i];
    if (i + 1 == argc || (option != "--trap" && option != "--community")) {
      const bool asked = option == "--help";
      std::fputs(kUsage, asked ? stdout : stderr);
      return asked ? 0 : 2;
    }
    (option == "--trap" ? receiver : community) = argv[i + 1];
  }
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  void* const socket = zmq_socket(zmq_ctx_new(), ZMQ_REP);
  if (zmq_bind(socket, kEndPoint) != 0) {
    std::fprintf(stderr, "notification-service: cannot listen at %s: %s\n", kEndPoint, zmq_strerror(zmq_errno()));
    return 1;
  }
  std::printf("waiting for notifications at %s\n", kEndPoint);
  while (true) serve(socket, receiver, community);
}
