#include "textListing.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace Qdx::Pull {
namespace {

class TextListingTest : public testing::Test {
protected:
    std::string lines() const {
        std::ostringstream out;
        writeText(out, message, catalogue, Glyphs::Unicode);
        return out.str();
    }

    Qdx::InfoObjectCollections message;
    Catalogue catalogue;
};

TEST_F(TextListingTest, TellsAllOfAValueInALine) {
    auto& collection = *message.add_measurementcollections();
    collection.set_id(7);
    collection.add_values(431);
    collection.add_values(-2);
    collection.add_timestamps(1'714'557'600);
    collection.add_timestamps(1'714'557'601);
    collection.mutable_context()->set_rf_branch(3);
    collection.mutable_max()->set_size(10);
    catalogue = Catalogue({{7, {"tx:power", "dBm", "0.1", "", {}}}});
    EXPECT_EQ(lines(),
              "2024-05-01T10:00:00Z tx:power rfBranch=3 max count 10 43.1 dBm\n"
              "2024-05-01T10:00:01Z tx:power rfBranch=3 max count 10 -0.2 dBm\n");
}

TEST_F(TextListingTest, ShowsWhatThereIsNot) {
    message.add_countercollections()->add_values(5);
    EXPECT_EQ(lines(), "- 0 - ? 5\n");
}

TEST_F(TextListingTest, ShowsRecordsOfAnUnknownTypeByTheirBytes) {
    message.add_recordcollections()->add_values("ab");
    EXPECT_EQ(lines(), "- 0 - ? 2 bytes 6162\n");
}

TEST_F(TextListingTest, LetsNoInputSteerTheTerminal) {
    message.add_countercollections()->add_values(5);
    catalogue = Catalogue({{0, {"a\x1b[2J\nb", "\xFF", "", "", {}}}});
    EXPECT_EQ(lines(), "- a?[2J?b - ? 5 ?\n");
}

}  // namespace
}  // namespace Qdx::Pull
