#include "view.hpp"

#include <gmock/gmock.h>

namespace Qdxview {
namespace {

using namespace std::chrono_literals;
using Qdx::Pull::PullDigest;
using Qdx::Pull::SeriesDigest;
using testing::ElementsAre;

class ViewTest : public testing::Test {
protected:
    ViewTest() {
        auto digest = std::make_shared<PullDigest>();
        addSeries(*digest, "net:rx", 5, 100);
        addSeries(*digest, "cpu:load", 9, 300);
        addSeries(*digest, "net:tx", 7, 200);
        addSeries(*digest, "disk", 1, std::nullopt);
        digest->series.back().context = "deviceId=1";
        for (const std::int64_t id : {11, 12, 14}) {
            auto& filter = picture.filters.emplace_back();
            filter.id = id;
            filter.digest = digest;
        }
        follow(view, picture);
    }

    static void addSeries(PullDigest& digest, const std::string& name, std::size_t values,
                          std::optional<std::uint64_t> newest) {
        SeriesDigest series;
        series.name = name;
        series.values = values;
        series.newestTime = newest;
        digest.series.push_back(series);
    }

    Wish press(Key key) { return Qdxview::press(view, picture, {key}, page); }

    Wish type(const std::string& characters) {
        auto wish = Wish::None;
        for (const char character : characters) {
            wish = Qdxview::press(view, picture, {Key::Text, {character}}, page);
        }
        return wish;
    }

    std::vector<std::string> shown() const {
        std::vector<std::string> names;
        for (const auto* series : seriesOf(view, *picture.filters[0].digest)) {
            names.push_back(series->name);
        }
        return names;
    }

    static constexpr std::size_t page = 3;
    Picture picture;
    View view;
};

TEST_F(ViewTest, SelectsTheFirstFilterAndMovesToItsNeighbours) {
    EXPECT_EQ(view.selected, 11);
    press(Key::Up);
    EXPECT_EQ(view.selected, 11);
    press(Key::Down);
    EXPECT_EQ(view.selected, 12);
    type("j");
    EXPECT_EQ(view.selected, 14);
    press(Key::Down);
    EXPECT_EQ(view.selected, 14);
    type("kk");
    EXPECT_EQ(view.selected, 11);
}

TEST_F(ViewTest, SelectionStaysOnAFilterWhoseNeighboursChange) {
    press(Key::Down);
    picture.filters.erase(picture.filters.begin());
    follow(view, picture);
    EXPECT_EQ(view.selected, 12);
    picture.filters.erase(picture.filters.begin());
    follow(view, picture);
    EXPECT_EQ(view.selected, 14);
    picture.filters.clear();
    follow(view, picture);
    EXPECT_EQ(view.selected, std::nullopt);
    EXPECT_EQ(press(Key::Down), Wish::None);
    EXPECT_EQ(selectedOf(view, picture), nullptr);
}

TEST_F(ViewTest, ScrollsByPagesUpToTheEnds) {
    press(Key::PageDown);
    EXPECT_EQ(view.firstSeries, 1U) << "four series, three at once";
    press(Key::PageDown);
    EXPECT_EQ(view.firstSeries, 1U);
    press(Key::PageUp);
    EXPECT_EQ(view.firstSeries, 0U);
    press(Key::End);
    EXPECT_EQ(view.firstSeries, 1U);
    press(Key::Home);
    EXPECT_EQ(view.firstSeries, 0U);
    press(Key::End);
    press(Key::Down);
    EXPECT_EQ(view.firstSeries, 0U) << "another filter begins at its first series";
}

TEST_F(ViewTest, SortsByTurns) {
    EXPECT_THAT(shown(), ElementsAre("net:rx", "cpu:load", "net:tx", "disk"));
    type("s");
    EXPECT_THAT(shown(), ElementsAre("cpu:load", "disk", "net:rx", "net:tx"));
    type("s");
    EXPECT_THAT(shown(), ElementsAre("cpu:load", "net:tx", "net:rx", "disk"));
    type("s");
    EXPECT_THAT(shown(), ElementsAre("cpu:load", "net:tx", "net:rx", "disk"));
    EXPECT_EQ(view.order, Order::Values);
    type("s");
    EXPECT_EQ(view.order, Order::AsPulled);
}

TEST_F(ViewTest, SearchesNamesAndContextsWhileItIsTyped) {
    type("/NET");
    EXPECT_THAT(shown(), ElementsAre("net:rx", "net:tx"));
    type(":t");
    EXPECT_THAT(shown(), ElementsAre("net:tx"));
    press(Key::Backspace);
    press(Key::Enter);
    EXPECT_FALSE(view.searching);
    EXPECT_THAT(shown(), ElementsAre("net:rx", "net:tx"));
    press(Key::Escape);
    EXPECT_EQ(shown().size(), 4U);
    type("/deviceid=1");
    EXPECT_THAT(shown(), ElementsAre("disk"));
    press(Key::Escape);
    EXPECT_EQ(shown().size(), 4U);
    EXPECT_FALSE(view.searching);
}

TEST_F(ViewTest, KeysAreTextWhileSearching) {
    EXPECT_EQ(type("/qjps"), Wish::None);
    EXPECT_EQ(view.search, "qjps");
    EXPECT_EQ(view.selected, 11);
    EXPECT_FALSE(view.paused);
}

TEST_F(ViewTest, SearchHasABoundAndLosesWholeCharacters) {
    type("/" + std::string(1'000, 'x'));
    EXPECT_EQ(view.search.size(), 60U);
    view.search = "aé";
    press(Key::Backspace);
    EXPECT_EQ(view.search, "a");
    press(Key::Backspace);
    press(Key::Backspace);
    EXPECT_EQ(view.search, "");
}

TEST_F(ViewTest, PeriodChangesInStepsBetweenItsEnds) {
    type("+");
    EXPECT_EQ(view.period, 5s);
    type("--");
    EXPECT_EQ(view.period, 1s);
    type("----");
    EXPECT_EQ(view.period, 500ms);
    type("+++++++++");
    EXPECT_EQ(view.period, 60s);
    view.period = 3s;
    type("-");
    EXPECT_EQ(view.period, 2s);
    view.period = 3600s;
    type("+");
    EXPECT_EQ(view.period, 3600s);
}

TEST_F(ViewTest, KeysLeavePauseHelpAndWake) {
    EXPECT_EQ(type("p"), Wish::None);
    EXPECT_TRUE(view.paused);
    type("p");
    EXPECT_FALSE(view.paused);
    type("?");
    EXPECT_TRUE(view.help);
    type("j");
    EXPECT_FALSE(view.help);
    EXPECT_EQ(view.selected, 11) << "the key ended the help";
    EXPECT_EQ(press(Key::Enter), Wish::Wake);
    EXPECT_EQ(type("q"), Wish::Leave);
    type("?");
    EXPECT_EQ(type("q"), Wish::Leave);
}

}  // namespace
}  // namespace Qdxview
