#include "traceRecorder.hpp"

#include <algorithm>
#include <utility>

namespace Qdx::Test {

TraceRecorder& TraceRecorder::instance() {
    static TraceRecorder recorder;
    return recorder;
}

void TraceRecorder::clear() {
    const std::lock_guard lock(mutex);
    all.clear();
    off.fill(false);
}

void TraceRecorder::turnOff(Level level) {
    const std::lock_guard lock(mutex);
    off.at(static_cast<std::size_t>(level)) = true;
}

void TraceRecorder::turnOn(Level level) {
    const std::lock_guard lock(mutex);
    off.at(static_cast<std::size_t>(level)) = false;
}

bool TraceRecorder::isOn(Level level) const {
    const std::lock_guard lock(mutex);
    return !off.at(static_cast<std::size_t>(level));
}

void TraceRecorder::record(TraceLine line) {
    const std::lock_guard lock(mutex);
    all.push_back(std::move(line));
    recorded.notify_all();
}

std::vector<TraceLine> TraceRecorder::lines() const {
    const std::lock_guard lock(mutex);
    return all;
}

std::vector<std::string> TraceRecorder::texts(Level level) const {
    const std::lock_guard lock(mutex);
    std::vector<std::string> texts;
    for (const auto& line : all) {
        if (line.level == level) {
            texts.push_back(line.text);
        }
    }
    return texts;
}

std::size_t TraceRecorder::count(Level level, const std::string& text) const {
    const std::lock_guard lock(mutex);
    return countLocked(level, text);
}

bool TraceRecorder::waitFor(Level level, const std::string& text,
                            std::chrono::seconds deadline) const {
    std::unique_lock lock(mutex);
    return recorded.wait_for(lock, deadline, [&] { return countLocked(level, text) > 0; });
}

std::size_t TraceRecorder::countLocked(Level level, const std::string& text) const {
    return static_cast<std::size_t>(std::ranges::count_if(
        all, [&](const TraceLine& line) { return line.level == level && line.text == text; }));
}

}  // namespace Qdx::Test

namespace Qdx::Backend::Trace {

bool isOn(Level level) {
    return Test::TraceRecorder::instance().isOn(level);
}

void emit(Level level, std::string_view file, unsigned line, const std::string& message) {
    Test::TraceRecorder::instance().record({level, std::string(file), line, message});
}

}  // namespace Qdx::Backend::Trace
