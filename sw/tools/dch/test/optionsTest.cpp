#include "options.hpp"

#include <gmock/gmock.h>

namespace Dch {
namespace {

using Mode = Options::Mode;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::ThrowsMessage;

TEST(OptionsTest, WordsAreTyped) {
    const auto options = parseOptions({"dch", "filter", "status"});
    EXPECT_EQ(options.mode, Mode::Type);
    EXPECT_THAT(options.words, ElementsAre("dch", "filter", "status"));
}

TEST(OptionsTest, WordsBehindASubcommandAreTheCommands) {
    EXPECT_EQ(parseOptions({"dch", "echo", "--help"}).mode, Mode::Type);
    EXPECT_EQ(parseOptions({"dch", "echo", "-i"}).mode, Mode::Type);
    EXPECT_EQ(parseOptions({"dch", "--help", "x"}).mode, Mode::Type);
    EXPECT_EQ(parseOptions({"dch", "-x"}).mode, Mode::Type);
}

TEST(OptionsTest, HelpIsForNoWordsToo) {
    EXPECT_EQ(parseOptions({"dch"}).mode, Mode::Help);
    EXPECT_EQ(parseOptions({"dch", "--help"}).mode, Mode::Help);
    EXPECT_EQ(parseOptions({"dch", "-h"}).mode, Mode::Help);
    EXPECT_EQ(parseOptions({"dch", "--version"}).mode, Mode::Version);
}

TEST(OptionsTest, SessionMayKeepGoing) {
    for (const auto& words : {Words{"dch", "-i"}, Words{"dch", "--interactive"}}) {
        const auto options = parseOptions(words);
        EXPECT_EQ(options.mode, Mode::Session);
        EXPECT_FALSE(options.keepGoing);
        EXPECT_THAT(options.words, ElementsAre("dch"));
    }
    for (const auto& words :
         {Words{"dch", "-i", "-k"}, Words{"dch", "--keep-going", "--interactive"}}) {
        const auto options = parseOptions(words);
        EXPECT_EQ(options.mode, Mode::Session);
        EXPECT_TRUE(options.keepGoing);
    }
}

TEST(OptionsTest, SessionTakesNoOtherWords) {
    EXPECT_THAT(
        [] {
            parseOptions({"dch", "-i", "script"});
        },
        ThrowsMessage<WrongUsage>(HasSubstr("'script'")));
    EXPECT_THAT(
        [] {
            parseOptions({"dch", "-k"});
        },
        ThrowsMessage<WrongUsage>(HasSubstr("--interactive")));
}

TEST(OptionsTest, CompletionHasAtLeastAnEmptyWord) {
    const auto options = parseOptions({"rodc", "--complete", "-i", "--complete"});
    EXPECT_EQ(options.mode, Mode::Complete);
    EXPECT_THAT(options.words, ElementsAre("rodc", "-i", "--complete"));
    EXPECT_THAT(parseOptions({"rodc", "--complete"}).words, ElementsAre("rodc", ""));
}

TEST(OptionsTest, AreCompleted) {
    EXPECT_THAT(completeOption("-"),
                ElementsAre("--help", "--interactive", "--keep-going", "--version"));
    EXPECT_THAT(completeOption("--i"), ElementsAre("--interactive"));
    EXPECT_THAT(completeOption("-x"), IsEmpty());
}

}  // namespace
}  // namespace Dch
