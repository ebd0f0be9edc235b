#include "files/inputFile.hpp"

#include <gtest/gtest.h>

#include <sstream>

#include "errorText.hpp"
#include "files/badInput.hpp"
#include "temporaryFolder.hpp"

namespace Qdx::Files {
namespace {

TEST(InputFile, GivesAllBytes) {
    const TemporaryFolder folder;
    const std::string bytes("a\0\n\xFF", 4);
    EXPECT_EQ(readFile(folder.write("input", bytes), 4), bytes);
}

TEST(InputFile, GivesMoreThanOneChunk) {
    std::istringstream stream(std::string(100'000, 'x'));
    EXPECT_EQ(readAll(stream, "", 100'000), std::string(100'000, 'x'));
}

TEST(InputFile, RefusesInputPastTheLimit) {
    std::istringstream stream("12345");
    EXPECT_EQ(errorText<BadInput>([&] { readAll(stream, "standard input", 4); }),
              "standard input: longer than 4 bytes");
}

// An input without end is left in the middle.
TEST(InputFile, ReadsNoFurtherThanTheLimit) {
    EXPECT_EQ(errorText<BadInput>([] { readFile("/dev/zero", 1000); }),
              "/dev/zero: longer than 1000 bytes");
}

TEST(InputFile, TellsWhyAFileCannotBeOpened) {
    const TemporaryFolder folder;
    const auto path = folder.path("missing");
    EXPECT_EQ(errorText<NoInput>([&] { readFile(path, 10); }),
              path + ": No such file or directory");
}

// The first page of a process is never mapped.
TEST(InputFile, TellsOfAFileThatCannotBeRead) {
    EXPECT_EQ(errorText<NoInput>([] { readFile("/proc/self/mem", 10); }),
              "/proc/self/mem: cannot be read to its end");
}

TEST(InputFile, RefusesADirectory) {
    const TemporaryFolder folder;
    const auto path = folder.path("");
    EXPECT_EQ(errorText<NoInput>([&] { readFile(path, 10); }), path + ": is a directory");
}

}  // namespace
}  // namespace Qdx::Files
