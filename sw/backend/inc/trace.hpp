// Trace statements: all diagnostics of the collector.
#pragma once

#include <sstream>
#include <string>
#include <string_view>

// Emits one trace event: QDX_TRACE(Error, "Could not open file " << path). The message is built
// only if the level is on. Never throws: a message that can't be built is lost.
#define QDX_TRACE(level, ...)                                                      \
    do {                                                                           \
        if (::Qdx::Backend::Trace::isOn(::Qdx::Backend::Trace::Level::level)) {    \
            ::Qdx::Backend::Trace::write(                                          \
                ::Qdx::Backend::Trace::Level::level,                               \
                ::Qdx::Backend::Trace::shortFileName(__FILE__), __LINE__,          \
                [&](std::ostream& qdxTraceText) { qdxTraceText << __VA_ARGS__; }); \
        }                                                                          \
    } while (false)

namespace Qdx::Backend::Trace {

enum class Level { Error, Info, Trace5, Trace6, Trace7 };

// The two functions behind every statement. The library sends events to LTTng, tests record them.
// emit may throw std::bad_alloc, which ends with the statement. Any thread may call.
bool isOn(Level level);
void emit(Level level, std::string_view file, unsigned line, const std::string& message);

// Emits what stream writes. Diagnostics never become a failure of what they tell about.
template <typename Stream>
void write(Level level, std::string_view file, unsigned line, Stream stream) noexcept {
    try {
        std::ostringstream text;
        stream(text);
        emit(level, file, line, text.str());
    } catch (...) {
        return;
    }
}

// The part of a compile-time path behind its last separator.
constexpr std::string_view shortFileName(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

}  // namespace Qdx::Backend::Trace
