// Stands for the collector in the tests of the trace: emits one statement of each level and says
// which of them were on.
//
// Prints "ready", then does its work when a line comes on standard input.
#include <iostream>
#include <string>

#include "trace.hpp"

namespace {

using Qdx::Backend::Trace::Level;

void emitAll() {
    QDX_TRACE(Error, "error " << 1);
    QDX_TRACE(Info, "info " << 2);
    QDX_TRACE(Trace5, "trace " << 5);
    QDX_TRACE(Trace6, "trace " << 6);
    QDX_TRACE(Trace7, "trace " << 7);
}

void printLevel(const char* name, Level level) {
    if (Qdx::Backend::Trace::isOn(level)) {
        std::cout << name << "\n";
    }
}

}  // namespace

int main() {
    std::cout << "ready" << std::endl;
    std::string line;
    std::getline(std::cin, line);
    emitAll();
    printLevel("ERROR", Level::Error);
    printLevel("INFO", Level::Info);
    printLevel("TRACE5", Level::Trace5);
    printLevel("TRACE6", Level::Trace6);
    printLevel("TRACE7", Level::Trace7);
    return 0;
}
