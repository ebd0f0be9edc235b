// The collector reads a list, the programs that show what it captured read the same: both must
// know the same objects, or nothing.
#include <gmock/gmock.h>

#include <random>
#include <stdexcept>

#include "files/badInput.hpp"
#include "infoObjectListImpl.hpp"
#include "pull/badData.hpp"
#include "pull/catalogue.hpp"
#include "traceRecorder.hpp"
#include "unitRoot.hpp"

namespace Qdx::Pull {
namespace {

using Backend::InfoObjectId;
using Backend::InfoObjectListImpl;
using Qdx::Test::TraceRecorder;

const std::string nothing = "nothing";

std::string joined(const std::set<std::string>& tags) {
    std::string text;
    for (const auto& tag : tags) {
        text += tag + ",";
    }
    return text;
}

std::string row(std::uint32_t id, const CatalogueObject& object) {
    return std::to_string(id) + " [" + object.name + "] [" + object.unit + "] [" +
           object.resolution + "] [" + object.messageType + "] " + joined(object.tags) + "\n";
}

class CatalogueOfTheCollectorTest : public testing::Test {
protected:
    // Ids from here on are not looked for unless the programs know them.
    static constexpr std::uint32_t idsEnd = 50;

    // As the collector knows them.
    std::string collectors(const std::set<std::uint32_t>& furtherIds) {
        trace.clear();
        try {
            const InfoObjectListImpl list;
            if (!trace.texts(Backend::Trace::Level::Error).empty()) {
                return nothing;
            }
            auto ids = furtherIds;
            for (std::uint32_t id = 0; id < idsEnd; ++id) {
                ids.insert(id);
            }
            std::string text;
            for (const auto id : ids) {
                if (const auto* const object = list.getInfoObject(InfoObjectId{id})) {
                    text += row(id, {object->getName(), object->getUnitType(), object->getUnitRes(),
                                     object->getRecordType(), object->getTags()});
                }
            }
            return text;
        } catch (const std::out_of_range&) {
            return nothing;
        } catch (const std::bad_optional_access&) {
            return nothing;
        }
    }

    // Whether both know the same of the list, which is written here, and what they know.
    std::string agreed(const std::string& list) {
        root.writeCatalogue(list);
        std::string ours;
        std::set<std::uint32_t> ids;
        try {
            const auto catalogue = Catalogue::read(root.path() / "list/infoObjectList.xml");
            for (const auto& [id, object] : catalogue.all()) {
                ours += row(id, object);
                ids.insert(id);
            }
        } catch (const BadData&) {
            ours = nothing;
        } catch (const Files::NoInput&) {
            ours = nothing;
        }
        EXPECT_EQ(ours, collectors(ids)) << list;
        return ours;
    }

    static std::string inList(const std::string& inner) {
        return "<infoObjectList>" + inner + "</infoObjectList>";
    }

    std::string agreedInside(const std::string& inner) { return agreed(inList(inner)); }

