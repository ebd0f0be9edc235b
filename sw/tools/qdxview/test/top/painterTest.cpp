#include "painter.hpp"

#include <gmock/gmock.h>

#include "golden.hpp"

namespace Qdxview {
namespace {

using namespace std::chrono_literals;
using Qdx::Pull::Glyphs;
using Qdx::Pull::PullDigest;
using Qdx::Pull::SeriesDigest;
using testing::AllOf;
using testing::Each;
using testing::Field;
using testing::HasSubstr;
using testing::SizeIs;

std::string textOf(const Screen& screen) {
    std::string text;
    for (const auto& line : screen) {
        text += Qdxview::textOf(line) + '\n';
    }
    return text;
}

SeriesDigest series(const std::string& name, const std::string& context, const std::string& newest,
                    std::uint64_t newestTime, std::vector<std::int64_t> numbers) {
    SeriesDigest made;
    made.name = name;
    made.context = context;
    made.aggregation = "max count 10";
    made.values = numbers.size();
    made.newest = newest;
    made.newestTime = newestTime;
    made.numbers = std::move(numbers);
    return made;
}

class PainterTest : public testing::Test {
protected:
    PainterTest() {
        auto& overview = addFilter(11, "overview", FilterState::Collects, "CPU, NET");
        overview.limit = 131'072;
        auto digest = std::make_shared<PullDigest>();
        digest->series = {series("host:cpu:load", "deviceId=0", "37.5 %", 999, {1, 5, 2, 8, 3}),
                          series("host:cpu:load", "deviceId=1", "12.0 %", 999, {3, 3, 3}),
                          series("host:net:receivedBytes", "rfBranch=3,carrierId=7", "1234567890 B",
                                 400, {1, 2, 3, 4, 5, 6, 7, 8}),
                          series("host:net:link", "", "eth0 FAILED: no carrier", 2'000, {})};
        digest->seriesCount = 4;
        digest->values = 17;
        digest->budgetBytes = 48'300;
        overview.digest = digest;
        overview.pulled = now - 1s;
        addFilter(12, "quiet", FilterState::Sleeps, "MEMORY");
        addFilter(13, "spare", FilterState::Disabled, "");
        addFilter(14, "14", FilterState::Collects, "NET").note = "Not enough data yet";
        picture.radio = "mast S1";
        picture.answered = now;
        picture.globalLimit = 2'097'152;
        view.selected = 11;
    }

    FilterPicture& addFilter(std::int64_t id, const std::string& name, FilterState state,
                             const std::string& tags) {
        auto& filter = picture.filters.emplace_back();
        filter.id = id;
        filter.name = name;
        filter.state = state;
        filter.tags = tags;
        return filter;
    }

    Screen paint(std::size_t lines, std::size_t columns, Glyphs glyphs = Glyphs::Unicode) const {
        return Qdxview::paint(picture, view, {{lines, columns}, glyphs, now});
    }

    std::string text() const { return textOf(paint(24, 100)); }

    static constexpr WallTime now{std::chrono::seconds(1'000)};
    Picture picture;
    View view;
};

TEST_F(PainterTest, GoldenScreen) {
    Qdx::Test::expectGolden("screen.txt", text());
}

TEST_F(PainterTest, GoldenNarrowScreenInAscii) {
    Qdx::Test::expectGolden("narrow.txt", textOf(paint(14, 60, Glyphs::Ascii)));
}

TEST_F(PainterTest, GoldenHelp) {
    view.help = true;
    Qdx::Test::expectGolden("help.txt", text());
}

TEST_F(PainterTest, GoldenWholePicture) {
    Qdx::Test::expectGolden("whole.txt",
                            textOf(paintWhole(picture, {{0, 80}, Glyphs::Unicode, now})));
}

TEST_F(PainterTest, EveryScreenHasTheSizeOfTheTerminal) {
    for (std::size_t lines = 1; lines < 40; ++lines) {
        for (std::size_t columns = 1; columns < 130; columns += 3) {
            const auto screen = paint(lines, columns);
            ASSERT_THAT(screen, SizeIs(lines)) << columns;
            for (const auto& line : screen) {
                ASSERT_LE(widthOf(line), columns) << Qdxview::textOf(line);
            }
        }
    }
}

TEST_F(PainterTest, ACollectorThatIsGoneIsToldAndTheLastPictureIsFaint) {
    picture.complaint = "no collector answers at /run";
    picture.answered = now - 90s;
    const auto screen = paint(24, 100);
    EXPECT_EQ(screen.at(1),
              (Line{{"no answer for 1 min: no collector answers at /run", Style::Alert}}));
    EXPECT_THAT(textOf(screen), HasSubstr("37.5 %"));
    for (std::size_t line = 3; line + 1 < screen.size(); ++line) {
        EXPECT_THAT(screen[line], Each(Field(&Span::style, Style::Faint)));
    }
}

TEST_F(PainterTest, BeforeTheFirstAnswerItSaysWhatItWaitsFor) {
    picture = {};
    EXPECT_THAT(text(), HasSubstr("asking the collector\n"));
    picture.askedSince = now - 10s;
    EXPECT_THAT(text(), HasSubstr("\nwaiting for an answer for 10 s\n"));
    picture.complaint = "no collector answers at /run";
    EXPECT_THAT(text(), HasSubstr("\nno collector answers at /run\n"));
}

TEST_F(PainterTest, ASlowAnswerIsToldOnceItIsNoticeable) {
    picture.askedSince = now - 2s;
    EXPECT_THAT(text(), Not(HasSubstr("waiting")));
    picture.askedSince = now - 3s;
    EXPECT_THAT(text(), HasSubstr(" of 2 MiB, waiting for an answer for 3 s"));
}

TEST_F(PainterTest, SaysWhyAFilterHasNoSeries) {
    view.selected = 12;
    EXPECT_THAT(text(),
                HasSubstr("It collects from its first pull on; none was seen. Enter pulls it."));
    view.selected = 13;
    EXPECT_THAT(text(), HasSubstr("The filter is disabled, and holds nothing."));
    view.selected = 14;
    EXPECT_THAT(text(), HasSubstr("Not enough data yet"));
    picture.filters[3].note.clear();
    EXPECT_THAT(text(), HasSubstr("It wasn't pulled yet."));
    picture.filters[3].state = FilterState::Unreachable;
    EXPECT_THAT(text(), HasSubstr("no command reaches it"));
    picture.filters.clear();
    EXPECT_THAT(text(), HasSubstr("There are no filters."));
}

TEST_F(PainterTest, UseIsAnEstimateAndADashWhereItIsNotKnown) {
    EXPECT_THAT(text(), HasSubstr("  on           4      17  ~47 KiB of 128 KiB  CPU, NET"));
    EXPECT_THAT(text(), HasSubstr("  asleep       -       -  -                   MEMORY"));
    EXPECT_THAT(text(), HasSubstr(", at least ~47 KiB of 2 MiB"))
        << "the filter that sleeps may hold something";
    picture.filters.erase(picture.filters.begin() + 1);
    EXPECT_THAT(text(), HasSubstr(", ~47 KiB of 2 MiB"));
    picture.globalLimit.reset();
    EXPECT_THAT(text(), HasSubstr(", ~47 KiB\n"));
}

TEST_F(PainterTest, TellsSearchAndOrderAndWhatIsBeingTyped) {
    view.search = "LOAD";
    view.order = Order::Newest;
    EXPECT_THAT(text(),
                AllOf(HasSubstr(R"(: 2 of 4 series with "LOAD", newest first, pulled 1 s ago)"),
                      Not(HasSubstr("receivedBytes"))));
    view.searching = true;
    EXPECT_THAT(text(), HasSubstr("Search: LOAD_  Enter keeps it, Escape ends it"));
}

TEST_F(PainterTest, ScrolledSeriesBeginWithTheFirstShown) {
    auto digest = std::make_shared<PullDigest>();
    for (int i = 0; i < 50; ++i) {
        digest->series.push_back(series("object" + std::to_string(i), "", "1", 1'000, {1}));
    }
    picture.filters[0].digest = digest;
    view.firstSeries = 20;
    EXPECT_THAT(text(), AllOf(HasSubstr("object20 "), Not(HasSubstr("object19 "))));
    view.firstSeries = 1'000;
    EXPECT_THAT(text(), HasSubstr("object49 ")) << "the last page, not an empty one";
    EXPECT_EQ(seriesPage(picture, {24, 100}), 12U);
    EXPECT_THAT(text(), AllOf(HasSubstr("object38 "), Not(HasSubstr("object37 "))));
}

TEST_F(PainterTest, TheSelectedFilterIsAmongThoseThatFit) {
    for (std::int64_t id = 20; id < 60; ++id) {
        addFilter(id, "f" + std::to_string(id), FilterState::Collects, "");
    }
    EXPECT_THAT(text(), AllOf(HasSubstr("> 11"), HasSubstr("  14"), Not(HasSubstr("f24"))));
    view.selected = 40;
    EXPECT_THAT(text(),
                AllOf(HasSubstr("> 40"), Not(HasSubstr("f41")), Not(HasSubstr("overview"))));
}

TEST_F(PainterTest, PausedAndPeriodStandInTheCorner) {
    EXPECT_THAT(text(), HasSubstr("every 2 s  00:16:40 UTC\n"));
    view.paused = true;
    EXPECT_THAT(text(), HasSubstr("paused  00:16:40 UTC\n"));
}

}  // namespace
}  // namespace Qdxview
