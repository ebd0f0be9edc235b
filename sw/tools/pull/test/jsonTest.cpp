#include "json.hpp"

#include <google/protobuf/util/json_util.h>
#include <google/protobuf/util/message_differencer.h>
#include <gtest/gtest.h>

#include <sstream>

#include "carrierEvent.pb.h"
#include "everything.hpp"
#include "registerInfo.pb.h"

namespace Qdx::Pull {
namespace {

std::string jsonOf(const Qdx::InfoObjectCollections& message) {
    std::ostringstream out;
    writeJson(out, message);
    return out.str();
}

Qdx::InfoObjectCollections minimal() {
    Qdx::InfoObjectCollections message;
    message.set_version(1);
    return message;
}

TEST(Json, ReadsBackAsTheMessage) {
    const auto message = everything();
    Qdx::InfoObjectCollections readBack;
    ASSERT_TRUE(google::protobuf::util::JsonStringToMessage(jsonOf(message), &readBack).ok());
    EXPECT_TRUE(google::protobuf::util::MessageDifferencer::Equals(readBack, message));
}

TEST(Json, IsOneLine) {
    const auto text = jsonOf(everything());
    EXPECT_EQ(text.find('\n'), text.size() - 1);
}

TEST(Json, LeavesOutWhatIsNotSet) {
    EXPECT_EQ(jsonOf(minimal()), "{\"version\":1}\n");
}

// The bytes of two messages behind each other, as protobuf merges them.
TEST(Json, HasEachKeyOnce) {
    auto message = minimal();
    message.add_countercollections()->set_id(7);
    message.add_measurementcollections()->set_id(8);
    const auto bytes = message.SerializeAsString();
    Qdx::InfoObjectCollections merged;
    ASSERT_TRUE(merged.ParseFromString(bytes + bytes));
    EXPECT_EQ(jsonOf(merged), R"({"version":1,"measurementCollections":[{"id":8},{"id":8}],)"
                              R"("counterCollections":[{"id":7},{"id":7}]})"
                              "\n");
}

// Among them the longer form of a shorter character, which protobuf's writer lets pass and its
// reader refuses.
constexpr const char* notAllUtf8 =
    "a\xC1\xA8"
    "b\xFF"
    "\xC3\xA9\xED\xA0\x80"
    "c";
constexpr const char* itsUtf8 =
    "ab\xC3\xA9"
    "c";

TEST(Json, LeavesOutBytesOfTextsThatAreNoUtf8) {
    auto message = minimal();
    message.mutable_radiometadata()->set_hwname(notAllUtf8);
    message.mutable_radiometadata()->set_swproductnumber("kept");
    message.add_countercollections()->set_id(7);
    Qdx::InfoObjectCollections readBack;
    ASSERT_TRUE(google::protobuf::util::JsonStringToMessage(jsonOf(message), &readBack).ok());
    message.mutable_radiometadata()->set_hwname(itsUtf8);
    EXPECT_TRUE(google::protobuf::util::MessageDifferencer::Equals(readBack, message));
}

TEST(Json, LeavesOutBytesOfRecordsTextsThatAreNoUtf8) {
    Qdx::Records::CarrierEvent event;
    event.set_reason(notAllUtf8);
    EXPECT_EQ(recordJson(event.SerializeAsString(), "CarrierEvent"),
              std::string("{\"reason\":\"") + itsUtf8 + "\"}");
    Qdx::Records::RegisterInfo info;
    info.set_block(notAllUtf8);
    info.add_registers()->set_name(notAllUtf8);
    EXPECT_EQ(recordJson(info.SerializeAsString(), "RegisterInfo"),
              std::string("{\"block\":\"") + itsUtf8 + "\",\"registers\":[{\"name\":\"" + itsUtf8 +
                  "\"}]}");
}

TEST(Json, LeavesOutFieldsThatNobodyKnows) {
    Qdx::InfoObjectCollections message;
    ASSERT_TRUE(message.ParseFromString("\x08\x01\x78\x05"));
    EXPECT_EQ(jsonOf(message), "{\"version\":1}\n");
}

TEST(Json, LeavesOutBytesThatAreNoText) {
    auto message = minimal();
    message.mutable_radiometadata()->set_hwname("a\xFF");
    EXPECT_EQ(jsonOf(message), "{\"version\":1,\"radioMetaData\":{\"hwName\":\"a\"}}\n");
}

TEST(RecordJson, SpellsOutTypesByAnyNameThatHoldsTheirs) {
    Qdx::Records::CarrierEvent event;
    event.set_carrier_id(7);
    EXPECT_EQ(recordJson(event.SerializeAsString(), "xCarrierEventx"), R"({"carrierId":7})");
    Qdx::Records::RegisterInfo info;
    info.set_block("b");
    EXPECT_EQ(recordJson(info.SerializeAsString(), "RegisterInfo"), R"({"block":"b"})");
}

TEST(RecordJson, TakesTheCarrierEventOfANameThatHoldsBoth) {
    EXPECT_EQ(recordJson("\x08\x07", "RegisterInfoCarrierEvent"), R"({"carrierId":7})");
}

TEST(RecordJson, IsEmptyForOtherTypes) {
    EXPECT_EQ(recordJson("\x08\x07", ""), std::nullopt);
    EXPECT_EQ(recordJson("\x08\x07", "carrierevent"), std::nullopt);
}

TEST(RecordJson, IsEmptyForRecordsThatAreNoneOfTheirType) {
    EXPECT_EQ(recordJson("\xFF", "CarrierEvent"), std::nullopt);
    EXPECT_EQ(recordJson("\x08", "RegisterInfo"), std::nullopt);
}

}  // namespace
}  // namespace Qdx::Pull
