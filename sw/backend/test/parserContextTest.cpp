#include "parserContext.hpp"

#include <gmock/gmock.h>

#include <optional>
#include <stdexcept>

#include "heapFault.hpp"

namespace Qdx::Backend {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Attributes = std::map<std::string, std::string>;

// Feeds events as a parser would: open(...), text(...), close(...), or a whole element without
// text.
class ParserContextTest : public testing::Test {
public:
    ParserContextTest& open(const std::string& name, const Attributes& attributes = {}) {
        context.startElement(name, attributes);
        return *this;
    }

    ParserContextTest& text(const std::string& characters) {
        context.appendCharacters(characters);
        return *this;
    }

    ParserContextTest& close(const std::string& name) {
        context.endElement(name);
        return *this;
    }

    ParserContextTest& element(const std::string& name, const Attributes& attributes = {}) {
        return open(name, attributes).close(name);
    }

    ParserContextTest& declare(const std::string& tag) {
        return open("infoObjectList")
            .open("tags")
            .element("tag", {{"name", tag}})
            .close("tags")
            .close("infoObjectList");
    }

    ParserContextTest& openObject(const std::string& name, const std::string& id = "1",
                                  const std::string& type = "meas") {
        return open("infoObjectList")
            .open("objects")
            .open("object", {{"id", id}, {"name", name}, {"type", type}});
    }

    ParserContextTest& closeObject() {
        return close("object").close("objects").close("infoObjectList");
    }

    const InfoObject& only() const {
        EXPECT_THAT(objects, SizeIs(1));
        return *objects.begin();
    }

