#include "collectors/loss.h"

#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "collectors/daemon.h"
#include "collectors/isolation.h"
#include "collectors/numbered.h"
#include "collectors/pace.h"
#include "support/temporary_directory.h"

namespace tarqlog {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kBurst(1);  // sleeps are no shorter
constexpr std::chrono::seconds kSilence(5);     // after which a collector has written all it will

/// A hundred bytes with header and line feed.
std::string TextOf(long number) {
    std::string const text = "record " + std::to_string(number) + " ";
    return text + std::string(57 - text.size(), 'x');
}

/// Sends what is due, and sleeps while nothing is.
void SendAll(Endpoint const& collector, int sender, Load const& load) {
    Sending sending(collector);
    Clock::time_point const start = Clock::now();
    auto const due = [&](long number) {
        return start +
               std::chrono::nanoseconds(std::chrono::seconds(1)) * load.hosts / load.rate * number;
    };
    for (long number = 0; number < load.records; ++number) {
        while (load.rate != 0 && due(number) > Clock::now()) {
            std::this_thread::sleep_for(kBurst);
        }
        sending.Send(sender, TextOf(number));
    }
}

/// How many datagrams this network's kernel has thrown away: there was no room, or nobody to take
/// them.
long Dropped() {
    std::ifstream statistics("/proc/net/snmp");
    std::string line;
    std::vector<std::string> names;
    while (std::getline(statistics, line)) {
        std::istringstream words(line);
        std::vector<std::string> row{std::istream_iterator<std::string>(words), {}};
        if (!row.empty() && row[0] == "Udp:") {
            if (names.empty()) {
                names = row;
                continue;
            }
            long dropped = 0;
            for (std::size_t i = 1; i < row.size(); ++i) {
                if (names[i] == "NoPorts" || names[i] == "InErrors") {
                    dropped += std::stol(row[i]);
                }
            }
            return dropped;
        }
    }
    throw std::runtime_error("/proc/net/snmp tells nothing of UDP");
}

/// Waits until all records are accounted for, or no more lines come.
void AwaitSilence(std::string const& file, long sent) {
    GrowingFile lines(file, "");
    long last = 0;
    Clock::time_point lastTime = Clock::now();
    for (;;) {
        long const count = lines.CountLines();
        if (count != last) {
            last = count;
            lastTime = Clock::now();
        }
        if (count + Dropped() >= sent || Clock::now() - lastTime > kSilence) {
            return;
        }
        std::this_thread::sleep_for(kBurst);
    }
}

}  // namespace

Loss MeasureLoss(Load const& load) {
    TemporaryDirectory const directory;
    std::string const file = directory.File("lines");
    Endpoint const collector = {kCollectorAddress, 514};
    std::vector<std::unique_ptr<Host>> hosts;
    for (int number = 1; number <= load.hosts; ++number) {
        hosts.push_back(
            std::make_unique<Host>(number, [&, number] { SendAll(collector, number, load); }));
    }
    Daemon daemon(Collector::kRsyslog, directory.Path(),
                  WritesDatagrams(collector, file, load.receiveBuffer));
    daemon.Start();
    if (load.isStalled) {
        ::kill(daemon.Pid(), SIGSTOP);
        ::waitpid(daemon.Pid(), nullptr, WUNTRACED);  // until all of its threads have stopped
    }
    Clock::time_point const start = Clock::now();
    for (auto const& host : hosts) {
        host->Begin();
    }
    for (auto const& host : hosts) {
        host->Join();
    }
    std::chrono::duration<double> const duration = Clock::now() - start;
    ::kill(daemon.Pid(), SIGCONT);
    long const sent = load.hosts * load.records;
    AwaitSilence(file, sent);
    daemon.Stop();
    return {sent, GrowingFile(file, "record ").CountLines(), Dropped(), duration.count()};
}

}  // namespace tarqlog