    const Qdx::Test::UnitRoot root;
    TraceRecorder& trace = TraceRecorder::instance();
};

TEST_F(CatalogueOfTheCollectorTest, TheFirstObjectOfANameInReadingOrderCounts) {
    EXPECT_EQ(agreedInside(R"(<prototypeObjects><object id="1" name="a" type="meas"/>)"
                           R"(</prototypeObjects>)"
                           R"(<objects><object id="2" name="a" type="meas"/></objects>)"),
              "1 [a] [] [] [] \n");
}

TEST_F(CatalogueOfTheCollectorTest, ATagThatIsDeclaredLaterComesTooLate) {
    EXPECT_EQ(agreedInside(R"(<objects><object id="1" name="a" type="meas"><tags>LATE</tags>)"
                           R"(</object></objects><tags><tag name="LATE"/></tags>)"
                           R"(<objects><object id="2" name="b" type="meas"><tags>LATE</tags>)"
                           R"(</object></objects>)"),
              "1 [a] [] [] [] \n2 [b] [] [] [] LATE,\n");
}

TEST_F(CatalogueOfTheCollectorTest, CdataAndReferencesAreText) {
    EXPECT_EQ(agreedInside(R"(<tags><tag name="CDATA"/><tag name="REFERENCE"/></tags><objects>)"
                           R"(<object id="1" name="a" type="meas"><tags><![CDATA[CDATA ]]>)"
                           R"(REFER&#69;NCE</tags></object></objects>)"),
              "1 [a] [] [] [] CDATA,REFERENCE,\n");
}

TEST_F(CatalogueOfTheCollectorTest, AnAmpersandInAnAttributeStaysAReference) {
    EXPECT_EQ(agreedInside(R"(<objects><object id="1" name="R&amp;D" type="meas">)"
                           R"(<unit type="&lt;W&gt;" res="1"/></object></objects>)"),
              "1 [R&#38;D] [<W>] [1] [] \n");
}

TEST_F(CatalogueOfTheCollectorTest, WhatMakesAListFailFailsForBoth) {
    const auto object = [](const std::string& attributes, const std::string& inner = "") {
        return "<objects><object " + attributes + ">" + inner + "</object></objects>";
    };
    const std::string good = R"(id="1" name="a" type="meas")";
    for (const auto& inner :
         {object(good + R"( xmlns="relative")"), object(R"(id="1" name="a" type="level")"),
          object(R"(id="1" name="a")"), object(R"(id="1" type="meas")"),
          object(R"(name="a" type="meas")"), object(good, "<unit type='W'/>"),
          object(good, "<unit res='1'/>"), object(good, "<type/>"), object(good, "&unknown;"),
          object(good) + "<tags><tag/></tags>", object(good) + "<objects><include/></objects>",
          object(good) + "<objects><include href='missing.xml'/></objects>",
          object(good) + "<p:x/>", object(good) + "<x a='1' a='1'/>", object(good) + "<open>"}) {
        EXPECT_EQ(agreedInside(inner), nothing) << inner;
    }
    for (const auto& list :
         {std::string(), std::string("<a"), inList(object(good)) + "behind",
          "<!DOCTYPE infoObjectList [<!ENTITY e 'x'>]>" + inList(object(good, "&e;")),
          "<?xml version='1.0' encoding='none'?>" + inList(object(good)),
          inList(object(R"(id="1" name=")"
                        "\xFF"
                        R"(" type="meas")"))}) {
        EXPECT_EQ(agreed(list), nothing) << list;
    }
}

TEST_F(CatalogueOfTheCollectorTest, WhatIsOddButNoFaultIsTakenByBoth) {
    const std::string object = R"(<objects><object id="1" name="a" type="meas"/></objects>)";
    const std::string taken = "1 [a] [] [] [] \n";
    EXPECT_EQ(
        agreedInside("<unit/><tag/><objects><unit/><group><include/></group></objects>" + object),
        taken);
    EXPECT_EQ(
        agreed("<!DOCTYPE infoObjectList [<!ENTITY e 'x'>]><?pi?><!-- c -->" + inList(object)),
        taken);
    EXPECT_EQ(agreed("<p:infoObjectList xmlns:p='urn:p'>" + object + "</p:infoObjectList>"), taken);
    EXPECT_EQ(agreed("\xEF\xBB\xBF" + inList(object)), taken);
    EXPECT_EQ(agreedInside(R"(<objects xmlns:p="urn:p"><object p:id="1" id="2" name="a")"
                           R"( type="meas"/></objects>)"),
              taken);
    EXPECT_EQ(agreedInside(R"(<objects><object id="-1" name="a" type="meas"/>)"
                           R"(<object id="x" name="b" type="meas"/></objects>)"),
              "0 [b] [] [] [] \n4294967295 [a] [] [] [] \n");
}

// Lists of odd parts, one random one after another.
class RandomLists {
public:
    explicit RandomLists(unsigned seed) : random(seed) {}

    // With tags of its own, for the collector never forgets one; may include the file.
    std::string next(const std::string& file) {
        ++number;
        return more(file);
    }

    // One that the list before may have included.
    std::string more(const std::string& file = "") {
        std::string text = pick({"", "<?xml version='1.0'?>", "<!-- c -->"}) + "<infoObjectList>";
        for (auto parts = below(6); parts > 0; --parts) {
            text += part(file);
        }
        return text + "</infoObjectList>";
    }

private:
    unsigned below(unsigned end) {
        return std::uniform_int_distribution<unsigned>(0, end - 1)(random);
    }

    std::string pick(const std::vector<std::string>& texts) {
        return texts[below(static_cast<unsigned>(texts.size()))];
    }

    // One of the texts that are usual, and seldom one that is not.
    std::string usually(const std::vector<std::string>& usual,
                        const std::vector<std::string>& odd) {
        return pick(below(60) == 0 ? odd : usual);
    }

    std::string tag() { return "T" + std::to_string(number) + pick({"A", "B", "C"}); }

    std::string part(const std::string& file) {
        switch (below(4)) {
            case 0:
                return "<tags>" + tagElement() + tagElement() + "</tags>";
            case 1:
                return "<prototypeObjects>" + objects() + "</prototypeObjects>";
            case 2:
                return usually({" ", "<other><tag/></other>", "<tags><x/></tags>", "<![CDATA[x]]>"},
                               {"&e;", "<x y='1' y='1'/>", "<x xmlns='y'/>"});
            default:
                return "<objects>" + objects() + includeOf(file) + objects() + "</objects>";
        }
    }

    std::string includeOf(const std::string& file) {
        return file.empty() || below(2) == 0 ? "" : "<include href = '" + file + "'/>";
    }

    std::string tagElement() {
        return usually({"<tag name='" + tag() + "'/>", "<tag name='" + tag() + "'>x</tag>"},
                       {"<tag/>"});
    }

    std::string objects() {
        std::string text;
        for (auto count = below(4); count > 0; --count) {
            text +=
                "<object id='" + pick({"1", "2", "3", "4", " 5x", "x"}) + "' name='" +
                pick({"a", "b", "c", "R&amp;D", "&lt;&#x41;", "\xC3\xA9"}) + "' " +
                usually({"type='meas'", "type='counter'", "type='record'"}, {"", "type='level'"}) +
                ">" + inner() + inner() + "</object>" + pick({"", "\n", "t"});
        }
        return text;
    }

    std::string inner() {
        switch (below(4)) {
            case 0:
                return "<tags>" + tag() + pick({" ", "\t", "\n ", "&#32;", "<x>y </x>"}) +
                       pick({tag(), "<![CDATA[" + tag() + "]]>", "<!-- c --> " + tag()}) +
                       "</tags>";
            case 1:
                return usually({"<unit type='W' res='0.1'/>", "<unit res='2' type='R&amp;D'/>"},
                               {"<unit type='W'/>", "<unit res='1'/>"});
            case 2:
                return usually({"<type message='M'/>", "<type message='N'>x</type>"}, {"<type/>"});
            default:
                return pick({"", "<x><unit/></x>", "t", "<object id='9'/>"});
        }
    }

    std::mt19937 random;
    unsigned number = 0;
};

TEST_F(CatalogueOfTheCollectorTest, RandomListsAreReadAlike) {
    constexpr unsigned seed = 4242;
    constexpr int rounds = 400;
    RandomLists lists(seed);
    int refused = 0;
    for (int round = 0; round < rounds && !HasFailure(); ++round) {
        const auto list = lists.next("more.xml");
        root.write("list/more.xml", lists.more());
        refused += agreed(list) == nothing ? 1 : 0;
    }
    EXPECT_GT(refused, rounds / 20);
    EXPECT_LT(refused, rounds / 2);
}

}  // namespace
}  // namespace Qdx::Pull
