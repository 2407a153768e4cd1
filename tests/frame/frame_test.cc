// What a host finds before initialisation, and how initialisation, log gate, callbacks, trace and command table behave.
#include <gmock/gmock.h>

#include "brantix/commands.h"
#include "frame/log.h"
#include "platform/firmware/melskfw.h"
#include "tests/common/log_capture.h"

namespace {

using coupler::test::LogCapture;
using testing::ElementsAre;

const bool silent_at_load = gLogPelkFn == nullptr && gLogPelkModuleOffset == nullptr && debug == -1 && info == -1 &&
                            critical == -1 && cs_debug_verbose == 0 && cs_debug_errors == 0 &&
                            cs_debug_revocation == 0 && cs_debug_key == 0 && cs_debug_envelope == 0;
const bool empty_at_load = cmi_session_id == 0 && cmi_username == 0 && !SCI_krellLoginCb &&
                           !SCI_krellTftpCoreTransferStatusCb && !SCI_snmpGetRequestCb && !SCI_cliSessionAnnounceCb &&
                           CUR_VER == 0 && grand_daddy_of_all_commands[0] == nullptr;

std::vector<std::string> events;
int32_t threshold = 20;

void record(const char* operation, int32_t* limit, int32_t level, const char* format, ...) {
  events.push_back(std::to_string(level) + ' ' + operation + '|' + format + (limit == &threshold ? "" : " strayed"));
}

}  // namespace

// Instead of the platform's.
int melskfw_initBrantixDebug(int its_debug, int its_info, int its_critical, melskfw_log_fn* log, int* limit) {
  for (const int level : {its_debug, its_info, its_critical}) events.push_back(std::to_string(level));
  events.emplace_back(log == record && limit == &threshold ? "the host's" : "none");
  return -1;
}

namespace {

TEST(InitializeTest, StoresTheRecordThenTellsTheFirmwareLibraryThenLogs) {
  EXPECT_TRUE(silent_at_load && empty_at_load);
  SCI_lib_init_s init{record, 10, 20, 30, &threshold};
  EXPECT_EQ(SCI_Initialize_lib(nullptr, nullptr, nullptr, &init), 1000);
  EXPECT_THAT(events, ElementsAre("10", "20", "30", "the host's",
                                  "20 SCI_Initialize_lib|Successfully initialized pelk_coupler lib"));
  EXPECT_TRUE(debug == 10 && info == 20 && critical == 30);

  init = {nullptr, 1, 2, 3, nullptr};
  events.clear();
  EXPECT_EQ(SCI_Initialize_lib(nullptr, nullptr, nullptr, &init), 1000);
  EXPECT_EQ(SCI_Initialize_lib(nullptr, nullptr, nullptr, nullptr), 1000);
  EXPECT_THAT(events, ElementsAre("1", "2", "3", "none"));
  EXPECT_TRUE(critical == 3 && gLogPelkFn == nullptr && gLogPelkModuleOffset == nullptr);
  EXPECT_EQ(get_interface_version(), 0);
}

TEST(LogLineTest, ComputesItsArgumentsOnlyWhenItPasses) {
  LogCapture log;
  int computed = 0;
  const auto argument = [&] { return ++computed; };
  for (const auto& [limit, verbose] : {std::pair{2, 0}, {3, 0}, {2, -1}}) {
    *gLogPelkModuleOffset = limit;
    cs_debug_verbose = verbose;
    for (const int32_t level : {debug, info, critical}) LOG_LINE(level, "op", "%d", argument());
    VERBOSE_LINE("verbose", "%d", argument());
  }
  EXPECT_THAT(log.take_lines(), ElementsAre("info op|1", "critical op|2", "critical op|3", "info op|4", "critical op|5",
                                            "info verbose|6"));
  gLogPelkModuleOffset = nullptr;
  LOG_LINE(critical, "op", "%d", argument());
  gLogPelkFn = nullptr;
  LOG_LINE(critical, "op", "%d", argument());
  EXPECT_EQ(computed, 6);
}

TEST(CallbackTest, FillsAndClearsItsOwnSlot) {
  const auto fills = [](auto register_callback, const auto& slot) {
    register_callback([](auto...) {});
    const bool filled = slot != nullptr;
    register_callback(nullptr);
    return filled && slot == nullptr;
  };
  EXPECT_TRUE(fills(FCI_register_SCI_krellLoginCb, SCI_krellLoginCb));
  EXPECT_TRUE(fills(FCI_register_SCI_krellTftpCoreTransferStatusCb, SCI_krellTftpCoreTransferStatusCb));
  EXPECT_TRUE(fills(FCI_register_SCI_snmpGetRequestCb, SCI_snmpGetRequestCb));
  EXPECT_TRUE(fills(FCI_register_SCI_cliSessionAnnounceCb, SCI_cliSessionAnnounceCb));
}

TEST(TraceTest, FlagsOpenTheirLevels) {
  testing::internal::CaptureStdout();
  for (const auto& [verbose, errors] : {std::pair{0, 0}, {1, 0}, {0, -1}}) {
    cs_debug_verbose = verbose;
    cs_debug_errors = errors;
    for (int level = -5; level <= 4; ++level) T_log(level, (std::to_string(level) + " %d;").c_str());
    T_log(0, nullptr);
    std::printf("|");
  }
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "|-3 %d;-2 %d;-1 %d;0 %d;|1 %d;2 %d;|");
  cs_debug_verbose = cs_debug_errors = 0;
}

