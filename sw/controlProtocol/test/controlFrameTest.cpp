// Frames of the control protocol, byte by byte.
#include "controlFrame.hpp"

#include <gtest/gtest.h>

#include <vector>

#include "hexText.hpp"
#include "qdxFilterCtrlI.pb.h"

namespace {

using namespace qdxfilterctrli;
using Qdx::Control::decode;
using Qdx::Control::encode;
using Qdx::Control::frameSize;
using Qdx::Control::References;
using Qdx::V1::fromHex;
using Qdx::V1::numberInHostOrder;
using Qdx::V1::toHex;
using Bytes = std::vector<unsigned char>;

template <typename Body>
Bytes frameOf(References references, const Body& body) {
    Bytes frame(frameSize(body));
    EXPECT_TRUE(encode(Body::MESSAGE_NUMBER, references, body, frame));
    return frame;
}

// A pull of "f" that clears it.
const char* const clearingPull = "01020304 fffffffe 0a016610 01";

PullFilterDataReq pullOf(const char* name, bool clear) {
    PullFilterDataReq pull;
    pull.set_filter_name(name);
    pull.set_clear_data(clear);
    return pull;
}

TEST(ControlFrame, HasTheNumberInHostOrderAndTheReferencesBigEndian) {
    EXPECT_EQ(
        toHex(frameOf({.procedure = 0x01020304, .connection = 0xFFFFFFFE}, pullOf("f", true))),
        numberInHostOrder(0x01707B15) + " " + clearingPull);
}

TEST(ControlFrame, NumberOfALittleEndianHostBeginsWithItsLastByte) {
    const std::uint32_t one = 1;
    const bool littleEndian = *reinterpret_cast<const unsigned char*>(&one) == 1;
    EXPECT_EQ(toHex(frameOf({.procedure = 0, .connection = 1}, ConnectionEstablishReq())),
              littleEndian ? "007b7001 00000000 00000001" : "01707b00 00000000 00000001");
}

TEST(ControlFrame, SizeIsTheHeaderAndTheBodyWithoutALengthBetween) {
    EXPECT_EQ(frameSize(CapabilityExchangeReq()), 12);
    EXPECT_EQ(frameSize(pullOf("f", true)), 17);
}

TEST(ControlFrame, RevisionsArePacked) {
    ConnectionEstablishReq request;
    request.add_supported_revisions(1);
    request.add_supported_revisions(300);
    EXPECT_EQ(toHex(frameOf({.procedure = 7}, request)),
              numberInHostOrder(0x01707B00) + " 00000007 00000000 0a0301ac 02");
}

TEST(ControlFrame, DecodesWhatItEncodes) {
    References references;
    PullFilterDataReq pull;
    ASSERT_TRUE(decode(fromHex(numberInHostOrder(0x01707B15) + clearingPull), references, pull));
    EXPECT_EQ(references, (References{.procedure = 0x01020304, .connection = 0xFFFFFFFE}));
    EXPECT_EQ(pull.SerializeAsString(), pullOf("f", true).SerializeAsString());
}

TEST(ControlFrame, DoesNotLookAtTheNumber) {
    References references;
    PullFilterDataReq pull;
    ASSERT_TRUE(decode(fromHex("deadbeef 00000001 00000002 0a0166"), references, pull));
    EXPECT_EQ(pull.filter_name(), "f");
}

TEST(ControlFrame, HeaderAloneIsAMessageWithNoFieldSet) {
    References references;
    auto pull = pullOf("from before", true);
    ASSERT_TRUE(decode(fromHex("00000000 00000005 00000006"), references, pull));
    EXPECT_EQ(references, (References{.procedure = 5, .connection = 6}));
    EXPECT_FALSE(pull.has_filter_name());
    EXPECT_EQ(pull.filter_name(), "");
    EXPECT_FALSE(pull.has_clear_data());
    EXPECT_FALSE(pull.clear_data());
}

TEST(ControlFrame, ShorterThanItsHeaderIsNotDecoded) {
    const auto header = fromHex("00000000 00000005 00000006");
    for (std::size_t size = 0; size < header.size(); ++size) {
        References references;
        CapabilityExchangeReq request;
        EXPECT_FALSE(decode(Bytes(header.begin(), header.begin() + static_cast<long>(size)),
                            references, request))
            << size;
    }
}

TEST(ControlFrame, CutBodyIsDecodedOnlyBetweenItsFields) {
    const auto whole = fromHex(numberInHostOrder(0x01707B15) + clearingPull);
    for (std::size_t size = 12; size <= whole.size(); ++size) {
        References references;
        PullFilterDataReq pull;
        const bool atAField = size == 12 || size == 15 || size == 17;
        EXPECT_EQ(
            decode(Bytes(whole.begin(), whole.begin() + static_cast<long>(size)), references, pull),
            atAField)
            << size;
    }
}

TEST(ControlFrame, LengthPastTheEndIsNotDecoded) {
    References references;
    PullFilterDataReq pull;
    EXPECT_FALSE(decode(fromHex("00000000 00000000 00000000 0a7f66"), references, pull));
    EXPECT_FALSE(decode(fromHex("00000000 00000000 00000000 0affffffff0f66"), references, pull));
}

TEST(ControlFrame, TextThatIsNotUtf8IsDecodedAsItIsAndWrittenNowhere) {
    References references;
    PullFilterDataReq pull;
    testing::internal::CaptureStderr();
    EXPECT_TRUE(decode(fromHex("00000000 00000000 00000000 0a02fffe"), references, pull));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(pull.filter_name(), "\xff\xfe");
}

TEST(ControlFrame, FieldThatNobodyKnowsIsNoFault) {
    References references;
    PullFilterDataReq pull;
    ASSERT_TRUE(decode(fromHex("00000000 00000000 00000000 9a06027879 0a0166"), references, pull));
    EXPECT_EQ(pull.filter_name(), "f");
}

}  // namespace
