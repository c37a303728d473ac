// Hands a text of SIZE characters to one of the functions that write a text whole. Prints what it
// answers.
//
// Usage: huge_text WriteFile|Write|WriteAll SIZE FILE

#include <cstdio>
#include <cstdlib>
#include <string>

#include "tarqlog/file.h"

int main(int argc, char** argv) {
    using tarqlog::log_utils::File;
    if (argc != 4) {
        return 2;
    }
    std::string const operation = argv[1];
    std::string const text(std::strtoull(argv[2], nullptr, 10), 'x');
    std::string const path = argv[3];
    int const answer = operation == "WriteFile" ? tarqlog::log_utils::WriteFile(path, text)
                       : operation == "Write"   ? File(path, File::kWrite).Write(text)
                                                : File(path, File::kWrite).WriteAll(text);
    std::printf("%d\n", answer);
}
