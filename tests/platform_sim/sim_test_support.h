// Scratch files for the stand-in tests.
#ifndef TESTS_PLATFORM_SIM_SIM_TEST_SUPPORT_H
#define TESTS_PLATFORM_SIM_SIM_TEST_SUPPORT_H

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "platform/sim/sim_output.h"
#include "tests/probes/temp_dir.h"

namespace SimTest {

// A fresh directory, removed with everything in it at the end; sinks append to its files.
class Scratch {
public:
    std::string File(const std::string& name) const { return root.Path() + "/" + name; }
    std::string Write(const std::string& name, const std::string& text) const
    {
        std::ofstream(File(name), std::ios::binary) << text;
        return File(name);
    }
    ProcMgr::Sim::LineSink Sink(const std::string& name)
    {
        fds.emplace_back(open(File(name).c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644));
        return {fds.back().Get(), ""};
    }
    std::vector<std::string> Lines(const std::string& name) const
    {
        std::ifstream in(File(name));
        std::vector<std::string> lines;
        for (std::string line; std::getline(in, line);) {
            lines.push_back(line);
        }
        return lines;
    }

private:
    ProcMgr::Probes::TempDir root{"platform_sim."};
    std::vector<ProcMgr::Sim::UniqueFd> fds;
};

}  // namespace SimTest

#endif
