#include "catalogue.hpp"

#include <gmock/gmock.h>

#include "errorText.hpp"
#include "files/badInput.hpp"
#include "unitRoot.hpp"

namespace DchFilter {
namespace {

using Qdx::Files::BadInput;
using Qdx::Files::NoInput;
using testing::ElementsAre;
using testing::HasSubstr;

class CatalogueTest : public testing::Test {
protected:
    std::string write(const std::string& name, const std::string& inner) const {
        return root.write(name, "<infoObjectList>" + inner + "</infoObjectList>");
    }

    static std::vector<std::string> namesIn(const std::string& path) {
        std::vector<std::string> names;
        for (const auto& object : readCatalogue(path)) {
            names.push_back(object.getName());
        }
        return names;
    }

    const Qdx::Test::UnitRoot root;
};

TEST_F(CatalogueTest, GivesObjectsWithTheirDeclaredTags) {
    const auto path =
        write("list.xml", R"(<tags><tag name="CPU"/></tags><objects><object id="1" name="a:b")"
                          R"( type="counter"><tags>CPU NET</tags></object></objects>)");
    const auto catalogue = readCatalogue(path);
    ASSERT_EQ(catalogue.size(), 1U);
    EXPECT_EQ(catalogue.begin()->getType(), Qdx::Backend::InfoObjectType::Counter);
    EXPECT_THAT(catalogue.begin()->getTags(), ElementsAre("CPU"));
}

TEST_F(CatalogueTest, ReadsIncludesBesideTheFirstFile) {
    write("more.xml", R"(<objects><object id="2" name="b" type="meas"/></objects>)");
    const auto path = write("list.xml", R"(<objects><object id="1" name="a" type="meas"/>)"
                                        R"(<include href="more.xml"/></objects>)");
    EXPECT_THAT(namesIn(path), ElementsAre("a", "b"));
}

TEST_F(CatalogueTest, ReadsAFileThatIsIncludedTwiceOnce) {
    write("more.xml", R"(<objects><object id="2" name="b" type="meas"/></objects>)");
    const auto path = write(
        "list.xml", R"(<objects><include href="more.xml"/><include href="more.xml"/></objects>)");
    EXPECT_THAT(namesIn(path), ElementsAre("b"));
}

TEST_F(CatalogueTest, RefusesAFileThatIncludesItself) {
    write("more.xml", R"(<objects><include href="list.xml"/></objects>)");
    const auto path = write("list.xml", R"(<objects><include href="more.xml"/></objects>)");
    EXPECT_THAT(errorText<BadInput>([&] { readCatalogue(path); }), HasSubstr("includes itself"));
}

TEST_F(CatalogueTest, TellsOfFilesThatAreMissing) {
    const std::string missing = root.path() / "missing.xml";
    EXPECT_EQ(errorText<NoInput>([&] { readCatalogue(missing); }),
              missing + ": No such file or directory");
    const auto path = write("list.xml", R"(<objects><include href="missing.xml"/></objects>)");
    EXPECT_EQ(errorText<NoInput>([&] { readCatalogue(path); }),
              missing + ": No such file or directory");
    EXPECT_THAT(errorText<NoInput>([&] { readCatalogue(root.path()); }), HasSubstr("directory"));
}

TEST_F(CatalogueTest, TellsWhatIsWrongWithAList) {
    EXPECT_THAT(errorText<BadInput>([&] { readCatalogue(root.write("a.xml", "<infoObject")); }),
                HasSubstr("a.xml: Error: "));
    const auto without = write("b.xml", R"(<objects><object id="1" type="meas"/></objects>)");
    EXPECT_EQ(errorText<BadInput>([&] { readCatalogue(without); }),
              without + ": an attribute is missing at /infoObjectList/objects/object");
    const auto type = write("c.xml", R"(<objects><object id="1" name="a" type="x"/></objects>)");
    EXPECT_EQ(errorText<BadInput>([&] { readCatalogue(type); }),
              type + ": unknown type at /infoObjectList/objects/object");
}

}  // namespace
}  // namespace DchFilter
