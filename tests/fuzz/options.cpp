// Whatever the arguments, parsing them opens nothing and ends in one of three ways: a UsageError
// that is one line of printable text, an answer, or options that can be carried out: destinations
// with rules for every tag, a level, a length that lines can have, and operands from the arguments.

#include "options.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "complaint.h"

#include "fuzz/property.h"
#include "support/interpose.h"

namespace tarqlog::tool {
namespace {

bool isParsing = false;

typedef std::vector<std::string> Arguments;

bool IsOneLevel(Severity level) {
    return level == kTrace || level == kDebug || level == kInfo || level == kWarning ||
           level == kError || level == kFatal;
}

void RequireRootRule(std::set<FilterRule> const& rules) {
    Require(!rules.empty() && rules.begin()->GetTag().empty(), "there is a rule for every tag");
    for (FilterRule const& rule : rules) {
        RequireEqual(rule.GetSeverity() & ~kAllSeverities, Severity(), "rules name the six levels");
    }
}

void RequireSound(Destination const& destination) {
    RequireRootRule(destination.rules);
    RequireEqual(destination.levels & ~kAllSeverities, Severity(), "levels are of the six");
    Require(destination.open != nullptr, "a destination can be opened");
    Require(!destination.text.empty(), "a destination has a name");
    Require(!destination.identity || destination.identity->size() <= 32, "identities are short");
}

/// Whether the operands stand among the arguments, in their order.
bool AreAmong(Arguments const& arguments, Arguments const& operands) {
    auto operand = operands.begin();
    for (std::string const& argument : arguments) {
        operand += operand != operands.end() && *operand == argument ? 1 : 0;
    }
    return operand == operands.end();
}

void RequireSound(Options const& options, Operands operands, Arguments const& arguments) {
    Require(AreAmong(arguments, options.operands), "operands are arguments");
    if (operands == Operands::kLogs) {
        RequireRootRule(options.selection.rules);
        Selection const& selection = options.selection;
        Require(selection.json + selection.raw + selection.escape <= 1, "there is one form");
        return;
    }
    Require(!options.destinations.empty() && options.destinations.size() <= 32,
            "there are 1 to 32 destinations");
    for (Destination const& destination : options.destinations) {
        RequireSound(destination);
        Require(!options.escape || destination.form != TextForm::kPlain, "--escape is for all");
    }
    Require(IsOneLevel(options.level), "lines have one level");
    Require(options.maxLine >= 1 && options.maxLine <= 1U << 30, "lines have 1 byte to 1 GiB");
    Require(operands == Operands::kCommand || options.tag.size() <= 4096, "tags are short");
}

/// The texts of the rules and destinations, and the operands: what two parsings have in common.
Arguments Summary(Options const& options) {
    Arguments summary = options.operands;
    for (Destination const& destination : options.destinations) {
        summary.push_back(destination.text + " " + std::to_string(destination.rules.size()));
    }
    return summary;
}

std::string CommandOf(Operands operands) {
    return operands == Operands::kTags      ? "explain"
           : operands == Operands::kCommand ? "run"
           : operands == Operands::kLogs    ? "cat"
                                            : "";
}

std::optional<Options> Parse(Arguments const& arguments, Operands operands) {
    std::vector<char const*> argv = {"tarqlog"};
    for (std::string const& argument : arguments) {
        argv.push_back(argument.c_str());
    }
    argv.push_back(nullptr);
    std::optional<Options> options;
    isParsing = true;
    try {
        options = ParseOptions(static_cast<int>(argv.size()) - 1, argv.data(), operands,
                               CommandOf(operands));
    } catch (UsageError const& error) {
        std::string const line = OneLine(error.what());
        Require(!line.empty(), "an error says what is wrong");
        for (char const c : line) {
            Require(static_cast<unsigned char>(c) >= ' ' && c != 0x7f, "an error is printable");
        }
    }
    isParsing = false;
    return options;
}

/// Arguments end at the NULs of `text`.
Arguments ToArguments(std::string const& text) {
    Arguments arguments;
    for (std::size_t begin = 0; begin < text.size();) {
        arguments.emplace_back(text.c_str() + begin);
        begin += arguments.back().size() + 1;
    }
    return arguments;
}

void CheckArguments(FuzzedDataProvider& provider) {
    auto const operands = provider.PickValueInArray(
        {Operands::kFiles, Operands::kTags, Operands::kCommand, Operands::kLogs});
    Arguments const arguments = ToArguments(provider.ConsumeRemainingBytesAsString());
    std::optional<Options> const options = Parse(arguments, operands);
    std::optional<Options> const again = Parse(arguments, operands);
    RequireEqual(options.has_value(), again.has_value(), "parsed again, they are as good");
    if (options && options->answer.empty()) {
        RequireSound(*options, operands, arguments);
        RequireEqual(Summary(*options), Summary(*again), "parsed again, they say the same");
    } else if (options) {
        Require(options->answer.back() == '\n', "an answer is whole lines");
    }
}

}  // namespace
}  // namespace tarqlog::tool

extern "C" int open(char const* path, int flags, ...) {
    static auto* const next = TARQLOG_NEXT(open);
    std::va_list arguments;
    va_start(arguments, flags);
    auto const mode = static_cast<mode_t>(va_arg(arguments, int));
    va_end(arguments);
    tarqlog::Require(!tarqlog::tool::isParsing, "no file is opened");
    return next(path, flags, mode);
}

extern "C" int socket(int domain, int type, int protocol) noexcept {
    static auto* const next = TARQLOG_NEXT(socket);
    tarqlog::Require(!tarqlog::tool::isParsing, "no socket is opened");
    return next(domain, type, protocol);
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    FuzzedDataProvider provider(data, size);
    tarqlog::tool::CheckArguments(provider);
    return 0;
}
