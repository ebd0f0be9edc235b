#include "infoObjectListImpl.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <barrier>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <thread>

#include "traceRecorder.hpp"
#include "unitRoot.hpp"

namespace Qdx::Backend {

namespace {

using Qdx::Test::TraceRecorder;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using Level = Trace::Level;

std::string object(const std::string& name, const std::string& id,
                   const std::string& children = "") {
    return "<object id='" + id + "' name='" + name + "' type='meas'>" + children + "</object>";
}

std::string list(const std::string& objects, const std::string& before = "") {
    return "<?xml version='1.0'?>\n<infoObjectList>" + before + "<objects>" + objects +
           "</objects></infoObjectList>\n";
}

std::string tag(const std::string& name) {
    return "<tags><tag name='" + name + "'/></tags>";
}

std::string include(const std::string& file) {
    return "<include href='" + file + "'/>";
}

std::ptrdiff_t openDescriptors() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return std::distance(begin(descriptors), end(descriptors));
}

class InfoObjectListImplTest : public testing::Test {
protected:
    InfoObjectListImplTest() { trace.clear(); }

    // The directory of the list file, with its separator.
    std::string directory() const { return (root.path() / "list/").string(); }

    std::vector<std::string> errors() const { return trace.texts(Level::Error); }

    Qdx::Test::UnitRoot root;
    TraceRecorder& trace = TraceRecorder::instance();
};

TEST_F(InfoObjectListImplTest, IsEmptyWithoutTheParameter) {
    root.writeDatabase("[qdx]\n");
    const InfoObjectListImpl catalogue;
    EXPECT_EQ(catalogue.size(), 0U);
    EXPECT_EQ(catalogue.getInfoObject("a"), nullptr);
    EXPECT_EQ(catalogue.getInfoObject(InfoObjectId{0}), nullptr);
    EXPECT_FALSE(catalogue.tagIsUsed("CPU"));
    EXPECT_THAT(trace.texts(Level::Info), ElementsAre("Entering InfoObjectListImpl"));
    EXPECT_THAT(errors(), ElementsAre("Could not read parameter /qdx/infoObjectListFilePath"));
}

TEST_F(InfoObjectListImplTest, LooksUpByNameAndByIdentity) {
    root.writeCatalogue(list(object("a", "1") + object("b", "2")));
    const InfoObjectListImpl catalogue;
    EXPECT_EQ(catalogue.size(), 2U);
    ASSERT_NE(catalogue.getInfoObject("b"), nullptr);
    EXPECT_EQ(catalogue.getInfoObject("b")->getId(), InfoObjectId{2});
    EXPECT_EQ(catalogue.getInfoObject(InfoObjectId{2}), catalogue.getInfoObject("b"));
    EXPECT_EQ(catalogue.getInfoObject("c"), nullptr);
    EXPECT_EQ(catalogue.getInfoObject(InfoObjectId{3}), nullptr);
}

TEST_F(InfoObjectListImplTest, TellsWhatItRead) {
    root.writeCatalogue(list(object("a", "1") + object("b", "2")));
    const InfoObjectListImpl catalogue;
    EXPECT_THAT(trace.texts(Level::Info),
                ElementsAre("Entering InfoObjectListImpl", "Number of parsed info objects: 2"));
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(InfoObjectListImplTest, ListWithoutObjectsIsValidAndEmpty) {
    root.writeCatalogue("<infoObjectList/>");
    const InfoObjectListImpl catalogue;
    EXPECT_EQ(catalogue.size(), 0U);
    EXPECT_EQ(trace.count(Level::Info, "Number of parsed info objects: 0"), 1U);
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(InfoObjectListImplTest, FirstOfTwoObjectsWithOneNameStays) {
    root.writeCatalogue(list(object("a", "1", "<tags>CPU</tags>") + object("a", "2"), tag("CPU")));
    const InfoObjectListImpl catalogue;
    ASSERT_EQ(catalogue.size(), 1U);
    EXPECT_EQ(catalogue.getInfoObject("a")->getId(), InfoObjectId{1});
    EXPECT_THAT(catalogue.getInfoObject("a")->getTags(), ElementsAre("CPU"));
    EXPECT_EQ(catalogue.getInfoObject(InfoObjectId{2}), nullptr);
}

TEST_F(InfoObjectListImplTest, LastNameWinsARepeatedIdentity) {
    root.writeCatalogue(list(object("b", "7") + object("a", "7")));
    const InfoObjectListImpl catalogue;
    EXPECT_EQ(catalogue.size(), 2U);
    EXPECT_EQ(catalogue.getInfoObject(InfoObjectId{7}), catalogue.getInfoObject("b"));
    EXPECT_EQ(catalogue.getInfoObject("a")->getName(), "a");
    EXPECT_EQ(catalogue.getInfoObject("b")->getName(), "b");
}

TEST_F(InfoObjectListImplTest, TagIsUsedOnlyIfAnObjectCarriesIt) {
    root.writeCatalogue(
        list(object("a", "1", "<tags>CARRIED</tags>"), tag("CARRIED") + tag("IDLE")));
    const InfoObjectListImpl catalogue;
    trace.clear();
    EXPECT_TRUE(catalogue.tagIsUsed("CARRIED"));
    EXPECT_FALSE(catalogue.tagIsUsed("IDLE"));
    EXPECT_THAT(trace.texts(Level::Trace7),
                ElementsAre("Entering tagIsUsed", "Entering tagIsUsed"));
}

TEST_F(InfoObjectListImplTest, ReadsAFileWithoutADirectoryFromTheWorkingDirectory) {
    root.write("list/top.xml", list(include("more.xml")));
    root.write("list/more.xml", list(object("a", "1")));
    root.writeDatabase("[qdx]\ninfoObjectListFilePath = \"top.xml\"\n");
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(directory());
    const InfoObjectListImpl catalogue;
    std::filesystem::current_path(before);
    EXPECT_EQ(catalogue.size(), 1U);
    EXPECT_EQ(trace.count(Level::Info, "Processing included file: more.xml"), 1U);
}

TEST_F(InfoObjectListImplTest, FileThatCannotBeOpenedGivesAnEmptyCatalogue) {
    root.writeDatabase("[qdx]\ninfoObjectListFilePath = \"/nowhere/list.xml\"\n");
    const InfoObjectListImpl catalogue;
    EXPECT_EQ(catalogue.size(), 0U);
    EXPECT_THAT(errors(), ElementsAre("Could not open file /nowhere/list.xml",
                                      "Could not process Info object list XML file"));
    EXPECT_THAT(trace.texts(Level::Info), ElementsAre("Entering InfoObjectListImpl"));
}

TEST_F(InfoObjectListImplTest, DirectoryInPlaceOfAFileGivesAnEmptyCatalogue) {
    root.writeDatabase("[qdx]\ninfoObjectListFilePath = \"" + root.path().string() + "\"\n");
    const InfoObjectListImpl catalogue;
    EXPECT_EQ(catalogue.size(), 0U);
    ASSERT_EQ(errors().size(), 2U);
    EXPECT_THAT(errors()[0], StartsWith("Error: "));
    EXPECT_EQ(errors()[1], "Could not process Info object list XML file");
}

TEST_F(InfoObjectListImplTest, FaultInTheTextLosesAllObjects) {
    root.writeCatalogue("<infoObjectList><objects>" + object("a", "1") +
                        "</wrong></infoObjectList>");
    const InfoObjectListImpl catalogue;
    EXPECT_EQ(catalogue.size(), 0U);
    EXPECT_EQ(catalogue.getInfoObject("a"), nullptr);
    ASSERT_GE(errors().size(), 2U);
    EXPECT_THAT(errors().front(), AllOf(StartsWith("Error: "), HasSubstr("wrong")));
    EXPECT_EQ(errors().back(), "Could not process Info object list XML file");
}

TEST_F(InfoObjectListImplTest, WarningFailsAFileLikeAnError) {
    root.writeCatalogue("<infoObjectList xmlns='relative/name'/>");
    const InfoObjectListImpl catalogue;
    EXPECT_THAT(errors(), ElementsAre(AllOf(StartsWith("Warning: "), HasSubstr("relative/name")),
                                      "Could not process Info object list XML file"));
}

TEST_F(InfoObjectListImplTest, EachFaultOfAFileIsTracedInTheOrderOfItsPlace) {
    root.writeCatalogue("<infoObjectList xmlns='first/fault'></second></infoObjectList>");
    const InfoObjectListImpl catalogue;
    EXPECT_THAT(errors(), ElementsAre(AllOf(StartsWith("Warning: "), HasSubstr("first/fault")),
                                      AllOf(StartsWith("Error: "), HasSubstr("second")),
                                      "Could not process Info object list XML file"));
}

TEST_F(InfoObjectListImplTest, DeclaredTagsOutliveAFileThatFails) {
    root.writeCatalogue("<infoObjectList>" + tag("SURVIVOR") + "</wrong>");
    const InfoObjectListImpl failed;
    root.writeCatalogue(list(object("a", "1", "<tags>SURVIVOR</tags>")));
    const InfoObjectListImpl catalogue;
    EXPECT_TRUE(catalogue.tagIsUsed("SURVIVOR"));
}

TEST_F(InfoObjectListImplTest, ReadsIncludedFilesInDocumentOrder) {
    root.write("list/one.xml", list(object("same", "1")));
    root.write("list/two.xml", list(object("same", "2") + object("other", "3")));
    root.writeCatalogue(list(include("one.xml") + object("top", "4") + include("two.xml")));
    const InfoObjectListImpl catalogue;
    EXPECT_EQ(catalogue.size(), 3U);
    EXPECT_EQ(catalogue.getInfoObject("same")->getId(), InfoObjectId{1});
    EXPECT_THAT(trace.texts(Level::Info),
                ElementsAre("Entering InfoObjectListImpl",
                            "Processing included file: " + directory() + "one.xml",
                            "Processing included file: " + directory() + "two.xml",
                            "Number of parsed info objects: 3"));
}

TEST_F(InfoObjectListImplTest, ObjectsOfAFileComeBeforeThoseItIncludes) {
    root.write("list/one.xml", list(object("same", "1")));
    root.writeCatalogue(list(include("one.xml") + object("same", "2")));
    const InfoObjectListImpl catalogue;
    EXPECT_EQ(catalogue.getInfoObject("same")->getId(), InfoObjectId{2});
}

TEST_F(InfoObjectListImplTest, NestedIncludesAreRelativeToTheTopFile) {
    root.write("list/sub/inner.xml", list(include("sub/leaf.xml")));
    root.write("list/sub/leaf.xml", list(object("leaf", "1")));
    root.writeCatalogue(list(include("sub/inner.xml")));
    const InfoObjectListImpl catalogue;
    EXPECT_NE(catalogue.getInfoObject("leaf"), nullptr);
    EXPECT_EQ(trace.count(Level::Info, "Processing included file: " + directory() + "sub/leaf.xml"),
              1U);
}

TEST_F(InfoObjectListImplTest, IncludeThatBeginsWithASlashIsStillBehindTheDirectory) {
    const auto elsewhere = root.write("elsewhere.xml", list(object("e", "1"))).string();
    root.write("list/" + elsewhere, list(object("below", "2")));
    root.writeCatalogue(list(include(elsewhere)));
    const InfoObjectListImpl catalogue;
    EXPECT_EQ(catalogue.getInfoObject("e"), nullptr);
    EXPECT_NE(catalogue.getInfoObject("below"), nullptr);
    EXPECT_EQ(trace.count(Level::Info, "Processing included file: " + directory() + elsewhere), 1U);
}

TEST_F(InfoObjectListImplTest, IncludesNestWithoutLimitAndHoldNoFileOpen) {
    constexpr int depth = 500;
    const auto file = [](int level) { return "level" + std::to_string(level) + ".xml"; };
    for (int level = 0; level < depth; ++level) {
        root.write("list/" + file(level), list(include(file(level + 1))));
    }
    root.write("list/" + file(depth), list(object("deepest", "1")));
    root.writeCatalogue(list(include(file(0))));
    const auto before = openDescriptors();
    const InfoObjectListImpl catalogue;
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_NE(catalogue.getInfoObject("deepest"), nullptr);
    // The start, each included file and the number of objects.
    EXPECT_EQ(trace.texts(Level::Info).size(), 1U + (depth + 1U) + 1U);
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(InfoObjectListImplTest, FileIncludedTwiceIsReadTwice) {
    root.write("list/more.xml", list(object("a", "1") + include("leaf.xml")));
    root.write("list/leaf.xml", list(object("b", "2")));
    root.writeCatalogue(list(include("more.xml") + include("more.xml")));
    const InfoObjectListImpl catalogue;
    EXPECT_EQ(catalogue.size(), 2U);
    const auto reading = [this](const std::string& file) {
        return "Processing included file: " + directory() + file;
    };
    EXPECT_THAT(
        trace.texts(Level::Info),
        ElementsAre("Entering InfoObjectListImpl", reading("more.xml"), reading("leaf.xml"),
                    reading("more.xml"), reading("leaf.xml"), "Number of parsed info objects: 2"));
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(InfoObjectListImplTest, TagsReachIncludedFilesButNotTheOtherWayRound) {
    root.write("list/more.xml", list(object("b", "2", "<tags>TOPTAG</tags>"), tag("SUBTAG")));
    root.writeCatalogue(
        list(object("a", "1", "<tags>SUBTAG</tags>") + include("more.xml"), tag("TOPTAG")));
    const InfoObjectListImpl catalogue;
    EXPECT_THAT(catalogue.getInfoObject("b")->getTags(), ElementsAre("TOPTAG"));
    EXPECT_THAT(catalogue.getInfoObject("a")->getTags(), IsEmpty());
}

TEST_F(InfoObjectListImplTest, FailingIncludeLosesEverythingAndSkipsTheRest) {
    root.write("list/good.xml", list(object("g", "1")));
    root.writeCatalogue(list(object("a", "2") + include("good.xml") + include("missing.xml") +
                             include("good.xml")));
    const InfoObjectListImpl catalogue;
    EXPECT_EQ(catalogue.size(), 0U);
    EXPECT_THAT(errors(),
                ElementsAre("Could not open file " + directory() + "missing.xml",
                            "Failed to process included file " + directory() + "missing.xml",
                            "Could not process Info object list XML file"));
    EXPECT_EQ(trace.count(Level::Info, "Processing included file: " + directory() + "good.xml"),
              1U);
}

TEST_F(InfoObjectListImplTest, FaultOfAnIncludedFileLosesEverything) {
    root.write("list/faulty.xml", list(object("f", "1") + "</wrong>"));
    root.writeCatalogue(list(object("a", "2") + include("faulty.xml")));
    const InfoObjectListImpl catalogue;
    EXPECT_EQ(catalogue.size(), 0U);
    EXPECT_THAT(errors(),
                ElementsAre(AllOf(StartsWith("Error: "), HasSubstr("wrong")),
                            "Failed to process included file " + directory() + "faulty.xml",
                            "Could not process Info object list XML file"));
}

TEST_F(InfoObjectListImplTest, WarningOfAnIncludedFileLosesEverything) {
    root.write("list/odd.xml", "<infoObjectList xmlns='relative/name'/>");
    root.writeCatalogue(list(object("a", "1") + include("odd.xml")));
    const InfoObjectListImpl catalogue;
    EXPECT_EQ(catalogue.size(), 0U);
    EXPECT_THAT(errors(), ElementsAre(AllOf(StartsWith("Warning: "), HasSubstr("relative/name")),
                                      "Failed to process included file " + directory() + "odd.xml",
                                      "Could not process Info object list XML file"));
}

TEST_F(InfoObjectListImplTest, FailureIsToldAtEachLevelOfIncludesFromTheInnermostOut) {
    root.write("list/outer.xml", list(include("inner.xml") + object("o", "1")));
    root.write("list/inner.xml", list(include("missing.xml")));
    root.writeCatalogue(list(include("outer.xml")));
    const InfoObjectListImpl catalogue;
    EXPECT_EQ(catalogue.size(), 0U);
    EXPECT_THAT(errors(),
                ElementsAre("Could not open file " + directory() + "missing.xml",
                            "Failed to process included file " + directory() + "missing.xml",
                            "Failed to process included file " + directory() + "inner.xml",
                            "Failed to process included file " + directory() + "outer.xml",
                            "Could not process Info object list XML file"));
}

TEST_F(InfoObjectListImplTest, FileThatFailsIncludesNothing) {
    root.write("list/good.xml", list(object("g", "1")));
    root.writeCatalogue("<infoObjectList><objects>" + include("good.xml") + "</wrong>");
    const InfoObjectListImpl catalogue;
    EXPECT_EQ(trace.count(Level::Info, "Processing included file: " + directory() + "good.xml"),
              0U);
}

TEST_F(InfoObjectListImplTest, MissingAttributeThrowsAndClosesTheFile) {
    root.writeCatalogue(list("<object id='1' name='a'/>"));
    const auto before = openDescriptors();
    EXPECT_THAT([] { InfoObjectListImpl(); }, testing::ThrowsMessage<std::out_of_range>("map::at"));
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(InfoObjectListImplTest, UnknownTypeThrowsAndClosesTheFile) {
    root.writeCatalogue(list("<object id='1' name='a' type='level'/>"));
    const auto before = openDescriptors();
    EXPECT_THROW(InfoObjectListImpl(), std::bad_optional_access);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(InfoObjectListImplTest, UnitWithoutResolutionThrows) {
    root.writeCatalogue(list(object("a", "1", "<unit type='V'/>")));
    EXPECT_THAT([] { InfoObjectListImpl(); }, testing::ThrowsMessage<std::out_of_range>("map::at"));
}

TEST_F(InfoObjectListImplTest, ExceptionOfAnIncludedFilePassesThroughAll) {
    root.write("list/more.xml", list("<include/>"));
    root.writeCatalogue(list(include("more.xml")));
    const auto before = openDescriptors();
    EXPECT_THROW(InfoObjectListImpl(), std::out_of_range);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(InfoObjectListImplTest, NothingAfterAnExceptionIsReported) {
    root.writeCatalogue("<infoObjectList><objects><object/><object id='1'></wrong>");
    EXPECT_THROW(InfoObjectListImpl(), std::out_of_range);
    EXPECT_THAT(errors(), IsEmpty());
}

// The instance lives as long as its process, so each of these runs in a process of its own. A
// result of 0 is success.

int triesAgainAfterExceptions() {
    const Qdx::Test::UnitRoot root;
    root.writeCatalogue(list("<object/>"));
    for (int i = 0; i < 2; ++i) {
        try {
            InfoObjectListIf::getInstance();
            return 1;
        } catch (const std::out_of_range&) {
            continue;
        }
    }
    root.writeCatalogue(list(object("a", "1")));
    return InfoObjectListIf::getInstance().getInfoObject("a") != nullptr ? 0 : 2;
}

int neverReloads() {
    const Qdx::Test::UnitRoot root;
    root.writeCatalogue(list(object("a", "1")));
    const auto& first = InfoObjectListIf::getInstance();
    root.writeCatalogue(list(object("b", "2")));
    const auto& second = InfoObjectListIf::getInstance();
    const auto same = &first == &second && second.getInfoObject("a") != nullptr;
    return same && second.getInfoObject("b") == nullptr ? 0 : 1;
}

int existsEmpty() {
    const Qdx::Test::UnitRoot root;
    root.writeDatabase("[qdx]\n");
    const auto* instance =
        dynamic_cast<const InfoObjectListImpl*>(&InfoObjectListIf::getInstance());
    return instance != nullptr && instance->size() == 0 ? 0 : 1;
}

// With a list that takes a while to read.
int isReadOnceForAllThreads() {
    const Qdx::Test::UnitRoot root;
    std::string many;
    for (int i = 0; i < 2000; ++i) {
        many += object("object" + std::to_string(i), std::to_string(i));
    }
    root.writeCatalogue(list(many));
    TraceRecorder::instance().clear();
    std::vector<const InfoObjectListIf*> seen(8);
    std::barrier start(static_cast<std::ptrdiff_t>(seen.size()));
    std::vector<std::thread> threads;
    threads.reserve(seen.size());
    for (auto& instance : seen) {
        threads.emplace_back([&start, &instance] {
            start.arrive_and_wait();
            const auto& list = InfoObjectListIf::getInstance();
            instance = list.getInfoObject("object1999") != nullptr ? &list : nullptr;
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    const bool same = std::ranges::count(seen, &InfoObjectListIf::getInstance()) == 8;
    const auto readings =
        TraceRecorder::instance().count(Level::Info, "Entering InfoObjectListImpl");
    return same && readings == 1 ? 0 : 1;
}

class InfoObjectListIfDeathTest : public testing::Test {
protected:
    InfoObjectListIfDeathTest() { testing::GTEST_FLAG(death_test_style) = "threadsafe"; }
};

TEST_F(InfoObjectListIfDeathTest, TriesAgainAfterAnException) {
    EXPECT_EXIT(std::exit(triesAgainAfterExceptions()), testing::ExitedWithCode(0), "");
}

TEST_F(InfoObjectListIfDeathTest, IsReadOnceForThreadsThatAskAtTheSameTime) {
    EXPECT_EXIT(std::exit(isReadOnceForAllThreads()), testing::ExitedWithCode(0), "");
}

TEST_F(InfoObjectListIfDeathTest, NeverReloads) {
    EXPECT_EXIT(std::exit(neverReloads()), testing::ExitedWithCode(0), "");
}

TEST_F(InfoObjectListIfDeathTest, ExistsEmptyWhenTheListCannotBeRead) {
    EXPECT_EXIT(std::exit(existsEmpty()), testing::ExitedWithCode(0), "");
}

}  // namespace

}  // namespace Qdx::Backend
