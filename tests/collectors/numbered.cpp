#include "collectors/numbered.h"

#include <cstddef>
#include <iostream>
#include <sstream>

#include <boost/make_shared.hpp>

#include "tarqlog/logcore.h"
#include "tarqlog/logrecord.h"
#include "tarqlog/udp_appender.h"

#include "support/sinks.h"

namespace tarqlog {

namespace {

thread_local unsigned int thisSender = 0;

long long StandingClock() {
    return 1700000000123;
}

unsigned int ThisSender() {
    return thisSender;
}

}  // namespace

std::string WritesDatagrams(Endpoint const& from, std::string const& file, int receiveBuffer,
                            std::string const& before) {
    std::ostringstream configuration;
    configuration << R"(global(net.enableDNS="off" processInternalMessages="on"
    parser.escapeControlCharactersOnReceive="off")
module(load="imudp")
template(name="line" type="string" string=")"
                  << before << R"(%rawmsg%\n")
ruleset(name="udp") { action(type="omfile" template="line" file=")"
                  << file << R"(") }
input(type="imudp" ruleset="udp" address=")"
                  << from.address << R"(" port=")" << from.port << R"(" rcvbufSize=")"
                  << receiveBuffer << "k\")\n";
    return configuration.str();
}

void Introduce(Daemon const& daemon) {
    std::cout << "process " << daemon.Pid() << ": " << VersionLine(Collector::kRsyslog)
              << std::endl;
}

std::string NumberedText(int number) {
    bool const isLong = number % 100 == 0;
    std::string text = "record " + std::to_string(number) + ": 100% %s <13>\t\"\\n\" \xC3\xBC ";
    text.append(static_cast<std::size_t>(isLong ? 4000 : number % 260),
                static_cast<char>('a' + number % 26));
    return text + "|";
}

std::string NumberedLine(int sender, int number) {
    return "I [2023-11-14 22:13:20.123][t:" + std::to_string(sender) +
           "](net.udp):" + NumberedText(number);
}

Sending::Sending(Endpoint const& collector)
    : hooks_(StandingClock, ThisSender), logger_("net.udp") {
    LogCore::Get()->AddSink(RootRule(kAllSeverities), SinkOf(boost::make_shared<UdpAppender>(
                                                          collector.address, collector.port)));
}

Sending::~Sending() {
    LogCore::Get()->RemoveAllSinks();
}

void Sending::Send(int sender, std::string const& text) {
    thisSender = static_cast<unsigned int>(sender);
    if (logger_.HasSink(kInfo)) {
        LogRecord record(kInfo);
        record.WriteData(text.data(), static_cast<int>(text.size()));
        logger_.PushRecord(record);
    }
}

std::string FaultOf(std::string const& lines, ExpectedLines const& expected,
                    std::vector<std::string> const& before) {
    struct Sender {
        int number;        // of the next record
        std::string line;  // with its line feed
    };
    auto const next = [&](std::size_t index, int number) {
        return Sender{number, (before.empty() ? "" : before.at(index)) +
                                  NumberedLine(static_cast<int>(index) + 1, number) + "\n"};
    };
    std::vector<Sender> senders;
    for (std::size_t i = 0; i < static_cast<std::size_t>(expected.senders); ++i) {
        senders.push_back(next(i, expected.first));
    }
    std::string::size_type begin = 0;
    while (begin < lines.size()) {
        std::size_t i = 0;
        while (i < senders.size() &&
               (senders[i].number > expected.last ||
                lines.compare(begin, senders[i].line.size(), senders[i].line) != 0)) {
            ++i;
        }
        if (i == senders.size()) {
            return "no sender's next line: " + lines.substr(begin, lines.find('\n', begin) - begin);
        }
        begin += senders[i].line.size();
        senders[i] = next(i, senders[i].number + 1);
    }
    for (std::size_t i = 0; i < senders.size(); ++i) {
        if (senders[i].number <= expected.last) {
            return "missing: record " + std::to_string(senders[i].number) + " of sender " +
                   std::to_string(i + 1);
        }
    }
    return "";
}

}  // namespace tarqlog
