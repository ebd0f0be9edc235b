#include "listFileReader.hpp"

#include <gmock/gmock.h>

#include <iterator>
#include <memory>
#include <regex>
#include <stdexcept>

#include "unitRoot.hpp"

namespace Qdx::Backend {

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

std::string object(const std::string& name, const std::string& children = "") {
    return "<object id='1' name='" + name + "' type='meas'>" + children + "</object>";
}

std::string list(const std::string& objects) {
    return "<infoObjectList><objects>" + objects + "</objects></infoObjectList>";
}

// Each ASCII character in two bytes, behind a byte order mark.
std::string asUtf16(const std::string& text) {
    std::string bytes = "\xff\xfe";
    for (const char c : text) {
        bytes += c;
        bytes += '\0';
    }
    return bytes;
}

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

File open(const std::string& path) {
    return {std::fopen(path.c_str(), "r"), &std::fclose};
}

// How many chunks are told as faulty in what was captured from standard error.
std::size_t chunksToldAsFaulty() {
    const std::regex line("error: xmlParseChunk");
    const auto text = testing::internal::GetCapturedStderr();
    const std::sregex_iterator first(text.begin(), text.end(), line);
    return static_cast<std::size_t>(std::distance(first, {}));
}

class ListFileReaderTest : public testing::Test {
protected:
    void read(const std::string& text) {
        ASSERT_TRUE(readListFile(root.write("list.xml", text), context));
    }

    void expectFault(const std::string& text) {
        EXPECT_THAT(context.getErrWarn(), testing::Contains(HasSubstr(text)));
    }

    // The name of the only object.
    std::string name() const {
        EXPECT_THAT(context.getErrWarn(), IsEmpty());
        EXPECT_THAT(objects, SizeIs(1));
        return objects.empty() ? "" : objects.begin()->getName();
    }

