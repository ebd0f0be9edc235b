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

bool isWrittenInPlace(const fs::path& path) {
    std::error_code error;
    const auto status = fs::status(path, error);
    return fs::exists(status) && !fs::is_regular_file(status);
}

}  // namespace

OutputFile::OutputFile(const std::string& path) : out(&std::cout) {
    if (path == "-") {
        return;
    }
    target = resolved(path);
    if (!isWrittenInPlace(target)) {
        beside = target;
        beside += ".new." + std::to_string(getpid());
    }
    file.open(beside.empty() ? target : beside, std::ios::binary);
    if (!file) {
        throw CannotCreate(path + ": " + std::generic_category().message(errno));
    }
    out = &file;
}

OutputFile::~OutputFile() {
    if (!beside.empty()) {
        std::error_code ignored;
        fs::remove(beside, ignored);
    }
}

bool OutputFile::commit() {
    if (file.is_open()) {
        file.close();
    }
    if (!out->flush()) {
        return false;
    }
    if (beside.empty()) {
        return true;
    }
    std::error_code error;
    fs::rename(beside, target, error);
    beside.clear();
    return !error;
}

}  // namespace Qdx::Files
