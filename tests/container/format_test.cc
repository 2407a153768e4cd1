#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "brantix/container.h"
#include "brantix/frame.h"

namespace {

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

TEST(TypeTest, AFileGuidIsComparedToItsLastByte) {
  EXPECT_EQ(orvix_is_file_guid(orvix_file_guid), 1);
  for (size_t i = 0; i < 16; ++i) {
    Bytes guid(orvix_file_guid, orvix_file_guid + 16);
    guid[i] ^= 1;
    EXPECT_EQ(orvix_is_file_guid(guid.data()), 0) << i;
  }
}

TEST(TypeTest, Names) {
  const char* names[] = {"NULL",     "ZeltaSignature", "Compressed",  "ControllerType",   "ElfKernel",
                         "KcmdLine", "Initrd",         "Subsystem",   "AoutKernel",       "Encrypted",
                         "Firmware", "FirmwareSSD",    "FirmwareHub", "FirmwareImageOne", "FirmwareImageTwo",
                         "Keystore", "BzKernel",       "Version",     "RestApi",          "ImageFile",
                         "TextFile", "ImageHeader",    "ImageType",   "BundleType"};
  orvix_object object = {};
  for (int type = 0; type < ORVIX_TYPE_COUNT; ++type) {
    std::memcpy(object.guid, orvix_guid[type], 16);
    EXPECT_STREQ(orvix_object_get_name(&object), names[type]);
  }
  std::memcpy(object.guid, orvix_file_guid, 16);
  EXPECT_STREQ(orvix_object_get_name(&object), "Unknown");
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

TEST(DescriptorTest, Lengths) {
  struct Row {
    Bytes bytes;
    uint64_t header, payload;
  };
  for (const auto& [bytes, header, payload] :
       {Row{{2, 0, 9, 1, 0, 0, 0, 0}, 32, 16}, Row{{0, 1, 0, 0, 1, 0, 0, 0}, 4096, 4096},
        Row{{0xff, 0xff, 0, 0xff, 1, 0, 0, 0}, 0xffff0, 0x1ff0}, Row{{0, 0, 0, 0, 0, 0, 0, 1}, 0, 1ull << 36},
        Row{{0, 0, 0, 0xff, 0xff, 0xff, 0xff, 0xff}, 0, 0xffffffffff0}}) {
    const orvix_desc desc = descriptor(bytes);
    EXPECT_EQ(orvix_desc_get_header_len(&desc), header);
    EXPECT_EQ(orvix_desc_get_payload_len(&desc), payload);
  }
}

TEST(DescriptorTest, TracesPayloadsFromTwoGigabytesOn) {
  cs_debug_errors = 1;
  testing::internal::CaptureStdout();
  const orvix_desc below = descriptor({0, 0, 0, 0xff, 0xff, 0xff, 0x07, 0});
  const orvix_desc above = descriptor({0, 0, 0, 0, 0, 0, 0x08, 0});
  EXPECT_EQ(orvix_desc_get_payload_len(&below), 0x7ffffff0u);
  EXPECT_EQ(orvix_desc_get_payload_len(&above), 0x80000000u);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "orvix_desc_get_payload_len bounds error");
  cs_debug_errors = 0;
}

TEST(DescriptorTest, StripsValidPaddingOnly) {
  struct Row {
    Bytes end;  // of a 32-byte payload of 0xaa
    uint64_t stripped;
    uint8_t flags = 2;
  };
  for (const auto& [end, stripped, flags] :
       {Row{{4, 4, 4, 4}, 28}, Row{{3, 4, 4, 4}, 32}, Row{{1}, 31}, Row{{0}, 32}, Row{{0x11}, 32},
        Row{Bytes(16, 16), 16}, Row{Bytes(15, 16), 32}, Row{{2, 2}, 30, 0xff}, Row{{2, 2}, 32, 0xfd}}) {
    Bytes object(16 + 16 + 32, 0xaa);  // descriptor, header, payload
    const orvix_desc desc = descriptor({1, 0, 0, 2, 0, 0, 0, 0, flags});
    std::memcpy(object.data(), &desc, sizeof(desc));
    std::copy(end.begin(), end.end(), object.end() - static_cast<ptrdiff_t>(end.size()));
    EXPECT_EQ(orvix_desc_get_stripped_payload_len(reinterpret_cast<orvix_desc*>(object.data())), stripped)
        << end.size() << " bytes of " << int{end.back()};
  }
  const orvix_desc empty = descriptor({0, 0, 0, 0, 0, 0, 0, 0, 2});
  EXPECT_EQ(orvix_desc_get_stripped_payload_len(&empty), 0u);
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
