// Every operation, with each call that it makes failing in turn.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "brantix/coupler.h"
#include "tests/common/files.h"
#include "tests/common/silent_host.h"
#include "tests/flow/fail_nth.h"
#include "tests/flow/stage.h"

namespace {

using namespace coupler::test;

/// What operations hand to their caller.
struct {
  uint64_t size;
  FirmwareInfo versions;
  ImageHeader header;
  size_t header_length;
  SCI_image_s* image;
  SCI_snmp_community_s communities[1];
  unsigned int count;
} given;

std::string bytes(const void* data, size_t size) { return {static_cast<const char*>(data), size}; }

std::string take_image() {
  const std::string record = bytes(given.image, sizeof(ImageHeader));
  SCI_imageClose(given.image);
  return record;
}

/// An operation that must survive every fault. Each of its files is then as before or as after a run without a fault.
/// When it reports success, what it handed over and all of its files are as after a run without a fault.
struct Operation {
  const char* name;
  bool (*run)();            // whether it reports success
  std::string (*result)();  // what it handed over; asked after a success
  bool lenient = false;     // a success may have left something out
};

std::string versions() { return bytes(&given.versions, sizeof(given.versions)); }

std::string nothing() { return {}; }

const Operation kOperations[] = {
    {"getFileSize", [] { return (given.size = getFileSize(kBundle)) != 0; }, [] { return std::to_string(given.size); }},
    {"extract_header_info",
     [] { return extract_header_info(kImage, &given.header, sizeof(ImageHeader), &given.header_length) == 0; },
     [] { return bytes(&given.header, given.header_length); }},
    {"SCI_imageOpen", [] { return (given.image = SCI_imageOpen(kImage)) != nullptr; }, take_image},
    {"SCI_imageOpen of a header file", [] { return (given.image = SCI_imageOpen(kHeaderFile)) != nullptr; }, take_image,
     true},  // a size that cannot be told is that of an empty file
    {"SCI_readFirmwareImageVersion", [] { return SCI_readFirmwareImageVersion(kBundle, &given.versions) == 0; },
     versions, true},  // SSD firmware that cannot be written
    {"SCI_extractFirmwareImagePayload",
     [] { return SCI_extractFirmwareImagePayload(kBundle, &given.versions, kOut) == 0; }, versions},
    {"SCI_extractFirmwareImagePayload with an image inside",
     [] { return SCI_extractFirmwareImagePayload(kNested, &given.versions, kOut) == 0; }, versions,
     true},  // versions of the image inside
    {"SCI_setFirmwareVersion", [] { return SCI_setFirmwareVersion(kBundle) == 0; }, nothing},
    {"SCI_ConfigureSnmp", [] { return SCI_ConfigureSnmp("public") == 0; }, nothing},
    {"SCI_DeleteSnmpCommunity", [] { return SCI_DeleteSnmpCommunity("secret") == 0; }, nothing},
    {"SCI_GetSnmpCommunity", [] { return SCI_GetSnmpCommunity(given.communities, &given.count) == 0; },
     [] { return std::to_string(given.count) + given.communities[0].community; },
     true},  // what cannot be read passes for the end of the file
    {"GetAndDeleteSnmpSysConOrLoc", [] { return GetAndDeleteSnmpSysConOrLoc("sysContact") == 0; }, nothing},
};

void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.name; }

struct Kind {
  const char* name;
  Call call;
  std::vector<Call> always = {};
};

const Kind kKinds[] = {{"open", Call::kOpen},       {"read", Call::kRead},
                       {"seek", Call::kSeek},       {"map", Call::kMap},
                       {"write", Call::kWrite},     {"read, nothing can be mapped", Call::kRead, {Call::kMap}},
                       {"resize", Call::kResize},   {"seek, nothing can be mapped", Call::kSeek, {Call::kMap}},
                       {"sync", Call::kSync},       {"name", Call::kName},
                       {"removal", Call::kRemoval}, {"interruption", Call::kInterruption},
                       {"close", Call::kClose},     {"memory", Call::kMemory}};

auto open_descriptors() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); }

class EveryFaultTest : public testing::TestWithParam<Operation> {
 protected:
  void SetUp() override {
    if (std::getenv("APPLIANCE_KIND") == nullptr) GTEST_SKIP() << "writes to the appliance's own paths";
    set_stage();
  }

  bool run(const Failing::Fault& fault) {
    given = {};
    const Failing failing(fault);
    success_ = GetParam().run();
    return failing.happened();
  }
  std::string result() const { return success_ ? GetParam().result() : ""; }

  const SilentHost host_;
  bool success_ = false;
};

TEST_P(EveryFaultTest, FailsCleanlyOrSucceeds) {
  const Files before = files();
  run({Call::kMemory, 0});
  ASSERT_TRUE(success_);
  const std::string expected = result();
  const Files after = files();
  restore(before);
  const auto descriptors = open_descriptors();
  int faults = 0;
  for (const Kind& kind : kKinds) {
    for (const bool lasting : {false, true}) {
      if (lasting && kind.call == Call::kInterruption) continue;  // is waited out for ever
      for (int nth = 1; run({kind.call, nth, lasting, kind.always}); ++nth, ++faults) {
        SCOPED_TRACE(std::string(kind.name) + " " + std::to_string(nth) + (lasting ? " and later" : ""));
        Files now = files();
        if (kind.call == Call::kRemoval) {  // what cannot be removed stays
          std::erase_if(now,
                        [&](const auto& file) { return !before.contains(file.first) && !after.contains(file.first); });
        }
        EXPECT_TRUE(success_ || kind.call != Call::kInterruption) << "an interrupted call is not resumed";
        if (success_) {
          EXPECT_TRUE(result() == expected || GetParam().lenient) << "success, but not with the right result";
          EXPECT_TRUE(now == after || GetParam().lenient) << "success, but not with the right files";
        }
        expect_each_as_in({before, after}, now);
        EXPECT_EQ(open_descriptors(), descriptors);
        restore(before);
      }
      restore(before);
      if (success_) result();
    }
  }
  std::cout << GetParam().name << ": " << faults << " faults\n";
  EXPECT_GE(faults, 10) << "the calls that should fail are not seen";
}

INSTANTIATE_TEST_SUITE_P(Flow, EveryFaultTest, testing::ValuesIn(kOperations));

}  // namespace
