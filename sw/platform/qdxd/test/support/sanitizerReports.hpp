// What a sanitizer finds in the programs that a test runs.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

namespace TestSupport {

// In a build with sanitizers the program, and what it starts, writes reports to files: leaks at its
// end, wrong accesses, races. Each fails the test that this object goes in, whatever the test makes
// of the program's status and output. In other builds it does nothing.
class SanitizerReports {
public:
    SanitizerReports() {
        if (variable() != nullptr) {
            std::string pattern = std::filesystem::temp_directory_path() / "reports.XXXXXX";
            if (mkdtemp(pattern.data()) != nullptr) {
                folder = pattern;
            }
        }
    }
    ~SanitizerReports() {
        if (folder.empty()) {
            return;
        }
        for (const auto& report : std::filesystem::directory_iterator(folder)) {
            std::ifstream file(report.path());
            ADD_FAILURE() << std::string(std::istreambuf_iterator<char>(file), {});
        }
        std::filesystem::remove_all(folder);
    }
    SanitizerReports(const SanitizerReports&) = delete;
    SanitizerReports& operator=(const SanitizerReports&) = delete;

    // For the program.
    std::map<std::string, std::string> environment() const {
        if (folder.empty()) {
            return {};
        }
        const char* const given = std::getenv(variable());
        return {{variable(), std::string(given == nullptr ? "" : given)
                                 .append(":log_path=")
                                 .append(folder / "report")}};
    }

private:
    static const char* variable() {
#if defined(__SANITIZE_ADDRESS__)
        return "ASAN_OPTIONS";
#elif defined(__SANITIZE_THREAD__)
        return "TSAN_OPTIONS";
#else
        return nullptr;
#endif
    }

    std::filesystem::path folder;
};

}  // namespace TestSupport
