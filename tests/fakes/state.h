// Shared between the fakes' sources: one mutex guards every fake's state.
#ifndef TESTS_FAKES_STATE_H
#define TESTS_FAKES_STATE_H

#include <mutex>
#include <string>

namespace Fakes {
std::mutex& FakeMutex();
void RecordTimelineLocked(const std::string& line);
void ResetHalLocked();
void ResetLogLocked();
void ResetSyslogLocked();
void ResetEzcomLocked();
}  // namespace Fakes

#endif
