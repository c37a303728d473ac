// Writes more bytes than an int can count into a record, in one call.

#include <climits>
#include <cstdio>
#include <new>
#include <string>

#include "tarqlog/logrecord.h"
#include "tarqlog/logstream.h"

#include "folded_new.h"

int main() {
    constexpr std::size_t kSize = std::size_t(INT_MAX) + 10;
    char* const text = static_cast<char*>(::operator new(kSize));
    for (std::size_t i = 0; i < kFoldBytes; ++i) {
        text[i] = static_cast<char>('0' + i % 10);
    }
    tarqlog::LogRecord record(tarqlog::kInfo);
    tarqlog::LogRecordStreamBuf buffer(record);

    std::streamsize const written = buffer.sputn(text, static_cast<std::streamsize>(kSize));

    std::string const end(record.GetData().end() - 10, record.GetData().end());
    std::printf("written %td, recorded %zu, ending in %s\n", written, record.GetData().size(),
                end.c_str());
    ::operator delete(text);
}