// 64-bit FNV-1a over the templates of the command language's reference, each with its NUL.
TEST(CommandsTest, HoldsEveryTemplateOfTheReference) {
  uint64_t digest = 0xcbf29ce484222325;
  for (const char* text : VER_0_CMDS) {
    do digest = (digest ^ static_cast<unsigned char>(*text)) * 0x100000001b3;
    while (*text++ != '\0');
  }
  EXPECT_EQ(digest, 0x7b9b877f3ed44321);
}

TEST(CommandsTest, SelectsItsTableUnlessItIsDamagedAndHandsOutTemplates) {
  LogCapture log;
  const char* const guard = VER_0_CMDS[BRANTIX_COMMAND_COUNT];
  for (const char* damaged : {"Array Guard ", "Array Guar", "", static_cast<const char*>(nullptr)}) {
    VER_0_CMDS[BRANTIX_COMMAND_COUNT] = damaged;
    EXPECT_EQ(SC_Initialize_commands(), -1);
    EXPECT_EQ(log.take_lines().back(),
              "info SC_Initialize_commands|Looks like command array for version 0 is corrupted!");
    EXPECT_EQ(SC_Get_command(0), nullptr);
  }
  VER_0_CMDS[BRANTIX_COMMAND_COUNT] = guard;
  CUR_VER = 7;
  EXPECT_TRUE(SC_Initialize_commands() == 0 && CUR_VER == 0);
  for (const unsigned index : {0U, 446U}) EXPECT_EQ(SC_Get_command(index), VER_0_CMDS[index]);
  for (const unsigned index : {447U, ~0U}) EXPECT_EQ(SC_Get_command(index), nullptr);
  for (const int version : {-1, 1, 1 << 28}) {
    CUR_VER = version;
    EXPECT_EQ(SC_Get_command(0), nullptr);
  }
  CUR_VER = 0;
  const std::string unselected = "info SC_Get_command|No command table is selected";
  EXPECT_THAT(
      log.take_lines(),
      ElementsAre(unselected, "info SC_Initialize_commands|Number of commands in array = 447 and in enums = 447",
                  "info SC_Initialize_commands|Command array and enum matches!",
                  "info SC_Get_command|Invalid cmd (447)", "info SC_Get_command|Invalid cmd (-1)", unselected,
                  unselected, unselected));
}

}  // namespace
