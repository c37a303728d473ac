#include "destination.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <map>
#include <optional>
#include <stdexcept>

#include <boost/make_shared.hpp>

#include <tarqlog/console_appender.h>
#include <tarqlog/format_func.h>
#include <tarqlog/logcore.h>
#include <tarqlog/logsink.h>

#include "complaint.h"
#include "datagrams.h"
#include "levels.h"
#include "number.h"
#include "rolled_log.h"
#include "system_log.h"
#include "terminal.h"

namespace tarqlog::tool {

namespace {

constexpr int kDefaultKeptFiles = 5;
constexpr int kMaxBufferWithSize = 63;
constexpr std::size_t kMaxIdentity = 32;  // what the library keeps of it

using SettingMap = std::map<std::string, std::optional<std::string>>;

struct Settings {
    SettingMap left;  // that nobody has asked for yet; of a key alone without a value
    std::vector<std::string> known;  // what was asked for

    SettingMap::node_type Take(std::string const& key) {
        known.push_back(key);
        return left.extract(key);
    }
};

bool TakeFlag(Settings& settings, std::string const& key) {
    SettingMap::node_type const setting = settings.Take(key);
    if (setting && setting.mapped()) {
        throw UsageError("setting '" + key + "' takes no value");
    }
    return static_cast<bool>(setting);
}

std::optional<std::string> TakeSetting(Settings& settings, std::string const& key) {
    SettingMap::node_type const setting = settings.Take(key);
    if (!setting) {
        return std::nullopt;
    }
    if (!setting.mapped()) {
        throw UsageError("setting '" + key + "' needs = and a value behind it");
    }
    return setting.mapped();
}

int TakeCount(Settings& settings, std::string const& key, int most, int otherwise) {
    std::optional<std::string> const text = TakeSetting(settings, key);
    if (!text) {
        return otherwise;
    }
    std::optional<unsigned long long> const count = ToNumber(*text);
    if (!count || *count > static_cast<unsigned int>(most)) {
        throw UsageError("setting '" + key + "' is not a number from 0 to " + std::to_string(most));
    }
    return static_cast<int>(*count);
}

/// What the two kinds of files have in common.
struct FileSettings {
    long long limitKiB;  // 0: none
    int bufferedRecords;
};

FileSettings TakeFileSettings(Settings& settings) {
    FileSettings file = {0, TakeCount(settings, "buffer", INT_MAX, 0)};
    if (std::optional<std::string> const size = TakeSetting(settings, "size")) {
        std::optional<unsigned long long> const bytes = ToBytes(*size);
        if (!bytes) {
            throw UsageError("setting 'size' is not a size above 0, as in 512K, 10M or 1G");
        }
        file.limitKiB = static_cast<long long>((*bytes - 1) / 1024 + 1);  // rounded up
        if (file.bufferedRecords > kMaxBufferWithSize) {
            throw UsageError(
                "setting 'buffer' is at most 63 beside 'size': a larger buffer is written only as "
                "the file is closed, which never shows its size");
        }
    }
    return file;
}

Outlet OpenFile(boost::shared_ptr<FileAppender> const& appender) {
    if (!appender->Open(FileAppender::kAppendMode)) {  // true where it is open already
        int const error = errno;
        throw std::runtime_error("cannot open " + appender->GetFilename() + ": " +
                                 std::strerror(error));
    }
    Outlet outlet;
    outlet.appender = appender;
    outlet.file = appender.get();
    return outlet;
}

/// Says in `destination` how it is opened, and what else its kind makes of it.
/// @param operand   what stands behind the kind's name and a colon
/// @param settings  of which it takes its own
using Maker = void (*)(std::string const& operand, Settings& settings, Destination& destination);

template <ConsoleAppender::OutStreamType type>
void MakeConsole(std::string const&, Settings&, Destination& destination) {
    destination.open = [] {
        Outlet outlet;
        outlet.appender = boost::make_shared<ConsoleAppender>(type);
        outlet.stream = type == ConsoleAppender::kStdout ? stdout : stderr;
        return outlet;
    };
}

void MakeFile(std::string const& path, Settings& settings, Destination& destination) {
    FileSettings const file = TakeFileSettings(settings);
    FileAppender::OpenMode const mode =
        TakeFlag(settings, "truncate") ? FileAppender::kTruncateMode : FileAppender::kAppendMode;
    destination.isFile = true;
    destination.open = [=] {
        return OpenFile(
            boost::make_shared<FileAppender>(path, file.limitKiB, file.bufferedRecords, mode));
    };
}

void MakeRoll(std::string const& path, Settings& settings, Destination& destination) {
    FileSettings const file = TakeFileSettings(settings);
    int const keptFiles = TakeCount(settings, "keep", kMaxRolledFiles, kDefaultKeptFiles);
    if (file.limitKiB == 0) {
        throw UsageError("it needs the size at which files roll, as in size=10M");
    }
    destination.isFile = true;
    destination.open = [=] {
        return OpenFile(boost::make_shared<RollingFileAppender>(path, file.limitKiB, keptFiles,
                                                                file.bufferedRecords));
    };
}

void MakeUdp(std::string const& operand, Settings&, Destination& destination) {
    std::string::size_type const colon = operand.rfind(':');
    std::string const host = operand.substr(0, colon);
    unsigned long long const port =
        colon == std::string::npos ? 0 : ToNumber(operand.substr(colon + 1)).value_or(0);
    if (host.empty() || port == 0 || port > USHRT_MAX) {
        throw UsageError("it needs a host and a port from 1 to 65535, as in udp:loghost:514");
    }
    destination.open = [=] {
        Outlet outlet;
        boost::shared_ptr<DatagramAppender> const appender =
            OpenDatagrams(host, static_cast<unsigned short>(port));
        outlet.appender = appender;
        outlet.datagrams = appender.get();
        return outlet;
    };
}

void MakeSystemLog(std::string const& identity, Settings&, Destination& destination) {
    if (identity.size() > kMaxIdentity) {
        throw UsageError("an identity has at most 32 bytes");
    }
    destination.identity = identity;
    destination.open = [=] {
        Outlet outlet;
        outlet.appender = boost::make_shared<SystemLogAppender>(identity);
        return outlet;
    };
}

TextForm ToForm(std::string const& text) {
    if (text != "json" && text != "text") {
        throw UsageError("format '" + text + "' is unknown, known are json and text");
    }
    return text == "json" ? TextForm::kJson : TextForm::kPlain;
}

/// What stands behind the name of a kind and a colon.
enum class Operand { kNone, kOptional, kRequired };

struct DestinationKind {
    char const* name;
    Operand operand;
    char const* form;  // what to write, as the help shows it
    Maker make;
};

constexpr DestinationKind kKinds[] = {
    {"stdout", Operand::kNone, "stdout", &MakeConsole<ConsoleAppender::kStdout>},
    {"stderr", Operand::kNone, "stderr", &MakeConsole<ConsoleAppender::kStderr>},
    {"file", Operand::kRequired, "file:PATH", &MakeFile},
    {"roll", Operand::kRequired, "roll:PATH", &MakeRoll},
    {"udp", Operand::kRequired, "udp:HOST:PORT", &MakeUdp},
    {"syslog", Operand::kOptional, "syslog[:IDENT]", &MakeSystemLog},
};

DestinationKind const& FindKind(std::string const& name) {
    for (DestinationKind const& kind : kKinds) {
        if (kind.name == name) {
            return kind;
        }
    }
    throw UsageError("unknown destination '" + name + "', known are " + DestinationNames());
}

/// "A, B `conjunction` C".
std::string Enumerate(std::vector<std::string> const& items, std::string const& conjunction) {
    std::string text;
    for (std::string const& item : items) {
        bool const isLast = &item == &items.back();
        text += (text.empty() ? "" : isLast ? " " + conjunction + " " : ", ") + item;
    }
    return text;
}

/// Splits at commas. A backslash keeps the comma or the backslash after it.
std::vector<std::string> SplitAtCommas(std::string const& text) {
    std::vector<std::string> fields(1);
    for (std::string::size_type i = 0; i < text.size(); ++i) {
        bool const isEscape =
            text[i] == '\\' && i + 1 < text.size() && (text[i + 1] == ',' || text[i + 1] == '\\');
        if (isEscape) {
            fields.back() += text[++i];
        } else if (text[i] == ',') {
            fields.emplace_back();
        } else {
            fields.back() += text[i];
        }
    }
    return fields;
}

void AddSetting(Settings& settings, std::string const& field) {
    if (field.empty()) {
        throw UsageError("a setting must stand behind each comma");
    }
    std::string::size_type const equals = field.find('=');
    std::string const key = field.substr(0, equals);
    std::optional<std::string> value;
    if (equals != std::string::npos) {
        value = field.substr(equals + 1);
    }
    if (!settings.left.emplace(key, value).second) {
        throw UsageError("setting '" + key + "' is given twice");
    }
}

/// What to tell those for whom the comma before `unknown`, which has no value, is none of ours.
std::string HintFor(std::string const& unknown, bool isFile) {
    if (IsLevel(unknown)) {
        return "; several levels are letters, as in levels=WEF, or warning+";
    }
    return isFile ? "; a comma in PATH is \\," : "";
}

void RefuseRest(Settings const& settings, bool isFile) {
    if (!settings.left.empty()) {
        auto const& [unknown, value] = *settings.left.begin();
        throw UsageError("unknown setting '" + unknown + "', known are " +
                         Enumerate(settings.known, "and") +
                         (value ? "" : HintFor(unknown, isFile)));
    }
}

/// Throws unless `operand`, if any, is what `kind` needs.
void CheckForm(DestinationKind const& kind, std::optional<std::string> const& operand) {
    if (kind.operand == Operand::kNone && operand) {
        throw UsageError(std::string(kind.name) +
                         " takes settings alone, each behind a comma, as in " + kind.name +
                         ",levels=WEF");
    }
    if (kind.operand == Operand::kRequired && (!operand || operand->empty())) {
        throw UsageError("it must read " + std::string(kind.form));
    }
}

void AddSink(Destination const& destination, boost::shared_ptr<AppenderBase> const& appender) {
    boost::shared_ptr<LogSink> const sink = boost::make_shared<LogSink>();
    appender->SetSeverity(destination.levels);
    sink->AddAppender(appender);
    LogCore::Get()->AddSink(destination.rules, sink);
}

bool LeadsToTerminal(Outlet const& outlet) {
    return outlet.stream != nullptr
               ? IsTerminal(::fileno(outlet.stream))
               : outlet.file != nullptr && IsTerminal(outlet.file->GetFilename());
}

bool SendsToSystemLog(Destination const& destination) {
    return destination.identity && destination.levels != 0;
}

/// Has what writes for `outlet` show records as `destination` asks for, or as its terminal needs
/// it. Returns the appender that is to join the sink.
boost::shared_ptr<AppenderBase> Dress(Destination const& destination, Outlet const& outlet) {
    TextForm const form = destination.form == TextForm::kPlain && outlet.isTerminal
                              ? TextForm::kEscaped
                              : destination.form;
    if (outlet.datagrams != nullptr) {
        outlet.datagrams->SetForm(form);
    }
    bool const hasFullHeader = !destination.identity;  // the system log has its own time and level
    return PutIntoForm(form, outlet.appender, DefaultFormatHeaderFunc(hasFullHeader),
                       outlet.isTerminal && WantsColour());
}

}  // namespace

Destination MakeDestination(std::string const& text) {
    std::vector<std::string> const fields = SplitAtCommas(text);
    std::string::size_type const colon = fields.front().find(':');
    std::optional<std::string> operand;
    if (colon != std::string::npos) {
        operand = fields.front().substr(colon + 1);
    }
    DestinationKind const& kind = FindKind(fields.front().substr(0, colon));
    CheckForm(kind, operand);
    Settings settings;
    for (auto field = fields.begin() + 1; field != fields.end(); ++field) {
        AddSetting(settings, *field);
    }
    Destination destination;
    destination.text = text;
    kind.make(operand.value_or(""), settings, destination);
    if (std::optional<std::string> const levels = TakeSetting(settings, "levels")) {
        destination.levels = ToLevels(*levels);
    }
    if (std::optional<std::string> const format = TakeSetting(settings, "format")) {
        destination.form = ToForm(*format);
    }
    RefuseRest(settings, destination.isFile);
    return destination;
}

std::string DestinationNames() {
    std::vector<std::string> forms;
    for (DestinationKind const& kind : kKinds) {
        forms.emplace_back(kind.form);
    }
    return Enumerate(forms, "or");
}

std::vector<Outlet> OpenAndRegister(std::vector<Destination> const& destinations) {
    std::vector<Outlet> outlets;
    for (Destination const& destination : destinations) {
        outlets.push_back(destination.open());
        Outlet& outlet = outlets.back();
        outlet.name = destination.text;
        outlet.isTerminal = LeadsToTerminal(outlet);
        AddSink(destination, Dress(destination, outlet));
    }
    auto const log = std::find_if(destinations.begin(), destinations.end(), &SendsToSystemLog);
    if (log != destinations.end()) {
        ReportSystemLog(log->text);
    }
    return outlets;
}

void RegisterClosed(std::vector<Destination> const& destinations) {
    for (Destination const& destination : destinations) {
        AddSink(destination, boost::make_shared<ConsoleAppender>(ConsoleAppender::kStderr));
    }
}

}  // namespace tarqlog::tool
