// The tool's manual page and its completions say what --help says.

#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "support/child.h"
#include "support/temporary_directory.h"
#include "support/tool.h"

namespace tarqlog {
namespace {

using Words = std::set<std::string>;

std::string HelpOf(Arguments command) {
    command.emplace_back("--help");
    return RunProgram(kTool, command).output;
}

/// What --help of a command lists: of each option its names, as in "-t, --tag", with its value.
std::map<std::string, std::string> OptionsOf(Arguments const& command) {
    static std::regex const option(R"(^  (?:(-\w),)?(--[a-z-]+)(?: ([A-Z=]+))? .*)");
    static std::regex const another(R"(; (--[a-z]+): )");  // "print this help; --version: ..."
    std::istringstream help(HelpOf(command));
    std::map<std::string, std::string> options;
    std::smatch match;
    for (std::string line; std::getline(help, line);) {
        if (std::regex_match(line, match, option)) {
            std::string const brief = match[1].matched ? match.str(1) + ", " : "";
            options[brief + match.str(2)] = match.str(3);
        }
        if (std::regex_search(line, match, another)) {
            options[match.str(1)] = "";
        }
    }
    return options;
}

std::map<std::string, std::string> OptionsOfAll() {
    std::map<std::string, std::string> options;
    for (Arguments const& command : {Arguments{}, Arguments{"run"}, Arguments{"cat"}}) {
        options.merge(OptionsOf(command));
    }
    return options;
}

/// The names alone, each by itself.
Words NamesOf(std::map<std::string, std::string> const& options) {
    Words names;
    for (auto const& [option, value] : options) {
        std::istringstream words(std::regex_replace(option, std::regex(","), " "));
        for (std::string name; words >> name;) {
            names.insert(name);
        }
    }
    return names;
}

Words WordsOf(std::string const& text) {
    std::istringstream words(text);
    Words all;
    for (std::string word; words >> word;) {
        all.insert(word);
    }
    return all;
}

/// What bash offers behind `words`, of which the last is being typed; "$1" is the completions'
/// folder.
Words Offered(std::string const& words) {
    std::string const script = ". \"$1/tarqlog\"; COMP_WORDS=(" + words +
                               "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _tarqlog; "
                               "printf '%s\\n' \"${COMPREPLY[@]}\"";
    ChildResult const result =
        RunProgram("/bin/bash", {"--norc", "-c", script, "bash", TARQLOG_COMPLETIONS});
    EXPECT_EQ(result.errors, "") << words;
    std::istringstream lines(result.output);
    Words offered;
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty()) {
            offered.insert(line);
        }
    }
    return offered;
}

TEST(TarqlogManualTest, ListsTheOptionsOfEachHelpAndNoOther) {
    static std::regex const entry(R"(^\.It Fl (?:(\w) , Fl )?\\-([a-z-]+)(?: Ar (\S+))?$)");
    std::istringstream manual(ReadWholeFile(TARQLOG_MANUAL));
    std::map<std::string, std::string> options;
    std::smatch match;
    for (std::string line; std::getline(manual, line);) {
        if (std::regex_match(line, match, entry)) {
            std::string const brief = match[1].matched ? "-" + match.str(1) + ", " : "";
            options[brief + "--" + match.str(2)] = match.str(3);
        }
    }
    EXPECT_EQ(options, OptionsOfAll());
}

TEST(TarqlogManualTest, BeginsWithExamples) {
    std::string const manual = ReadWholeFile(TARQLOG_MANUAL);
    std::string::size_type const examples = manual.find(".Sh EXAMPLES\n");
    ASSERT_NE(examples, std::string::npos);
    EXPECT_EQ(manual.rfind(".Sh ", examples - 1), manual.find(".Sh NAME\n"));
}

