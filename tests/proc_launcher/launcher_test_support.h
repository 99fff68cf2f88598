// Shared set-up of the launcher tests: fresh fakes, a HAL of DEVICES devices, and a gmock
// group-owner service whose operations succeed and record themselves on the fakes' timeline.
// The launcher asks the HAL for the device count once per process, so every launcher test
// uses the same count.
#ifndef TESTS_PROC_LAUNCHER_LAUNCHER_TEST_SUPPORT_H
#define TESTS_PROC_LAUNCHER_LAUNCHER_TEST_SUPPORT_H

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

class LauncherTest : public ::testing::Test {
protected:
    LauncherTest();

    // Declares an application's sensor entry at the service.
    void DeclareApp(const std::string& name, uint32_t nodeType, int32_t reportScope);

    ::testing::NiceMock<Fakes::MockGrpOwner> grp;
    AppStateCallback installedCallback;
};

}  // namespace ProcMgr

#endif
