#include "pull/reportPage.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

#include "everything.hpp"
#include "golden.hpp"

namespace Qdx::Pull {
namespace {

constexpr std::string_view page = "<body>\n<!--qdxview:data-->\n</body>\n";

PulledMessage pulled(const Qdx::InfoObjectCollections& message) {
    return {message.SerializePartialAsString(), message};
}

std::string written(const std::vector<PulledMessage>& pulls, const Catalogue& catalogue,
                    std::string_view source = "pull.txt") {
    std::ostringstream out;
    writeReportPage(out, page, pulls, catalogue, source);
    return out.str();
}

std::size_t countOf(const std::string& text, std::string_view part) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

// The program of the page reads this file in its own tests.
TEST(ReportPageGolden, Everything) {
    Qdx::Test::expectGolden("everything.page",
                            written({pulled(everything())}, catalogueOfEverything()));
}

TEST(ReportPage, ReadsBackAsThePullsThatAreInIt) {
    const auto message = pulled(everything());
    const auto pulls = readPulls(written({message, message}, catalogueOfEverything()), "report");
    ASSERT_EQ(pulls.size(), 2U);
    EXPECT_EQ(pulls[0].bytes, message.bytes);
    EXPECT_EQ(pulls[1].bytes, message.bytes);
}

// Whoever names objects and files has no say in what the page does.
TEST(ReportPage, KeepsHostileTextsInsideTheirElements) {
    constexpr const char* hostile = "</script><script>alert(1)</script><!--<script><QdxOutput>";
    const Catalogue catalogue({{7, {hostile, hostile, hostile, hostile, {hostile}}}});
    const auto text = written({pulled(everything())}, catalogue, hostile);
    EXPECT_EQ(countOf(text, "<script"), 3U);
    EXPECT_EQ(countOf(text, "</script"), 3U);
    EXPECT_EQ(countOf(text, "<!--"), 0U);
    EXPECT_EQ(countOf(text, "<QdxOutput>"), 1U);
    EXPECT_EQ(countOf(text, "\\u003c/script>"), 12U);
}

TEST(ReportPage, EscapesWhatJsonCannotHold) {
    const auto text = written({}, Catalogue(), "a\"b\\c\nd\xFF\x7F\xC3\xA9");
    EXPECT_NE(text.find("\"a\\u0022b\\u005cc\\u000ad\x7F\xC3\xA9\""), std::string::npos) << text;
}

TEST(ReportPage, RefusesAPageWithoutPlaceForTheData) {
    std::ostringstream out;
    EXPECT_THROW(writeReportPage(out, "<body>", {}, Catalogue(), ""), std::invalid_argument);
    EXPECT_EQ(out.str(), "");
}

}  // namespace
}  // namespace Qdx::Pull
