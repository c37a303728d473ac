#include "options.h"

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include <CLI/CLI.hpp>

#include <tarqlog/logfilter.h>
#include <tarqlog/logsysinfo.h>
#include <tarqlog/version.h>

#include "calendar.h"
#include "complaint.h"
#include "input_name.h"
#include "levels.h"
#include "number.h"

namespace tarqlog::tool {

namespace {

constexpr std::size_t kMaxDestinations = 32;  // as many sinks as the core takes
constexpr std::size_t kMaxTag = 4096;  // bytes, so that each header leaves room in a datagram
constexpr unsigned long long kMaxLineLimit = 1 << 30;
constexpr std::size_t kHelpColumn = 24;
constexpr std::string_view kEndOfOptions = "--";

class HelpFormatter : public CLI::Formatter {
public:
    explicit HelpFormatter(char const* usage) : usage_(usage) { column_width(kHelpColumn); }

    std::string make_usage(CLI::App const*, std::string) const override { return usage_; }

    /// Without the heading, for which there is no line to spare, and without options that another
    /// one's text names.
    std::string make_group(std::string, bool isPositional,
                           std::vector<CLI::Option const*> options) const override {
        std::string text = "\n";
        for (CLI::Option const* const option : options) {
            text += option->get_description().empty() ? "" : make_option(option, isPositional);
        }
        return text;
    }

private:
    char const* const usage_;
};

constexpr char const* kUsage =
    R"(Usage: tarqlog [OPTIONS] [FILE...]        logs lines of FILEs or standard input
       tarqlog run [OPTIONS] -- COMMAND   logs what it writes; see run --help
       tarqlog explain TAG... [OPTIONS]   where TAGs go, why; see explain --help
       tarqlog cat [OPTIONS] FILE...      prints logs by time; see cat --help)";

constexpr char const* kExplainUsage =
    R"(Usage: tarqlog explain TAG... [OPTIONS]
Says which DESTs a logger of each TAG would reach, and through which rule. Logs
nothing and opens nothing.
)";

constexpr char const* kExplainFooter = "DEST and LEVELS are those of tarqlog --help.";

constexpr char const* kRunUsage =
    R"(Usage: tarqlog run [OPTIONS] -- COMMAND [ARG...]
Runs COMMAND and logs the lines that it writes to standard output, and those
that it writes to standard error as warnings.
)";

constexpr char const* kRunFooter =
    R"(DEST and LEVEL are those of tarqlog --help.
The status is COMMAND's: 128+N when signal N ended it, 127 when it is not found,
126 when it cannot be run; before it runs, 1 or 2 for what tarqlog cannot do.
Signals sent to tarqlog go on to COMMAND, and tarqlog ends after it; SIGHUP also
reopens files. Once COMMAND is over, nothing that it has started is waited for:
what is written by then is logged.)";

constexpr char const* kCatUsage =
    R"(Usage: tarqlog cat [OPTIONS] FILE...
Prints the records of logs that have the default header, in the order of time.
)";

constexpr char const* kCatFooter =
    R"(Each FILE stands for FILE.9 to FILE.1, into which it has rolled, and itself; it
is - for standard input. Records of one FILE stay in their order. On a terminal
they are coloured and escaped, each on one line; elsewhere they are as in FILE.
LEVELS is that of tarqlog --help; the rule for the longest tag decides.
TIME is UTC, as in 2026-11-21, 2026-11-21T16:49 or "2026-11-21 16:49:11.406",
or so long ago: 90s, 10m, 2h, 3d.
A record ends before the next header at the start of a line. Lines before the
first header are not printed; a message at the end says how many there were.
With --json, a text above 4 MiB becomes several objects; with --follow, so does
one whose lines come with pauses in between.)";

std::string Footer() {
    return "DEST is " + DestinationNames() +
           R"(:
  ,levels=LEVELS  what it takes      ,format=json  as JSON (\, is , and \\ is \)
  ,size=SIZE      a file's limit     ,keep=N       rolled files (5)
  ,buffer=N       records per write  ,truncate     empties file:PATH at start
LEVELS: all, none, a LEVEL, LEVEL+ for all from it up, or letters as in WEF
LEVEL: trace, debug, info, warning, error, fatal; T to F; emerg to debug; 0 to 7)";
}

