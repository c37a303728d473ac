// Drives libraries through the same faults with the same lines and prints what became of these.
//
// Usage: faults [-r ROW]... PLANTED TARQLOG [PEER...]
//
// Each is a writer, driver.cpp with a library: first the planted one, then ours, then the peers. A
// ROW is any part of a row's name. Ends with status 1 when a planted flaw is not noticed, a fault
// has not struck, or a goal of ours is missed; with 2 when there is no whole table.

#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "faults/rows.h"

namespace tarqlog::faults {
namespace {

struct Request {
    std::vector<std::string> rows;
    std::vector<Peer> peers;  // the planted one first
};

Request Read(int count, char** arguments) {
    Request request;
    for (int i = 1; i < count; ++i) {
        std::string const argument = arguments[i];
        if (argument == "-r" && i + 1 < count) {
            request.rows.emplace_back(arguments[++i]);
        } else {
            request.peers.push_back(AskPeer(argument));
        }
    }
    if (request.peers.size() < 2) {
        throw std::runtime_error("usage: faults [-r ROW]... PLANTED TARQLOG [PEER...]");
    }
    return request;
}

bool IsWanted(Row const& row, std::vector<std::string> const& wanted) {
    bool isWanted = wanted.empty();
    for (std::string const& part : wanted) {
        isWanted = isWanted || std::string(row.name).find(part) != std::string::npos;
    }
    return isWanted;
}

/// Whether the judge tells the flaw from its opposite.
bool Notices(Peer const& planted, std::string const& flaw, long Verdict::*count) {
    long const without = JudgePlanted(planted, "").*count;
    long const with = JudgePlanted(planted, flaw).*count;
    std::cerr << "a writer that " << flaw << " lines now and then: " << with << " of 10000 found\n";
    return without == 0 && with > 0;
}

void PrintCells(std::vector<std::string> const& cells) {
    for (std::string const& cell : cells) {
        std::cout << "| " << cell << ' ';
    }
    std::cout << "|\n";
}

int Run(Request const& request) {
    Peer const& planted = request.peers.front();
    std::vector<Peer> const peers(request.peers.begin() + 1, request.peers.end());
    bool isWell = Notices(planted, "loses", &Verdict::lost) &&
                  Notices(planted, "doubles", &Verdict::doubled) &&
                  Notices(planted, "tears", &Verdict::torn) &&
                  Notices(planted, "reorders", &Verdict::reordered);
    std::vector<std::string> cells = {"fault"};
    for (Peer const& peer : peers) {
        cells.push_back(peer.name);
    }
    PrintCells(cells);
    PrintCells(std::vector<std::string>(cells.size(), "---"));
    std::string missed;
    for (Row const& row : Rows()) {
        if (!IsWanted(row, request.rows)) {
            continue;
        }
        cells = {row.name};
        for (Peer const& peer : peers) {
            Outcome const outcome = RunRow(row, peer, false);
            cells.push_back(ToText(outcome));
            if (&peer == &peers.front()) {
                std::string const miss =
                    row.miss(outcome) + (outcome.hits == 0 ? "the fault has not struck; " : "");
                missed +=
                    miss.empty() ? "" : "faults: " + std::string(row.name) + ": " + miss + '\n';
            }
        }
        PrintCells(cells);
        std::cout.flush();
    }
    std::cout << '\n';
    for (Peer const& peer : peers) {
        std::cout << "- " << peer.name << ": " << peer.settings << '\n';
    }
    std::cerr << missed;
    return isWell && missed.empty() ? 0 : 1;
}

}  // namespace
}  // namespace tarqlog::faults

int main(int count, char** arguments) {
    try {
        return tarqlog::faults::Run(tarqlog::faults::Read(count, arguments));
    } catch (std::exception const& error) {
        std::cerr << "faults: " << error.what() << '\n';
        return 2;
    }
}
