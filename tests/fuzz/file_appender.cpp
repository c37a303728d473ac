// Whatever is done to a file appender, or by others to its files, and whichever of its system calls
// fail or fall short: it answers, calls the system and leaves its files as the simulated one does.

#include "tarqlog/file_appender.h"

#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/property.h"
#include "support/file_appender_history.h"
#include "support/installed_hooks.h"
#include "support/temporary_directory.h"

namespace tarqlog {
namespace {

constexpr int kMostSteps = 200;

/// Permissions then hold for root, too, who stays the owner of what the fuzzer writes.
void ForgoCapabilities() {
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct const none[_LINUX_CAPABILITY_U32S_3] = {};
    Require(::syscall(SYS_capset, &header, none) == 0, "capabilities can be given up");
}

/// The working directory of all histories.
class Home {
public:
    Home() {
        ForgoCapabilities();
        ::umask(022);
        std::filesystem::current_path(directory_.Path());
    }

private:
    TemporaryDirectory const directory_;
    InstalledHooks const hooks_{HistoryTime, HistoryThreadId};
};

void LiveThrough(FuzzedDataProvider& provider) {
    bool const rolling = provider.ConsumeBool();
    Author author([&](int bound) { return provider.ConsumeIntegralInRange(0, bound - 1); },
                  rolling);
    Events events;
    Comparison comparison(events);
    Operation step = author.First();
    for (int i = 0; i < kMostSteps && provider.remaining_bytes() > 0; ++i) {
        std::string const difference = comparison.Perform(step);
        Require(difference.empty(), step.words + ": " + difference);
        step = author.Next(comparison.Simulated());
    }
    step = Destruction();
    std::string const difference = comparison.Perform(step) + comparison.CompareFiles();
    Require(difference.empty(), step.words + ": " + difference);
}

}  // namespace
}  // namespace tarqlog

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static tarqlog::Home const home;
    FuzzedDataProvider provider(data, size);
    tarqlog::LiveThrough(provider);
    return 0;
}
