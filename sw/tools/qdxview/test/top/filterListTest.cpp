#include "filterList.hpp"

#include <gmock/gmock.h>

namespace Qdxview {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

ListedFilter filter(std::int64_t id, const std::string& name) {
    ListedFilter made;
    made.id = id;
    made.name = name;
    made.enabled = true;
    return made;
}

TEST(FilterListTest, ReadsFiltersOfBothListings) {
    const auto filters = parseListing(
        "Current Filter(s):\n"
        " Filter quiet (12): Enabled: No, FilterTag(s):\n"
        " Filter 13 (13): Enabled: Yes, FilterTag(s): CPU, NET\n"
        "Current Filter(s):\n"
        " Filter overview (11): Enabled: Yes, FilterTag(s): CPU\n"
        "  name (tags)\n"
        "   load (CPU LOAD)\n"
        "\n");
    ASSERT_THAT(filters, SizeIs(3));
    EXPECT_EQ(filters[0].id, 11);
    EXPECT_EQ(filters[0].name, "overview");
    EXPECT_TRUE(filters[0].isPrescribed());
    EXPECT_TRUE(filters[0].captures);
    EXPECT_EQ(filters[1].name, "quiet");
    EXPECT_FALSE(filters[1].enabled);
    EXPECT_EQ(filters[1].tags, "");
    EXPECT_EQ(filters[2].name, "13");
    EXPECT_TRUE(filters[2].enabled);
    EXPECT_EQ(filters[2].tags, "CPU, NET");
    EXPECT_FALSE(filters[2].isPrescribed());
    EXPECT_FALSE(filters[2].captures);
}

TEST(FilterListTest, AnEmptyListOfObjectsIsNoCapture) {
    const auto filters =
        parseListing(" Filter overview (11): Enabled: Yes, FilterTag(s): CPU\n  name (tags)\n\n");
    EXPECT_FALSE(filters.at(0).captures);
}

TEST(FilterListTest, NamesMayLookLikeTheRestOfTheLine) {
    const auto filters = parseListing(
        " Filter a (9): Enabled: No, FilterTag(s): X (11): Enabled: Yes, FilterTag(s): CPU\n");
    ASSERT_THAT(filters, SizeIs(1));
    EXPECT_EQ(filters[0].id, 11);
    EXPECT_EQ(filters[0].name, "a (9): Enabled: No, FilterTag(s): X");
    EXPECT_EQ(filters[0].tags, "CPU");
}

TEST(FilterListTest, LeavesOutWhatItDoesNotUnderstand) {
    for (const auto* line :
         {"", "No filters found\n", "Filter 1 (1): Enabled: Yes, FilterTag(s):\n", " Filter \n",
          " Filter x (y): Enabled: Yes, FilterTag(s):\n",
          " Filter x (99999999999999999999): Enabled: Yes, FilterTag(s):\n",
          " Filter x (1): Enabled: Yes\n", " Filter (1): Enabled: Yes, FilterTag(s):\n",
          "   load (CPU)\n"}) {
        EXPECT_THAT(parseListing(line), IsEmpty()) << line;
    }
}

TEST(FilterListTest, AFilterIsReachedByItsIdOrElseByItsName) {
    const std::vector<ListedFilter> all{filter(11, "13"), filter(12, "load"), filter(13, "net")};
    EXPECT_EQ(wordFor(all[1], all), "12");
    EXPECT_EQ(wordFor(all[2], all), "net") << "13 is the name of another one";
    EXPECT_EQ(reachedBy("13", all), &all[0]);
    EXPECT_EQ(reachedBy("load", all), &all[1]);
    EXPECT_EQ(reachedBy("14", all), nullptr);
}

TEST(FilterListTest, AFilterBehindOthersNamesIsNotReached) {
    const std::vector<ListedFilter> all{filter(11, "12"), filter(12, "12")};
    EXPECT_EQ(wordFor(all[1], all), std::nullopt);
    const std::vector<ListedFilter> blanks{filter(11, "12"), filter(12, "two words")};
    EXPECT_EQ(wordFor(blanks[1], blanks), std::nullopt);
}

}  // namespace
}  // namespace Qdxview
