#include "pull/pullWriter.hpp"

#include <gtest/gtest.h>

#include <sstream>

#include "everything.hpp"
#include "golden.hpp"

namespace Qdx::Pull {
namespace {

PulledMessage pulled(const Qdx::InfoObjectCollections& message) {
    return {message.SerializePartialAsString(), message};
}

std::string written(Format format, const std::vector<PulledMessage>& pulls,
                    const Catalogue& catalogue, const TableStyle& style = {}) {
    std::ostringstream out;
    PullWriter writer(out, format, catalogue, style);
    for (const auto& pull : pulls) {
        writer.write(pull);
    }
    return out.str();
}

std::string writtenTwice(Format format) {
    Qdx::InfoObjectCollections message;
    message.set_version(1);
    message.add_countercollections()->add_values(5);
    return written(format, {pulled(message), pulled(message)}, Catalogue());
}

// Each of the formats, of one pull with something of everything.
TEST(PullWriterGolden, Table) {
    Qdx::Test::expectGolden("everything.table", written(Format::Table, {pulled(everything())},
                                                        catalogueOfEverything(), {160}));
}

TEST(PullWriterGolden, Json) {
    Qdx::Test::expectGolden("everything.json",
                            written(Format::Json, {pulled(everything())}, catalogueOfEverything()));
}

TEST(PullWriterGolden, Csv) {
    Qdx::Test::expectGolden("everything.csv",
                            written(Format::Csv, {pulled(everything())}, catalogueOfEverything()));
}

TEST(PullWriterGolden, CsvWithoutCatalogue) {
    Qdx::Test::expectGolden("everythingUnknown.csv",
                            written(Format::Csv, {pulled(everything())}, Catalogue()));
}

TEST(PullWriterGolden, Text) {
    Qdx::Test::expectGolden("everything.text",
                            written(Format::Text, {pulled(everything())}, catalogueOfEverything()));
}

TEST(PullWriterGolden, Raw) {
    Qdx::Test::expectGolden("everything.raw",
                            written(Format::Raw, {pulled(everything())}, catalogueOfEverything()));
}

TEST(PullWriter, PutsABlankLineBetweenTables) {
    const std::string table = "Radio: unknown\n1 series, 1 values\n\n";
    const auto text = writtenTwice(Format::Table);
    EXPECT_TRUE(text.starts_with(table)) << text;
    EXPECT_NE(text.find("\n\n" + table), std::string::npos) << text;
}

TEST(PullWriter, WritesALineOfJsonForEachPull) {
    const std::string line = R"({"version":1,"counterCollections":[{"values":["5"]}]})";
    EXPECT_EQ(writtenTwice(Format::Json), line + '\n' + line + '\n');
}

TEST(PullWriter, WritesOneHeaderOverAllRows) {
    EXPECT_EQ(writtenTwice(Format::Csv),
              "time,id,name,tags,kind,context,value,unit,raw,aggregation,scope,size\n"
              ",0,,,counter,,,,5,,,\n"
              ",0,,,counter,,,,5,,,\n");
}

TEST(PullWriter, WritesTheLinesOfAllPulls) {
    EXPECT_EQ(writtenTwice(Format::Text), "- 0 - ? 5\n- 0 - ? 5\n");
}

TEST(PullWriter, WritesBytesAsTheyCame) {
    EXPECT_EQ(written(Format::Raw, {{"one\xFF", {}}, {"two", {}}}, Catalogue()), "one\xFFtwo");
}

TEST(PullWriter, WritesTextWithAsciiAloneWhenAsked) {
    Qdx::InfoObjectCollections message;
    message.add_countercollections()->add_values(5);
    EXPECT_EQ(written(Format::Text, {pulled(message)},
                      Catalogue({{0, {"\xC2\xB5", "", "", "", {}}}}), {100, Glyphs::Ascii}),
              "- ? - ? 5\n");
}

TEST(PullWriter, LeavesFailureToTheStream) {
    for (const auto& [name, format] : formats()) {
        std::ostringstream out;
        out.setstate(std::ios::badbit);
        PullWriter(out, format, Catalogue()).write(pulled(everything()));
        EXPECT_FALSE(out.good()) << name;
        EXPECT_EQ(out.str(), "") << name;
    }
}

TEST(Formats, HaveNames) {
    EXPECT_EQ(formats().size(), 5U);
    EXPECT_EQ(formats().at("csv"), Format::Csv);
}

}  // namespace
}  // namespace Qdx::Pull
