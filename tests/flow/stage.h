// The files that operations are given and leave, in the appliance.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>

#include "tests/common/files.h"
#include "tools/pack/builder.h"
#include "tools/pack/ssd_file.h"

namespace coupler::test {

inline constexpr const char* kBundle = "/tmp/flow/bundle";
inline constexpr const char* kNested = "/tmp/flow/nested";
inline constexpr const char* kImage = "/tmp/flow/image";
inline constexpr const char* kHeaderFile = "/tmp/flow/fw.img__hdr";
inline constexpr const char* kDrive = "/tmp/flow/drive";
inline constexpr const char* kOut = "/tmp/flow/out";
inline constexpr const char* kConfig = "/etc/snmp/snmpd.conf";
inline constexpr const char* kNewConfig = "/etc/snmp/snmpd.conf.new";

/// Puts everything in place. Payloads have several kilobytes, so that heads and texts come from reads of their own.
inline void set_stage() {
  using namespace pack;
  namespace fs = std::filesystem;
  const HeaderFields fields{.version = "7.1", .filename = "fw.img"};
  const std::vector<Object> parts{rommon("1.0", std::string(9000, 'r')), ssd("S1", std::string(5016, 's')),
                                  image_header(fields), fpga("2.0", std::string(4064, 'f')),
                                  text_file("last", std::string(8000, 'l'))};
  fs::create_directories(kOut);
  fs::remove(kNewConfig);
  setenv("COUPLER_PLATFORM", "/tmp/flow/platform.conf", 1);
  const std::pair<const char*, std::string> kFiles[] = {
      {"/tmp/flow/platform.conf", "board_type = 2\n"},
      {kBundle, render(bundle(parts))},
      {kNested, render(bundle({image_header(fields), image_file("fw.img", bundle(parts))}))},
      {kImage, render(image(fields))},
      {kHeaderFile, image_header(fields).header},
      {kDrive, ssd_head({"QRV", {"MZ240HBLS"}, "HXT7405Q"}, 6000) + std::string(6000, 'd')},
      {"/tmp/ssd_fwInfo", "HXT7404Q\nQRV_MZ240HBLS\n"},
      {kConfig, std::string(20000, '#').append("\nrocommunity secret\ntrapsink 10.0.0.9\nsysContact me\n")},
      {"/opt/quorva/config/platform/snmp_trap_host_count", "7"},
      {"/tmp/SNMP_EngineId", "0x80001f88\n"},
      {"/mnt/boot/.boot_string", "boot:fw.img\n"},
      {"/mnt/boot/.boot_npu", "npu.img\n"},
      {"/mnt/boot/.boot_brantixmgr", "manager.img detail\n"},
      {"/etc/version.txt", "version 1.2\n"},
      {"/opt/quorva/npu/version.txt", "version 3.4\n"},
      {"/etc/group", "root:x:0:\nread-only:x:900:root\n"}};
  for (const auto& [path, content] : kFiles) write_file(path, content);
}

using Files = std::map<std::string, std::string>;

/// All files that operations may write.
inline Files files() {
  Files all;
  for (const char* place : {"/etc/snmp", "/mnt/boot", "/opt/quorva", "/tmp/flow", "/var/lib"}) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(place)) {
      if (entry.is_regular_file() && !entry.is_symlink()) all[entry.path()] = read_file(entry.path());
    }
  }
  return all;
}

inline void restore(const Files& wanted) {
  const Files now = files();
  for (const auto& file : now) {
    if (!wanted.contains(file.first)) std::filesystem::remove(file.first);
  }
  for (const auto& [path, content] : wanted) {
    if (const auto it = now.find(path); it == now.end() || it->second != content) write_file(path, content);
  }
}

/// Each file is as in one of `states`.
inline void expect_each_as_in(const std::vector<Files>& states, const Files& now) {
  Files all = now;
  for (const Files& state : states) all.insert(state.begin(), state.end());
  for (const auto& file : all) {
    const auto content = [&file](const Files& state) {
      const auto found = state.find(file.first);
      return found != state.end() ? std::optional(found->second) : std::nullopt;
    };
    EXPECT_TRUE(std::ranges::find(states, content(now), content) != states.end()) << file.first;
  }
}

}  // namespace coupler::test
