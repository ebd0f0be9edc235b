#include "inputFile.hpp"

#include <gtest/gtest.h>

#include <sstream>

#include "badInput.hpp"
#include "errorText.hpp"
#include "unitRoot.hpp"

namespace DchFilter {
namespace {

TEST(InputFile, GivesAllBytes) {
    const Qdx::Test::UnitRoot root;
    const std::string bytes("a\0\n\xFF", 4);
    EXPECT_EQ(readFile(root.write("input", bytes), 4), bytes);
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
    const Qdx::Test::UnitRoot root;
    const std::string path = root.path() / "missing";
    EXPECT_EQ(errorText<NoInput>([&] { readFile(path, 10); }),
              path + ": No such file or directory");
}

TEST(InputFile, RefusesADirectory) {
    const Qdx::Test::UnitRoot root;
    EXPECT_EQ(errorText<NoInput>([&] { readFile(root.path(), 10); }),
              root.path().string() + ": is a directory");
}

}  // namespace
}  // namespace DchFilter
