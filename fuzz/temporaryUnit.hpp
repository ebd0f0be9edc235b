// A folder of its own as UNIT_ROOT, removed at the end of the process.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "pieces.hpp"

namespace Qdx::Fuzz {

class TemporaryUnit {
public:
    TemporaryUnit() {
        require(::mkdtemp(path.data()) != nullptr);
        ::setenv("UNIT_ROOT", path.c_str(), 1);
    }
    ~TemporaryUnit() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TemporaryUnit(const TemporaryUnit&) = delete;
    TemporaryUnit& operator=(const TemporaryUnit&) = delete;

    const std::string& root() const { return path; }

private:
    std::string path = "/tmp/qdxFuzz.XXXXXX";
};

}  // namespace Qdx::Fuzz
