// Shared set-up of the launcher tests: fresh fakes, a HAL of DEVICES devices, and a gmock
// group-owner service whose operations succeed and record themselves on the fakes' timeline.
// The launcher asks the HAL for the device count once per process, so every test uses one count.
#ifndef TESTS_PROC_LAUNCHER_LAUNCHER_TEST_SUPPORT_H
#define TESTS_PROC_LAUNCHER_LAUNCHER_TEST_SUPPORT_H

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "proc_launcher/proc_launcher.h"
#include "tests/fakes/fakes.h"

namespace ProcMgr {

struct ProcLauncherTestAccess {
    static SensorNodeEventReporter& Reporter(ProcLauncher& launcher) { return launcher.reporter; }
};

constexpr uint32_t DEVICES = 2;

// An action that records line on the timeline and answers result, whatever the arguments.
inline auto Records(const std::string& line, int result = 0)
{
    return [line, result](const auto&...) {
        Fakes::RecordTimeline(line);
        return result;
    };
}

class LauncherTest : public ::testing::Test {
protected:
    LauncherTest()
    {
        using ::testing::_;
        ResetFakes();
        ON_CALL(grp, Configure(_)).WillByDefault([](const GrpOwnerStartupConfig& c) {
            return Records("grp Configure " + c.startupConfigPath + " [" + c.extraPath + "] " + c.resourcePath + " " +
                           (c.firstFlag ? "1" : "0") + (c.secondFlag ? "1" : "0") + std::to_string(c.extraValue))();
        });
        ON_CALL(grp, Start()).WillByDefault(Records("grp Start"));
        ON_CALL(grp, Run()).WillByDefault([] {
            raise(SIGTERM);  // stops the loop before its first tick, as a signal during Run would
            return Records("grp Run")();
        });
        ON_CALL(grp, Stop()).WillByDefault(Records("grp Stop"));
        ON_CALL(grp, SetRunning(_)).WillByDefault([](int on) {
            return Records("grp SetRunning " + std::to_string(on))();
        });
        ON_CALL(grp, RegisterAppStateCallback(_)).WillByDefault([this](AppStateCallback callback) {
            installedCallback = std::move(callback);
            return Records("grp RegisterAppStateCallback")();
        });
        ON_CALL(grp, GetAppSensorConfig(_, _)).WillByDefault(::testing::Return(1));
        ON_CALL(grp, RestartApp(_)).WillByDefault([](const std::string& app) {
            return Records("grp Restart " + app)();
        });
    }

    static void ResetFakes()
    {
        Fakes::ResetAll();
        Fakes::SetHal({DEVICES, 0, {}});
    }

    // Declares an application's sensor entry at the service; a nonzero result means it has none.
    void DeclareApp(const std::string& name, uint32_t nodeType, int32_t reportScope, int result = 0)
    {
        ON_CALL(grp, GetAppSensorConfig(name, ::testing::_))
            .WillByDefault([=](const std::string&, AppSensorConfig& config) {
                config = AppSensorConfig{nodeType, reportScope};
                return result;
            });
    }

    ::testing::NiceMock<Fakes::MockGrpOwner> grp;
    AppStateCallback installedCallback;
};

}  // namespace ProcMgr

#endif
