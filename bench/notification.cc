// What it costs to pack a notification, beside a copy of as many bytes and beside the append that walks the entries.

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "notify/varbind.h"

namespace coupler::notify {
namespace {

const std::vector<uint64_t> kOid = {1, 3, 6, 1, 2, 1, 2, 2, 1, 2, 17};

std::vector<SCI_snmp_varbind_s> variables(benchmark::State& state) {
  SCI_snmp_varbind_s variable{};
  variable.oid = kOid.data();
  variable.oid_len = static_cast<uint16_t>(kOid.size());
  variable.type = BRANTIX_SNMP_OCTET_STRING;
  variable.value.text = "GigabitEthernet1/0/17, uplink";
  return std::vector<SCI_snmp_varbind_s>(static_cast<size_t>(state.range(0)), variable);
}

Notification notification(const std::vector<SCI_snmp_varbind_s>& list) {
  return {kOid.data(), static_cast<uint16_t>(kOid.size()), list.data(), static_cast<uint16_t>(list.size())};
}

void Pack(benchmark::State& state) {
  const auto list = variables(state);
  char why[128];
  size_t size = 0;
  for (auto _ : state) {
    size = *message_size(notification(list), why);
    std::vector<char> message(size);
    fill_message(notification(list), TlvWriter(message.data(), size), why);
    benchmark::DoNotOptimize(message.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(size) * state.iterations());
}

void Copy(benchmark::State& state) {
  char why[128];
  const std::vector<char> source(*message_size(notification(variables(state)), why));
  for (auto _ : state) {
    std::vector<char> message(source.size());
    std::memcpy(message.data(), source.data(), source.size());
    benchmark::DoNotOptimize(message.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(source.size()) * state.iterations());
}

void Append(benchmark::State& state) {
  const auto list = variables(state);
  char why[128];
  const size_t size = *message_size(notification(list), why);
  for (auto _ : state) {
    std::vector<char> message(size);
    const auto capacity = static_cast<int32_t>(size);
    for (const SCI_snmp_varbind_s& variable : list) {
      const char* text = variable.value.text;
      tlv_array_add_tlv(message.data(), capacity, kVariableOid, static_cast<uint16_t>(8 * kOid.size()), kOid.data());
      tlv_array_add_tlv(message.data(), capacity, kOctetString, static_cast<uint16_t>(std::strlen(text) + 1), text);
    }
    benchmark::DoNotOptimize(message.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(size) * state.iterations());
}

BENCHMARK(Pack)->Arg(300)->Arg(3000)->Arg(30000);
BENCHMARK(Copy)->Arg(300)->Arg(3000)->Arg(30000);
BENCHMARK(Append)->Arg(300)->Arg(3000);

}  // namespace
}  // namespace coupler::notify
