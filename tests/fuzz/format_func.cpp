// Whatever the records of a thread, and in whatever order, each header is the plain reading of its
// record and stands behind what was there; and a pattern header is its pattern with each flag
// replaced, or its constructor names the first flag that there is not.

#include "tarqlog/format_func.h"

#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "tarqlog/error.h"
#include "tarqlog/header_formats.h"

#include "fuzz/property.h"
#include "support/header_oracle.h"
#include "support/installed_hooks.h"
#include "support/records.h"
#include "support/tag_oracle.h"

namespace tarqlog {
namespace {

constexpr std::size_t kLongestTag = 300;
constexpr std::size_t kLongestPattern = 40;
constexpr std::time_t kZoneSeconds = 20700;  // to the east: 5 hours and 45 minutes

long long timeMs = 1700000000123;
unsigned int threadId = 4242;

/// What a header shows.
struct Shown {
    std::uint32_t severity;
    std::vector<std::string> parts;
};

std::string Field(char const* format, long long number) {
    char text[40];
    std::snprintf(text, sizeof text, format, number);
    return text;
}

/// The text of a time field; the time counts forward, also before 1970.
std::string ExpectedTimeField(char flag, PatternHeader::Zone zone) {
    std::time_t const seconds = timeMs / 1000 - (timeMs % 1000 < 0 ? 1 : 0);
    std::time_t const shown = seconds + (zone == PatternHeader::kLocalTime ? kZoneSeconds : 0);
    std::tm fields = {};
    ::gmtime_r(&shown, &fields);
    switch (flag) {
        case 'Y':
            return Field("%04lld", fields.tm_year + 1900LL);
        case 'm':
            return Field("%02lld", fields.tm_mon + 1);
        case 'd':
            return Field("%02lld", fields.tm_mday);
        case 'H':
            return Field("%02lld", fields.tm_hour);
        case 'M':
            return Field("%02lld", fields.tm_min);
        case 'S':
            return Field("%02lld", fields.tm_sec);
        case 'e':
            return Field("%03lld", (timeMs % 1000 + 1000) % 1000);
        default:
            return zone == PatternHeader::kLocalTime ? "+05:45" : "+00:00";
    }
}

/// What `flag` stands for, or nothing for one that there is not.
std::string ExpectedField(char flag, PatternHeader::Zone zone, Shown const& shown) {
    char const letter = ExpectedLetter(shown.severity);
    switch (flag) {
        case 'L':
            return std::string(1, letter);
        case 'l':
            return letter == 'T'   ? "trace"
                   : letter == 'D' ? "debug"
                   : letter == 'I' ? "info"
                   : letter == 'W' ? "warning"
                   : letter == 'E' ? "error"
                   : letter == 'F' ? "fatal"
                                   : "unknown";
        case 'p':
            return letter == 'T' || letter == 'D' ? "<7>"
                   : letter == 'I'                ? "<6>"
                   : letter == 'W'                ? "<4>"
                   : letter == 'E'                ? "<3>"
                                                  : "<0>";
        case 't':
            return std::to_string(threadId);
        case 'n':
            return Join(shown.parts, ".");
        case 'P':
            return std::to_string(::getpid());
        case 'N':
            return program_invocation_short_name;
        case 'h': {
            char name[256] = {};
            ::gethostname(name, sizeof name - 1);
            return name;
        }
        case '+':
            return ExpectedHeader(true, shown.severity, timeMs, threadId, shown.parts);
        case '%':
            return "%";
        default:
            return std::string("YmdHMSez").find(flag) == std::string::npos
                       ? ""
                       : ExpectedTimeField(flag, zone);
    }
}

/// The position, from 1, of the first percent sign that begins no flag; 0 when there is none.
std::size_t FaultIn(std::string const& pattern) {
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == '%') {
            bool const isLone = i + 1 == pattern.size();
            if (isLone ||
                std::string("YmdHMSezLlptnPNh+%").find(pattern[i + 1]) == std::string::npos) {
                return i + 1;
            }
            ++i;
        }
    }
    return 0;
}

