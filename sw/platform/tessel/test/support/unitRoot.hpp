// A unit of the test's own: its paths lie in a temporary directory.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace TestSupport {

class UnitRoot {
public:
    UnitRoot() {
        std::string name = std::filesystem::temp_directory_path() / "unitXXXXXX";
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary directory");
        }
        path_ = name;
        setenv("UNIT_ROOT", name.c_str(), 1);
    }
    ~UnitRoot() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    UnitRoot(const UnitRoot&) = delete;
    UnitRoot& operator=(const UnitRoot&) = delete;

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

}  // namespace TestSupport
