// How far a long pull is, for the person who waits.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ostream>

namespace Qfci {

// One line that is written over: "  12.3 MB, 4.5 MB/s". Short pulls show nothing, and the line goes
// with this object.
class Progress {
public:
    using Time = std::chrono::steady_clock::time_point;

    // A null terminal shows nothing.
    Progress(std::ostream* terminal, Time begin);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void add(std::size_t bytes, Time now);

private:
    std::ostream* const out;
    const Time start;
    Time nextShow;
    std::uint64_t total = 0;
    bool shown = false;
};

}  // namespace Qfci
