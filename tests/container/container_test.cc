// Containers in memory: types, descriptors, ranges, and the walks over their objects.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
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
struct Span {
  explicit Span(const std::string& content) : bytes(content.begin(), content.end()) {}
  orvix_range range() const {
    orvix_range r;
    set_range(&r, reinterpret_cast<uint64_t>(bytes.data()), bytes.size());
    return r;
  }
  std::vector<char> bytes;
};

using Outcome = std::array<int, 3>;

/// What the three walkers find of `type`.
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
  std::array<uint32_t, 4> at = {};  // header and its length, payload and its length
  const uint32_t second = 16 + 32 + (32 + 32) + 2 * (32 + 32 + 16) + 32;
  EXPECT_EQ(locate_orvix_obj(&range, &at[0], &at[1], &at[2], &at[3], orvix_object_keystore), 1);
  EXPECT_EQ(range.cur, range.end);
  EXPECT_EQ(locate_orvix_obj(&range, &at[0], &at[1], &at[2], &at[3], orvix_object_ssd), 0);
  EXPECT_EQ(at, (std::array<uint32_t, 4>{second, 32, second + 32, 16})) << "and what is not found leaves it alone";

  uint64_t offset = 0, length = 0;
  EXPECT_EQ(orvix_get_object_payload(orvix_object_keystore, &offset, &length, span.range()), 1);
  EXPECT_EQ(std::pair(offset, length), (std::pair<uint64_t, uint64_t>(second, 16)));
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

using Bytes = std::vector<uint8_t>;

orvix_desc descriptor(const Bytes& bytes) {
  orvix_desc desc = {};
  std::memcpy(&desc, bytes.data(), bytes.size());
  return desc;
}

// The FNV-1a digest of all type GUIDs and the file GUID, from a list of its own.
TEST(TypeTest, GuidsAreThoseOfTheFormat) {
  uint64_t digest = 0xcbf29ce484222325;
  const auto add = [&](const uint8_t* guid) {
    for (int i = 0; i < 16; ++i) digest = (digest ^ guid[i]) * 0x100000001b3;
  };
  for (const uint8_t* guid : orvix_guid) add(guid);
  add(orvix_file_guid);
  EXPECT_EQ(digest, 0x57fd5ff9b878d942u);
  for (int type = 0; type < ORVIX_TYPE_COUNT; ++type) EXPECT_EQ(orvix_get_object_type(orvix_guid[type]), type);
  EXPECT_EQ(orvix_get_object_type(orvix_file_guid), 99999);
}

TEST(TypeTest, Names) {
  std::string names;
  orvix_object object = {};
  const auto name = [&object](const uint8_t* guid) {
    std::memcpy(object.guid, guid, 16);
    return orvix_object_get_name(&object) + std::string(" ");
  };
  for (const uint8_t* guid : orvix_guid) names += name(guid);
  EXPECT_EQ(names + name(orvix_file_guid),
            "NULL ZeltaSignature Compressed ControllerType ElfKernel KcmdLine Initrd Subsystem AoutKernel Encrypted "
            "Firmware FirmwareSSD FirmwareHub FirmwareImageOne FirmwareImageTwo Keystore BzKernel Version RestApi "
            "ImageFile TextFile ImageHeader ImageType BundleType Unknown ");
  EXPECT_EQ(static_cast<void*>(orvix_object_get_descriptor(&object)), object.guid + 16);
}

TEST(FileFormatTest, ReadsSixteenBytesAtTheStreamsPosition) {
  std::string content = "x" + std::string(reinterpret_cast<const char*>(orvix_file_guid), 16) + "tail";
  std::FILE* stream = fmemopen(content.data(), content.size(), "rb");
  std::fgetc(stream);
  EXPECT_EQ(orvix_is_file_format(stream), 1);
  EXPECT_EQ(std::ftell(stream), 17);
  EXPECT_EQ(orvix_is_file_format(stream), 0) << "only four bytes are left";
  std::fclose(stream);
  EXPECT_EQ(orvix_is_file_format(nullptr), 0);
}