std::string ExpectedPattern(std::string const& pattern, PatternHeader::Zone zone,
                            Shown const& shown) {
    std::string header;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        header += pattern[i] == '%' ? ExpectedField(pattern[++i], zone, shown)
                                    : std::string(1, pattern[i]);
    }
    return header;
}

void CheckPattern(std::string const& pattern, PatternHeader::Zone zone, LogRecord const& record,
                  Shown const& shown) {
    std::size_t const fault = FaultIn(pattern);
    try {
        PatternHeader const format(pattern, zone);
        RequireEqual<std::size_t>(fault, 0, "a pattern with a fault throws");
        std::string header = "before";
        format(header, record);
        RequireEqual(header, "before" + ExpectedPattern(pattern, zone, shown),
                     "each flag of a pattern is replaced");
    } catch (log_utils::Error const& error) {
        Require(fault > 0, "a sound pattern does not throw");
        std::string const place = " at position " + std::to_string(fault) + ",";
        Require(std::string(error.what()).find(place) != std::string::npos,
                "the message names the place of the fault: " + std::string(error.what()));
    }
}

void CheckColour(LogRecord const& record, bool on, Shown const& shown) {
    std::string header = "before";
    ColourHeader(DefaultFormatHeaderFunc(false), on)(header, record);
    std::string const plain = ExpectedHeader(false, shown.severity, timeMs, threadId, shown.parts);
    Require(header.size() >= plain.size() && header.find(plain) != std::string::npos,
            "a coloured header has the plain one in it");
    RequireEqual(header == "before" + plain, !on, "it is coloured when that is on");
    std::string empty = "before";
    ColourHeader([](std::string&, LogRecord const&) {}, on)(empty, record);
    RequireEqual<std::string>(empty, "before", "a header of no characters has no colour");
}

/// The next record's time and thread: often those of the last one, or a little later.
void MoveOn(FuzzedDataProvider& provider) {
    timeMs = provider.ConsumeBool()
                 ? provider.ConsumeIntegral<long long>()
                 : static_cast<long long>(
                       static_cast<unsigned long long>(timeMs) +
                       provider.ConsumeIntegralInRange<unsigned long long>(0, 2000) - 1000);
    if (provider.ConsumeBool()) {
        threadId = provider.ConsumeIntegral<unsigned int>();
    }
}

void CheckRecord(FuzzedDataProvider& provider) {
    MoveOn(provider);
    Shown const shown = {provider.ConsumeIntegral<std::uint32_t>(),
                         SplitByCharacter(provider.ConsumeRandomLengthString(kLongestTag))};
    TaggedRecord const record(static_cast<Severity>(shown.severity), "text", shown.parts);
    for (bool const full : {true, false}) {
        std::string header = "before";
        DefaultFormatHeaderFunc(full)(header, record);
        RequireEqual(header,
                     "before" + ExpectedHeader(full, shown.severity, timeMs, threadId, shown.parts),
                     "the header is the plain reading of the record");
    }
    if (provider.ConsumeBool()) {
        auto const zone = provider.ConsumeBool() ? PatternHeader::kLocalTime : PatternHeader::kUtc;
        CheckPattern(provider.ConsumeRandomLengthString(kLongestPattern), zone, record, shown);
        CheckColour(record, zone == PatternHeader::kLocalTime, shown);
    }
}

}  // namespace
}  // namespace tarqlog

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    ::setenv("TZ", "TST-5:45", 1);  // NOLINT(concurrency-mt-unsafe): there is one thread
    ::tzset();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static tarqlog::InstalledHooks const hooks([] { return tarqlog::timeMs; },
                                               [] { return tarqlog::threadId; });
    FuzzedDataProvider provider(data, size);
    while (provider.remaining_bytes() > 0) {
        tarqlog::CheckRecord(provider);
    }
    return 0;
}
