// The tool's manual page and its completions say what --help says.

#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

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
    for (Arguments const& command :
         {Arguments{}, Arguments{"run"}, Arguments{"cat"}, Arguments{"explain"}}) {
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

Words LinesOf(std::string const& text) {
    std::istringstream lines(text);
    Words all;
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty()) {
            all.insert(line);
        }
    }
    return all;
}

/// The words of `line` as bash tells them to completions: blanks part them, and signs of "=:" in a
/// row are words of their own.
Arguments SplitAsBash(std::string const& line) {
    static std::regex const word("[=:]+|[^ =:]+");
    Arguments words;
    for (std::sregex_iterator at(line.begin(), line.end(), word), end; at != end; ++at) {
        words.push_back(at->str());
    }
    if (line.back() == ' ') {
        words.emplace_back();
    }
    return words;
}

/// What bash offers behind `line` in the completions' folder: what is to stand there in place of
/// what bash takes for the last word.
Words Offered(std::string const& line) {
    static std::string const script =
        "cd \"$1\" && . ./tarqlog; COMP_LINE=$2 COMP_POINT=${#2}; shift 2; COMP_WORDS=(\"$@\"); "
        "COMP_CWORD=$(($# - 1)); _tarqlog; printf '%s\\n' \"${COMPREPLY[@]}\"";
    Arguments arguments = {"--norc", "-c", script, "bash", TARQLOG_COMPLETIONS, line};
    Arguments const words = SplitAsBash(line);
    arguments.insert(arguments.end(), words.begin(), words.end());
    ChildResult const result = RunProgram("/bin/bash", arguments);
    EXPECT_EQ(result.errors, "") << line;
    return LinesOf(result.output);
}

/// What zsh offers behind each of `lines` in the completions' folder.
std::vector<Words> OfferedByZsh(Arguments const& lines) {
    Arguments arguments = {"-c", "cd \"$1\" && exec zsh -f \"$0\" \"$@\"", TARQLOG_ZSH_OFFERS,
                           TARQLOG_COMPLETIONS};
    arguments.insert(arguments.end(), lines.begin(), lines.end());
    ChildResult const result = RunProgram("/bin/sh", arguments);
    EXPECT_EQ(result.errors, "");
    std::istringstream output(result.output);
    std::vector<Words> offered(1);
    for (std::string line; std::getline(output, line);) {
        if (line.empty()) {
            offered.emplace_back();
        } else {
            offered.back().insert(line);
        }
    }
    offered.pop_back();
    return offered;
}

Words const kLevels = {"trace", "debug", "info", "warning", "error", "fatal"};
Words const kSetsOfLevels = {"all", "none", "trace", "debug", "info", "warning", "error", "fatal"};
Words const kFiles = {"_tarqlog", "tarqlog"};

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
    EXPECT_EQ(Offered("tarqlog explain -"), NamesOf(OptionsOf({"explain"})));
}

TEST(TarqlogManualTest, BashOffersCommandsDestinationsAndLevels) {
    EXPECT_EQ(Offered("tarqlog ru"), Words({"run"}));
    EXPECT_EQ(Offered("tarqlog ").count("explain"), 1U);
    EXPECT_EQ(Offered("tarqlog -o s"), Words({"stdout", "stderr", "syslog"}));
    EXPECT_EQ(Offered("tarqlog -p "), kLevels);
    EXPECT_EQ(Offered("tarqlog run -p wa"), Words({"warning"}));
    EXPECT_EQ(Offered("tarqlog -r web=n"), Words({"none"}));
    EXPECT_EQ(Offered("tarqlog explain web -r ="), kSetsOfLevels);
    EXPECT_EQ(Offered("tarqlog -r we"), Words());
    EXPECT_EQ(Offered("tarqlog -t "), Words());
    EXPECT_EQ(Offered("tarqlog cat --since "), Words());
}

TEST(TarqlogManualTest, BashOffersValuesBehindAnEqualsSignAndBehindALetter) {
    EXPECT_EQ(Offered("tarqlog --to="),
              Words({"stdout", "stderr", "file:", "roll:", "udp:", "syslog"}));
    EXPECT_EQ(Offered("tarqlog --to=std"), Words({"stdout", "stderr"}));
    EXPECT_EQ(Offered("tarqlog --to=file:_"), Words({"_tarqlog"}));
    EXPECT_EQ(Offered("tarqlog --to=stdout,levels=w"), Words({"warning"}));
    EXPECT_EQ(Offered("tarqlog --priority="), kLevels);
    EXPECT_EQ(Offered("tarqlog cat --rule=web.db=n"), Words({"none"}));
    EXPECT_EQ(Offered("tarqlog --tag="), Words());
    EXPECT_EQ(Offered("tarqlog --stats="), Words());
    EXPECT_EQ(Offered("tarqlog -ostd"), Words({"-ostdout", "-ostderr"}));
    EXPECT_EQ(Offered("tarqlog -pw"), Words({"-pwarning"}));
    EXPECT_EQ(Offered("tarqlog --to=stdout _"), Words({"_tarqlog"}));
}

