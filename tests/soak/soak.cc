// All operations at once, from several threads of several processes, while agent and notification service are killed
// at random: soak SECONDS. Prints one line of figures; 1 when something was lost or has grown.
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zmq.h>

#include <atomic>
#include <cstring>
#include <iostream>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "brantix/coupler.h"
#include "tests/common/files.h"
#include "tools/pack/builder.h"

namespace {

using coupler::test::read_file;

constexpr int kWorkers = 3;
constexpr int kMost = 1 << 20;
constexpr int kForgotten = 8;      // a community goes after so many more, unless its number is a multiple
constexpr int kMostGrowth = 2048;  // KiB: the allocator's, which levels off
constexpr const char* kBundle = "/tmp/soak/bundle";

struct Worker {
  std::atomic<bool> acknowledged[kMost], recorded[kMost];
  std::atomic<long> communities, descriptors_grown, memory_grown;
};

/// What all processes see.
struct Shared {
  std::atomic<bool> stop;
  std::atomic<long> rounds[6], failures, agent_kills, service_kills;
  Worker workers[kWorkers];
} * shared;

std::mutex one_at_a_time;  // a host calls what configures or writes one at a time

long resident() {
  const std::string status = read_file("/proc/self/status");
  return std::strtol(status.c_str() + status.find("VmRSS:") + 6, nullptr, 10);
}
long descriptors() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); }

void expect(bool good) { shared->failures += good ? 0 : 1; }

std::string community(int me, long i) { return "w" + std::to_string(me) + "n" + std::to_string(i) + "x"; }

void change_configuration(int me, int i) {
  const std::lock_guard lock(one_at_a_time);
  expect(SCI_ConfigureSnmp(community(me, i).c_str()) == 0);
  const int older = i - kForgotten;
  if (older > 0 && older % kForgotten != 0) expect(SCI_DeleteSnmpCommunity(community(me, older).c_str()) == 0);
  ++shared->workers[me].communities;
  SCI_snmp_host_s host{"", "public", 162, 2, 0, SCI_SNMP_TRAP};
  std::snprintf(host.server_addr, sizeof(host.server_addr), "10.0.%d.1", me);
  expect(SCI_SetSnmpHostV3(&host) == 0 && SCI_DeleteSnmpHostV3(host.server_addr) == 0);
  expect(SCI_SetSnmpSysContact(("contact" + std::to_string(me)).c_str()) == 0);
  if (i % 16 == 0) {
    SCI_snmp_user_s user{"", "password1", "password2", 1, 3};
    std::snprintf(user.username, sizeof(user.username), "user%d", me);
    char error[25];
    SCI_SetSnmpUser(&user, error);  // fails where the agent was killed meanwhile
    SCI_SetSnmpSysLocation("here");
  }
  SCI_SetPlatformSyslogging(i % 8);
}

