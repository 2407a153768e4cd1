// Writes inputs for the fuzzers to start from: DIRECTORY/FUZZER/NAME, and DIRECTORY/dictionary with the type GUIDs.
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "tools/pack/builder.h"

namespace {

using namespace coupler::pack;
using Files = std::vector<std::pair<const char*, std::string>>;

const HeaderFields kFields{.build_date = "Jan  1 2031",
                           .version = "7.1",
                           .platform_version = "p7",
                           .interim_version = "7.1.2",
                           .filename = "fw.img",
                           .software_id = "swid",
                           .image_size = "123"};

Container image_inside() {
  return bundle({image_header({.version = "9.9"}), rommon("5.5", "inner"), ssd("S1", "inner ssd")});
}

std::vector<Object> all_parts() {
  return {rommon("1.0.5", "rom"),
          fpga("2.01", "fpga"),
          pseq("3.4", "pseq"),
          lan_spi("0.9", "lan"),
          ssd("A12B", "ssd"),
          image_header(kFields),
          text_file("readme.txt", "#!"),
          image_file("verify_firmware.py", "#!"),
          image_file("fw.img", image_inside())};
}

Object padded(const char* payload) {
  Object object = text_file("t", payload);
  object.pkcs7 = true;
  return object;
}

Files bundles() {
  const std::string whole = render(bundle(all_parts()));
  return {{"all parts", whole},
          {"cut", whole.substr(0, 600)},
          {"no sizes", render(bundle({rommon("1"), text_file("t")}))},
          {"size too large", render(bundle({object(orvix_object_firmware, "1;17", "data")}))},
          {"size with a hole", render(bundle({rommon("1", std::string(3000, 'x'))})).substr(0, 200)},
          {"names that lead away", render(bundle({rommon("../1", "x"), text_file("/t", "x")}))}};
}

Files images() {
  return {{"image type", render(image(kFields))},
          {"bundle type", render(image(kFields, orvix_object_bundletype, "payload"))},
          {"controller type", render(bundle({image_header(kFields)}))},
          {"record", image_header(kFields).header}};
}

Files containers() {
  return {{"siblings", render({{text_file("a", "1"), padded("2"), object(orvix_object_null)}})},
          {"nested", render(bundle(all_parts()))},
          {"headers only", render({{object(orvix_object_keystore, "header"), object(orvix_object_version, "1")}})}};
}

std::string padded_text(const std::string& text) { return std::string(16 - text.size(), '0') + text; }

/// An SSD firmware file with a binary of `length` bytes, of which `there` are in it.
std::string ssd_file(const std::string& models, const std::string& version, size_t length, size_t there) {
  return "0001" + padded_text("QRV") + std::string(16, '-') + "01" + padded_text(models) + padded_text(version) +
         padded_text(std::to_string(length)) + std::string(there, 'b');
}

/// A text with NULs in it.
template <size_t N>
std::string bytes(const char (&text)[N]) {
  return {text, N - 1};
}

const std::pair<const char*, Files> kSeeds[] = {
    {"bundle_fuzz", bundles()},
    {"image_fuzz", images()},
    {"memory_fuzz", containers()},
    {"platform_files_fuzz",
     {{"version", "system 2.3.1.58\n"},
      {"rommon", "fpga version: 2\nrommon version: 1.0.12\n"},
      {"boot string", "kickstart:fw.img:\n"},
      {"three words", "one two three\n"},
      {"drive", "REV\nM_MZ7LH240 HBLS\n"}}},
    {"rewrite_fuzz",
     {{"community", bytes("\0\0\0public\0rocommunity public\n#public\nsysName x\n")},
      {"contact", bytes("\1\0\0sysContact\0 sysContact a\n#sysContact b\n")},
      {"host, at the end of what is read", bytes("\2\x7f\xf0h\0trapsink h\ninformsink h\nh\ntrapsess h")}}},
    {"shell_fuzz",
     {{"bash", bytes("\0a b\0$x'\"\\")}, {"bash, GBK", "\3\x81\\\x81;\x81|x"}, {"dash", "\1#~`*?[]{}()\n\t!"}}},
    {"ssd_fuzz",
     {{"match", ssd_file("MZ120", "A12B", 32, 32)},
      {"cut", ssd_file("MZ120", "A12B", 32, 3)},
      {"other drive", ssd_file("MZ999", "A12B", 32, 32)},
      {"leads away", ssd_file("MZ120", "../x", 32, 32)},
      {"no models", "0001" + std::string(32, '0') + "00"}}},
    {"proc_text_fuzz",
     {{"stat", "42 (vsh) S 1 42 42 34816 42 4194560 1 0 0 0 1 2 0 0 20 0 1 0 12345 1 1"},
      {"status", "Name:\tvsh\nTgid:\t42\nPid:\t42\nPPid:\t1\nUid:\t0\t0\t0\t0\n"},
      {"cmdline", std::string("vsh\0-u\0admin\0", 13)},
      {"environ", std::string("USER=admin\0SSH_CLIENT=10.0.0.1 5000 22\0", 39)},
      {"uptime", "12345.67 23456.78\n"}}},
};

void write_dictionary(std::ofstream file) {
  for (int type = 0; type < ORVIX_TYPE_COUNT; ++type) {
    file << '"';
    for (const int byte : guid_of(type)) {
      char escaped[8];
      std::snprintf(escaped, sizeof(escaped), "\\x%02x", byte);
      file << escaped;
    }
    file << "\"\n";
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const std::filesystem::path directory = argv[1];
  for (const auto& [fuzzer, files] : kSeeds) {
    std::filesystem::create_directories(directory / fuzzer);
    for (const auto& [name, content] : files) std::ofstream(directory / fuzzer / name, std::ios::binary) << content;
  }
  write_dictionary(std::ofstream(directory / "dictionary"));
}
