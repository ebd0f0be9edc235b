#include "infoObject.hpp"

#include <gmock/gmock.h>

#include <initializer_list>

namespace Qdx::Backend {

namespace {

InfoObject named(const std::string& name, std::uint32_t id = 1) {
    return {InfoObjectId{id}, name, InfoObjectType::Counter, "", "", "", {}};
}

InfoObject tagged(const std::set<std::string>& tags) {
    return {InfoObjectId{1}, "a", InfoObjectType::Counter, "", "", "", tags};
}

std::pmr::set<std::pmr::string> wanted(std::initializer_list<const char*> tags) {
    return {tags.begin(), tags.end()};
}

TEST(InfoObjectTest, GivesBackWhatItWasMadeOf) {
    const InfoObject object(InfoObjectId{4000000000}, "a:b", InfoObjectType::Record, "dBm", "0.1",
                            "CarrierEvent", {"NET", "CPU"});
    EXPECT_EQ(object.getId(), InfoObjectId{4000000000});
    EXPECT_EQ(object.getName(), "a:b");
    EXPECT_EQ(object.getType(), InfoObjectType::Record);
    EXPECT_EQ(object.getUnitType(), "dBm");
    EXPECT_EQ(object.getUnitRes(), "0.1");
    EXPECT_EQ(object.getRecordType(), "CarrierEvent");
    EXPECT_THAT(object.getTags(), testing::ElementsAre("CPU", "NET"));
}

TEST(InfoObjectTest, TypesHaveTheTextsOfTheListFile) {
    EXPECT_THAT(infoObjectTypeTexts(),
                testing::ElementsAre(testing::Pair(InfoObjectType{0}, "meas"),
                                     testing::Pair(InfoObjectType{1}, "counter"),
                                     testing::Pair(InfoObjectType{2}, "record")));
}

TEST(InfoObjectTest, IdentitiesOrderAsUnsignedNumbers) {
    EXPECT_LT(InfoObjectId{1}, InfoObjectId{0x80000000});
}

TEST(InfoObjectTest, ShorterNameSortsFirstOnATie) {
    EXPECT_LT(named("ab"), named("abc"));
    EXPECT_FALSE(named("abc") < named("ab"));
    EXPECT_LT(named("abc"), named("abd"));
}

TEST(InfoObjectTest, NamesOrderAsUnsignedBytes) {
    EXPECT_LT(named("a\x7f"), named("a\x80"));
    EXPECT_LT(named("Z"), named("a"));
}

TEST(InfoObjectTest, IdentityTakesNoPartInTheOrder) {
    EXPECT_FALSE(named("a", 1) < named("a", 2));
    EXPECT_FALSE(named("a", 2) < named("a", 1));
}

TEST(InfoObjectTest, EveryObjectHasAllOfNoTags) {
    EXPECT_TRUE(tagged({}).hasAllTags({}));
    EXPECT_TRUE(tagged({"CPU"}).hasAllTags({}));
}

TEST(InfoObjectTest, ObjectWithoutTagsHasNoneThatIsWanted) {
    EXPECT_FALSE(tagged({}).hasAllTags(wanted({"CPU"})));
}

TEST(InfoObjectTest, HasAllWantedTagsAmongMore) {
    EXPECT_TRUE(tagged({"CPU", "DISK", "NET"}).hasAllTags(wanted({"NET", "CPU"})));
}

TEST(InfoObjectTest, OneMissingTagIsEnoughToFail) {
    EXPECT_FALSE(tagged({"CPU", "DISK"}).hasAllTags(wanted({"CPU", "NET"})));
}

TEST(InfoObjectTest, TagsThatDifferInCaseOrLengthAreOthers) {
    EXPECT_FALSE(tagged({"CPU"}).hasAllTags(wanted({"cpu"})));
    EXPECT_FALSE(tagged({"CPU"}).hasAllTags(wanted({"CP"})));
    EXPECT_FALSE(tagged({"CPU"}).hasAllTags(wanted({"CPUS"})));
}

}  // namespace

}  // namespace Qdx::Backend
