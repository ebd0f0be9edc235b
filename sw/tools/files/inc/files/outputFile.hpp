// Files that are written whole, or not at all.
#pragma once

#include <filesystem>
#include <fstream>
#include <ostream>
#include <stdexcept>
#include <string>

namespace Qdx::Files {

// A file that can't be written; the text names it.
class CannotCreate : public std::runtime_error {
public:
    using runtime_error::runtime_error;
};

// Standard output, or a file that is whole or as it was before: it is written beside its place and
// put there by commit(). What is no regular file, a device or a pipe, is written in place.
class OutputFile {
public:
    // "-" is standard output. Throws CannotCreate.
    explicit OutputFile(const std::string& path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    std::ostream& stream() { return *out; }

    // False if not all of it could be written.
    bool commit();

private:
    std::filesystem::path target;
    std::filesystem::path beside;  // empty: written in place
    std::ofstream file;
    std::ostream* out;
};

}  // namespace Qdx::Files
