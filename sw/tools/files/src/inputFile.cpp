#include "files/inputFile.hpp"

#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "files/badInput.hpp"

namespace Qdx::Files {

std::string readAll(std::istream& stream, const std::string& source, std::size_t limit) {
    std::string text;
    std::array<char, 16384> chunk{};
    while (stream.read(chunk.data(), chunk.size()), stream.gcount() > 0) {
        text.append(chunk.data(), static_cast<std::size_t>(stream.gcount()));
        if (text.size() > limit) {
            throw BadInput(source + ": longer than " + std::to_string(limit) + " bytes");
        }
    }
    if (stream.bad()) {
        throw NoInput(source + ": cannot be read to its end");
    }
    return text;
}

std::string readFile(const std::string& path, std::size_t limit) {
    std::error_code unknown;
    if (std::filesystem::is_directory(path, unknown)) {
        throw NoInput(path + ": is a directory");
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw NoInput(path + ": " + std::generic_category().message(errno));
    }
    return readAll(file, path, limit);
}

}  // namespace Qdx::Files
