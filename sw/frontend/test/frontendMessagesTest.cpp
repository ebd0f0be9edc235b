#include "frontendMessages.hpp"

#include <gtest/gtest.h>

#include "InfoObjectCollections.pb.h"
#include "hexText.hpp"
#include "wireFormat.hpp"

namespace Qdx::V1 {
namespace {

RadioMetaData hostMetaData() {
    RadioMetaData metaData;
    metaData.set_hwname("host");
    return metaData;
}

TEST(FrontendMessagesTest, NumbersAreThoseOfTheProtocol) {
    EXPECT_EQ(beConnectionReq, 24146112u);
    EXPECT_EQ(beConnectionCfm, 24146113u);
    EXPECT_EQ(beConnectionRej, 24146114u);
    EXPECT_EQ(beProcessBatchesUreq, 24146115u);
    EXPECT_EQ(beProcessMetaDataUreq, 24146118u);
}

TEST(FrontendMessagesTest, ConnectionRequestCarriesItsRevisionsBigEndian) {
    EXPECT_EQ(
        toHex(encodeConnectionRequest({.procedure = 0x01020304, .connection = 0x0a0b0c0d},
                                      {1, 256, 0xfffefdfc})),
        numberInHostOrder(0x017070C0) + " 01020304 0a0b0c0d 00000003 00000001 00000100 fffefdfc");
}

TEST(FrontendMessagesTest, ConnectionRequestMayOfferNothing) {
    EXPECT_EQ(toHex(encodeConnectionRequest({}, {})),
              numberInHostOrder(0x017070C0) + " 00000000 00000000 00000000");
}

// The field hwName is 6 and of length type: 0x32, the length 4, "host". In base64 "MgRob3N0".
TEST(FrontendMessagesTest, MetaDataIsBase64TextWithANulBehindIt) {
    EXPECT_EQ(toHex(encodeMetaData({.procedure = 7, .connection = 8}, hostMetaData())),
              numberInHostOrder(0x017070C6) + " 00000007 00000008 4d67526f 62334e30 00");
}

TEST(FrontendMessagesTest, EmptyMetaDataIsAnEmptyText) {
    EXPECT_EQ(toHex(encodeMetaData({}, {})),
              numberInHostOrder(0x017070C6) + " 00000000 00000000 00");
}

TEST(FrontendMessagesTest, ReadsAConfirmation) {
    const auto reply = decodeConnectionReply(
        fromHex(numberInHostOrder(0x017070C1) + "01020304 00000001 00000100"));
    ASSERT_TRUE(reply.has_value());
    EXPECT_TRUE(reply->confirmed);
    EXPECT_EQ(reply->references.procedure, 0x01020304u);
    EXPECT_EQ(reply->references.connection, 1u);
    EXPECT_EQ(reply->value, 256u);
}

TEST(FrontendMessagesTest, ReadsARejection) {
    const auto reply = decodeConnectionReply(
        fromHex(numberInHostOrder(0x017070C2) + "fffefdfc 00000001 00000001"));
    ASSERT_TRUE(reply.has_value());
    EXPECT_FALSE(reply->confirmed);
    EXPECT_EQ(reply->references.procedure, 0xfffefdfcu);
    EXPECT_EQ(reply->value, 1u);
}

TEST(FrontendMessagesTest, RefusesWhatIsNoReply) {
    const std::string body = "00000000 00000001 00000001";
    EXPECT_FALSE(decodeConnectionReply(fromHex(numberInHostOrder(0x017070C0) + body)));
    EXPECT_FALSE(decodeConnectionReply(fromHex(numberInHostOrder(0x017070C3) + body)));
    EXPECT_FALSE(decodeConnectionReply({}));
}

TEST(FrontendMessagesTest, RefusesRepliesOfAnotherSize) {
    const MessageBytes whole =
        fromHex(numberInHostOrder(0x017070C1) + "00000000 00000001 00000001");
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_FALSE(decodeConnectionReply(std::span(whole).first(size))) << size;
    }
    MessageBytes longer = whole;
    longer.push_back(0);
    EXPECT_FALSE(decodeConnectionReply(longer));
}

TEST(FrontendMessagesTest, SignedValuesKeepTheirSign) {
    MessageBytes bytes;
    appendInt64(bytes, -2);
    appendInt64(bytes, 0x0102030405060708);
    EXPECT_EQ(toHex(bytes), "ffffffff fffffffe 01020304 05060708");
}

TEST(FrontendMessagesTest, MessageOfTheServiceHasTheSameBytesAndNumber) {
    const MessageBytes bytes = encodeConnectionRequest({.procedure = 5}, {1});
    ozo_msg* message = toOzoMessage(bytes);
    EXPECT_EQ(message->msgno, beConnectionReq);
    EXPECT_EQ(toHex(bytesOf(message)), toHex(bytes));
    ozo_free(message);
}

}  // namespace
}  // namespace Qdx::V1
