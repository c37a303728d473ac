// What each of the libraries offers that one program brings together.

#ifndef NEIGHBOUR_H_
#define NEIGHBOUR_H_

#include <string>

struct Neighbour {
    /// The one whose core this library uses.
    void const* core;
    /// Appends to `heard`, which must outlive the program's logging, what is logged from now on.
    void (*listen)(std::string& heard);
    void (*say)(const char* text);
    /// What is logged from now on and begins with "!" throws, out of this library's appender.
    void (*object)();
    /// Lets an exception of the library's out.
    void (*openNoFile)();
};

#endif  // NEIGHBOUR_H_
