#include "files/outputFile.hpp"

#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <system_error>

namespace Qdx::Files {

namespace {

namespace fs = std::filesystem;

// A link stays a link: its target is replaced.
fs::path resolved(const std::string& path) {
    std::error_code error;
    const auto target = fs::canonical(path, error);
    return error ? fs::path(path) : target;
}

// Nothing can stand beside a file without a name.
bool isWrittenInPlace(const fs::path& path) {
    std::error_code error;
    const auto status = fs::status(path, error);
    return path.empty() || (fs::exists(status) && !fs::is_regular_file(status));
}

// Whoever could not read the older file can't read the one that replaces it.
void takePermissions(const fs::path& from, const fs::path& to) {
    std::error_code error;
    const auto older = fs::status(from, error);
    if (fs::exists(older)) {
        fs::permissions(to, older.permissions(), error);
    }
}

std::string nameOf(const std::string& path) {
    return path == "-" ? "the output" : path;
}

}  // namespace

CannotWrite::CannotWrite(const std::string& path) : runtime_error("cannot write " + nameOf(path)) {}

CannotWrite::CannotWrite(const std::string& path, const std::string& reason)
    : runtime_error("cannot write " + nameOf(path) + ": " + reason) {}

OutputFile::OutputFile(const std::string& path) : name(path), out(&std::cout) {
    if (name == "-") {
        return;
    }
    target = resolved(name);
    if (!isWrittenInPlace(target)) {
        beside = target;
        beside += ".new." + std::to_string(getpid());
    }
    file.open(beside.empty() ? target : beside, std::ios::binary);
    if (!file) {
        throw CannotCreate(name + ": " + std::generic_category().message(errno));
    }
    if (!beside.empty()) {
        takePermissions(target, beside);
    }
    out = &file;
}

OutputFile::~OutputFile() {
    if (!beside.empty()) {
        std::error_code ignored;
        fs::remove(beside, ignored);
    }
}

void OutputFile::commit() {
    if (file.is_open()) {
        file.close();
    }
    if (!out->flush()) {
        throw CannotWrite(name);
    }
    if (beside.empty()) {
        return;
    }
    std::error_code error;
    fs::rename(beside, target, error);
    if (error) {
        throw CannotWrite(name, error.message());
    }
    beside.clear();
}

}  // namespace Qdx::Files