TEST(TarqlogManualTest, BashOffersTheSettingsOfEachKindOfDestination) {
    EXPECT_EQ(Offered("tarqlog -o stdout,"), Words({"stdout,levels=", "stdout,format="}));
    EXPECT_EQ(Offered("tarqlog -o syslog:web,le"), Words({"web,levels="}));
    EXPECT_EQ(Offered("tarqlog -o file:/x,"),
              Words({"/x,levels=", "/x,format=", "/x,size=", "/x,buffer=", "/x,truncate"}));
    EXPECT_EQ(Offered("tarqlog -o roll:/x,size=1M,"),
              Words({"1M,levels=", "1M,format=", "1M,size=", "1M,buffer=", "1M,keep="}));
    EXPECT_EQ(Offered("tarqlog -o stdout,levels="), kSetsOfLevels);
    EXPECT_EQ(Offered("tarqlog -o stdout,levels=all,format=j"), Words({"json"}));
    EXPECT_EQ(Offered("tarqlog -o file:/x,size="), Words());
    EXPECT_EQ(Offered("tarqlog -o udp:"), Words());
    EXPECT_EQ(Offered("tarqlog -o roll:"), kFiles);
}

TEST(TarqlogManualTest, BashOffersFilesWhateverIsQuoted) {
    EXPECT_EQ(Offered("tarqlog _"), Words({"_tarqlog"}));
    EXPECT_EQ(Offered("tarqlog cat "), kFiles);
    EXPECT_EQ(Offered("tarqlog -o stdout _"), Words({"_tarqlog"}));
    EXPECT_EQ(Offered("tarqlog cat \"_"), Words({"_tarqlog"}));
    EXPECT_EQ(Offered("tarqlog cat \\_"), Words({"_tarqlog"}));
    EXPECT_EQ(Offered("tarqlog explain _"), Words());
    EXPECT_EQ(Offered("tarqlog run _"), Words());
}

TEST(TarqlogManualTest, BashOffersNoOptionsBehindTwoDashes) {
    EXPECT_EQ(Offered("tarqlog -- --st"), Words());
    EXPECT_EQ(Offered("tarqlog cat -- _"), Words({"_tarqlog"}));
    EXPECT_EQ(Offered("tarqlog run "), Words({"--"}));
    EXPECT_EQ(Offered("tarqlog run -o stdout "), Words({"--"}));
    EXPECT_EQ(Offered("tarqlog run -o stdout -- tru").count("true"), 1U);
    EXPECT_EQ(Offered("tarqlog run -- true --st"), Words());
    EXPECT_EQ(Offered("tarqlog run -- true _"), Words({"_tarqlog"}));
}

TEST(TarqlogManualTest, ZshOffersWhatBashDoes) {
    if (RunProgram("/bin/sh", {"-c", "command -v zsh"}).exitStatus != 0) {
        GTEST_SKIP() << "there is no zsh";
    }
    struct {
        std::string line;
        Words offered;
    } const kCases[] = {
        {"tarqlog ru", {"run"}},
        {"tarqlog -o s", {"stdout", "stderr", "syslog"}},
        {"tarqlog -ostd", {"stdout", "stderr"}},
        {"tarqlog --to=std", {"stdout", "stderr"}},
        {"tarqlog --to=file:_", {"_tarqlog"}},
        {"tarqlog -o stdout,", {"levels=", "format="}},
        {"tarqlog -o file:/x,", {"levels=", "format=", "size=", "buffer=", "truncate"}},
        {"tarqlog -o roll:/x,size=1M,", {"levels=", "format=", "size=", "buffer=", "keep="}},
        {"tarqlog -o roll:/x,size=", {}},
        {"tarqlog -o stdout,levels=", kSetsOfLevels},
        {"tarqlog --to=stdout,levels=all,format=j", {"json"}},
        {"tarqlog -p ", kLevels},
        {"tarqlog run --priority=wa", {"warning"}},
        {"tarqlog cat --rule=web.db=n", {"none"}},
        {"tarqlog cat _", {"_tarqlog"}},
        {"tarqlog -- --st", {}},
        {"tarqlog run -o stdout ", {"--"}},
        {"tarqlog run -- truncat", {"truncate"}},
        {"tarqlog run -- cat _", {"_tarqlog"}},
        {"tarqlog explain -", NamesOf(OptionsOf({"explain"}))},
        {"tarqlog cat -", NamesOf(OptionsOf({"cat"}))},
    };
    Arguments lines;
    for (auto const& row : kCases) {
        lines.push_back(row.line);
    }
    std::vector<Words> const offered = OfferedByZsh(lines);
    ASSERT_EQ(offered.size(), lines.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(offered[i], kCases[i].offered) << lines[i];
    }
}

TEST(TarqlogManualTest, EachKindOfDestinationIsOfferedAndDescribed) {
    std::string const manual = ReadWholeFile(TARQLOG_MANUAL);
    std::string const zsh = ReadWholeFile(TARQLOG_COMPLETIONS "/_tarqlog");
    Words const offered = Offered("tarqlog -o ");
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
    static std::regex const option(R"((?:\{|,|'|\))(--?[a-z][a-z-]*)(?=[+=]?[,}\[]))");
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
