#include "textTable.hpp"

#include <gtest/gtest.h>

namespace DchFilter {
namespace {

TEST(TextTable, CutsLinesBetweenWords) {
    const std::string word(39, 'x');
    EXPECT_EQ(wrapped(word + ' ' + word + ' ' + word, 0), word + ' ' + word + '\n' + word + '\n');
    EXPECT_EQ(wrapped(word + ' ' + word + ' ' + word, 2),
              "  " + word + "\n  " + word + "\n  " + word + '\n');
}

TEST(TextTable, FillsTheScreenToItsLastColumn) {
    const std::string word(40, 'x');
    EXPECT_EQ(wrapped(word + ' ' + std::string(39, 'y'), 0),
              word + ' ' + std::string(39, 'y') + '\n');
}

TEST(TextTable, GivesALongWordALineOfItsOwn) {
    EXPECT_EQ(wrapped("a " + std::string(100, 'x') + " b", 1),
              " a\n " + std::string(100, 'x') + "\n b\n");
}

TEST(TextTable, IsEmptyWithoutWords) {
    EXPECT_EQ(wrapped("  ", 4), "");
}

TEST(TextTable, PutsNamesLeftAndNumbersRight) {
    EXPECT_EQ(laidOut({{"A", "N"}, {"long", "12"}}, 1), " A      N\n long  12\n");
}

TEST(TextTable, LeavesNoBlanksAtTheEndOfARow) {
    EXPECT_EQ(laidOut({{"A", "N", "M"}, {"b", "", ""}}, 0), "A  N  M\nb\n");
}

}  // namespace
}  // namespace DchFilter
