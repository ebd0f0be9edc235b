#include "corbel/dbRegistry.hpp"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "corbel/tomlDatabase.hpp"

namespace Corbel::V1 {
namespace {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

[[noreturn]] void throwUnreadable(const std::string& path, int error) {
    throw std::runtime_error(
        path + ": cannot read the database: " + std::generic_category().message(error));
}

// Empty if there is no such file.
std::optional<std::string> readFile(const std::string& path) {
    const std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "re"));
    if (!file) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        throwUnreadable(path, errno);
    }
    std::string text;
    std::array<char, 4096> chunk{};
    while (const std::size_t size = std::fread(chunk.data(), 1, chunk.size(), file.get())) {
        text.append(chunk.data(), size);
    }
    if (std::ferror(file.get()) != 0) {
        throwUnreadable(path, errno);
    }
    return text;
}

class DbRegistry final : public DbRegistryIf {
public:
    std::shared_ptr<DbHandleIf> openDatabase(const std::string& path) override {
        const char* unitRoot = ::secure_getenv("UNIT_ROOT");
        const std::string file = (unitRoot == nullptr ? "" : unitRoot) + path;
        return parseDatabase(readFile(file).value_or(""), file);
    }
};

}  // namespace

DbRegistryIf& DbRegistryIf::getInstance() {
    static DbRegistry registry;
    return registry;
}

}  // namespace Corbel::V1
