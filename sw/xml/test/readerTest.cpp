#include "xml/reader.hpp"

#include <gmock/gmock.h>

#include <stdexcept>

namespace {

using testing::HasSubstr;

// What it was told, as text.
class Told : public Xml::ContentIf {
public:
    void onStart(const std::string& element, const Xml::Attributes& attributes, int line) override {
        text += std::to_string(line) + "<" + element;
        for (const auto& [name, value] : attributes) {
            text.append(" ").append(name).append("=").append(value);
        }
        text += ">";
    }
    void onEnd() override { text += "</>"; }
    void onText(const std::string& part) override { text += part; }

    std::string text;
};

class Thrower : public Told {
public:
    void onText(const std::string& part) override { throw std::runtime_error(part); }
};

std::string told(const std::string& document) {
    Told content;
    const auto fault = Xml::read(document, content);
    return fault ? "line " + std::to_string(fault->line) + ": " + fault->text : content.text;
}

TEST(XmlReaderTest, TellsElementsTextsAndLinesInOrder) {
    EXPECT_EQ(told("<a>\n<b x='1' w = \"2\"/>t<!-- c -->u</a>"), "1<a>\n2<b w=2 x=1></>tu</>");
}

TEST(XmlReaderTest, ReadsMoreThanOnePiece) {
    const std::string text(5000, 't');
    EXPECT_EQ(told("<a>" + text + "</a>"), "1<a>" + text + "</>");
}

TEST(XmlReaderTest, NamesAreLocal) {
    EXPECT_EQ(told("<p:a xmlns:p='urn:p' p:x='1' x='2'/>"), "1<a x=1></>");
}

TEST(XmlReaderTest, CdataIsText) {
    EXPECT_EQ(told("<a>R<![CDATA[&]]>D</a>"), "1<a>R&D</>");
}

TEST(XmlReaderTest, ReferencesAreResolvedButForAnAmpersandInAnAttribute) {
    EXPECT_EQ(told("<a x='R&amp;D&#x41;&lt;'>R&amp;D&#x41;&lt;</a>"), "1<a x=R&#38;DA<>R&DA<</>");
}

TEST(XmlReaderTest, OtherEncodingsBecomeUtf8) {
    EXPECT_EQ(told("<?xml version='1.0' encoding='ISO-8859-1'?><a x='\xE9'/>"),
              "1<a x=\xC3\xA9></>");
    const std::string wide("\xFF\xFE<\0a\0/\0>\0", 10);
    EXPECT_EQ(told(wide), "1<a></>");
}

TEST(XmlReaderTest, AFaultHasItsLine) {
    EXPECT_THAT(told("<a>\n<b>\n</a>"), HasSubstr("line 3: Opening and ending tag mismatch: b"));
    EXPECT_EQ(told("").rfind("line 1: ", 0), 0U);
    EXPECT_EQ(told(std::string("\0\xFF\x01<", 4)).rfind("line 1: ", 0), 0U);
}

TEST(XmlReaderTest, ATextThatEndsEarlyIsAFaultOfItsLastLine) {
    EXPECT_EQ(told("<a>\n<b/>\n"), "line 3: the text ends inside an element");
    EXPECT_EQ(told("<a>" + std::string(5000, '\n')), "line 5001: the text ends inside an element");
    EXPECT_EQ(told("<a/>\n<b/>"), "line 2: Extra content at the end of the document");
}

TEST(XmlReaderTest, AWarningIsAFault) {
    EXPECT_EQ(told("<a>\n<b xmlns='relative'/></a>"),
              "line 2: xmlns: URI relative is not absolute");
}

TEST(XmlReaderTest, AnEntityOfTheDocumentIsAFault) {
    EXPECT_THAT(told("<!DOCTYPE a [<!ENTITY e 'x'>]>\n<a>&e;</a>"), HasSubstr("line 2: "));
}

TEST(XmlReaderTest, NothingIsToldBehindAFault) {
    Told content;
    EXPECT_TRUE(Xml::read("<a><b xmlns='relative'/><c/></a>", content));
    EXPECT_EQ(content.text, "1<a>");
}

TEST(XmlReaderTest, AnExceptionOfTheContentPasses) {
    Thrower content;
    EXPECT_THROW(Xml::read("<a>text</a>", content), std::runtime_error);
    EXPECT_EQ(content.text, "1<a>");
}

}  // namespace
