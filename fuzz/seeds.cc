// Writes what the fuzzers start from: DIRECTORY/NUMBER.
#include <fstream>

#include "tools/pack/builder.h"
#include "tools/pack/ssd_file.h"

namespace {

using namespace coupler::pack;
using namespace std::string_literals;

const HeaderFields kFields{"Jan  1 2031", "7.1", "p7", "7.1.2", "fw.img", "swid", "123"};

std::string all_parts() {
  const Container inside = bundle({image_header({.version = "9.9"}), rommon("5.5", "inner"), ssd("S1", "inner ssd")});
  return render(bundle({rommon("1.0.5", "rom"), fpga("2.01", "fpga"), pseq("3.4", "pseq"), lan_spi("0.9", "lan"),
                        ssd("A12B", "ssd"), image_header(kFields), text_file("readme.txt", "#!"),
                        image_file("verify_firmware.py", "#!"), image_file("fw.img", inside)}));
}

std::vector<std::string> inputs() {
  const std::string binary(32, 'b');
  Object padded = text_file("t", "2");
  padded.pkcs7 = true;
  Container every_type;
  for (int type = 0; type < ORVIX_TYPE_COUNT; ++type) every_type.objects.push_back(object(type, "header"));
  return {all_parts(),
          render(every_type),
          render(bundle({rommon("1"), object(orvix_object_firmware, "1;17", "data")})),
          render(bundle({rommon("../1", "x"), text_file("/t", "x")})),
          render({{text_file("a", "1"), padded, object(orvix_object_null), object(orvix_object_keystore, "header")}}),
          render(image(kFields)),
          render(image(kFields, orvix_object_bundletype, "payload")),
          render(bundle({image_header(kFields)})),
          image_header(kFields).header,
          ssd_head({"QRV", {"MZ120"}, "A12B"}, 32) + binary,
          ssd_head({"QRV", {"MZ120"}, "../x"}, 32) + binary,
          "fpga version: 2\nrommon version: 1.0.12\n",
          "REV\nM_MZ7LH240 HBLS\n",
          "\0\0\0public\0rocommunity public\n#public\nsysName x\n"s,
          "\1\0\0sysContact\0 sysContact a\n#sysContact b\n"s,
          "\2\x7f\xf0h\0trapsink h\ninformsink h\nh\ntrapsess h"s,
          "\0a b\0$x'\"\\"s,
          "\3\x81\\\x81;\x81|x",
          "\1#~`*?[]{}()\n\t!",
          "42 (vsh) S 1 42 42 34816 42 4194560 1 0 0 0 1 2 0 0 20 0 1 0 12345 1 1",
          "Name:\tvsh\nTgid:\t42\nPid:\t42\nPPid:\t1\nUid:\t0\t0\t0\t0\n",
          "vsh\0-u\0admin\0"s,
          "USER=admin\0SSH_CLIENT=10.0.0.1 5000 22\0"s};
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const std::filesystem::path directory = argv[1];
  std::filesystem::create_directories(directory);
  int number = 0;
  for (const std::string& bytes : inputs()) std::ofstream(directory / std::to_string(++number)) << bytes;
}
