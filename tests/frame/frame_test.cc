#include <gmock/gmock.h>

#include "frame/log.h"
#include "tests/common/log_capture.h"

namespace {

using coupler::test::LogCapture;
using testing::ElementsAre;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

struct Call {
  std::string operation;
  int32_t* threshold;
  int32_t level;
};
Call last_call;
void record(const char* operation, int32_t* threshold, int32_t level, const char*, ...) {
  last_call = {operation, threshold, level};
}

TEST(InitializeTest, StoresTheRecordAndLogsThroughIt) {
  int32_t threshold = 20;
  SCI_lib_init_s init{record, 10, 20, 30, &threshold};
  EXPECT_EQ(SCI_Initialize_lib(nullptr, nullptr, nullptr, &init), 1000);
  EXPECT_EQ(debug, 10);
  EXPECT_EQ(info, 20);
  EXPECT_EQ(critical, 30);
  EXPECT_EQ(last_call.operation, "SCI_Initialize_lib");
  EXPECT_EQ(last_call.threshold, &threshold);
  EXPECT_EQ(last_call.level, 20);

  init = {nullptr, 1, 2, 3, nullptr};
  EXPECT_EQ(SCI_Initialize_lib(nullptr, nullptr, nullptr, &init), 1000);
  EXPECT_EQ(SCI_Initialize_lib(nullptr, nullptr, nullptr, nullptr), 1000);
  EXPECT_EQ(critical, 3);
  EXPECT_EQ(gLogPelkFn, nullptr);
  EXPECT_EQ(gLogPelkModuleOffset, nullptr);
  EXPECT_EQ(get_interface_version(), 0);
}

// The platform's own firmware library logs through the host as well, hence the line comes last.
TEST(InitializeTest, SuccessLine) {
  LogCapture log;
  const SCI_lib_init_s init{gLogPelkFn, debug, info, critical, gLogPelkModuleOffset};
  SCI_Initialize_lib(nullptr, nullptr, nullptr, &init);
  EXPECT_EQ(log.take_lines().back(), "info SCI_Initialize_lib|Successfully initialized pelk_coupler lib");
}

TEST(LogLineTest, ComputesItsArgumentsOnlyWhenItPasses) {
  LogCapture log;
  int computed = 0;
  const auto argument = [&] { return ++computed; };
  log.set_threshold(2);
  LOG_LINE(debug, "op", "%d", argument());
  LOG_LINE(info, "op", "%d", argument());
  log.set_threshold(3);
  LOG_LINE(info, "op", "%d", argument());
  LOG_LINE(critical, "op", "%d", argument());
  EXPECT_THAT(log.take_lines(), ElementsAre("info op|1", "critical op|2"));
  gLogPelkModuleOffset = nullptr;
  LOG_LINE(critical, "op", "%d", argument());
  gLogPelkFn = nullptr;
  LOG_LINE(critical, "op", "%d", argument());
  EXPECT_EQ(computed, 2);
}

TEST(CallbackTest, FillsAndClearsItsOwnSlot) {
  FCI_register_SCI_krellLoginCb([](const char*, const char*) {});
  FCI_register_SCI_krellTftpCoreTransferStatusCb([](int, const char*, const char*, const char*) {});
  FCI_register_SCI_snmpGetRequestCb([](const SCI_snmp_get_req_s*, SCI_snmp_get_resp_s**) {});
  FCI_register_SCI_cliSessionAnnounceCb([](const _SCI_cli_session_s*) {});
  EXPECT_TRUE(SCI_krellLoginCb && SCI_krellTftpCoreTransferStatusCb && SCI_snmpGetRequestCb &&
              SCI_cliSessionAnnounceCb);
  FCI_register_SCI_snmpGetRequestCb(nullptr);
  EXPECT_TRUE(SCI_krellLoginCb && SCI_krellTftpCoreTransferStatusCb && !SCI_snmpGetRequestCb &&
              SCI_cliSessionAnnounceCb);
}

TEST(TraceTest, FlagsOpenTheirLevels) {
  struct Row {
    int verbose, errors;
    const char* printed;
  };
  for (const auto& [verbose, errors, printed] :
       {Row{0, 0, ""}, Row{1, 0, "-3 %d;-2 %d;-1 %d;0 %d;"}, Row{0, -1, "1 %d;2 %d;"}}) {
    cs_debug_verbose = verbose;
    cs_debug_errors = errors;
    CaptureStdout();
    for (int level = -5; level <= 4; ++level) T_log(level, (std::to_string(level) + " %d;").c_str());
    T_log(0, nullptr);
    EXPECT_EQ(GetCapturedStdout(), printed);
  }
  cs_debug_verbose = cs_debug_errors = 0;
}

}  // namespace
