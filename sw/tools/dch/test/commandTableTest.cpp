#include "commandTable.hpp"

#include <gmock/gmock.h>

namespace Dch {
namespace {

using testing::ElementsAre;

TEST(CommandTableTest, HasTheSyntaxBeforeATabAndTheHelpBehind) {
    EXPECT_THAT(parseTable("dch a <x>\tDoes a.\ndch b\t\ndch c\n"),
                ElementsAre(Row{"dch a <x>", "Does a."}, Row{"dch b", ""}, Row{"dch c", ""}));
}

TEST(CommandTableTest, IsLaidOutWithTheHelpBelowTheSyntax) {
    EXPECT_EQ(layOutTable({{"dch a <x>", "Does a."}, {"dch b", ""}}),
              "  dch a <x>\n      Does a.\n  dch b\n");
}

TEST(CommandTableTest, IsLaidOutWithoutItsHelpToFitAScreen) {
    EXPECT_EQ(layOutSyntax({{"dch a <x>", "Does a."}, {"dch b", ""}}), "  dch a <x>\n  dch b\n");
}

TEST(CommandTableTest, CutsHelpBetweenWordsBeforeColumn80) {
    const std::string word(34, 'w');
    EXPECT_EQ(layOutTable({{"s", word + ' ' + word + ' ' + word}}),
              "  s\n      " + word + ' ' + word + "\n      " + word + '\n');
    EXPECT_EQ(layOutTable({{"s", std::string(100, 'w')}}),
              "  s\n      " + std::string(100, 'w') + '\n');
}

}  // namespace
}  // namespace Dch
