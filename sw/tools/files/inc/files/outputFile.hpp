// Files that are written whole, or not at all.
#pragma once

#include <filesystem>
#include <fstream>
#include <ostream>
#include <stdexcept>
#include <string>

namespace Qdx::Files {

// A file that can't be made; the text names it.
class CannotCreate : public std::runtime_error {
public:
    using runtime_error::runtime_error;
};

// A file of which not all could be written, or that could not be put in its place; the text names
// it.
class CannotWrite : public std::runtime_error {
public:
    explicit CannotWrite(const std::string& path);
    CannotWrite(const std::string& path, const std::string& reason);
};

// Standard output, or a file that is whole or as it was before: it is written beside its place and
// put there by commit(), with the permissions of the one that it replaces. What is no regular file,
// a device or a pipe, is written in place.
class OutputFile {
public:
    // "-" is standard output. Throws CannotCreate.
    explicit OutputFile(const std::string& path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    std::ostream& stream() { return *out; }

    // Throws CannotWrite.
    void commit();

private:
    const std::string name;
    std::filesystem::path target;
    std::filesystem::path beside;  // empty: written in place
    std::ofstream file;
    std::ostream* out;
};

}  // namespace Qdx::Files
