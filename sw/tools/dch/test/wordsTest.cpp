#include "words.hpp"

#include <gmock/gmock.h>

namespace Dch {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(WordsTest, AreSeparatedByAnyNumberOfBlanks) {
    EXPECT_THAT(splitWords("fs add  0\ttags CPU"), ElementsAre("fs", "add", "0", "tags", "CPU"));
    EXPECT_THAT(splitWords("  list \t"), ElementsAre("list"));
}

TEST(WordsTest, EndBeforeACarriageReturn) {
    EXPECT_THAT(splitWords("filter status\r"), ElementsAre("filter", "status"));
}

TEST(WordsTest, KeepWhatOtherShellsWouldInterpret) {
    EXPECT_THAT(splitWords("'a b' \"c\" \\ #d $e"),
                ElementsAre("'a", "b'", "\"c\"", "\\", "#d", "$e"));
}

TEST(WordsTest, AreNoneInAnEmptyLine) {
    EXPECT_THAT(splitWords(""), IsEmpty());
    EXPECT_THAT(splitWords(" \t\r"), IsEmpty());
}

TEST(LinesTest, EndAtNewlinesAndTheLastNeedsNone) {
    EXPECT_THAT(splitLines("a\n\nb c\n"), ElementsAre("a", "", "b c"));
    EXPECT_THAT(splitLines("a\nb"), ElementsAre("a", "b"));
    EXPECT_THAT(splitLines(""), IsEmpty());
}

}  // namespace
}  // namespace Dch
