// Loads the library named by its argument, unloads it, and forks. Ends with status 2 when the
// library stays, so that nothing would be shown.

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

int main(int, char* arguments[]) {
    void* const library = ::dlopen(arguments[1], RTLD_NOW);
    if (library == nullptr || ::dlclose(library) != 0 ||
        ::dlopen(arguments[1], RTLD_NOW | RTLD_NOLOAD) != nullptr) {
        return 2;
    }
    pid_t const child = ::fork();
    if (child == 0) {
        ::_exit(0);
    }
    int status = -1;
    bool const ended = ::waitpid(child, &status, 0) == child && status == 0;
    std::_Exit(ended ? 0 : 1);  // the library's core stays for ever, which is a leak by now
}
