// The state that every stand-in shares, read from the PLATFORM_SIM_* variables once or set through
// control.h, and the journal.
#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <sstream>
#include <system_error>
#include <unistd.h>

#include "platform/sim/sim.h"

namespace ProcMgr::Sim {
namespace {

// Cuts one runaway record, so that it cannot exhaust memory.
constexpr size_t MAX_FORMATTED_BYTES = 65536;
// A HAL call that takes longer than a second is a hung device, not a slow one.
constexpr int64_t MAX_HAL_LATENCY_MICROSECONDS = 1000000;

int64_t EnvInteger(const char* name, int64_t fallback, int64_t min, int64_t max)
{
    const char* raw = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nothing here sets variables
    if (raw == nullptr || *raw == '\0') {
        return fallback;
    }
    if (const std::optional<int64_t> value = ParseInteger(raw, min, max)) {
        return *value;
    }
    Note("%s='%s' is not an integer in %" PRId64 "..%" PRId64 "; using %" PRId64, name, Escaped(raw).c_str(), min, max,
         fallback);
    return fallback;
}

std::string Trimmed(const std::string& text)
{
    const size_t first = text.find_first_not_of(" \t");
    return first == std::string::npos ? std::string() : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// A comma list of register@D, update@D and unregister@D.
std::optional<std::set<std::pair<HalCall, uint32_t>>> ParseHalFailures(const std::string& text)
{
    static const std::map<std::string, HalCall> calls{
        {"register", HalCall::REGISTER}, {"update", HalCall::UPDATE}, {"unregister", HalCall::UNREGISTER}};
    std::set<std::pair<HalCall, uint32_t>> failures;
    std::istringstream items(text);
    for (std::string item; std::getline(items, item, ',');) {
        item = Trimmed(item);
        const size_t at = item.find('@');
        const auto call = calls.find(item.substr(0, at));
        const std::optional<int64_t> device =
            at == std::string::npos ? std::nullopt : ParseInteger(item.substr(at + 1), 0, UINT32_MAX);
        if (call == calls.end() || !device) {
            return std::nullopt;
        }
        failures.emplace(call->second, static_cast<uint32_t>(*device));
    }
    return failures;
}

std::string EnvText(const char* name)
{
    const char* raw = std::getenv(name);  // NOLINT(concurrency-mt-unsafe)
    return raw != nullptr ? raw : "";
}

Settings FromEnvironment()
{
    Settings settings;
    settings.journalPath = EnvText("PLATFORM_SIM_JOURNAL");
    settings.journal = settings.journalPath.empty() ? JournalTo::STDERR : JournalTo::FILE;
    settings.logLevel = static_cast<int>(EnvInteger("PLATFORM_SIM_LOG_LEVEL", 1, 0, 4));
    settings.runLog = EnvInteger("PLATFORM_SIM_RUNLOG", 1, 0, 1) == 1;
    settings.halDevices = static_cast<uint32_t>(EnvInteger("PLATFORM_SIM_HAL_DEVICES", 1, 0, UINT32_MAX));
    settings.halDevNumResult = static_cast<int>(EnvInteger("PLATFORM_SIM_HAL_DEVNUM_RET", 0, INT32_MIN, INT32_MAX));
    settings.halLatencyMicroseconds =
        static_cast<uint32_t>(EnvInteger("PLATFORM_SIM_HAL_LATENCY_US", 0, 0, MAX_HAL_LATENCY_MICROSECONDS));
    const std::string failures = EnvText("PLATFORM_SIM_HAL_FAIL");
    if (const auto parsed = ParseHalFailures(failures)) {
        settings.halFailures = *parsed;
    } else {
        Note("PLATFORM_SIM_HAL_FAIL='%s' is not a comma list of register@D, update@D, unregister@D; using none",
             Escaped(failures).c_str());
    }
    settings.configureResult = static_cast<int>(EnvInteger("PLATFORM_SIM_GRP_CONFIGURE_RET", 0, INT32_MIN, INT32_MAX));
    settings.startResult = static_cast<int>(EnvInteger("PLATFORM_SIM_GRP_START_RET", 0, INT32_MIN, INT32_MAX));
    settings.scriptPath = EnvText("PLATFORM_SIM_GRP_SCRIPT");
    settings.ezcomBusyCalls = EnvInteger("PLATFORM_SIM_EZCOM_BUSY", 0, INT32_MIN, INT32_MAX);
    return settings;
}

void Install(Platform& platform, const Settings& settings)
{
    if (platform.journalFd >= 0) {
        close(platform.journalFd);
    }
    platform = Platform{};
    platform.settings = settings;
    if (settings.journal != JournalTo::FILE) {
        return;
    }
    platform.journalFd = open(settings.journalPath.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (platform.journalFd < 0) {
        Note("cannot open PLATFORM_SIM_JOURNAL='%s' (%s); journal lines go to stderr",
             Escaped(settings.journalPath).c_str(), std::generic_category().message(errno).c_str());
        platform.settings.journal = JournalTo::STDERR;
    }
}

void AppendEscaped(std::string& out, unsigned char byte)
{
    static constexpr char HEX_DIGITS[] = "0123456789abcdef";
    static constexpr std::pair<char, const char*> NAMED[] = {
        {'\\', "\\\\"}, {'\n', "\\n"}, {'\t', "\\t"}, {'\r', "\\r"}};
    for (const auto& [plain, escape] : NAMED) {
        if (byte == static_cast<unsigned char>(plain)) {
            out += escape;
            return;
        }
    }
    if (byte < 0x20 || byte == 0x7f) {
        out += {'\\', 'x', HEX_DIGITS[byte >> 4], HEX_DIGITS[byte & 0xf]};
    } else {
        out += static_cast<char>(byte);
    }
}

}  // namespace

std::mutex& PlatformMutex()
{
    static auto* const mutex = new std::mutex;
    return *mutex;
}

Platform& PlatformState()
{
    // Never destroyed: the daemon's threads may still journal while the process exits.
    static Platform* const platform = [] {
        auto* state = new Platform;
        Install(*state, FromEnvironment());
        return state;
    }();
    return *platform;
}

void WriteLine(int fd, std::string line)
{
    const int savedErrno = errno;
    line.push_back('\n');
    for (size_t written = 0; written < line.size();) {
        const ssize_t count = write(fd, line.data() + written, line.size() - written);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            break;  // nowhere left to report a failing stderr or journal
        }
        written += static_cast<size_t>(count);
    }
    errno = savedErrno;
}

std::string FormatV(const char* format, va_list args)
{
    va_list measuring;
    va_copy(measuring, args);
    const int needed = std::vsnprintf(nullptr, 0, format, measuring);
    va_end(measuring);
    if (needed <= 0) {
        return {};
    }
    std::string text(std::min(static_cast<size_t>(needed), MAX_FORMATTED_BYTES), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, args);
    return text;
}

void Journal(const char* format, ...)
{
    if (Locked([](const Platform& platform) { return platform.settings.journal; }) == JournalTo::NOWHERE) {
        return;
    }
    va_list args;
    va_start(args, format);
    std::string line = FormatV(format, args);
    va_end(args);
    Locked([&](Platform& platform) {
        if (platform.settings.journal == JournalTo::MEMORY) {
            platform.journal.push_back(std::move(line));
        } else if (platform.settings.journal == JournalTo::FILE) {
            WriteLine(platform.journalFd, std::move(line));
        } else if (platform.settings.journal == JournalTo::STDERR) {
            WriteLine(STDERR_FILENO, "sim: " + line);
        }
    });
}

void Note(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    WriteLine(STDERR_FILENO, "sim: " + FormatV(format, args));
    va_end(args);
}

std::string Escaped(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        AppendEscaped(out, static_cast<unsigned char>(c));
    }
    return out;
}

std::optional<int64_t> ParseInteger(const std::string& text, int64_t min, int64_t max)
{
    if (text.empty() || std::isspace(static_cast<unsigned char>(text.front())) != 0) {
        return std::nullopt;
    }
    try {
        size_t end = 0;
        const long long value = std::stoll(text, &end, 0);
        if (end == text.size() && value >= min && value <= max) {
            return value;
        }
    } catch (const std::exception&) {
        // not a number, or beyond 64 bits: malformed like any other
    }
    return std::nullopt;
}

void Apply(const Settings& settings)
{
    StopScript();
    Locked([&](Platform& platform) { Install(platform, settings); });
}

void Reset()
{
    Apply(Settings{});
}

std::vector<std::string> JournalLines()
{
    return Locked([](const Platform& platform) { return platform.journal; });
}

uint64_t OverlappingHalCalls()
{
    return Locked([](const Platform& platform) { return platform.overlappingHalCalls; });
}

bool DeliverStateChange(const std::string& appName, int pid, int32_t state)
{
    const AppStateCallback callback = Locked([](const Platform& platform) { return platform.callback; });
    bool result = false;
    try {
        result = callback && callback(appName, pid, static_cast<AppReportState>(state));
    } catch (const std::exception& error) {
        // The service's thread survives a throwing callback; the change counts as refused.
        Note("state callback for '%s' threw: %s", Escaped(appName).c_str(), error.what());
    }
    Journal("grp callback app=%s pid=%d state=%" PRId32 " result=%d", Escaped(appName).c_str(), pid, state,
            result ? 1 : 0);
    return result;
}

}  // namespace ProcMgr::Sim
