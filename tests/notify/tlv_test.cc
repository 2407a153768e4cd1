#include "notify/tlv.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "brantix/notify.h"
#include "tests/common/log_capture.h"

namespace coupler::notify {
namespace {

using namespace std::string_literals;

/// A message in memory of exactly its size, so that the address sanitizer sees every step beyond it.
class Exact {
 public:
  explicit Exact(const std::string& bytes) : size_(bytes.size()), bytes_(new char[size_ == 0 ? 1 : size_]) {
    bytes.copy(bytes_.get(), size_);
  }
  int32_t append(uint16_t type, const std::string& value) {
    return tlv_array_add_tlv(bytes_.get(), static_cast<int32_t>(size_), type, static_cast<uint16_t>(value.size()),
                             value.data());
  }
  std::string bytes() const { return {bytes_.get(), size_}; }

 private:
  size_t size_;
  std::unique_ptr<char[]> bytes_;
};

TEST(TlvTest, AppendFillsTheBufferToItsEnd) {
  Exact message(std::string(17, '\0'));
  EXPECT_EQ(message.append(0x0201, "abc"), 0);
  EXPECT_EQ(message.append(5, "xyz"), 48) << "one byte too long";
  EXPECT_EQ(message.append(7, "zz"), 0);
  const std::string full = "\2\0\0\0\1\2\3\0abc\7\0\2\0zz"s;
  EXPECT_EQ(message.bytes(), full);
  EXPECT_EQ(message.append(8, ""), 48);
  EXPECT_EQ(message.bytes(), full);
}

TEST(TlvTest, AppendRefusesWhatIsNoMessage) {
  for (const std::string& bytes :
       {""s, "\0\0\0"s, "\1\0\0\0"s, "\1\0\0\0\1\0\1"s, "\1\0\0\0\1\0\1\0"s, "\1\0\0\0\1\0\xff\xff----------------"s,
        "\xff\xff\xff\xff\1\0\0\0\1\0\0\0--------"s, "\2\0\0\0\1\0\2\0ab\1\0\0"s}) {
    Exact message(bytes);
    EXPECT_EQ(message.append(1, ""), 48);
    EXPECT_EQ(message.append(1, "v"), 48);
    EXPECT_EQ(message.bytes(), bytes);
  }
  char four[4] = {};
  EXPECT_EQ(tlv_array_add_tlv(nullptr, 64, 1, 0, "x"), 48);
  EXPECT_EQ(tlv_array_add_tlv(four, -1, 1, 0, "x"), 48);
  EXPECT_EQ(tlv_array_add_tlv(four, 64, 1, 1, nullptr), 48);
}

TEST(OidTest, UpTo127SubIdentifiersAreConverted) {
  test::LogCapture log;
  uint64_t from[128], to[128] = {};
  for (uint64_t i = 0; i < 128; ++i) from[i] = ~i;
  EXPECT_EQ(set_rnq_msg_oid(from, 128, to), -1);
  EXPECT_EQ(to[0], 0U);
  EXPECT_EQ(set_rnq_msg_oid(from, 127, to), 0);
  EXPECT_EQ(std::memcmp(from, to, 127 * sizeof(uint64_t)), 0);
  EXPECT_EQ(to[127], 0U);
  EXPECT_EQ(set_rnq_msg_oid(nullptr, 1, to), -1);
  EXPECT_EQ(set_rnq_msg_oid(from, 1, nullptr), -1);
  EXPECT_EQ(set_rnq_msg_oid(nullptr, 0, nullptr), 0);
  using Lines = std::vector<std::string>;
  EXPECT_EQ(log.take_lines(), (Lines{"info set_rnq_msg_oid|Unable to convert OID. Too many OIDs: 128",
                                     "critical set_rnq_msg_oid|Unable to convert OID. It is null",
                                     "critical set_rnq_msg_oid|Unable to convert OID. It is null"}));
}

}  // namespace
}  // namespace coupler::notify