    Qdx::Test::UnitRoot root;
    std::set<InfoObject> objects;
    ParserContext context{&objects};
};

TEST_F(ListFileReaderTest, LibraryIsTheOneBuiltAgainst) {
    testing::internal::CaptureStderr();
    checkXmlLibrary();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(ListFileReaderTest, SaysWhenAFileCannotBeOpened) {
    EXPECT_FALSE(readListFile(root.path() / "missing.xml", context));
    EXPECT_THAT(context.getErrWarn(), IsEmpty());
}

TEST_F(ListFileReaderTest, ReadsAnObject) {
    read(list(object("a", "<unit type='V' res='0.1'/><type message='M'/>")));
    EXPECT_EQ(name(), "a");
    EXPECT_EQ(objects.begin()->getUnitType(), "V");
    EXPECT_EQ(objects.begin()->getUnitRes(), "0.1");
    EXPECT_EQ(objects.begin()->getRecordType(), "M");
}

TEST_F(ListFileReaderTest, NamespacesMakeNoDifference) {
    read(
        "<q:infoObjectList xmlns:q='urn:list'><q:objects>"
        "<q:object q:id='1' name='a' q:type='meas'/></q:objects></q:infoObjectList>");
    EXPECT_EQ(name(), "a");
}

TEST_F(ListFileReaderTest, DefaultNamespaceMakesNoDifference) {
    read("<infoObjectList xmlns='urn:list'><objects>" + object("a") +
         "</objects></infoObjectList>");
    EXPECT_EQ(name(), "a");
}

TEST_F(ListFileReaderTest, FirstOfTwoAttributesWithOneLocalNameStays) {
    read(
        "<infoObjectList xmlns:q='urn:list'><objects>"
        "<object id='1' q:name='first' name='second' type='meas'/></objects></infoObjectList>");
    EXPECT_EQ(name(), "first");
}

TEST_F(ListFileReaderTest, AttributesMayBeEmpty) {
    read(list("<object id='' name='' type='meas'/>"));
    EXPECT_EQ(name(), "");
}

TEST_F(ListFileReaderTest, PredefinedEntitiesAndReferencesAreCharacters) {
    read(list(object("a&lt;b&gt;c&quot;d&#65;")));
    EXPECT_EQ(name(), "a<b>c\"dA");
}

// The parser leaves this one to whoever builds a tree of the document.
TEST_F(ListFileReaderTest, AmpersandInAnAttributeStaysAReference) {
    read(list(object("a&amp;b")));
    EXPECT_EQ(name(), "a&#38;b");
}

TEST_F(ListFileReaderTest, CommentsAndInstructionsAreIgnored) {
    read("<?xml version='1.0'?><!-- one --><?note two?>" + list("<!-- three -->" + object("a")) +
         "<!-- four -->\n");
    EXPECT_EQ(name(), "a");
}

TEST_F(ListFileReaderTest, TextInSectionsIsText) {
    read("<infoObjectList><tags><tag name='SECTION'/></tags><objects>" +
         object("a", "<tags><![CDATA[SECTION]]></tags>") + "</objects></infoObjectList>");
    EXPECT_EQ(name(), "a");
    EXPECT_THAT(objects.begin()->getTags(), ElementsAre("SECTION"));
}

TEST_F(ListFileReaderTest, EncodingIsDetectedFromTheFirstBytes) {
    read(asUtf16(list(object("wide"))));
    EXPECT_EQ(name(), "wide");
}

TEST_F(ListFileReaderTest, NamesAreUtf8WhateverTheEncoding) {
    read("<?xml version='1.0' encoding='ISO-8859-1'?>" + list(object("\xe5")));
    EXPECT_EQ(name(), "\xc3\xa5");
}

TEST_F(ListFileReaderTest, FileMayEndAnywhereRelativeToItsChunks) {
    const auto text = list(object("a"));
    for (std::size_t size = 1020; size <= 1032; ++size) {
        objects.clear();
        ParserContext other(&objects);
        const auto padded = text + std::string(size - text.size(), ' ');
        ASSERT_TRUE(readListFile(root.write("list.xml", padded), other));
        EXPECT_THAT(other.getErrWarn(), IsEmpty()) << size;
        EXPECT_THAT(objects, SizeIs(1)) << size;
    }
}

TEST_F(ListFileReaderTest, ElementsMayLieAcrossChunks) {
    std::string many;
    for (int i = 0; i < 1000; ++i) {
        many += object("object" + std::to_string(i), "<unit type='V' res='1'/>");
    }
    read(list(many));
    EXPECT_THAT(context.getErrWarn(), IsEmpty());
    EXPECT_THAT(objects, SizeIs(1000));
}

TEST_F(ListFileReaderTest, EmptyFileIsAFault) {
    read("");
    EXPECT_THAT(context.getErrWarn(), ElementsAre(StartsWith("Error: ")));
}

TEST_F(ListFileReaderTest, FileShorterThanTheFirstBytesIsAFault) {
    read("<a>");
    EXPECT_THAT(context.getErrWarn(), testing::Contains(StartsWith("Error: ")));
}

TEST_F(ListFileReaderTest, ShortestWholeDocumentIsFourBytes) {
    read("<a/>");
    EXPECT_THAT(context.getErrWarn(), IsEmpty());
}

// Cut inside the start of an object it is the attributes that are missing.
TEST_F(ListFileReaderTest, CutDocumentNeverPassesForAWholeOne) {
    const auto text = list(object("a"));
    for (std::size_t size = 0; size < text.size(); ++size) {
        const auto file = root.write("list.xml", text.substr(0, size));
        std::set<InfoObject> found;
        ParserContext cut(&found);
        bool thrown = false;
        try {
            readListFile(file, cut);
        } catch (const std::out_of_range&) {
            thrown = true;
        }
        EXPECT_TRUE(thrown || !cut.getErrWarn().empty()) << size;
    }
}

TEST_F(ListFileReaderTest, MessageKeepsItsLineEnd) {
    read("<a></b>");
    EXPECT_THAT(context.getErrWarn(),
                ElementsAre("Error: Opening and ending tag mismatch: a line 1 and b\n"));
}

TEST_F(ListFileReaderTest, LongMessageIsCutTo1023Characters) {
    read("<a></" + std::string(2000, 'n') + ">");
    std::string message = "Opening and ending tag mismatch: a line 1 and ";
    message.resize(1023, 'n');
    EXPECT_THAT(context.getErrWarn(), ElementsAre("Error: " + message));
}

TEST_F(ListFileReaderTest, WarningIsKeptAsOne) {
    read("<a xmlns='relative/name'/>");
    EXPECT_THAT(context.getErrWarn(),
                ElementsAre(AllOf(StartsWith("Warning: "), HasSubstr("relative/name"))));
}

TEST_F(ListFileReaderTest, ObjectsBeforeAFaultAreThereAndNoneBehindIt) {
    read("<infoObjectList><objects>" + object("before") + "<object &/>" + object("behind") +
         "</objects></infoObjectList>");
    EXPECT_THAT(context.getErrWarn(), testing::Not(IsEmpty()));
    ASSERT_THAT(objects, SizeIs(1));
    EXPECT_EQ(objects.begin()->getName(), "before");
}

TEST_F(ListFileReaderTest, DeclaredEntityIsNotExpanded) {
    read("<!DOCTYPE infoObjectList [<!ENTITY e 'text'>]>" + list(object("a&e;b")));
    expectFault("Entity 'e' not defined");
}

TEST_F(ListFileReaderTest, EntitiesThatMultiplyAreNotExpanded) {
    std::string declarations = "<!ENTITY e0 'xxxxxxxxxx'>";
    for (int i = 1; i < 10; ++i) {
        declarations += "<!ENTITY e" + std::to_string(i) + " '";
        for (int j = 0; j < 10; ++j) {
            declarations += "&e" + std::to_string(i - 1) + ";";
        }
        declarations += "'>";
    }
    read("<!DOCTYPE infoObjectList [" + declarations + "]>" +
         list(object("a", "<tags>&e9;</tags>")));
    EXPECT_THAT(context.getErrWarn(), testing::Not(IsEmpty()));
    EXPECT_THAT(objects, IsEmpty());
}

TEST_F(ListFileReaderTest, ExternalEntityIsNotLoaded) {
    const auto secret = root.write("secret.txt", "SECRET");
    read("<!DOCTYPE infoObjectList [<!ENTITY e SYSTEM '" + secret.string() +
         "'>]><infoObjectList><tags><tag name='SECRET'/></tags><objects>" +
         object("a", "<tags>&e;</tags>") + "</objects></infoObjectList>");
    for (const auto& found : objects) {
        EXPECT_THAT(found.getTags(), IsEmpty());
    }
    EXPECT_THAT(context.getErrWarn(), testing::Not(IsEmpty()));
}

TEST_F(ListFileReaderTest, DeepNestingIsReadInTimeOfItsSize) {
    constexpr int depth = 100'000;
    std::string deep;
    for (int i = 0; i < depth; ++i) {
        deep += "<d>";
    }
    for (int i = 0; i < depth; ++i) {
        deep += "</d>";
    }
    read("<infoObjectList><objects>" + object("a") + deep + "</objects></infoObjectList>");
    EXPECT_EQ(name(), "a");
}

TEST_F(ListFileReaderTest, ExceptionComesOutAndTheNextFileReadsWell) {
    const auto broken = root.write("broken.xml", list("<object/>" + object("behind")));
    EXPECT_THAT([&] { readListFile(broken, context); },
                testing::ThrowsMessage<std::out_of_range>("map::at"));
    EXPECT_THAT(objects, IsEmpty());
    EXPECT_THAT(context.getErrWarn(), IsEmpty());
    ParserContext next(&objects);
    EXPECT_TRUE(readListFile(root.write("list.xml", list(object("a"))), next));
    EXPECT_EQ(name(), "a");
}

TEST_F(ListFileReaderTest, FaultIsToldForEachFurtherChunkUntilTheFileEnds) {
    const auto fault = "<a></b>" + list(object("behind"));
    constexpr std::size_t size = 4 + 3 * 1024;
    const auto path = root.write("list.xml", fault + std::string(size - fault.size(), ' '));
    const File file = open(path);
    testing::internal::CaptureStderr();
    parseListFile(file.get(), context);
    EXPECT_EQ(chunksToldAsFaulty(), 3U);
    EXPECT_EQ(std::ftell(file.get()), static_cast<long>(size));
    EXPECT_THAT(context.getErrWarn(), SizeIs(1));
    EXPECT_THAT(objects, IsEmpty());
}

TEST_F(ListFileReaderTest, FaultBehindAnExceptionIsNotTold) {
    const auto path = root.write("broken.xml", list("<object/></wrong>"));
    testing::internal::CaptureStderr();
    EXPECT_THROW(readListFile(path, context), std::out_of_range);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_THAT(context.getErrWarn(), IsEmpty());
}

TEST_F(ListFileReaderTest, ExceptionStopsTheReadingOfALongFile) {
    std::string many = "<object/>";
    for (int i = 0; i < 1000; ++i) {
        many += object("object" + std::to_string(i));
    }
    const auto broken = root.write("broken.xml", list(many));
    const File file = open(broken);
    EXPECT_THROW(parseListFile(file.get(), context), std::out_of_range);
    EXPECT_LE(std::ftell(file.get()), 4 + 1024);
    EXPECT_THAT(objects, IsEmpty());
}

}  // namespace

}  // namespace Qdx::Backend
