#include "destination.h"

#include <map>
#include <optional>

#include <boost/make_shared.hpp>

#include <tarqlog/console_appender.h>
#include <tarqlog/logcore.h>
#include <tarqlog/logsink.h>
#include <tarqlog/sink_entry.h>

#include "complaint.h"
#include "levels.h"

namespace tarqlog::tool {

namespace {

/// The settings that nobody has asked for yet. What is left in the end is unknown.
using Settings = std::map<std::string, std::string>;

struct DestinationKind {
    char const* name;
    Destination (*make)(Settings& settings);  // takes the settings of its own
};

template <ConsoleAppender::OutStreamType type>
Destination MakeConsole(Settings&) {
    bool const isOutput = type == ConsoleAppender::kStdout;
    return {{}, boost::make_shared<ConsoleAppender>(type), isOutput ? stdout : stderr, {}};
}

constexpr DestinationKind kKinds[] = {
    {"stdout", &MakeConsole<ConsoleAppender::kStdout>},
    {"stderr", &MakeConsole<ConsoleAppender::kStderr>},
};

DestinationKind const& FindKind(std::string const& name) {
    for (DestinationKind const& kind : kKinds) {
        if (kind.name == name) {
            return kind;
        }
    }
    throw UsageError("unknown destination '" + name + "', known are " + DestinationNames());
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
    std::string::size_type const equals = field.find('=');
    if (equals == std::string::npos) {
        throw UsageError("setting '" + field + "' is not of the form key=value");
    }
    std::string const key = field.substr(0, equals);
    if (!settings.emplace(key, field.substr(equals + 1)).second) {
        throw UsageError("setting '" + key + "' is given twice");
    }
}

/// The value of `key`, which is no longer among `settings` then.
std::optional<std::string> TakeSetting(Settings& settings, std::string const& key) {
    Settings::node_type const setting = settings.extract(key);
    return setting ? std::make_optional(setting.mapped()) : std::nullopt;
}

}  // namespace

Destination MakeDestination(std::string const& text) {
    std::vector<std::string> const fields = SplitAtCommas(text);
    DestinationKind const& kind = FindKind(fields.front());
    Settings settings;
    for (auto field = fields.begin() + 1; field != fields.end(); ++field) {
        AddSetting(settings, *field);
    }
    Destination destination = kind.make(settings);
    destination.text = text;
    if (std::optional<std::string> const levels = TakeSetting(settings, "levels")) {
        destination.appender->SetSeverity(ToLevels(*levels));
    }
    if (!settings.empty()) {
        throw UsageError("unknown setting '" + settings.begin()->first + "'");
    }
    return destination;
}

std::string DestinationNames() {
    std::string names;
    for (DestinationKind const& kind : kKinds) {
        names += (names.empty() ? "" : " or ") + std::string(kind.name);
    }
    return names;
}

void Register(std::vector<Destination> const& destinations) {
    for (Destination const& destination : destinations) {
        boost::shared_ptr<LogSink> const sink = boost::make_shared<LogSink>();
        sink->AddAppender(destination.appender);
        LogCore::Get()->AddSink(destination.rules, sink);
    }
}

std::vector<Severity> TakenLevels(std::string const& tag,
                                  std::vector<Destination> const& destinations) {
    std::vector<SinkEntry> entries;
    LogCore::Get()->CollectSinks(entries, FilterRule(tag, kAllSeverities).GetTag());
    std::vector<Severity> taken(destinations.size());
    for (SinkEntry const& entry : entries) {
        taken[entry.first] = entry.second & destinations[entry.first].appender->GetSevertiy();
    }
    return taken;
}

}  // namespace tarqlog::tool
