// The example list knows exactly what hostfe can send.
#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

#include "carrierEvent.pb.h"
#include "hostRecords.hpp"
#include "hostSampler.hpp"
#include "registerInfo.pb.h"

namespace HostFe {
namespace {

// What the list says of an object. Of a record's type it also says which message it is.
struct ListedObject {
    std::string name;
    std::string type;
    std::string messageType;
    friend bool operator==(const ListedObject&, const ListedObject&) = default;
};

void PrintTo(const ListedObject& object, std::ostream* out) {
    *out << object.name << ' ' << object.type << ' ' << object.messageType;
}

// The first thing that the expression finds in the text; empty if there is none.
std::string find(const std::string& text, const std::string& expression) {
    std::smatch match;
    return std::regex_search(text, match, std::regex(expression)) ? match[1].str() : "";
}

std::vector<ListedObject> listedObjects() {
    std::ifstream file(HOST_OBJECT_LIST);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    const std::string end = "</object>";
    std::vector<ListedObject> objects;
    for (auto begin = text.find("<object "); begin != std::string::npos;
         begin = text.find("<object ", begin + 1)) {
        const std::string object = text.substr(begin, text.find(end, begin) - begin);
        objects.push_back({find(object, R"re(name="([^"]+)")re"),
                           find(object, R"re(name="[^"]+" type="([^"]+)">)re"),
                           find(object, R"re(<type message="([^"]+)"/>)re")});
    }
    return objects;
}

TEST(HostObjectListTest, ExampleListsEveryObjectWithItsType) {
    std::vector<ListedObject> sent;
    for (const HostObject& object : hostObjects()) {
        const bool isMeasurement = object.kind == SampleKind::Measurement;
        sent.push_back({std::string(object.name), isMeasurement ? "meas" : "counter", ""});
    }
    for (const RecordObject& object : recordObjects()) {
        sent.push_back({std::string(object.name), "record", std::string(object.messageType)});
    }
    EXPECT_THAT(listedObjects(), ::testing::UnorderedElementsAreArray(sent));
}

TEST(HostObjectListTest, MessageTypesAreThoseOfTheRecords) {
    std::vector<std::string_view> types;
    for (const RecordObject& object : recordObjects()) {
        types.push_back(object.messageType);
    }
    EXPECT_THAT(types,
                ::testing::ElementsAre(Qdx::Records::CarrierEvent::descriptor()->full_name(),
                                       Qdx::Records::RegisterInfo::descriptor()->full_name()));
}

}  // namespace
}  // namespace HostFe
