// Notifications as a host sends them: what is on the wire, what is logged and printed, what is refused and why.
#include <gmock/gmock.h>

#include <cstring>

#include "brantix/notify.h"
#include "notify/tlv.h"
#include "platform/message/mesvo.h"
#include "tests/common/exactly.h"
#include "tests/common/log_capture.h"
#include "tests/notify/service.h"

namespace coupler::test {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using Lines = std::vector<std::string>;
using Oid = std::vector<uint64_t>;
using Variables = std::vector<SCI_snmp_varbind_s>;

const uint64_t kOid[] = {1, 2};

SCI_snmp_varbind_s number(uint8_t type, uint64_t value) { return {kOid, 2, type, {.counter64 = value}, 0}; }
SCI_snmp_varbind_s text(uint8_t type, const char* value) { return {kOid, 2, type, {.text = value}, 0}; }
SCI_snmp_varbind_s oid(const uint64_t* value, uint16_t count) {
  return {kOid, 2, BRANTIX_SNMP_OBJECT_ID, {.oid = value}, count};
}

// On the wire.
const std::string kTrapEntry = "\1\0\x18\0\1\0\0\0\0\0\0\0\3\0\0\0\0\0\0\0\6\0\0\0\0\0\0\0"s;
const std::string kOidEntry = "\2\0\x10\0\1\0\0\0\0\0\0\0\2\0\0\0\0\0\0\0"s;

/// Sends notifications as a host does.
class NotificationTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { setenv("MESVO_TIMEOUT_MS", "20000", 1); }

  void send(const Variables& variables, const Oid& trap = kTrap, int32_t capacity = 256) {
    static const SCI_snmp_varbind_s none[1] = {};
    std::memset(error_, '#', sizeof error_);
    printed_ = printed_by([&] {
      EXPECT_EQ(SCI_sendSnmpNotification(trap.data(), static_cast<uint16_t>(trap.size()),
                                         variables.empty() ? none : variables.data(),
                                         static_cast<uint16_t>(variables.size()), error_, capacity),
                0);
    });
  }

  /// Sends the variables to a service that answers so. @return the data frame that it got
  std::string delivered(const Variables& variables, const Frames& answer = kAcknowledged, const Oid& trap = kTrap) {
    if (!service_) service_.emplace();
    auto request = service_->answer(answer);
    send(variables, trap);
    const Frames frames = request.get();
    EXPECT_EQ(frames.at(0), "\1\0\0\0"s);
    EXPECT_EQ(frames.size(), 2U);
    return frames.at(1);
  }

  LogCapture log_;
  std::string printed_;
  char error_[256];
  std::optional<Service> service_;
};

