#include "diagnosticText.hpp"

#include <gmock/gmock.h>

#include <sstream>

#include "golden.hpp"

namespace DchFilter {
namespace {

using testing::HasSubstr;

std::string diagnosticsOf(std::string_view text) {
    std::ostringstream out;
    printDiagnostics(out, "some.filter", checkFilter(readFilterFile("", text)).diagnostics);
    return out.str();
}

TEST(DiagnosticTextGolden, FaultsOfAllKinds) {
    Qdx::Test::expectGolden("faults.txt", diagnosticsOf("# Everything that can be wrong\n"
                                                        "limit 5k\n"
                                                        "min count 10 25\n"
                                                        "tags NET context rfbranch 1 list count 5\n"
                                                        "tags cpu list count 5\n"
                                                        "tags CPU tags NET list count 5\n"
                                                        "tags NET  summ count 5 10\n"
                                                        "   max \t count 10   \n"
                                                        "list count 99999999999\n"
                                                        "min duration 99999999999 5\n"
                                                        "tags CPU\n"
                                                        "list count 5 min count 0 0\n"
                                                        "limit 7\n"));
}

TEST(DiagnosticTextGolden, AFileWithoutAFilter) {
    Qdx::Test::expectGolden("noFilter.txt", diagnosticsOf("# nothing here\n"));
}

TEST(DiagnosticText, CutsALongLineOnBothSidesOfThePlace) {
    std::string text = "limit 0\n";
    for (int i = 0; i < 20; ++i) {
        text += "list count " + std::to_string(10 + i) + ' ';
    }
    text += "oops ";
    for (int i = 0; i < 20; ++i) {
        text += "list count " + std::to_string(40 + i) + ' ';
    }
    const auto printed = diagnosticsOf(text);
    std::istringstream lines(printed);
    std::string line;
    std::string shown;
    std::string caret;
    std::getline(lines, line);
    std::getline(lines, shown);
    std::getline(lines, caret);
    EXPECT_EQ(shown.size(), 80U);
    EXPECT_EQ(shown.substr(0, 5), "  ...");
    EXPECT_EQ(shown.substr(77), "...");
    EXPECT_EQ(shown.substr(caret.find('^'), 4), "oops");
    EXPECT_EQ(caret.substr(caret.find('^')), "^~~~");
}

TEST(DiagnosticText, ShowsTheEndOfALongLine) {
    const auto printed = diagnosticsOf("limit 0\nlist count " + std::string(300, '0') + "5 oops\n");
    EXPECT_THAT(printed, HasSubstr("0005 oops\n"));
    EXPECT_THAT(printed, HasSubstr(std::string(70, ' ') + "    ^~~~\n"));
}

TEST(DiagnosticText, CutsTheUnderlineAtTheScreen) {
    const auto printed = diagnosticsOf("limit 0\n" + std::string(300, 'x') + '\n');
    EXPECT_THAT(printed, HasSubstr("\n  ^" + std::string(77, '~') + '\n'));
}

TEST(DiagnosticText, LetsNoLineSteerTheTerminal) {
    const auto printed = diagnosticsOf("limit 0\n\x1B[2J list count 5\n");
    EXPECT_EQ(printed.find('\x1B'), std::string::npos);
    EXPECT_THAT(printed, HasSubstr("  ?[2J list count 5\n  ^~~~\n"));
}

}  // namespace
}  // namespace DchFilter