/// Adds what `text`, "TAG=LEVELS", says; the later of two rules for a tag counts.
void AddRuleTo(std::set<FilterRule>& rules, std::string const& text) {
    std::string::size_type const equals = text.rfind('=');  // LEVELS have none, a tag may
    if (equals == std::string::npos) {
        throw UsageError("a rule is TAG=LEVELS, as in web.db=none, or =WEF for all tags");
    }
    FilterRule const rule(text.substr(0, equals), ToLevels(text.substr(equals + 1)));
    rules.erase(rule);
    rules.insert(rule);
}

/// Destinations and rules in the order in which the command line names them.
class Routing {
public:
    Routing() { AddRule("=all"); }

    void AddDestination(std::string const& text) {
        if (destinations_.size() == kMaxDestinations) {
            throw UsageError("more than 32 destinations");
        }
        Destination destination = MakeDestination(text);
        for (Destination const& other : destinations_) {
            if (destination.identity && other.identity &&
                *destination.identity != *other.identity) {
                throw UsageError("a program has one identity in the system log, and '" +
                                 other.text + "' has given another");
            }
        }
        destination.rules = generalRules_;
        destinations_.push_back(std::move(destination));
    }

    /// For the destination named last, or for all when none was named yet.
    void AddRule(std::string const& text) {
        AddRuleTo(destinations_.empty() ? generalRules_ : destinations_.back().rules, text);
    }

    /// @param escape  whether plain texts are escaped
    std::vector<Destination> Take(bool escape) {
        if (destinations_.empty()) {
            AddDestination("stderr");
        }
        for (Destination& destination : destinations_) {
            if (escape && destination.form == TextForm::kPlain) {
                destination.form = TextForm::kEscaped;
            }
        }
        return std::move(destinations_);
    }

private:
    std::set<FilterRule> generalRules_;
    std::vector<Destination> destinations_;
};

std::string ToTag(std::string const& text) {
    if (text.size() > kMaxTag) {
        throw UsageError("a tag has at most 4096 bytes");
    }
    return text;
}

long long ToTime(std::string const& text) {
    std::optional<long long> const timeMs = ToTimeMs(text, GetLocalTimeInMs());
    if (!timeMs) {
        throw UsageError(
            "not a time as in 2026-11-21 or 2026-11-21T16:49:11.406, nor so long ago as in 90s, "
            "10m, 2h or 3d");
    }
    return *timeMs;
}

std::size_t ToMaxLine(std::string const& text) {
    std::optional<unsigned long long> const size = ToBytes(text);
    if (!size || *size > kMaxLineLimit) {
        throw UsageError("not a number of bytes from 1 to 1024M");
    }
    return static_cast<std::size_t>(*size);
}

/// The options that take a value. Their order counts: a rule is for the destination before it.
class ValueOptions {
public:
    explicit ValueOptions(CLI::App& app) : app_(app) {}

    void Add(char const* names, char const* value, char const* help,
             std::function<void(std::string const&)> apply) {
        CLI::Option* const option = app_.add_option(names, CLI::callback_t(), help);
        option->type_name(value)->option_text(value);
        option->expected(1, CLI::detail::expected_max_vector_size);
        option->allow_extra_args(false);  // each takes one value, what follows may be an operand
        apply_[option] = std::move(apply);
    }

    /// Applies the values as they stand on the command line.
    void Apply() const {
        std::map<CLI::Option const*, std::size_t> applied;
        for (CLI::Option const* const option : app_.parse_order()) {
            auto const known = apply_.find(option);
            if (known == apply_.end()) {
                continue;  // a flag
            }
            std::string const& value = option->results()[applied[option]++];
            try {
                known->second(value);
            } catch (UsageError const& error) {
                throw UsageError(option->get_name() + " '" + value + "': " + error.what());
            }
        }
    }

private:
    CLI::App& app_;
    std::map<CLI::Option const*, std::function<void(std::string const&)>> apply_;
};

