// Stands for a process that loads a library and unloads it before its own end.
//
//     library_host LIBRARY
//
// Prints "loaded" and later "unloaded"; goes on from each when a line comes on standard input.
#include <dlfcn.h>

#include <iostream>
#include <string>

namespace {

void sayAndWait(const char* what) {
    std::cout << what << std::endl;
    std::string line;
    std::getline(std::cin, line);
}

int fail() {
    std::cerr << dlerror() << "\n";
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        return 2;
    }
    void* const library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        return fail();
    }
    sayAndWait("loaded");
    if (dlclose(library) != 0) {
        return fail();
    }
    sayAndWait("unloaded");
    return 0;
}
