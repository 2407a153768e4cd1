// Containers in memory: types, descriptors, ranges, and the walks over their objects. Then those in files: their size,
// positioned reads, and their image header, however it is nested.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <array>
#include <cstring>
#include <vector>

#include "brantix/frame.h"
#include "tests/common/damage.h"
#include "tests/common/exactly.h"
#include "tests/common/files.h"
#include "tests/common/log_capture.h"
#include "tools/pack/builder.h"

namespace {

using namespace coupler::test;
using namespace coupler::pack;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string kHeader(32, 'h');

using Outcome = std::array<int, 3>;

/// What the three walkers find of `type`.
Outcome search(const std::string& bytes, int type) {
  const Exactly span(bytes);
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

TEST(WalkTest, WhatIsFoundInEachOfTheThreeOrders) {
  const std::string bytes = nested(), one = render(Container{{object(orvix_object_ssd, kHeader, "data")}}),
                    cut = cut_at(one.size() - 1, one),
                    null = render(Container{{object(orvix_object_null), object(orvix_object_ssd)}}),
                    unknown = set_byte(16, 1, render(Container{{object(orvix_object_ssd)}}));
  const std::tuple<std::string, int, Outcome> rows[] = {
      {bytes, orvix_object_zeltasignature, {1, 1, 1}},
      {bytes, orvix_object_controllertype, {0, 1, 0}},  // only the children's order goes inside
      {bytes, orvix_object_imagefile, {0, 1, 0}},
      {bytes, orvix_object_textfile, {0, 0, 0}},
      {bytes, orvix_object_keystore, {1, 0, 1}},  // no header: on to the next sibling
      {null, orvix_object_null, {0, 0, 0}},
      {null, orvix_object_ssd, {0, 0, 0}},
      {unknown, ORVIX_TYPE_UNKNOWN, {0, 0, 0}},
      {cut, orvix_object_ssd, {0, 1, 1}},
      {cut_at(48, one), orvix_object_ssd, {0, 1, 1}},
      {cut, orvix_object_keystore, {0, 0, 0}},
      {grow_length(16, one), orvix_object_keystore, {0, 0, 0}},
  };
  for (const auto& [container, type, outcome] : rows) EXPECT_EQ(search(container, type), outcome) << type;
  for (size_t size = 0; size < 48; ++size) {
    EXPECT_EQ(search(cut_at(size, bytes), orvix_object_zeltasignature), (Outcome{0, 0, 0})) << size;
  }
}

TEST(WalkTest, LocatesByOffset) {
  const Exactly span(nested());
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

// A length out of bounds is traced each time it is asked for: twice here.
TEST(WalkTest, AsksForAPayloadsLengthOnlyWhereItIsNeeded) {
  const Exactly with_header(grow_length(16, render(Container{{object(orvix_object_ssd, kHeader)}})));
  const Exactly without(grow_length(16, render(Container{{object(orvix_object_ssd)}})));
  orvix_range range = with_header.range();
  uint64_t offset, length;
  uint32_t a, b, c, d;
  const std::string trace = "orvix_desc_get_payload_len bounds error";
  cs_debug_errors = 1;
  testing::internal::CaptureStdout();
  orvix_contains_object_type(orvix_object_keystore, with_header.range());
  orvix_get_object_payload(orvix_object_ssd, nullptr, &length, without.range());
  orvix_get_object_payload(orvix_object_keystore, &offset, &length, with_header.range());
  orvix_get_object_payload(orvix_object_ssd, &offset, &length, with_header.range());
  locate_orvix_obj(&range, &a, &b, &c, &d, orvix_object_ssd);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), trace + trace);
  cs_debug_errors = 0;
}

TEST(GetObjectTest, ReadsOneAfterTheOther) {
  const std::string bytes =
      render(Container{{object(orvix_object_null, kHeader), object(orvix_object_ssd, "", "data")}});
  const Exactly whole(bytes), cut(bytes.substr(0, bytes.size() - 1));
  void* header = nullptr;
  void* payload = nullptr;
  uint32_t header_length = 0, payload_length = 0;
  for (const Exactly* span : {&whole, &cut}) {
    orvix_range range = span->range();
    range_advance(&range, 16);
    for (int null = 0; null < 5; ++null) {
      EXPECT_EQ(orvix_get_obj(null == 0 ? nullptr : &range, null == 1 ? nullptr : &header,
                              null == 2 ? nullptr : &header_length, null == 3 ? nullptr : &payload,
                              null == 4 ? nullptr : &payload_length),
                99999u);
    }
    EXPECT_EQ(orvix_get_obj(&range, &header, &header_length, &payload, &payload_length), 0u);
    EXPECT_EQ(reinterpret_cast<uint64_t>(header), range.start + 48);
    EXPECT_EQ(header_length, 32u);
    EXPECT_EQ(orvix_get_obj(&range, &header, &header_length, &payload, &payload_length), 11u);
    EXPECT_EQ(payload_length, 16u);
    EXPECT_EQ(payload == nullptr, span == &cut);
    EXPECT_EQ(orvix_get_obj(&range, &header, &header_length, &payload, &payload_length), 99999u);
  }
}

using Bytes = std::vector<uint8_t>;

orvix_desc descriptor(const Bytes& bytes) {
  orvix_desc desc = {};
  std::memcpy(&desc, bytes.data(), bytes.size());
  return desc;
}

// The FNV-1a digest of all type GUIDs and the file GUID, from a list of its own.
TEST(TypeTest, GuidsAndNamesAreThoseOfTheFormat) {
  uint64_t digest = 0xcbf29ce484222325;
  std::string names;
  orvix_object object = {};
  const auto add = [&](const uint8_t* guid, int type) {
    for (int i = 0; i < 16; ++i) digest = (digest ^ guid[i]) * 0x100000001b3;
    std::memcpy(object.guid, guid, 16);
    names += orvix_object_get_name(&object) + std::string(" ");
    EXPECT_EQ(orvix_get_object_type(guid), type);
  };
  for (int type = 0; type < ORVIX_TYPE_COUNT; ++type) add(orvix_guid[type], type);
  add(orvix_file_guid, 99999);
  EXPECT_EQ(digest, 0x57fd5ff9b878d942u);
  EXPECT_EQ(names,
            "NULL ZeltaSignature Compressed ControllerType ElfKernel KcmdLine Initrd Subsystem AoutKernel Encrypted "
            "Firmware FirmwareSSD FirmwareHub FirmwareImageOne FirmwareImageTwo Keystore BzKernel Version RestApi "
            "ImageFile TextFile ImageHeader ImageType BundleType Unknown ");
  EXPECT_EQ(static_cast<void*>(orvix_object_get_descriptor(&object)), object.guid + 16);
}

TEST(FileFormatTest, ReadsSixteenBytesAtTheStreamsPosition) {
  std::string content = kHeader.substr(16) + std::string(reinterpret_cast<const char*>(orvix_file_guid), 16) + "tail";
  std::FILE* stream = fmemopen(content.data(), content.size(), "rb");
  for (const int is_one : {0, 1, 0}) EXPECT_EQ(orvix_is_file_format(stream), is_one) << std::ftell(stream);
  std::fclose(stream);
  EXPECT_EQ(orvix_is_file_format(nullptr), 0);
}

TEST(DescriptorTest, LengthsAndTheTraceFromTwoGigabytesOn) {
  const char *const none = "", *const traced = "orvix_desc_get_payload_len bounds error";
  const std::tuple<Bytes, uint64_t, uint64_t, const char*> rows[] = {
      {{2, 0, 9, 1, 0, 0, 0, 0}, 32, 16, none},
      {{0, 1, 0, 0, 1, 0, 0, 0}, 4096, 4096, none},
      {{0xff, 0xff, 0, 0xff, 0xff, 0xff, 0x07, 0}, 0xffff0, 0x7ffffff0, none},
      {{0, 0, 0, 0, 0, 0, 0x08, 0}, 0, 0x80000000, traced},
      {{0, 0, 0, 0xff, 0xff, 0xff, 0xff, 0xff}, 0, 0xffffffffff0, traced},
  };
  cs_debug_errors = 1;
  for (const auto& [bytes, header, payload, trace] : rows) {
    const orvix_desc desc = descriptor(bytes);
    testing::internal::CaptureStdout();
    EXPECT_EQ(orvix_desc_get_header_len(&desc), header);
    EXPECT_EQ(orvix_desc_get_payload_len(&desc), payload);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), trace);
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
        Row{Bytes(17, 17), 32}, Row{Bytes(16, 16), 16}, Row{Bytes(15, 16), 32}, Row{{2, 2}, 30, 0xff},
        Row{{2, 2}, 32, 0xfd}, Row{{2, 2}, 14, 2, 1}, Row{{}, 0, 2, 0}}) {
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
  for (const auto& [n, address] : {std::pair{0u, 1000u}, {32u, 1000u}, {0u, 1032u}, {1u, 0u}, {0u, 0u}}) {
    EXPECT_EQ(range_get(&range, n), address) << n;
  }
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

class ContainerFileTest : public testing::Test {
 protected:
  LogCapture log_;
  ScratchDirectory directory_;
  const std::string path_ = directory_ / "image";
};

TEST_F(ContainerFileTest, SizeOrOneLine) {
  const std::string pipe = directory_ / "pipe", failed = "info getFileSize|ERROR: getFileSize: ";
  mkfifo(pipe.c_str(), 0600);
  for (const char* content : {"", "12345"}) {
    write_file(path_, content);
    EXPECT_EQ(getFileSize(path_.c_str()), std::strlen(content));
  }
  EXPECT_THAT(log_.take_lines(), IsEmpty());
  for (const char* path : {"/no/such", pipe.c_str()}) EXPECT_EQ(getFileSize(path), 0u);
  EXPECT_THAT(log_.take_lines(), ElementsAre(failed + "unable to open file /no/such, No such file or directory",
                                             failed + "failed to seek file " + pipe + ", rc -1, Illegal seek"));
}

TEST_F(ContainerFileTest, PositionedRead) {
  write_file(path_, "0123456789");
  std::FILE* file = std::fopen(path_.c_str(), "rb");
  char buf[8] = "-------";
  EXPECT_EQ(get_orvix_descriptor(file, 2, buf, 3), 3);
  EXPECT_STREQ(buf, "234----");
  EXPECT_EQ(get_orvix_descriptor(file, 9, buf, 3), 1);
  EXPECT_STREQ(buf, "934----");
  EXPECT_EQ(get_orvix_descriptor(file, 4000000000, buf, 3), 0);
  EXPECT_THAT(log_.take_lines(), IsEmpty());
  std::fclose(file);
  std::FILE* pipe = popen("true", "r");
  EXPECT_EQ(get_orvix_descriptor(pipe, 7, buf, 1), -1);
  pclose(pipe);
  EXPECT_THAT(
      log_.take_lines(),
      ElementsAre("info get_orvix_descriptor|ERROR: get_orvix_descriptor: failed to seek inOffset 7, Illegal seek"));
}

class HeaderTest : public ContainerFileTest {
 protected:
  int32_t extract(const std::string& bytes, size_t capacity = sizeof(ImageHeader)) {
    write_file(path_, bytes);
    std::memset(buf_, '-', sizeof(buf_));
    copied_ = 12345;
    return extract_header_info(path_.c_str(), buf_, capacity, &copied_);
  }
  static std::string signed_by(std::string header, Object content) {
    return render(Container{{wrap(orvix_object_zeltasignature, std::move(header), {std::move(content)})}});
  }
  static std::string line(const std::string& text) {
    return "info extract_header_info|" + text.substr(0, text.find(' ') + 1) +
           "extract_header_info: " + text.substr(text.find(' ') + 1) + "\n";
  }

  char buf_[700];
  size_t copied_ = 0;
};

const HeaderFields kFields{.version = "4.1", .filename = "fw.img"};

TEST_F(HeaderTest, FollowsEveryNesting) {
  for (const int type : {orvix_object_imagetype, orvix_object_bundletype, orvix_object_controllertype}) {
    const Object content = type == orvix_object_controllertype
                               ? wrap(type, std::string(16, 'c'), {image_header(kFields)})
                               : image_header(kFields, type);
    ASSERT_EQ(extract(signed_by(std::string(48, 's'), content)), 0);
    EXPECT_EQ(copied_, 576u);
    EXPECT_STREQ(buf_ + 16, "4.1");
    EXPECT_STREQ(buf_ + 112, "fw.img");
    EXPECT_EQ(buf_[576], '-');
    EXPECT_THAT(log_.take_lines(), ElementsAre(line("INFO: objType " + std::to_string(type))));
  }
}

TEST_F(HeaderTest, CopiedLength) {
  const std::array<size_t, 3> rows[] = {{592, 576, 576}, {608, 576, 576}, {400, 576, 384}, {32, 576, 16},
                                        {16, 576, 16},   {576, 576, 560}, {400, 399, 399}, {16, 8, 8}};
  for (const auto& [header, capacity, copied] : rows) {
    const Object content = object(orvix_object_imagetype, std::string(header, 'x'));
    EXPECT_EQ(extract(signed_by("", content), capacity), 0);
    EXPECT_EQ(copied_, copied) << header;
    EXPECT_EQ(std::string(buf_, sizeof(buf_)).find('-'), copied) << header;
  }
  EXPECT_EQ(extract(signed_by("", object(orvix_object_imagetype))), -1);
  EXPECT_EQ(copied_, 0u);
  EXPECT_EQ(extract(cut_at(80 + 17, render(image(kFields)))), 0) << "one byte is there";
  EXPECT_EQ(std::string(buf_ + 16, 2), "4-");
}

TEST_F(HeaderTest, RefusalsTellWhy) {
  const Object controller = wrap(orvix_object_controllertype, "", {object(orvix_object_ssd)});
  const std::pair<std::string, std::vector<std::string>> rows[] = {
      {render(Container{{controller}}), {line("ERROR: not orvix_object_zeltasignature object type 3")}},
      {signed_by("", controller), {line("INFO: objType 3")}},
      {signed_by("", object(orvix_object_ssd)),
       {line("INFO: objType 11"), line("ERROR: not to handle this object type 11")}},
      {"", {line("ERROR: not orvix_object_zeltasignature object type 0")}},
  };
  for (const auto& [bytes, lines] : rows) {
    EXPECT_EQ(extract(bytes), -1);
    EXPECT_EQ(log_.take_lines(), lines);
    EXPECT_EQ(copied_, 12345u);
  }
  const std::string pipe = directory_ / "pipe", socket = directory_ / "socket";
  mkfifo(pipe.c_str(), 0600);
  mknod(socket.c_str(), S_IFSOCK | 0600, 0);
  for (const std::string& path : {std::string("/no/such"), pipe, socket, directory_.path()}) {
    EXPECT_EQ(extract_header_info(path.c_str(), buf_, 576, &copied_), -1);
  }
  EXPECT_THAT(log_.take_lines(),
              ElementsAre(line("ERROR: failed to access file /no/such, No such file or directory"),
                          testing::HasSubstr("failed to seek inOffset 16, Illegal seek"),
                          line("ERROR: failed to get orvix descriptor"),
                          line("ERROR: failed to open file " + socket + ", No such device or address"),
                          line("ERROR: not orvix_object_zeltasignature object type 0")));
}

}  // namespace