TEST(DescriptorTest, LengthsAndTheTraceFromTwoGigabytesOn) {
  const char* const none = "";
  const char* const traced = "orvix_desc_get_payload_len bounds error";
  const struct {
    Bytes bytes;
    uint64_t header, payload;
    const char* trace;
  } rows[] = {
      {{2, 0, 9, 1, 0, 0, 0, 0}, 32, 16, none},
      {{0, 1, 0, 0, 1, 0, 0, 0}, 4096, 4096, none},
      {{0xff, 0xff, 0, 0xff, 0xff, 0xff, 0x07, 0}, 0xffff0, 0x7ffffff0, none},
      {{0, 0, 0, 0, 0, 0, 0x08, 0}, 0, 0x80000000, traced},
      {{0, 0, 0, 0xff, 0xff, 0xff, 0xff, 0xff}, 0, 0xffffffffff0, traced},
  };
  cs_debug_errors = 1;
  for (const auto& row : rows) {
    const orvix_desc desc = descriptor(row.bytes);
    testing::internal::CaptureStdout();
    EXPECT_EQ(orvix_desc_get_header_len(&desc), row.header);
    EXPECT_EQ(orvix_desc_get_payload_len(&desc), row.payload);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), row.trace);
  }
  cs_debug_errors = 0;
}

TEST(DescriptorTest, StripsValidPaddingOnly) {
  struct Row {
    Bytes end;  // of a payload of 0xaa
    uint64_t stripped;
    uint8_t flags = 2, units = 2;
  };
  for (const auto& [end, stripped, flags, units] :
       {Row{{4, 4, 4, 4}, 28}, Row{{3, 4, 4, 4}, 32}, Row{{4, 4, 3, 4}, 32}, Row{{1}, 31}, Row{{0}, 32},
        Row{{0x11}, 32}, Row{Bytes(16, 16), 16}, Row{Bytes(15, 16), 32}, Row{{2, 2}, 30, 0xff}, Row{{2, 2}, 32, 0xfd},
        Row{{2, 2}, 14, 2, 1}, Row{{}, 0, 2, 0}}) {
    Bytes object(16 + 16 + 16 * size_t{units}, 0xaa);  // descriptor, header, payload
    const orvix_desc desc = descriptor({1, 0, 0, units, 0, 0, 0, 0, flags});
    std::memcpy(object.data(), &desc, sizeof(desc));
    std::copy(end.begin(), end.end(), object.end() - static_cast<ptrdiff_t>(end.size()));
    EXPECT_EQ(orvix_desc_get_stripped_payload_len(reinterpret_cast<orvix_desc*>(object.data())), stripped)
        << testing::PrintToString(end);
  }
}

TEST(RangeTest, AnOverrunSticks) {
  orvix_range range;
  set_range(&range, 1000, 32);
  EXPECT_EQ(range_get(&range, 32), 1000u);
  EXPECT_EQ(range_get(&range, 0), 1032u);
  EXPECT_EQ(range_get(&range, 1), 0u);
  EXPECT_EQ(range_get(&range, 0), 0u);
  EXPECT_EQ(range.cur, 1033u);
  EXPECT_EQ(is_in_range(&range), 0);
  range.cur = 999;
  EXPECT_EQ(is_in_range(&range), 0);
  EXPECT_EQ(range_advance(&range, 1), 1);
}

TEST(LogBaseTwoTest, IsTheHighestBit) {
  EXPECT_EQ(log_base_two64(0), 0u);
  for (uint32_t bit = 0; bit < 64; ++bit) EXPECT_EQ(log_base_two64(static_cast<int64_t>(uint64_t{1} << bit)), bit);
  EXPECT_EQ(log_base_two64(4097), 12u);
  EXPECT_EQ(log_base_two64(-1), 63u);
}

}  // namespace