TEST(TarqlogManualTest, BashOffersTheOptionsOfTheCommandThatIsTyped) {
    EXPECT_EQ(Offered("tarqlog -"), NamesOf(OptionsOf({})));
    EXPECT_EQ(Offered("tarqlog run -"), NamesOf(OptionsOf({"run"})));
    EXPECT_EQ(Offered("tarqlog cat -"), NamesOf(OptionsOf({"cat"})));
}

TEST(TarqlogManualTest, BashOffersToExplainWhatConcernsDestinations) {
    Words const all = NamesOf(OptionsOf({}));
    Words const offered = Offered("tarqlog explain -");
    EXPECT_EQ(offered.count("--to"), 1U);
    EXPECT_EQ(offered.count("--tag"), 0U);
    for (std::string const& name : offered) {
        EXPECT_EQ(all.count(name), 1U) << name;
    }
}

TEST(TarqlogManualTest, BashOffersCommandsDestinationsAndLevels) {
    EXPECT_EQ(Offered("tarqlog ru"), Words({"run"}));
    EXPECT_EQ(Offered("tarqlog -o s"), Words({"stdout", "stderr", "syslog"}));
    EXPECT_EQ(Offered("tarqlog run -p wa"), Words({"warning"}));
    EXPECT_EQ(Offered("tarqlog -r web = n"), Words({"none"}));
    EXPECT_EQ(Offered("tarqlog -o stdout,format = j"), Words({"json"}));
    std::string const file = TARQLOG_COMPLETIONS "/_tarqlog";
    EXPECT_EQ(Offered("tarqlog -o file : \"$1/_\""), Words({file}));
    EXPECT_EQ(Offered("tarqlog cat \"$1/_\""), Words({file}));
}

TEST(TarqlogManualTest, BashOffersNoOptionsBehindTwoDashes) {
    EXPECT_EQ(Offered("tarqlog -- --st"), Words());
    EXPECT_EQ(Offered("tarqlog run -- tru").count("true"), 1U);
    EXPECT_EQ(Offered("tarqlog run -- true --st"), Words());
}

TEST(TarqlogManualTest, EachKindOfDestinationIsOfferedAndDescribed) {
    std::string const manual = ReadWholeFile(TARQLOG_MANUAL);
    std::string const zsh = ReadWholeFile(TARQLOG_COMPLETIONS "/_tarqlog");
    Words const offered = Offered("tarqlog -o ''");
    std::smatch match;
    std::string const help = HelpOf({});
    ASSERT_TRUE(std::regex_search(help, match, std::regex("DEST is (.*?):\n")));
    std::string const kinds = std::regex_replace(match.str(1), std::regex(", | or "), " ");
    Words names;
    for (std::string const& form : WordsOf(kinds)) {
        bool const isRequired = form.find('[') == std::string::npos;
        std::string const name = form.substr(0, form.find_first_of("[:"));
        bool const hasOperand = form.find(':') != std::string::npos && isRequired;
        names.insert(hasOperand ? name + ':' : name);
        EXPECT_NE(manual.find(".It Li " + name), std::string::npos) << name;
        EXPECT_NE(zsh.find(' ' + name), std::string::npos) << name;
    }
    EXPECT_EQ(offered, names);
}

/// "'(-n --dry-run)'{-n,--dry-run}'[...'" and "'--stats[...'": what stands in the lists.
Words OptionsForZsh(std::string const& text) {
    static std::regex const option(R"((?:\{|,|'|\))(--?[a-z][a-z-]*)(?=[,}\[]))");
    Words names;
    for (std::sregex_iterator at(text.begin(), text.end(), option), end; at != end; ++at) {
        names.insert(at->str(1));
    }
    return names;
}

TEST(TarqlogManualTest, ZshKnowsTheOptionsOfEachHelpAndNoOther) {
    EXPECT_EQ(OptionsForZsh(ReadWholeFile(TARQLOG_COMPLETIONS "/_tarqlog")),
              NamesOf(OptionsOfAll()));
}

}  // namespace
}  // namespace tarqlog
