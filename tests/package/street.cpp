// Three shared libraries, which know nothing of each other, log with one core, and what the library
// throws in one of them is caught in another by its type. Prints what is wrong and fails, if it is.
//
// Usage: street LIBRARY...

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <tarqlog/error.h>
#include <tarqlog/file.h>
#include <tarqlog/logcore.h>

#include "neighbour.h"

namespace {

/// Nothing of the library is seen by the others.
Neighbour Load(const char* path) {
    void* const library = ::dlopen(path, RTLD_NOW | RTLD_LOCAL);
    void* const symbol = library != nullptr ? ::dlsym(library, "GetNeighbour") : nullptr;
    if (symbol == nullptr) {
        std::fprintf(stderr, "street: %s\n", ::dlerror());
        std::exit(1);
    }
    return reinterpret_cast<Neighbour (*)()>(symbol)();
}

std::string WhatOpeningThrows(Neighbour const& neighbour) {
    try {
        neighbour.openNoFile();
    } catch (tarqlog::log_utils::OpenFileError const& error) {
        return "open: " + std::string(error.what()) + '\n';
    } catch (...) {
        return "open: something else\n";
    }
    return "open: nothing\n";
}

std::string WhatSayingThrows(Neighbour const& neighbour, const char* text) {
    try {
        neighbour.say(text);
    } catch (tarqlog::log_utils::Error const& error) {
        return "say: " + std::string(error.what()) + '\n';
    } catch (...) {
        return "say: something else\n";
    }
    return "say: nothing\n";
}

char const* const expected =
    "left hears \"from left\"\n"
    "right hears \"from left\"\n"
    "left hears \"from middle\"\n"
    "right hears \"from middle\"\n"
    "left hears \"from right\"\n"
    "right hears \"from right\"\n"
    "open: No such file or directory: /no/left\n"
    "open: No such file or directory: /no/middle\n"
    "open: No such file or directory: /no/right\n"
    "left hears \"!\"\n"
    "right hears \"!\"\n"
    "say: middle objects\n";

}  // namespace

int main(int argc, char** argv) {
    std::vector<Neighbour> neighbours;
    for (int i = 1; i < argc; ++i) {
        neighbours.push_back(Load(argv[i]));
        if (neighbours.back().core != tarqlog::LogCore::Get()) {
            std::fprintf(stderr, "street: %s has a core of its own\n", argv[i]);
            return 1;
        }
    }
    std::string happened;
    neighbours.at(0).listen(happened);
    neighbours.at(2).listen(happened);
    neighbours.at(0).say("from left");
    neighbours.at(1).say("from middle");
    neighbours.at(2).say("from right");
    for (Neighbour const& neighbour : neighbours) {
        happened += WhatOpeningThrows(neighbour);
    }
    neighbours.at(1).object();
    happened += WhatSayingThrows(neighbours.at(2), "!");
    if (happened != expected) {
        std::fprintf(stderr, "street: this happened:\n%sinstead of this:\n%s", happened.c_str(),
                     expected);
        return 1;
    }
    return 0;
}