/// The options of one command, or of the tool without one.
class CommandLine {
public:
    /// @param command  its name; empty without one
    explicit CommandLine(Operands operands, std::string command = "");

    CommandLine(CommandLine const&) = delete;
    CommandLine& operator=(CommandLine const&) = delete;

    Options Parse(int argc, char const* const* argv);

private:
    void AddLineOptions();
    void AddDestinationOptions();
    void AddLastFlags();
    void AddSelectionOptions();

    bool Has(std::string const& option) const {
        return app_.get_option_no_throw(option) != nullptr;
    }
    bool IsFlag(std::string const& option) const {
        return Has(option) && app_.get_option(option)->get_items_expected_max() == 0;
    }
    bool IsBeforeItsValue(std::string const& argument) const;
    std::vector<std::string> Arguments(int argc, char const* const* argv) const;
    std::vector<std::string> TakeCommand(int& argc, char const* const* argv);
    bool ParseArguments(std::vector<std::string> arguments);
    std::vector<std::string> ToOperands() const;
    [[noreturn]] void RefuseOption(std::string const& option) const;
    [[noreturn]] void RefuseOperand(std::string const& operand) const;
    void CheckSelection() const;

    Operands const operands_;
    std::string const command_;
    bool const isCommand_;
    bool hasDashes_ = false;  // before a COMMAND
    Options options_;
    Routing routing_;
    CLI::App app_{"", "tarqlog"};
    ValueOptions values_{app_};
};

char const* UsageOf(Operands operands) {
    switch (operands) {
        case Operands::kTags:
            return kExplainUsage;
        case Operands::kCommand:
            return kRunUsage;
        case Operands::kLogs:
            return kCatUsage;
        default:
            return kUsage;
    }
}

std::string FooterOf(Operands operands) {
    switch (operands) {
        case Operands::kTags:
            return kExplainFooter;
        case Operands::kCommand:
            return kRunFooter;
        case Operands::kLogs:
            return kCatFooter;
        default:
            return Footer();
    }
}

CommandLine::CommandLine(Operands operands, std::string command)
    : operands_(operands),
      command_(std::move(command)),
      isCommand_(operands == Operands::kCommand) {
    app_.formatter(std::make_shared<HelpFormatter>(UsageOf(operands)));
    app_.footer(FooterOf(operands));
    if (operands == Operands::kLogs) {
        AddSelectionOptions();
    } else {
        if (operands != Operands::kTags) {
            AddLineOptions();
        }
        AddDestinationOptions();
        AddLastFlags();
    }
    app_.allow_extras();  // the operands; as an option of CLI11's, "[a]" would be a list
    app_.set_help_flag("-h,--help", "print this help; --version: the version");
    app_.set_version_flag("--version", "tarqlog " TARQLOG_VERSION, "");
}

void CommandLine::AddLineOptions() {
    values_.Add("-t,--tag", "TAG",
                isCommand_ ? "the dotted tag of the records (the last part of COMMAND)"
                           : "the dotted tag of the records (stdin)",
                [this](std::string const& text) { options_.tag = ToTag(text); });
    values_.Add("-p,--priority", "LEVEL",
                isCommand_ ? "the level of output lines that carry none (info)"
                           : "the level of lines that carry none (info)",
                [this](std::string const& text) { options_.level = ToLevel(text); });
    app_.add_flag("--prio-prefix", options_.prioPrefix, "a leading <N> is the line's level");
    app_.add_flag("--detect", options_.detect,
                  "or, without one, the first word like ERROR or [warn]");
    app_.add_flag("--sub-tags", options_.subTags, "a leading word: or word.word: extends the tag");
    values_.Add("--max-line", "SIZE", "split lines above SIZE bytes, or with K, M (1M)",
                [this](std::string const& text) { options_.maxLine = ToMaxLine(text); });
}

