// A running hostfe, seen from outside.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace HostFe {

// Starts the program in this process's environment, and ends it with the object.
class HostfeProcess {
public:
    explicit HostfeProcess(const std::vector<std::string>& arguments);
    HostfeProcess(const HostfeProcess&) = delete;
    HostfeProcess& operator=(const HostfeProcess&) = delete;
    ~HostfeProcess();

    // Reads what it writes to both streams until that stands there; false if it ends, or 20 s go
    // by, before.
    bool says(const std::string& text);

    void signal(int number) const;

    // The exit status once it has ended of itself; -1 if a signal ended it.
    int exitStatus();

    // All that it wrote, as far as it was read.
    const std::string& output() const { return written; }

private:
    bool readMore(int timeoutMs);

    pid_t pid = 0;
    int stream = -1;
    std::string written;
};

}  // namespace HostFe
