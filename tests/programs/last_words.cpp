#include "last_words.h"

namespace {

// Constructed before all others of a static program, and thus destroyed after them; as a shared
// library this is initialised before the logging library.
class LastWords {
public:
    LastWords() : function(nullptr) {}
    ~LastWords() {
        if (function != nullptr) {
            function();
        }
    }

    LastWords(LastWords const&) = delete;
    LastWords& operator=(LastWords const&) = delete;

    void (*function)();
};

__attribute__((init_priority(101))) LastWords lastWords;

}  // namespace

void SetLastWords(void (*function)()) {
    lastWords.function = function;
}