void CommandLine::AddDestinationOptions() {
    values_.Add("-o,--to", "DEST", "where records go (stderr); repeatable",
                [this](std::string const& text) { routing_.AddDestination(text); });
    values_.Add("-r,--rule", "TAG=LEVELS", "what the DEST before it, else each DEST, takes",
                [this](std::string const& text) { routing_.AddRule(text); });
}

/// The flags that the help has behind everything else.
void CommandLine::AddLastFlags() {
    bool const logs = operands_ != Operands::kTags;
    if (logs) {
        app_.add_flag("--escape", options_.escape,
                      "show control bytes as \\x1b; on a terminal always");
    }
    app_.add_flag("-n,--dry-run", options_.dryRun, "print the DESTs with their rules and end");
    if (logs) {
        app_.add_flag("--stats", options_.stats, "print counts and speed at the end");
    }
    if (operands_ == Operands::kFiles) {
        app_.add_flag("--progress", options_.progress,
                      "tell how far it is; for long FILEs by itself");
    }
}

void CommandLine::AddSelectionOptions() {
    Selection& selection = options_.selection;
    AddRuleTo(selection.rules, "=all");
    values_.Add("-r,--rule", "TAG=LEVELS", "print only these of TAG; with -r =none, nothing else",
                [&](std::string const& text) { AddRuleTo(selection.rules, text); });
    values_.Add("--since", "TIME", "print what is of TIME or later",
                [&](std::string const& text) { selection.sinceMs = ToTime(text); });
    values_.Add("--until", "TIME", "print what is before TIME",
                [&](std::string const& text) { selection.untilMs = ToTime(text); });
    app_.add_flag("--json", selection.json, "print each record as a JSON object on a line");
    app_.add_flag("--raw", selection.raw, "print the bytes as they are, also on a terminal");
    app_.add_flag("--escape", selection.escape, "show control bytes as \\x1b, as on a terminal");
    app_.add_flag("-f,--follow", selection.follow,
                  "go on as the FILEs grow and roll, until interrupted");
}

/// Whether the argument is an option, or ends in one, whose value is the next argument.
bool CommandLine::IsBeforeItsValue(std::string const& argument) const {
    if (argument.compare(0, 2, "--") == 0) {
        return Has(argument) && !IsFlag(argument);
    }
    for (std::string::size_type i = 1; i < argument.size() && argument[0] == '-'; ++i) {
        std::string const option = {'-', argument[i]};
        if (option == kEndOfOptions) {
            RefuseOption(argument);  // what CLI11 would take "-f-" for, too
        }
        if (!IsFlag(option)) {  // the rest is its value, if there is a rest
            return Has(option) && i + 1 == argument.size();
        }
    }
    return false;
}

/// The arguments from last to first, as CLI11 takes them. It would give "--tag=" the next argument
/// for a value; as two arguments there is no doubt.
std::vector<std::string> CommandLine::Arguments(int argc, char const* const* argv) const {
    std::vector<std::string> arguments;
    bool optionsEnded = false;
    for (int i = 1; i < argc; ++i) {
        std::string const argument = argv[i];
        optionsEnded = optionsEnded || argument == kEndOfOptions;
        if (!optionsEnded && i + 1 < argc && IsBeforeItsValue(argument)) {
            arguments.push_back(argument);
            arguments.emplace_back(argv[++i]);  // whatever it looks like
            continue;
        }
        std::string::size_type const equals = argument.find('=');
        bool const hasValue = !optionsEnded && equals > 2 && equals != std::string::npos &&
                              argument.compare(0, 2, "--") == 0;
        if (hasValue && IsFlag(argument.substr(0, equals))) {
            throw UsageError(argument.substr(0, equals) + " takes no value");
        }
        bool const isValueEmpty = hasValue && equals == argument.size() - 1;
        arguments.push_back(isValueEmpty ? argument.substr(0, equals) : argument);
        if (isValueEmpty) {
            arguments.emplace_back();
        }
    }
    std::reverse(arguments.begin(), arguments.end());
    return arguments;
}