    std::set<InfoObject> objects;
    ParserContext context{&objects};
};

TEST_F(ParserContextTest, HierarchyIsThePathOfOpenElements) {
    EXPECT_EQ(context.getHierarchy(), "");
    open("a").open("b");
    EXPECT_EQ(context.getHierarchy(), "/a/b");
    close("b");
    EXPECT_EQ(context.getHierarchy(), "/a");
}

TEST_F(ParserContextTest, ObjectEntersTheCatalogueAtItsEnd) {
    openObject("a", "17", "counter");
    EXPECT_THAT(objects, IsEmpty());
    closeObject();
    EXPECT_EQ(only().getName(), "a");
    EXPECT_EQ(only().getId(), InfoObjectId{17});
    EXPECT_EQ(only().getType(), InfoObjectType::Counter);
}

TEST_F(ParserContextTest, PrototypeObjectIsAnOrdinaryObject) {
    open("infoObjectList")
        .open("prototypeObjects")
        .open("object", {{"id", "2"}, {"name", "p"}, {"type", "record"}})
        .element("unit", {{"type", "V"}, {"res", "0.5"}})
        .element("type", {{"message", "RegisterInfo"}})
        .close("object");
    EXPECT_EQ(only().getName(), "p");
    EXPECT_EQ(only().getUnitType(), "V");
    EXPECT_EQ(only().getUnitRes(), "0.5");
    EXPECT_EQ(only().getRecordType(), "RegisterInfo");
}

TEST_F(ParserContextTest, ObjectWithoutChildrenHasEmptyTextsAndNoTags) {
    openObject("a").closeObject();
    EXPECT_EQ(only().getUnitType(), "");
    EXPECT_EQ(only().getUnitRes(), "");
    EXPECT_EQ(only().getRecordType(), "");
    EXPECT_THAT(only().getTags(), IsEmpty());
}

TEST_F(ParserContextTest, NothingOfAnObjectPassesToTheNext) {
    declare("carried");
    openObject("a", "9", "record")
        .open("tags")
        .text("carried")
        .close("tags")
        .element("unit", {{"type", "V"}, {"res", "1"}})
        .element("type", {{"message", "CarrierEvent"}})
        .close("object")
        .open("object", {{"id", "x"}, {"name", "b"}, {"type", "meas"}})
        .closeObject();
    ASSERT_THAT(objects, SizeIs(2));
    const auto& second = *objects.rbegin();
    EXPECT_EQ(second.getId(), InfoObjectId{0});
    EXPECT_EQ(second.getType(), InfoObjectType::Measurement);
    EXPECT_EQ(second.getUnitType() + second.getUnitRes() + second.getRecordType(), "");
    EXPECT_THAT(second.getTags(), IsEmpty());
}

TEST_F(ParserContextTest, ObjectAtAnotherDepthIsIgnored) {
    const Attributes attributes{{"id", "1"}, {"name", "a"}, {"type", "meas"}};
    element("object", attributes);
    open("infoObjectList").element("object", attributes).close("infoObjectList");
    open("infoObjectList").open("objects").open("group").element("object", attributes);
    EXPECT_THAT(objects, IsEmpty());
    EXPECT_THAT(context.getErrWarn(), IsEmpty());
}

TEST_F(ParserContextTest, UnknownElementsAndAttributesAreIgnored) {
    open("infoObjectList")
        .open("objects")
        .open("object", {{"id", "1"}, {"name", "a"}, {"type", "meas"}, {"colour", "red"}})
        .element("description", {{"lang", "en"}})
        .text("some text between")
        .closeObject();
    EXPECT_EQ(only().getName(), "a");
    EXPECT_THAT(context.getErrWarn(), IsEmpty());
}

TEST_F(ParserContextTest, FirstDefinitionOfANameWins) {
    openObject("a", "1").closeObject();
    openObject("a", "2").closeObject();
    EXPECT_EQ(only().getId(), InfoObjectId{1});
    EXPECT_THAT(context.getErrWarn(), IsEmpty());
}

using IdText = std::pair<std::string, unsigned>;

class ParserContextIdTest : public ParserContextTest, public testing::WithParamInterface<IdText> {};

TEST_P(ParserContextIdTest, IsReadLikeFromAStream) {
    openObject("a", GetParam().first).closeObject();
    EXPECT_EQ(only().getId(), InfoObjectId{GetParam().second});
    EXPECT_THAT(context.getErrWarn(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Texts, ParserContextIdTest,
                         testing::Values(IdText("0", 0U), IdText("4294967295", 4294967295U),
                                         IdText("  12", 12U), IdText("12abc", 12U),
                                         IdText("abc", 0U), IdText("", 0U), IdText("0x10", 0U),
                                         IdText("4294967296", 4294967295U),
                                         IdText("-1", 4294967295U)));

TEST_F(ParserContextTest, MissingAttributeOfAnObjectThrows) {
    for (const std::string missing : {"id", "name", "type"}) {
        Attributes attributes{{"id", "1"}, {"name", "a"}, {"type", "meas"}};
        attributes.erase(missing);
        std::set<InfoObject> catalogue;
        ParserContext other(&catalogue);
        other.startElement("infoObjectList", {});
        other.startElement("objects", {});
        EXPECT_THAT([&] { other.startElement("object", attributes); },
                    testing::ThrowsMessage<std::out_of_range>("map::at"))
            << missing;
    }
}

TEST_F(ParserContextTest, UnknownTypeOfAnObjectThrows) {
    EXPECT_THROW(openObject("a", "1", "Meas"), std::bad_optional_access);
    std::set<InfoObject> catalogue;
    ParserContext other(&catalogue);
    other.startElement("infoObjectList", {});
    other.startElement("prototypeObjects", {});
    EXPECT_THROW(other.startElement("object", {{"id", "1"}, {"name", "a"}, {"type", ""}}),
                 std::bad_optional_access);
}

TEST_F(ParserContextTest, TypeOfAnObjectIsReadAfterItsIdAndName) {
    open("infoObjectList").open("objects");
    EXPECT_THROW(open("object", {{"id", "1"}, {"type", "nonsense"}}), std::out_of_range);
}

TEST_F(ParserContextTest, MissingResolutionOfAUnitThrows) {
    openObject("a").open("unit", {{"type", "V"}});
    EXPECT_THAT([&] { close("unit"); }, testing::ThrowsMessage<std::out_of_range>("map::at"));
}

TEST_F(ParserContextTest, MissingTypeOfAUnitThrows) {
    openObject("a").open("unit", {{"res", "1"}});
    EXPECT_THROW(close("unit"), std::out_of_range);
}

TEST_F(ParserContextTest, MissingMessageOfATypeThrows) {
    openObject("a").open("type");
    EXPECT_THROW(close("type"), std::out_of_range);
}

TEST_F(ParserContextTest, MissingNameOfATagThrows) {
    open("infoObjectList").open("tags").open("tag");
    EXPECT_THROW(close("tag"), std::out_of_range);
}

TEST_F(ParserContextTest, MissingHrefOfAnIncludeThrows) {
    open("infoObjectList").open("objects");
    EXPECT_THROW(open("include"), std::out_of_range);
}

TEST_F(ParserContextTest, LaterUnitStays) {
    openObject("a")
        .element("unit", {{"type", "V"}, {"res", "1"}})
        .element("unit", {{"type", "mV"}, {"res", "0.001"}})
        .closeObject();
    EXPECT_EQ(only().getUnitType(), "mV");
    EXPECT_EQ(only().getUnitRes(), "0.001");
}

TEST_F(ParserContextTest, OnlyDeclaredTagsAreKept) {
    declare("kept");
    openObject("a").open("tags").text("kept dropped").close("tags").closeObject();
    EXPECT_THAT(only().getTags(), ElementsAre("kept"));
    EXPECT_THAT(context.getErrWarn(), IsEmpty());
}

TEST_F(ParserContextTest, TagMustBeDeclaredBeforeTheTagsElementEnds) {
    openObject("a").open("tags").text("late").close("tags").closeObject();
    declare("late");
    EXPECT_THAT(only().getTags(), IsEmpty());
}

TEST_F(ParserContextTest, DeclaredTagsServeLaterFiles) {
    declare("lasting");
    std::set<InfoObject> catalogue;
    ParserContext later(&catalogue);
    later.startElement("infoObjectList", {});
    later.startElement("objects", {});
    later.startElement("object", {{"id", "1"}, {"name", "a"}, {"type", "meas"}});
    later.startElement("tags", {});
    later.appendCharacters("lasting");
    later.endElement("tags");
    later.endElement("object");
    EXPECT_THAT(catalogue.begin()->getTags(), ElementsAre("lasting"));
}

TEST_F(ParserContextTest, TagIsDeclaredAtItsEnd) {
    open("infoObjectList").open("tags").open("tag", {{"name", "pending"}});
    std::set<InfoObject> catalogue;
    ParserContext other(&catalogue);
    other.startElement("infoObjectList", {});
    other.startElement("objects", {});
    other.startElement("object", {{"id", "1"}, {"name", "a"}, {"type", "meas"}});
    other.startElement("tags", {});
    other.appendCharacters("pending");
    other.endElement("tags");
    other.endElement("object");
    EXPECT_THAT(catalogue.begin()->getTags(), IsEmpty());
}

TEST_F(ParserContextTest, TagAtAnotherDepthDeclaresNothing) {
    const Attributes stray{{"name", "stray"}};
    element("tag", stray);
    open("tags").element("tag", stray).close("tags");
    open("infoObjectList").element("tag", stray);
    open("objects").open("tags").element("tag", stray).close("tags").close("objects");
    open("tags").open("group").element("tag", stray).close("group").close("tags");
    close("infoObjectList");
    openObject("a").open("tags").element("tag", stray).text("stray").close("tags").closeObject();
    EXPECT_THAT(only().getTags(), IsEmpty());
    EXPECT_THAT(context.getErrWarn(), IsEmpty());
}

TEST_F(ParserContextTest, PartsOfAnObjectAtAnotherDepthAreIgnored) {
    declare("moved");
    openObject("a")
        .open("group")
        .element("unit", {{"type", "V"}, {"res", "1"}})
        .element("type", {{"message", "RegisterInfo"}})
        .open("tags")
        .text("moved")
        .close("tags")
        .close("group")
        .close("object")
        .element("unit", {{"type", "W"}, {"res", "2"}})
        .element("type", {{"message", "CarrierEvent"}})
        .open("tags")
        .text("moved")
        .close("tags")
        .close("objects")
        .close("infoObjectList");
    EXPECT_EQ(only().getUnitType() + only().getUnitRes() + only().getRecordType(), "");
    EXPECT_THAT(only().getTags(), IsEmpty());
}

TEST_F(ParserContextTest, WhitespaceAroundTagsIsTrimmed) {
    declare("x1").declare("x2");
    openObject("a").open("tags").text(" \t\r\nx1  x2\n\r\t ").close("tags").closeObject();
    EXPECT_THAT(only().getTags(), ElementsAre("x1", "x2"));
}

TEST_F(ParserContextTest, TabsAndLineEndsBetweenTagsSeparateNothing) {
    declare("y1").declare("y2");
    openObject("a").open("tags").text("y1\ty2\ny1").close("tags").closeObject();
    EXPECT_THAT(only().getTags(), IsEmpty());
}

TEST_F(ParserContextTest, TextOfTagsMayComeInPieces) {
    declare("whole");
    openObject("a").open("tags").text("wh").text("ole").close("tags").closeObject();
    EXPECT_THAT(only().getTags(), ElementsAre("whole"));
}

TEST_F(ParserContextTest, TextOfNestedElementsIsNotOfTags) {
    declare("outer").declare("inner");
    openObject("a")
        .open("tags")
        .text("out")
        .open("note")
        .text("inner")
        .close("note")
        .text("er")
        .close("tags")
        .closeObject();
    EXPECT_THAT(only().getTags(), ElementsAre("outer"));
}

TEST_F(ParserContextTest, SeveralTagsElementsAddUp) {
    declare("z1").declare("z2");
    openObject("a");
    open("tags").text("z1").close("tags");
    open("tags").text("z2").close("tags").closeObject();
    EXPECT_THAT(only().getTags(), ElementsAre("z1", "z2"));
}

TEST_F(ParserContextTest, EmptyTagsGiveNoTags) {
    openObject("a").element("tags").open("tags").text("   ").close("tags").closeObject();
    EXPECT_THAT(only().getTags(), IsEmpty());
}

TEST_F(ParserContextTest, IncludesAreQueuedInDocumentOrder) {
    open("infoObjectList").open("objects");
    open("include", {{"href", "b.xml"}});
    EXPECT_THAT(context.getInclude(), ElementsAre("b.xml"));
    close("include").element("include", {{"href", "a.xml"}});
    EXPECT_THAT(context.getInclude(), ElementsAre("b.xml", "a.xml"));
}

TEST_F(ParserContextTest, IncludeCountsOnlyUnderObjects) {
    const Attributes href{{"href", "b.xml"}};
    open("infoObjectList").element("include", href);
    open("prototypeObjects").element("include", href).close("prototypeObjects");
    EXPECT_THAT(context.getInclude(), IsEmpty());
}

TEST_F(ParserContextTest, IncludeInsideAnObjectIsIgnored) {
    openObject("a").element("include", {{"href", "b.xml"}}).closeObject();
    EXPECT_THAT(context.getInclude(), IsEmpty());
    EXPECT_THAT(context.getErrWarn(), IsEmpty());
}

TEST_F(ParserContextTest, ErrorsAndWarningsStandInOrderOfArrival) {
    context.addWarning("odd\n");
    context.addError("bad");
    EXPECT_THAT(context.getErrWarn(), ElementsAre("Warning: odd\n", "Error: bad"));
}

TEST_F(ParserContextTest, NothingMoreIsTakenInAfterAnError) {
    openObject("a");
    context.addError("bad");
    open("child").text("text").close("object").close("nonsense");
    EXPECT_EQ(context.getHierarchy(), "/infoObjectList/objects/object");
    EXPECT_THAT(objects, IsEmpty());
    EXPECT_THAT(context.getErrWarn(), ElementsAre("Error: bad"));
}

TEST_F(ParserContextTest, NothingMoreIsTakenInAfterAWarning) {
    openObject("a");
    context.addWarning("odd");
    closeObject();
    EXPECT_THAT(objects, IsEmpty());
}

// However much of it there is.
TEST_F(ParserContextTest, TextAfterAnErrorTakesNoMemory) {
    openObject("a").open("tags").text("cut");
    context.addError("bad");
    const std::string rest(10'000, 't');
    const auto before = Qdx::Test::heapUse();
    text(rest);
    EXPECT_EQ(Qdx::Test::heapUse().bytes, before.bytes);
    EXPECT_THAT(context.getErrWarn(), ElementsAre("Error: bad"));
}

TEST_F(ParserContextTest, EndOfAnotherElementIsAnErrorAndChangesNothing) {
    open("a").open("b").close("a");
    EXPECT_THAT(context.getErrWarn(),
                ElementsAre("Error: End element did not match begin element"));
    EXPECT_EQ(context.getHierarchy(), "/a/b");
}

TEST_F(ParserContextTest, EndWithNothingOpenIsAnError) {
    close("a");
    EXPECT_THAT(context.getErrWarn(),
                ElementsAre("Error: End element did not match begin element"));
}

TEST_F(ParserContextTest, TextWithNothingOpenIsIgnored) {
    text("stray");
    EXPECT_THAT(context.getErrWarn(), IsEmpty());
    EXPECT_EQ(context.getHierarchy(), "");
}

}  // namespace

}  // namespace Qdx::Backend
