#include "observer.hpp"

#include <gmock/gmock.h>

namespace Qdxview {
namespace {

using Qdx::Pull::Glyphs;
using Qdx::Pull::PullDigest;
using testing::ElementsAre;
using testing::IsEmpty;

ListedFilter listed(std::int64_t id, const std::string& name) {
    ListedFilter filter;
    filter.id = id;
    filter.name = name;
    filter.enabled = true;
    return filter;
}

PullDigest digest(std::size_t values) {
    PullDigest made;
    made.radio = "mast";
    made.values = values;
    return made;
}

class ObserverTest : public testing::Test {
protected:
    const FilterPicture& first() const { return observer.picture().filters.at(0); }

    static constexpr WallTime now{std::chrono::seconds(1'000)};
    UnitConfiguration unit{.globalLimit = 4096,
                           .prescribed = {{"overview", 1024}, {"11", std::nullopt}},
                           .objectList = ""};
    Observer observer{unit, {}, Glyphs::Unicode};
};

TEST_F(ObserverTest, KeepsWhatAPullGave) {
    observer.listed({listed(12, "12")}, now);
    EXPECT_THAT(observer.pullable(), ElementsAre(12));
    observer.pulled(12, digest(5), now);
    EXPECT_EQ(first().digest->values, 5U);
    EXPECT_EQ(first().pulled, now);
    EXPECT_EQ(observer.picture().radio, "mast");
    observer.listed({listed(12, "12")}, now);
    EXPECT_EQ(first().digest->values, 5U);
}

TEST_F(ObserverTest, ARefusalSaysWhyThereIsNothing) {
    observer.listed({listed(12, "12")}, now);
    observer.pulled(12, digest(5), now);
    observer.refused(12, "Not enough data yet", now);
    EXPECT_EQ(first().digest, nullptr);
    EXPECT_EQ(first().note, "Not enough data yet");
    observer.pulled(12, digest(6), now);
    EXPECT_EQ(first().note, "");
}

TEST_F(ObserverTest, APrescribedFilterIsNotPulledBeforeItIsWoken) {
    observer.listed({listed(11, "overview"), listed(12, "12")}, now);
    EXPECT_EQ(first().state, FilterState::Sleeps);
    EXPECT_THAT(observer.pullable(), ElementsAre(12));
    observer.wake(11);
    EXPECT_EQ(first().state, FilterState::Collects);
    EXPECT_THAT(observer.pullable(), ElementsAre(11, 12));
    observer.listed({listed(11, "overview"), listed(12, "12")}, now);
    EXPECT_THAT(observer.pullable(), ElementsAre(11, 12));
}

TEST_F(ObserverTest, APrescribedFilterNamedLikeItsIdIsNotPulledEither) {
    observer.listed({listed(11, "11")}, now);
    EXPECT_THAT(observer.pullable(), IsEmpty());
}

TEST_F(ObserverTest, APrescribedFilterThatCapturesIsAwake) {
    auto overview = listed(11, "overview");
    overview.captures = true;
    observer.listed({overview}, now);
    EXPECT_THAT(observer.pullable(), ElementsAre(11));
}

TEST_F(ObserverTest, ADisabledFilterIsNotPulledAndHoldsNothing) {
    auto filter = listed(12, "12");
    observer.listed({filter}, now);
    observer.pulled(12, digest(5), now);
    filter.enabled = false;
    observer.listed({filter}, now);
    EXPECT_EQ(first().state, FilterState::Disabled);
    EXPECT_EQ(first().digest, nullptr);
    EXPECT_THAT(observer.pullable(), IsEmpty());
}

TEST_F(ObserverTest, AFilterThatNoWordReachesIsNotPulled) {
    observer.listed({listed(12, "13"), listed(13, "13")}, now);
    observer.wake(12);
    EXPECT_EQ(observer.picture().filters.at(1).state, FilterState::Unreachable);
    EXPECT_THAT(observer.pullable(), ElementsAre(12));
    EXPECT_EQ(observer.wordFor(12), "12");
}

TEST_F(ObserverTest, WithoutAnAnswerThePictureStaysAndNothingIsPulled) {
    observer.listed({listed(12, "12")}, now);
    observer.pulled(12, digest(5), now);
    observer.asks(now);
    observer.unanswered("gone");
    EXPECT_EQ(observer.picture().complaint, "gone");
    EXPECT_EQ(observer.picture().askedSince, std::nullopt);
    EXPECT_EQ(observer.picture().answered, now);
    EXPECT_EQ(first().digest->values, 5U);
    EXPECT_THAT(observer.pullable(), IsEmpty());
    observer.listed({listed(12, "12")}, now);
    EXPECT_EQ(observer.picture().complaint, "");
    EXPECT_THAT(observer.pullable(), ElementsAre(12));
}

TEST_F(ObserverTest, AnotherFilterOfTheSameNumberDoesNotInheritThePull) {
    observer.listed({listed(12, "12")}, now);
    observer.pulled(12, digest(5), now);
    observer.listed({listed(12, "net")}, now);
    EXPECT_EQ(first().digest, nullptr);
}

TEST_F(ObserverTest, APullOfAFilterThatWasDeletedMeanwhileIsDropped) {
    observer.listed({}, now);
    observer.pulled(12, digest(5), now);
    observer.refused(12, "no", now);
    EXPECT_THAT(observer.picture().filters, IsEmpty());
}

TEST_F(ObserverTest, NamedFiltersAloneAreOfInterestAndAwake) {
    Observer two(unit, {"overview", "13"}, Glyphs::Unicode);
    two.listed({listed(11, "overview"), listed(12, "12"), listed(13, "13")}, now);
    EXPECT_THAT(two.pullable(), ElementsAre(11, 13));
    EXPECT_EQ(two.picture().filters.size(), 2U);
}

TEST_F(ObserverTest, LimitsAreThoseOfTheConfiguration) {
    observer.listed({listed(11, "overview"), listed(12, "12")}, now);
    EXPECT_EQ(observer.picture().globalLimit, 4096U);
    EXPECT_EQ(first().limit, 1024U);
    EXPECT_EQ(observer.picture().filters.at(1).limit, std::nullopt);
}

TEST_F(ObserverTest, NamesAndTagsCannotSteerTheTerminal) {
    auto hostile = listed(12, "a\x1b[2J");
    hostile.tags = "\xC2\x9B\x07";
    observer.listed({hostile}, now);
    EXPECT_EQ(first().name, "a?[2J");
    EXPECT_EQ(first().tags, "??");
}

}  // namespace
}  // namespace Qdxview
