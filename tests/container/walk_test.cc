#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "brantix/container.h"
#include "brantix/frame.h"
#include "tests/common/damage.h"
#include "tools/pack/builder.h"

namespace {

using coupler::pack::Container;
using coupler::pack::object;
using coupler::pack::wrap;
using coupler::test::grow_length;

const std::string kHeader(32, 'h');

/// A container in memory of exactly its size, so that a read past its end is noticed.
class Span {
 public:
  explicit Span(const std::string& bytes) : bytes_(bytes.begin(), bytes.end()) {}
  orvix_range range() const {
    orvix_range r;
    set_range(&r, reinterpret_cast<uint64_t>(bytes_.data()), bytes_.size());
    return r;
  }

 private:
  std::vector<char> bytes_;
};

/// What the three walkers found.
using Outcome = std::array<int, 3>;

Outcome search(const std::string& bytes, int type) {
  const Span span(bytes);
  orvix_range range = span.range();
  uint32_t a, b, c, d;
  return {locate_orvix_obj(&range, &a, &b, &c, &d, static_cast<uint32_t>(type)),
          orvix_contains_object_type(type, span.range()),
          orvix_get_object_payload(type, nullptr, nullptr, span.range())};
}

// signature (no header) > controller type (header) > image file (header), then text file; then a sibling keystore
std::string nested() {
  return render(Container{
      {wrap(orvix_object_zeltasignature, "",
            {wrap(orvix_object_controllertype, kHeader,
                  {object(orvix_object_imagefile, kHeader, "image"), object(orvix_object_textfile, kHeader, "text")})}),
       object(orvix_object_keystore, kHeader, "keys")}});
}

TEST(WalkTest, TheThreeOrders) {
  const std::string bytes = nested();
  EXPECT_EQ(search(bytes, orvix_object_zeltasignature), (Outcome{1, 1, 1}));
  EXPECT_EQ(search(bytes, orvix_object_controllertype), (Outcome{0, 1, 0})) << "only the children's order goes inside";
  EXPECT_EQ(search(bytes, orvix_object_imagefile), (Outcome{0, 1, 0}));
  EXPECT_EQ(search(bytes, orvix_object_textfile), (Outcome{0, 0, 0}));
  EXPECT_EQ(search(bytes, orvix_object_keystore), (Outcome{1, 0, 1})) << "no header: on to the next sibling";
}

TEST(WalkTest, EndsAtNullUnknownAndTheEndOfTheSpan) {
  const std::string null = render(Container{{object(orvix_object_null), object(orvix_object_ssd)}});
  EXPECT_EQ(search(null, orvix_object_null), (Outcome{0, 0, 0}));
  EXPECT_EQ(search(null, orvix_object_ssd), (Outcome{0, 0, 0}));
  std::string unknown = render(Container{{object(orvix_object_ssd)}});
  unknown[16] ^= 1;
  EXPECT_EQ(search(unknown, ORVIX_TYPE_UNKNOWN), (Outcome{0, 0, 0}));
  const std::string bytes = nested();
  for (size_t size = 0; size < 48; ++size) {
    EXPECT_EQ(search(bytes.substr(0, size), orvix_object_zeltasignature), (Outcome{0, 0, 0})) << size;
  }
}

TEST(WalkTest, ObjectsThatRunPastTheSpan) {
  const std::string bytes = render(Container{{object(orvix_object_ssd, kHeader, "data")}});
  const std::string cut = bytes.substr(0, bytes.size() - 1);
  EXPECT_EQ(search(cut, orvix_object_ssd), (Outcome{0, 1, 1}));
  EXPECT_EQ(search(bytes.substr(0, 48), orvix_object_ssd), (Outcome{0, 1, 1}));
  EXPECT_EQ(search(cut, orvix_object_keystore), (Outcome{0, 0, 0}));
  EXPECT_EQ(search(grow_length(16, bytes), orvix_object_keystore), (Outcome{0, 0, 0}));
}

TEST(WalkTest, LocatesByOffset) {
  const Span span(nested());
  orvix_range range = span.range();
  uint32_t header = 0, header_length = 0, payload = 0, payload_length = 0;
  ASSERT_EQ(locate_orvix_obj(&range, &header, &header_length, &payload, &payload_length, orvix_object_keystore), 1);
  const uint32_t second = 16 + 32 + (32 + 32) + 2 * (32 + 32 + 16) + 32;
  EXPECT_EQ(header, second);
  EXPECT_EQ(header_length, 32u);
  EXPECT_EQ(payload, second + 32);
  EXPECT_EQ(payload_length, 16u);
  EXPECT_EQ(range.cur, range.end);
  EXPECT_EQ(locate_orvix_obj(&range, &header, &header_length, &payload, &payload_length, orvix_object_ssd), 0);
  EXPECT_EQ(header, second) << "an object that is not found leaves the outputs alone";

  uint64_t offset = 0, length = 0;
  ASSERT_EQ(orvix_get_object_payload(orvix_object_keystore, &offset, &length, span.range()), 1);
  EXPECT_EQ(offset, second);
  EXPECT_EQ(length, 16u);
  offset = length = 7;
  EXPECT_EQ(orvix_get_object_payload(orvix_object_keystore, &offset, nullptr, span.range()), 1);
  EXPECT_EQ(orvix_get_object_payload(orvix_object_keystore, nullptr, &length, span.range()), 1);
  EXPECT_EQ(offset + length, 14u) << "only both together";
}

// A length out of bounds is traced each time it is asked for.
TEST(WalkTest, AsksForAPayloadsLengthOnlyWhereItIsNeeded) {
  const Span with_header(grow_length(16, render(Container{{object(orvix_object_ssd, kHeader)}})));
  const Span without(grow_length(16, render(Container{{object(orvix_object_ssd)}})));
  orvix_range range = with_header.range(), next = with_header.range();
  range_advance(&next, 16);
  uint64_t offset, length;
  uint32_t a, b, c, d;
  void *header, *payload;
  cs_debug_errors = 1;
  testing::internal::CaptureStdout();
  std::string traced;
  const auto note = [&](int) {
    const std::string text = testing::internal::GetCapturedStdout();
    traced += std::to_string(text.size() / std::strlen("orvix_desc_get_payload_len bounds error"));
    testing::internal::CaptureStdout();
  };
  note(orvix_contains_object_type(orvix_object_ssd, with_header.range()));
  note(orvix_contains_object_type(orvix_object_keystore, with_header.range()));
  note(orvix_get_object_payload(orvix_object_ssd, nullptr, &length, without.range()));
  note(orvix_get_object_payload(orvix_object_keystore, &offset, &length, with_header.range()));
  note(orvix_get_object_payload(orvix_object_keystore, &offset, &length, without.range()));
  note(orvix_get_object_payload(orvix_object_ssd, &offset, &length, with_header.range()));
  note(locate_orvix_obj(&range, &a, &b, &c, &d, orvix_object_ssd));
  note(static_cast<int>(orvix_get_obj(&next, &header, &a, &payload, &b)));
  testing::internal::GetCapturedStdout();
  cs_debug_errors = 0;
  EXPECT_EQ(traced, "00001111");
}

TEST(GetObjectTest, ReadsOneAfterTheOther) {
  const std::string bytes =
      render(Container{{object(orvix_object_null, kHeader), object(orvix_object_ssd, "", "data")}});
  const Span whole(bytes), cut(bytes.substr(0, bytes.size() - 1));
  void* header = nullptr;
  void* payload = nullptr;
  uint32_t header_length = 0, payload_length = 0;
  for (const Span* span : {&whole, &cut}) {
    orvix_range range = span->range();
    range_advance(&range, 16);
    EXPECT_EQ(orvix_get_obj(&range, &header, &header_length, &payload, &payload_length), 0u);
    EXPECT_EQ(reinterpret_cast<uint64_t>(header), range.start + 48);
    EXPECT_EQ(header_length, 32u);
    EXPECT_EQ(orvix_get_obj(&range, &header, &header_length, &payload, &payload_length), 11u);
    EXPECT_EQ(payload_length, 16u);
    EXPECT_EQ(payload == nullptr, span == &cut);
    EXPECT_EQ(orvix_get_obj(&range, &header, &header_length, &payload, &payload_length), 99999u);
    EXPECT_EQ(orvix_get_obj(&range, &header, &header_length, &payload, nullptr), 99999u);
  }
}

}  // namespace
