#include "tests/proc_launcher/launcher_test_support.h"

namespace ProcMgr {

using ::testing::_;
using ::testing::DoAll;
using ::testing::Invoke;
using ::testing::Return;

namespace {
auto Records(const std::string& line, int result)
{
    return Invoke([line, result]() {
        Fakes::RecordTimeline(line);
        return result;
    });
}
}  // namespace

LauncherTest::LauncherTest()
{
    Fakes::ResetAll();
    Fakes::HalSetup hal;
    hal.devices = DEVICES;
    Fakes::SetHal(hal);
    ON_CALL(grp, Configure(_)).WillByDefault(Invoke([](const GrpOwnerStartupConfig&) {
        Fakes::RecordTimeline("grp Configure");
        return 0;
    }));
    ON_CALL(grp, Start()).WillByDefault(Records("grp Start", 0));
    ON_CALL(grp, Run()).WillByDefault(Records("grp Run", 0));
    ON_CALL(grp, Stop()).WillByDefault(Records("grp Stop", 0));
    ON_CALL(grp, SetRunning(_)).WillByDefault(Invoke([](int running) {
        Fakes::RecordTimeline("grp SetRunning " + std::to_string(running));
        return 0;
    }));
    ON_CALL(grp, RegisterAppStateCallback(_)).WillByDefault(Invoke([this](AppStateCallback callback) {
        Fakes::RecordTimeline("grp RegisterAppStateCallback");
        installedCallback = std::move(callback);
        return 0;
    }));
    ON_CALL(grp, GetAppSensorConfig(_, _)).WillByDefault(Return(1));
    ON_CALL(grp, RestartApp(_)).WillByDefault(Invoke([](const std::string& app) {
        Fakes::RecordTimeline("grp RestartApp app=" + app);
        return 0;
    }));
}

void LauncherTest::DeclareApp(const std::string& name, uint32_t nodeType, int32_t reportScope)
{
    ON_CALL(grp, GetAppSensorConfig(name, _)).WillByDefault(Invoke([nodeType, reportScope](const std::string&, AppSensorConfig& config) {
        config.nodeType = nodeType;
        config.reportScope = reportScope;
        return 0;
    }));
}


}  // namespace ProcMgr