/// Takes the command off the arguments, so that nothing in it passes for an option of the tool.
std::vector<std::string> CommandLine::TakeCommand(int& argc, char const* const* argv) {
    char const* const* const end = argv + argc;
    char const* const* const dashes =
        std::find_if(argv, end, [](char const* argument) { return argument == kEndOfOptions; });
    argc = static_cast<int>(dashes - argv);
    hasDashes_ = dashes != end;
    return hasDashes_ ? std::vector<std::string>(dashes + 1, end) : std::vector<std::string>();
}

/// False when the options ask for an answer alone.
bool CommandLine::ParseArguments(std::vector<std::string> arguments) {
    try {
        app_.parse(std::move(arguments));
    } catch (CLI::CallForHelp const&) {
        options_.answer = app_.help();
        return false;
    } catch (CLI::CallForVersion const& version) {
        options_.answer = std::string(version.what()) + "\n";
        return false;
    } catch (CLI::ArgumentMismatch const& error) {
        std::string const text = error.what();  // "NAME: 1 required VALUE missing"
        std::string const name = text.substr(0, text.find(':'));
        throw UsageError(name + " needs a " + app_.get_option(name)->get_type_name() +
                         " behind it");
    } catch (CLI::ParseError const& error) {
        throw UsageError(error.what());
    }
    values_.Apply();
    return true;
}

void CommandLine::RefuseOption(std::string const& option) const {
    bool const isLong = option.compare(0, 2, "--") == 0;
    std::string const name = isLong ? option.substr(0, option.find('=')) : option;
    if (!command_.empty()) {
        throw UsageError(command_ + " has no option " + name);
    }
    bool const isOfCat = CommandLine(Operands::kLogs).Has(name);
    throw UsageError(isOfCat ? "option " + name + " is for tarqlog cat alone"
                             : "unknown option " + name);
}

void CommandLine::RefuseOperand(std::string const& operand) const {
    throw UsageError("run: " + (hasDashes_ ? "'" + operand + "' stands before --, COMMAND behind it"
                                           : "-- is missing before '" + operand + "'"));
}

/// What CLI11 left: the operands, and options that it does not know.
std::vector<std::string> CommandLine::ToOperands() const {
    std::vector<std::string> operands;
    bool optionsEnded = false;
    for (std::string const& argument : app_.remaining()) {
        if (!optionsEnded && argument == kEndOfOptions) {
            optionsEnded = true;
        } else if (!optionsEnded && argument.size() > 1 && argument[0] == '-') {
            RefuseOption(argument);
        } else if (isCommand_) {
            RefuseOperand(argument);
        } else {
            operands.push_back(argument);
        }
    }
    return operands;
}

void CommandLine::CheckSelection() const {
    Selection const& selection = options_.selection;
    if (selection.json + selection.raw + selection.escape > 1) {
        throw UsageError("cat: --json, --raw and --escape exclude each other");
    }
    if (selection.follow &&
        std::any_of(options_.operands.begin(), options_.operands.end(), &IsStandardInput)) {
        throw UsageError("cat: standard input cannot be followed");
    }
}

Options CommandLine::Parse(int argc, char const* const* argv) {
    std::vector<std::string> const command =
        isCommand_ ? TakeCommand(argc, argv) : std::vector<std::string>();
    if (!command.empty()) {
        options_.tag = command.front().substr(command.front().rfind('/') + 1);
    }
    if (!ParseArguments(Arguments(argc, argv))) {
        return options_;
    }
    if (operands_ != Operands::kLogs) {
        options_.destinations = routing_.Take(options_.escape);
    }
    options_.operands = ToOperands();
    if (isCommand_) {
        options_.operands = command;  // nothing stands before it
    }
    CheckSelection();
    return options_;
}

}  // namespace

Options ParseOptions(int argc, char const* const* argv, Operands operands,
                     std::string const& command) {
    return CommandLine(operands, command).Parse(argc, argv);
}

}  // namespace tarqlog::tool
