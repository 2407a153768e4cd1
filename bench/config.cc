// A line taken out of a long configuration of the agent.
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "bench/table.h"
#include "brantix/snmp.h"

namespace coupler::bench {
namespace {

constexpr const char* kConfig = "/etc/snmp/snmpd.conf";
constexpr const char* kHost = "10.9.8.7";

void write_config(const std::string& last) {
  std::filesystem::create_directories("/etc/snmp");
  std::ofstream config(kConfig);
  for (int i = 0; i < 1'000'000; ++i) config << "trap2sink 192.168." << i % 256 << '.' << i / 256 % 256 << " public\n";
  config << last;
}

double delete_host() {
  std::ofstream(kConfig, std::ios::app) << "trap2sink " << kHost << " public\n";
  return processor_time([] {
    if (SCI_DeleteSnmpHostV3(kHost) != 0) throw std::runtime_error("the destination is not deleted");
  });
}

}  // namespace

std::vector<Row> config_rows() {
  write_config("");
  return {{"a destination deleted from 1,000,000 lines", "grep -v of it into a new file", 1.1, delete_host, [] {
             return processor_time_of({"sh", "-c", "grep -v 10.9.8.7 /etc/snmp/snmpd.conf > /etc/snmp/bench.new"});
           }}};
}

}  // namespace coupler::bench
