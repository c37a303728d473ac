#include "program.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <sstream>
#include <thread>
#include <vector>

#include "destination.h"
#include "lines.h"

// Defined by the preloaded library that counts; without it there is no such function.
extern "C" __attribute__((weak)) unsigned long CountedAllocations();

namespace tarqlog::bench {

bool isChecked = false;
unsigned long checksum = 0;

namespace {

constexpr int kStatusCannot = 77;

#if defined(__clang__)
constexpr char const* kCompiler = "Clang " __clang_version__;
#else
constexpr char const* kCompiler = "GCC " __VERSION__;
#endif

constexpr long kWarmUp = 640;  // records before any that count: all that is made once is made

long long Now(clockid_t clock) {
    timespec now = {};
    ::clock_gettime(clock, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

unsigned long Allocations() {
    return CountedAllocations != nullptr ? CountedAllocations() : 0;
}

/// As most applications do, ours has more than one thread; the C library is quicker otherwise.
void StartSleeper() {
    std::thread([] { ::pause(); }).detach();
}

template <class Number>
std::string ToList(std::vector<Number> const& numbers) {
    std::ostringstream list;
    for (Number const& number : numbers) {
        list << (list.tellp() > 0 ? ", " : "") << number;
    }
    return "[" + list.str() + "]";
}

/// The threads that share each batch. One alone is the program's first, as everywhere.
class Crew {
public:
    explicit Crew(Settings const& settings) : settings_(settings) {
        ::pthread_barrier_init(&barrier_, nullptr, static_cast<unsigned int>(settings.threads) + 1);
        for (int i = 0; settings.threads > 1 && i < settings.threads; ++i) {
            threads_.emplace_back([this, i] { Work(i); });
        }
    }

    ~Crew() {
        isOver_ = true;
        if (!threads_.empty()) {
            ::pthread_barrier_wait(&barrier_);
        }
        for (std::thread& thread : threads_) {
            thread.join();
        }
        ::pthread_barrier_destroy(&barrier_);
    }

    Crew(Crew const&) = delete;
    Crew& operator=(Crew const&) = delete;

    void LogBatch(long first) {
        first_ = first;
        if (threads_.empty()) {
            Log(settings_, first, settings_.records);
        } else {
            ::pthread_barrier_wait(&barrier_);
            ::pthread_barrier_wait(&barrier_);
        }
    }

private:
    void Work(int thread) {
        long const begin = thread * settings_.records / settings_.threads;
        long const end = (thread + 1) * settings_.records / settings_.threads;
        for (;;) {
            ::pthread_barrier_wait(&barrier_);
            if (isOver_) {
                return;
            }
            Log(settings_, first_ + begin, end - begin);
            ::pthread_barrier_wait(&barrier_);
        }
    }

    Settings const& settings_;
    pthread_barrier_t barrier_ = {};
    long first_ = 0;       // written before the barrier, read behind it
    bool isOver_ = false;  // the same
    std::vector<std::thread> threads_;
};

// The modes. Each prints one JSON object.

/// Nanoseconds a record, of the clock and of all threads' processors, for each batch.
void MeasureTime(Settings const& settings, Destination& /*destination*/) {
    std::vector<double> wall;
    std::vector<double> cpu;
    {
        Crew crew(settings);
        for (int batch = 0; batch < settings.batches; ++batch) {
            long long const wallBefore = Now(CLOCK_MONOTONIC);
            long long const cpuBefore = Now(CLOCK_PROCESS_CPUTIME_ID);
            crew.LogBatch(batch * settings.records);
            Finish(settings);
            auto const records = static_cast<double>(settings.records);
            cpu.push_back(static_cast<double>(Now(CLOCK_PROCESS_CPUTIME_ID) - cpuBefore) / records);
            wall.push_back(static_cast<double>(Now(CLOCK_MONOTONIC) - wallBefore) / records);
        }
    }
    std::cout << "{\"wall\": " << ToList(wall) << ", \"cpu\": " << ToList(cpu)
              << ", \"checksum\": " << checksum << "}\n";
}

/// Nanoseconds of single records, two readings of the clock among them.
void MeasureLatency(Settings const& settings, Destination& /*destination*/) {
    std::vector<long long> taken;
    taken.reserve(static_cast<std::size_t>(settings.records));
    Log(settings, 0, kWarmUp);
    for (long index = 0; index < settings.records; ++index) {
        long long const before = Now(CLOCK_MONOTONIC);
        Log(settings, index, 1);
        taken.push_back(Now(CLOCK_MONOTONIC) - before);
    }
    Finish(settings);
    std::sort(taken.begin(), taken.end());
    auto const at = [&](int perMille) {
        return taken[std::min(taken.size() - 1,
                              taken.size() * static_cast<unsigned>(perMille) / 1000)];
    };
    std::cout << "{\"p50\": " << at(500) << ", \"p99\": " << at(990) << ", \"p999\": " << at(999)
              << "}\n";
}

/// What the process allocates for all records, and for the one that takes most.
void CountAllocations(Settings const& settings, Destination& /*destination*/) {
    Log(settings, 0, kWarmUp);
    unsigned long const unproven = Allocations();
    std::string const probe(static_cast<std::size_t>(settings.records) + 1000, ' ');
    bool const counts = Allocations() - unproven == 1 && !probe.empty();
    unsigned long most = 0;
    unsigned long const before = Allocations();
    for (long index = 0; index < settings.records; ++index) {
        unsigned long const beforeThis = Allocations();
        Log(settings, index, 1);
        most = std::max(most, Allocations() - beforeThis);
    }
    unsigned long const all = Allocations() - before;
    std::cout << "{\"counts\": " << counts << ", \"allocations\": " << all << ", \"most\": " << most
              << "}\n";
}

/// Holds what is in the destination, or the checksum, to what must be there.
void CheckRecords(Settings const& settings, Destination& destination) {
    {
        Crew crew(settings);
        crew.LogBatch(settings.flaw);
    }
    Finish(settings);
    Expected const expected = {TagOf(settings), settings.records, settings.size, settings.threads,
                               settings.row == "rolling"};
    std::string complaint;
    if (settings.row == "disabled" || settings.row == "discarded") {
        unsigned long due = 0;
        for (long index = 0; settings.row != "disabled" && index < settings.records; ++index) {
            due += Sum("I [-- ::.][t:](" + expected.tag + "):" + TextOf(index, settings.size));
        }
        due *= static_cast<unsigned long>(settings.sinks);
        if (due != checksum) {
            complaint = "the checksum is " + std::to_string(checksum) + " instead of " +
                        std::to_string(due);
        }
    } else {
        complaint = FirstComplaint(destination.Content(), expected);
    }
    if (!complaint.empty()) {
        throw std::runtime_error(complaint);
    }
    std::cout << "{\"checksum\": " << checksum << "}\n";
}

/// The statements alone, for who counts instructions or system calls from outside.
void JustLog(Settings const& settings, Destination& /*destination*/) {
    Log(settings, 0, settings.records);
    Finish(settings);
    std::cout << "{}\n";
}

long ResidentBytes() {
    std::ifstream status("/proc/self/statm");
    long pages = 0;
    status >> pages >> pages;
    return pages * ::sysconf(_SC_PAGESIZE);
}

/// Bytes of memory of a logger, and nanoseconds of it after a change.
void MeasureLoggers(Settings const& settings, Destination& /*destination*/) {
    long const before = ResidentBytes();
    MakeLoggers(settings.loggers);
    long const bytes = (ResidentBytes() - before) / settings.loggers;
    std::vector<double> refresh;
    for (int batch = 0; batch < settings.batches; ++batch) {
        long long const start = Now(CLOCK_MONOTONIC);
        RefreshLoggers();
        refresh.push_back(static_cast<double>(Now(CLOCK_MONOTONIC) - start) / settings.loggers);
    }
    std::cout << "{\"bytes\": " << bytes << ", \"refresh\": " << ToList(refresh) << "}\n";
}

/// Bytes of memory of an appender.
void MeasureAppenders(Settings const& settings, Destination& /*destination*/) {
    long const before = ResidentBytes();
    KeepAppenders(settings, settings.loggers);
    std::cout << "{\"bytes\": " << (ResidentBytes() - before) / settings.loggers << "}\n";
}

Settings ReadArguments(int count, char** arguments) {
    Settings settings;
    std::map<std::string, std::function<void(std::string const&)>> const take = {
        {"row", [&](auto& value) { settings.row = value; }},
        {"front", [&](auto& value) { settings.front = value; }},
        {"mode", [&](auto& value) { settings.mode = value; }},
        {"directory", [&](auto& value) { settings.directory = value; }},
        {"threads", [&](auto& value) { settings.threads = std::stoi(value); }},
        {"records", [&](auto& value) { settings.records = std::stol(value); }},
        {"batches", [&](auto& value) { settings.batches = std::stoi(value); }},
        {"sinks", [&](auto& value) { settings.sinks = std::stoi(value); }},
        {"depth", [&](auto& value) { settings.depth = std::stoi(value); }},
        {"loggers", [&](auto& value) { settings.loggers = std::stoi(value); }},
        {"flaw", [&](auto& value) { settings.flaw = std::stol(value); }},
        {"size", [&](auto& value) { settings.size = std::stoul(value); }},
    };
    for (int i = 1; i < count; ++i) {
        std::string const argument = arguments[i];
        std::string::size_type const equals = argument.find('=');
        auto const taker = take.find(argument.substr(0, equals));
        if (taker == take.end() || equals == std::string::npos) {
            throw std::runtime_error("'" + argument + "' is no setting; see Settings in program.h");
        }
        taker->second(argument.substr(equals + 1));
    }
    settings.file = settings.directory + "/log";
    return settings;
}

void Run(Settings settings) {
    static std::map<std::string, void (*)(Settings const&, Destination&)> const modes = {
        {"time", MeasureTime},
        {"latency", MeasureLatency},
        {"allocations", CountAllocations},
        {"check", CheckRecords},
        {"log", JustLog},
        {"loggers", MeasureLoggers},
        {"appenders", MeasureAppenders},
    };
    auto const mode = modes.find(settings.mode);
    if (mode == modes.end()) {
        throw std::runtime_error("'" + settings.mode + "' is no mode");
    }
    isChecked = settings.mode == "check";
    Destination destination(settings);  // before there is a thread: it may fork
    StartSleeper();
    Open(settings);
    mode->second(settings, destination);
}

}  // namespace

std::string TagOf(Settings const& settings) {
    std::string tag = "core";
    for (int part = 1; part < settings.depth; ++part) {
        tag += ".io";
    }
    return tag;
}

void DiscardChecked(std::string_view head, std::string_view rest) {
    std::string const line = std::string(head) + std::string(rest);
    std::size_t const end = line.find('(');
    for (std::size_t i = 0; i < line.size(); ++i) {
        bool const isDigit = line[i] >= '0' && line[i] <= '9';
        if (line[i] != '\n' && (i > end || !isDigit)) {
            checksum += static_cast<unsigned char>(line[i]);
        }
    }
}

}  // namespace tarqlog::bench

int main(int count, char** arguments) {
    using namespace tarqlog::bench;
    int const terminal = ::dup(STDERR_FILENO);  // the console rows put another in its place
    auto const complain = [&](std::string const& what) {
        std::string const line = std::string(Describe().name) + ": " + what + "\n";
        static_cast<void>(::write(terminal, line.data(), line.size()));
    };
    try {
        if (count == 2 && std::string(arguments[1]) == "describe") {
            std::cout << "{\"settings\": \"" << Describe().settings << "\", \"compiler\": \""
                      << kCompiler << "\"}\n";
        } else {
            Run(ReadArguments(count, arguments));
        }
        std::cout.flush();
        ::_exit(0);  // the sleeper sleeps on
    } catch (Cannot const& cannot) {
        complain(cannot.what());
        ::_exit(kStatusCannot);
    } catch (std::exception const& error) {
        complain(error.what());
        ::_exit(1);
    }
}
