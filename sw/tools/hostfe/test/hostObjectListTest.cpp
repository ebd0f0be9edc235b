// The example list knows exactly what hostfe can send.
#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "hostSampler.hpp"

namespace HostFe {
namespace {

using NamesAndTypes = std::vector<std::pair<std::string, std::string>>;

NamesAndTypes listedObjects() {
    std::ifstream file(HOST_OBJECT_LIST);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    const std::regex object(R"re(<object id="\d+" name="([^"]+)" type="([^"]+)">)re");
    NamesAndTypes objects;
    for (std::sregex_iterator match(text.begin(), text.end(), object), end; match != end; ++match) {
        objects.emplace_back((*match)[1], (*match)[2]);
    }
    return objects;
}

TEST(HostObjectListTest, ExampleListsEveryObjectWithItsType) {
    NamesAndTypes sent;
    for (const HostObject& object : hostObjects()) {
        sent.emplace_back(object.name, object.kind == SampleKind::Measurement ? "meas" : "counter");
    }
    EXPECT_THAT(listedObjects(), ::testing::UnorderedElementsAreArray(sent));
}

}  // namespace
}  // namespace HostFe