void unpack(int me, int) {
  const std::string out = "/tmp/soak/out" + std::to_string(me);
  FirmwareInfo versions;
  const std::lock_guard lock(one_at_a_time);
  expect(SCI_extractFirmwareImagePayload(kBundle, &versions, out.c_str()) == 0);
  expect(read_file(out + "/rommon-1.0") == std::string(300'000, 'r'));
  expect(SCI_readFirmwareImageVersion(kBundle, &versions) == 0 && SCI_readCurrentFirmwareVersions(&versions) == 0);
  expect(SCI_setFirmwareVersion(kBundle) == 0);
}

/// The library prints the acknowledgement; what else is printed in between is not taken for one.
void notify(int me, int i) {
  const uint64_t oid[] = {1, 3, 6, 1, 4, 1, static_cast<uint64_t>(me), static_cast<uint64_t>(i)};
  const SCI_snmp_varbind_s variable{oid, 8, BRANTIX_SNMP_TEXT, {.text = "soak"}, 0};
  if (ftruncate(STDOUT_FILENO, 0) != 0) std::abort();
  expect(SCI_sendSnmpNotification(oid, 8, &variable, 1, nullptr, 0) == 0);
  std::fflush(stdout);
  const std::string printed = read_file("/tmp/soak/printed" + std::to_string(me));
  shared->workers[me].acknowledged[i] = printed.find("ack code: 0") != printed.npos;
}

void scan(int, int) {
  auto* const sessions = SCI_cli_get_sessions();
  expect(sessions != nullptr);
  _SCI_cli_session_s session;
  while (SCI_cli_has_next_session(sessions) == 1) SCI_cli_get_next_session(sessions, &session);
  SCI_cli_free_session_iterator(sessions);
}

void ask(int, int) {
  char text[256];
  BootloaderSysNames names{};
  unsigned count = 0;
  SCI_getUserRoles("root", text, sizeof(text));
  SCI_getBootloaderSysNames(&names, text);
  std::free(SCI_getBiosVersion());
  SCI_imageClose(SCI_imageOpen(kBundle));
  expect(getFileSize(kBundle) > 0 && SCI_GetSnmpCommunity(nullptr, &count) == 0);
}

constexpr struct Action {
  const char* name;
  void (*run)(int me, int i);
} kActions[] = {{"changes", change_configuration},
                {"bundles", unpack},
                {"notifications", notify},
                {"scans", scan},
                {"more scans", scan},
                {"queries", ask}};

/// The first of each, alone, makes what stays for good.
[[noreturn]] void work(int me) {
  const std::string printed = "/tmp/soak/printed" + std::to_string(me);
  if (std::freopen(printed.c_str(), "a", stdout) == nullptr) std::abort();
  std::filesystem::create_directories("/tmp/soak/out" + std::to_string(me));
  for (const Action& action : kActions) action.run(me, 0);
  const long descriptors_before = descriptors();
  std::vector<std::thread> threads;
  for (const Action& action : kActions) {
    threads.emplace_back([&action, me] {
      int i = 1;
      for (; i < kMost && !shared->stop; ++i) action.run(me, i);
      shared->rounds[&action - kActions] += i;
    });
  }
  std::this_thread::sleep_for(std::chrono::seconds(10));  // until every thread has its memory
  const long memory_before = resident();
  for (std::thread& thread : threads) thread.join();
  shared->workers[me].memory_grown = resident() - memory_before;
  shared->workers[me].descriptors_grown = descriptors() - descriptors_before;
  _exit(0);
}

/// Records each notification, then acknowledges it.
[[noreturn]] void serve() {
  void* const socket = zmq_socket(zmq_ctx_new(), ZMQ_REP);
  while (zmq_bind(socket, "tcp://127.0.0.1:5558") != 0) usleep(1000);
  for (;;) {
    char type[4], message[512];
    uint64_t id[2];  // the last two numbers of the first entry, an OID of eight
    zmq_recv(socket, type, sizeof(type), 0);
    zmq_recv(socket, message, sizeof(message), 0);
    std::memcpy(id, message + 8 + 6 * sizeof(uint64_t), sizeof(id));
    shared->workers[id[0]].recorded[id[1]] = true;
    const int32_t code = 0;
    zmq_send(socket, type, sizeof(type), ZMQ_SNDMORE);
    zmq_send(socket, &code, sizeof(code), 0);
  }
}

template <typename Action>
pid_t start(Action action) {
  const pid_t process = fork();
  if (process == 0) action();
  return process;
}

void kill_at_random(int seconds, pid_t service) {
  std::minstd_rand random(1);
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(200 + random() % 1500));
    kill(service, SIGKILL);
    waitpid(service, nullptr, 0);
    service = start(serve);
    ++shared->service_kills;
    if (random() % 3 == 0 && std::system("kill -KILL $(pgrep -P $(cat /run/skellan/snmp.pid)) 2>/dev/null") == 0) {
      ++shared->agent_kills;
    }
  }
  shared->stop = true;
}

/// Prints the figures. @return whether all is well
bool judge(int seconds) {
  long acknowledged = 0, lost = 0, kept = 0, wrong = 0, descriptors_grown = 0, memory_grown = 0;
  const std::string config = read_file("/etc/snmp/snmpd.conf");
  for (int me = 0; me < kWorkers; ++me) {
    const Worker& worker = shared->workers[me];
    for (int i = 0; i < kMost; ++i) {
      acknowledged += worker.acknowledged[i] ? 1 : 0;
      lost += worker.acknowledged[i] && !worker.recorded[i] ? 1 : 0;
    }
    for (long i = 0; i < worker.communities; ++i) {
      const bool is_kept = i % kForgotten == 0 || i + kForgotten >= worker.communities;
      kept += is_kept ? 1 : 0;
      wrong += (config.find("\nrocommunity6  " + community(me, i) + "\n") != config.npos) == is_kept ? 0 : 1;
    }
    descriptors_grown = std::max<long>(descriptors_grown, worker.descriptors_grown);
    memory_grown = std::max<long>(memory_grown, worker.memory_grown);
  }
  std::cerr << seconds << " s, " << kWorkers << " processes of " << std::size(kActions) << " threads, rounds: ";
  for (const Action& action : kActions) std::cerr << action.name << ' ' << shared->rounds[&action - kActions] << ", ";
  std::cerr << shared->failures << " unexpected results; agent killed " << shared->agent_kills << " times, service "
            << shared->service_kills << " times; descriptors +" << descriptors_grown << ", memory +" << memory_grown
            << " KiB; " << acknowledged << " notifications acknowledged, " << lost << " lost; " << kept
            << " lines kept, " << wrong << " lost or left\n";
  return shared->failures == 0 && descriptors_grown <= 0 && memory_grown < kMostGrowth && acknowledged > 0 &&
         lost == 0 && kept > 0 && wrong == 0;
}

}  // namespace

int main(int, char** argv) {
  using namespace coupler::pack;
  const int seconds = std::atoi(argv[1]);
  shared =
      static_cast<Shared*>(mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  coupler::test::write_file(kBundle, render(bundle({image_header({.version = "7.1", .filename = "fw.img"}),
                                                    rommon("1.0", std::string(300'000, 'r'))})));
  SCI_EnableSnmp();
  const pid_t service = start(serve);
  std::vector<pid_t> workers;
  for (int me = 0; me < kWorkers; ++me) workers.push_back(start([me] { work(me); }));
  kill_at_random(seconds, service);
  for (const pid_t worker : workers) {
    int status = 0;
    waitpid(worker, &status, 0);
    shared->failures += status == 0 ? 0 : 1;
  }
  SCI_DisableSnmp();
  return judge(seconds) ? 0 : 1;
}
