// The daemon with the participant of the tests.
#pragma once

#include <sys/stat.h>

#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "support/process.hpp"
#include "support/unitRoot.hpp"

namespace TestSupport {

inline std::vector<std::string> daemonWords() {
    return {QDXD, "--library", TEST_PARTICIPANT};
}

// Ready to take commands when the constructor returns. Must end well.
class Daemon : public Process {
public:
    explicit Daemon(const std::map<std::string, std::string>& environment = {})
        : Process(daemonWords(), environment) {
        awaitError("qdxd: ready");
    }
    ~Daemon() { expectGoodEnd(*this); }
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;
};

// What a participant's hold command waits for.
class HoldingPipe {
public:
    explicit HoldingPipe(const UnitRoot& unit) : path(unit.path() / "hold") {
        mkfifo(path.c_str(), 0600);
    }
    void let(const std::string& word) const { std::ofstream(path) << word << std::endl; }

    const std::string path;
};

}  // namespace TestSupport
