#include <gtest/gtest.h>

#include <string>

#include "brantix/container.h"
#include "tools/pack/builder.h"

namespace {

using coupler::pack::Container;
using coupler::pack::object;
using coupler::pack::wrap;

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

struct Outcome {
  int located, contained, payload;
};
bool operator==(const Outcome& a, const Outcome& b) {
  return a.located == b.located && a.contained == b.contained && a.payload == b.payload;
}
std::ostream& operator<<(std::ostream& out, const Outcome& o) {
  return out << "located " << o.located << ", contained " << o.contained << ", payload " << o.payload;
}

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
  std::string bytes = render(Container{{object(orvix_object_ssd, kHeader, "data")}});
  const std::string cut = bytes.substr(0, bytes.size() - 1);
  EXPECT_EQ(search(cut, orvix_object_ssd), (Outcome{0, 1, 1}));
  EXPECT_EQ(search(bytes.substr(0, 48), orvix_object_ssd), (Outcome{0, 1, 1}));
  EXPECT_EQ(search(cut, orvix_object_keystore), (Outcome{0, 0, 0}));
  for (size_t i = 35; i < 40; ++i) bytes[i] = '\xff';
  EXPECT_EQ(search(bytes, orvix_object_keystore), (Outcome{0, 0, 0}));
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