TEST_F(NotificationTest, EveryValueTypeOnTheWire) {
  const uint64_t name[] = {1, 0x1'0000'0000};
  const SCI_snmp_varbind_s nameless{nullptr, 0, BRANTIX_SNMP_COUNTER32, {.unsigned32 = 8}, 0};
  const std::pair<SCI_snmp_varbind_s, std::string> rows[] = {
      {number(BRANTIX_SNMP_INTEGER, 0xdead'beef'ffff'fffe), "\3\0\4\0\xfe\xff\xff\xff"s},
      {text(BRANTIX_SNMP_OCTET_STRING, "abc"), "\4\0\4\0abc\0"s},
      {text(BRANTIX_SNMP_OCTET_STRING, ""), "\4\0\1\0\0"s},
      {oid(name, 2), "\5\0\x10\0\1\0\0\0\0\0\0\0\0\0\0\0\1\0\0\0"s},
      {oid(nullptr, 0), "\5\0\0\0"s},
      {number(BRANTIX_SNMP_GAUGE32, 0xffff'ffff), "\6\0\4\0\xff\xff\xff\xff"s},
      {text(BRANTIX_SNMP_TEXT, "\xc3\xa9"), "\7\0\3\0\xc3\xa9\0"s},
      {number(BRANTIX_SNMP_COUNTER32, 7), "\x8\0\4\0\7\0\0\0"s},
      {number(BRANTIX_SNMP_COUNTER64, 0x0123'4567'89ab'cdef), "\x9\0\x8\0\xef\xcd\xab\x89\x67\x45\x23\x01"s},
      {nameless, "\x8\0\4\0\x8\0\0\0"s},
  };
  Variables all;
  std::string entries;
  for (const auto& [variable, value] : rows) {
    all.push_back(variable);
    entries += (variable.oid_len == 0 ? "\2\0\0\0"s : kOidEntry) + value;
  }
  EXPECT_EQ(delivered(all), "\x15\0\0\0"s + kTrapEntry + entries);
  EXPECT_EQ(delivered({}), "\1\0\0\0"s + kTrapEntry);
  EXPECT_EQ(std::string(error_, sizeof error_), std::string(256, '#')) << "is only for what was not sent";
}

TEST_F(NotificationTest, LinesInTheirOrder) {
  delivered({text(BRANTIX_SNMP_TEXT, "up")});
  EXPECT_THAT(log_.take_lines(),
              ElementsAre("info SCI_sendSnmpNotification|SCI_sendSnmpNotification() enter, aInNotifOidSize: "
                          "3,aInVariableListSize: 1\n",
                          "info SCI_sendSnmpNotification|Send SNMP RNQ message. Msg size=59\n",
                          "info ngm_send_ipc_notify|ngm_send_ipc_notify: msg size: 59\n",
                          "info ngm_send_ipc_notify|ngm_send_ipc_notify: msg[0]: type: 1, length: 24, value: \x1",
                          "info ngm_send_ipc_notify|ngm_send_ipc_notify: msg[1]: type: 2, length: 16, value: \x1",
                          "info ngm_send_ipc_notify|ngm_send_ipc_notify: msg[2]: type: 7, length: 3, value: up",
                          "info SCI_sendSnmpNotification|Sent SNMP RNQ message. Msg size=59 ret: 0\n"));
  EXPECT_EQ(printed_,
            "ngm_send_ipc_notify: tlv_array size = 3\n"
            "ngm_send_ipc_notify : tlv[0]: type: 1, length: 24, value: \x1\n"
            "ngm_send_ipc_notify : tlv[1]: type: 2, length: 16, value: \x1\n"
            "ngm_send_ipc_notify : tlv[2]: type: 7, length: 3, value: up\n"
            "ngm_send_ipc_notify: num parts: 1\n"
            "ngm_send_ipc_notify: msg type: 1, ack code: 42\n" +
                kExit);
  delivered({}, {"x"});
  EXPECT_THAT(printed_, HasSubstr("num parts: 0\n" + kExit));
  EXPECT_EQ(printed_by([] { EXPECT_EQ(SCI_registerMib(nullptr, 7, "text"), 0); }),
            "xxxxx SCI_registerMib() aOutErrBuf: text, aInVariableListLength: 7\n");
}

TEST_F(NotificationTest, LimitsThatStillPass) {
  const Oid longest(127, 9);
  const std::string longest_text(65530, 't');
  const SCI_snmp_varbind_s long_name{longest.data(), 127, BRANTIX_SNMP_TEXT, {.text = longest_text.c_str()}, 0};
  EXPECT_EQ(delivered({long_name}, kAcknowledged, longest).size(), 4 + 2 * (4 + 127 * 8) + 4 + 65531U);
  EXPECT_EQ(delivered(Variables(30'000, oid(longest.data(), 127))).size(),
            4 + kTrapEntry.size() + 30'000 * (kOidEntry.size() + 4 + 127 * 8));
}

TEST_F(NotificationTest, RefusedWithItsReason) {
  const Oid too_long(128, 9);
  const std::string too_long_text(65531, 't');
  const SCI_snmp_varbind_s good = number(BRANTIX_SNMP_INTEGER, 1), huge{kOid, 65535, BRANTIX_SNMP_OBJECT_ID, {}, 65535},
                           nameless{nullptr, 2, BRANTIX_SNMP_INTEGER, {}, 0},
                           long_name{too_long.data(), 128, BRANTIX_SNMP_INTEGER, {}, 0};
  const Lines too_many = {"info set_rnq_msg_oid|Unable to convert OID. Too many OIDs: 128"};
  const Lines null_oid = {"critical set_rnq_msg_oid|Unable to convert OID. It is null"};
  const Lines null_text = {
      "critical SCI_sendSnmpNotification|SCI_sendSnmpNotification: variable 0 of type 4 has no text"};
  const std::string unable = "Unable to send SNMP notification. ";
  const struct {
    std::string reason;
    Variables variables;
    Lines before = {};
    Oid trap = kTrap;
  } rows[] = {
      {unable + "Unexpected object type. var Idx=1 type=67\n", {good, number(67, 1), number(64, 1)}},
      {unable + "Unexpected object type. var Idx=0 type=0\n", {number(0, 0)}, {}, too_long},
      {unable + "Cannot convert trap OID\n", {good}, too_many, too_long},
      {unable + "Cannot convert varbind OID 1\n", {good, long_name}, too_many},
      {unable + "Cannot convert varbind OID 0\n", {nameless}, null_oid},
      {unable + "Cannot convert varbind value as OID\n", {oid(too_long.data(), 128)}, too_many},
      {unable + "Cannot convert varbind value as OID\n", {oid(nullptr, 1)}, null_oid},
      {unable + "Text too long. var Idx=0 type=32\n", {text(BRANTIX_SNMP_TEXT, too_long_text.c_str())}},
      {unable + "Text not set. var Idx=0 type=4\n", {text(BRANTIX_SNMP_OCTET_STRING, nullptr)}, null_text},
      {unable + "mem allocation failure\n", Variables(65535, huge)},  // 64 GiB, neither wrapped nor touched
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.reason);
    send(row.variables, row.trap);
    EXPECT_EQ(error_, row.reason);
    EXPECT_EQ(error_[sizeof error_ - 1], '\0');
    Lines lines = log_.take_lines();
    lines.erase(lines.begin());
    Lines expected = row.before;
    expected.push_back("info SCI_sendSnmpNotification|" + row.reason);
    EXPECT_EQ(lines, expected);
    EXPECT_EQ(printed_, kExit);
  }
  EXPECT_EQ(delivered({}), "\1\0\0\0"s + kTrapEntry) << "something was sent before";
}

TEST_F(NotificationTest, ErrorTextIsCutToItsBuffer) {
  const std::string whole = "Unable to send SNMP notification. Unexpected object type. var Idx=0 type=67\n";
  const SCI_snmp_varbind_s unknown = number(67, 1);
  for (const size_t capacity : {size_t{1}, whole.size(), whole.size() + 1, size_t{255}}) {
    send({unknown}, kTrap, static_cast<int32_t>(capacity));
    EXPECT_EQ(error_, whole.substr(0, capacity - 1));
    EXPECT_EQ(std::string(error_ + capacity - 1, 2), "\0#"s);
  }
  for (const int32_t capacity : {0, -1}) {
    send({unknown}, kTrap, capacity);
    EXPECT_EQ(error_[0], '#');
    EXPECT_EQ(log_.take_lines().back(), "info SCI_sendSnmpNotification|" + whole);
  }
  EXPECT_EQ(SCI_sendSnmpNotification(kTrap.data(), 3, &unknown, 1, nullptr, 64), 0);
  EXPECT_EQ(log_.take_lines().back(), "info SCI_sendSnmpNotification|" + whole);
}

TEST_F(NotificationTest, ServiceAbsentOrDying) {
  setenv("MESVO_TIMEOUT_MS", "300", 1);
  const std::string no_reply =
      "SNMP-notif-client: cannot receive: no reply from tcp://127.0.0.1:5558 within 300 ms\n" + kExit;
  send({});
  EXPECT_THAT(printed_, HasSubstr(no_reply));
  EXPECT_EQ(log_.take_lines().back(), "info SCI_sendSnmpNotification|Sent SNMP RNQ message. Msg size=32 ret: 0\n");

  delivered({}, {});
  EXPECT_THAT(printed_, HasSubstr(no_reply));
  service_.reset();

  setenv("MESVO_TIMEOUT_MS", "20000", 1);
  EXPECT_EQ(delivered({number(BRANTIX_SNMP_INTEGER, 1)}).size(), 60U);
}

int32_t append(const Exactly& message, uint16_t type, const std::string& value) {
  return tlv_array_add_tlv(message.data(), static_cast<int32_t>(message.size()), type,
                           static_cast<uint16_t>(value.size()), value.data());
}

// Entries are read no further than the message, whatever it claims.
TEST_F(NotificationTest, AnyMessageOnAnyChannel) {
  mesvo::MsgRequestClientChannel channel("without end point");
  for (const auto& [bytes, claimed] : {std::pair{""s, "0"},
                                       {"\1\0"s, "0"},
                                       {"\xff\xff\xff\xff"s, "-1"},
                                       {"\1\0\0\0\1\0\xff\xff"s, "1"},
                                       {"\2\0\0\0\1\0\1\0v\1\0\0"s, "2"},
                                       {"\2\0\0\0\1\0\3\0vvv\7\0\0\0"s, "2"}}) {
    const Exactly message(bytes);
    const std::string printed = printed_by(
        [&] { EXPECT_EQ(ngm_send_ipc_notify(&channel, 1, message.data(), static_cast<int32_t>(message.size())), 0); });
    EXPECT_THAT(printed, testing::StartsWith("ngm_send_ipc_notify: tlv_array size = "s + claimed + '\n'));
    EXPECT_THAT(printed, HasSubstr("without end point: cannot send"));
  }
  EXPECT_EQ(log_.take_lines().back(),
            "info ngm_send_ipc_notify|ngm_send_ipc_notify: msg[1]: type: 7, length: 0, value: ");
  channel.setServerEndPoint(kAddress);
  char four[4] = {};
  Service service;
  auto request = service.answer(kAcknowledged);
  EXPECT_EQ(ngm_send_ipc_notify(&channel, 0x01020304, four, 4), 0);
  EXPECT_EQ(request.get(), (Frames{"\4\3\2\1", "\0\0\0\0"s}));
  EXPECT_EQ(ngm_send_ipc_notify(&channel, 1, nullptr, 4), -1);
  EXPECT_EQ(ngm_send_ipc_notify(&channel, 1, four, -4), -1);
}

TEST(TlvTest, AppendFillsTheBufferToItsEnd) {
  const Exactly message(16);
  EXPECT_EQ(append(message, 0x0201, "abc"), 0);
  EXPECT_EQ(append(message, 5, "xy"), 48) << "one byte too long";
  EXPECT_EQ(append(message, 7, "z"), 0);
  EXPECT_EQ(append(message, 8, ""), 48);
  EXPECT_EQ(message.bytes(), "\2\0\0\0\1\2\3\0abc\7\0\1\0z"s);
  for (const std::string& bytes :
       {""s, "\0\0\0"s, "\1\0\0\0"s, "\1\0\0\0\1\0\1"s, "\1\0\0\0\1\0\1\0"s, "\1\0\0\0\1\0\xff\xff----------------"s,
        "\xff\xff\xff\xff\1\0\0\0\1\0\0\0--------"s, "\2\0\0\0\1\0\2\0ab\1\0\0"s}) {
    const Exactly damaged(bytes);
    EXPECT_EQ(append(damaged, 1, ""), 48);
    EXPECT_EQ(append(damaged, 1, "v"), 48);
    EXPECT_EQ(damaged.bytes(), bytes);
  }
  char four[4] = {};
  EXPECT_EQ(tlv_array_add_tlv(nullptr, 64, 1, 0, "x"), 48);
  EXPECT_EQ(tlv_array_add_tlv(four, -1, 1, 0, "x"), 48);
  EXPECT_EQ(tlv_array_add_tlv(four, 64, 1, 1, nullptr), 48);
  EXPECT_EQ(tlv_array_add_tlv(Exactly(8).data(), 8, 1, 0, nullptr), 0);
  EXPECT_EQ(set_rnq_msg_oid(kOid, 1, nullptr), -1);
  uint64_t copied[] = {9, 9};
  EXPECT_EQ(set_rnq_msg_oid(kOid, 1, copied), 0);
  EXPECT_THAT(copied, ElementsAre(kOid[0], 9));
}

}  // namespace
}  // namespace coupler::test
