// The trace of tests: what stands behind trace statements when no product trace is linked.
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "trace.hpp"

namespace Qdx::Test {

struct TraceLine {
    Backend::Trace::Level level;
    std::string file;
    unsigned line;
    std::string text;
};

// Keeps every line that any thread emits, in order of arrival, until clear(). All levels are on at
// first. Any thread may call.
//
//     TraceRecorder::instance().clear();
//     ...
//     EXPECT_THAT(TraceRecorder::instance().texts(Level::Error), ElementsAre("No file x"));
class TraceRecorder {
public:
    using Level = Backend::Trace::Level;

    static TraceRecorder& instance();

    // Forgets all lines and turns every level on.
    void clear();

    void turnOff(Level level);
    void turnOn(Level level);
    bool isOn(Level level) const;

    void record(TraceLine line);

    std::vector<TraceLine> lines() const;
    // The texts of one level.
    std::vector<std::string> texts(Level level) const;
    // How often the exact text stands at the level.
    std::size_t count(Level level, const std::string& text) const;

    // Waits until the exact text stands at the level; false when it didn't come in time.
    bool waitFor(Level level, const std::string& text,
                 std::chrono::seconds deadline = std::chrono::seconds(20)) const;

private:
    std::size_t countLocked(Level level, const std::string& text) const;

    mutable std::mutex mutex;
    mutable std::condition_variable recorded;
    std::vector<TraceLine> all;
    std::array<bool, 5> off{};
};

}  // namespace Qdx::Test
