// The trace of the product: sends events to the LTTng provider, which is loaded together with this
// library if it can be.
#include <dlfcn.h>

#include <atomic>

#include "lttngLevels.h"
#include "trace.hpp"

namespace Qdx::Backend::Trace {

namespace {

constexpr auto providerName = "libqdxbe_lttng.so";

// Null while there is no provider: every level is off then. Constant before and after all other
// static objects, so statements in their constructors and destructors are safe.
std::atomic<const qdxbe_lttng_level*> levels{nullptr};

// The provider in the directory of this library.
std::string besideThisLibrary(const std::string& fileName) {
    Dl_info library{};
    if (dladdr(&levels, &library) == 0 || library.dli_fname == nullptr) {
        return fileName;
    }
    const std::string path = library.dli_fname;
    return path.substr(0, path.rfind('/') + 1) + fileName;
}

// A provider that can't be loaded, or LTTng-UST behind it, is no fault: the collector then runs
// without trace.
class Provider {
public:
    Provider() : library(dlopen(besideThisLibrary(providerName).c_str(), RTLD_NOW | RTLD_LOCAL)) {
        if (library == nullptr) {
            library = dlopen(providerName, RTLD_NOW | RTLD_LOCAL);
        }
        if (library != nullptr) {
            levels = static_cast<const qdxbe_lttng_level*>(dlsym(library, "qdxbe_lttng_levels"));
        }
    }

    ~Provider() {
        levels = nullptr;
        if (library != nullptr) {
            dlclose(library);
        }
    }

    Provider(const Provider&) = delete;
    Provider& operator=(const Provider&) = delete;

private:
    void* library;
};

const Provider provider;

const qdxbe_lttng_level* find(Level level) {
    const auto* first = levels.load(std::memory_order_acquire);
    return first == nullptr ? nullptr : first + static_cast<int>(level);
}

}  // namespace

bool isOn(Level level) {
    const auto* found = find(level);
    return found != nullptr && found->is_on() != 0;
}

void emit(Level level, std::string_view file, unsigned line, const std::string& message) {
    if (const auto* found = find(level)) {
        found->emit(std::string(file).c_str(), line, message.c_str());
    }
}

}  // namespace Qdx::Backend::Trace
