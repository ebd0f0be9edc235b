// The client's side of the control protocol, frame by frame: what a server's bytes make of it.
#include "control/session.hpp"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "hexText.hpp"

namespace {

using namespace Qdx::Control;
using namespace std::chrono_literals;
using Qdx::V1::fromHex;
using Qdx::V1::numberInHostOrder;
using Qdx::V1::toHex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Numbers of the messages.
constexpr std::uint32_t connectReq = 0x01707B00;
constexpr std::uint32_t connectCfm = 0x01707B01;
constexpr std::uint32_t connectRej = 0x01707B02;
constexpr std::uint32_t capabilityReq = 0x01707B03;
constexpr std::uint32_t capabilityCfm = 0x01707B04;
constexpr std::uint32_t capabilityRej = 0x01707B05;
constexpr std::uint32_t pullReq = 0x01707B15;
constexpr std::uint32_t pullCfm = 0x01707B16;
constexpr std::uint32_t pullRej = 0x01707B17;
constexpr std::uint32_t data = 0x01707B18;
constexpr std::uint32_t ack = 0x01707B19;

// A session of a client with a server that the test plays. Frames are a number and the digits of
// what stands behind it: procedure reference, connection reference, body.
class SessionTest : public testing::Test {
protected:
    bool server(std::uint32_t number, const std::string& digits) {
        return session().take(fromHex(numberInHostOrder(number) + digits));
    }

    static std::string frame(std::uint32_t number, const std::string& digits) {
        return toHex(fromHex(numberInHostOrder(number) + digits));
    }

    std::vector<std::string> takeSent() { return std::exchange(sent, {}); }

    // The outcomes of what has ended since the last time.
    std::vector<Outcome> takeEnds() {
        std::vector<Outcome> outcomes;
        for (const auto& result : std::exchange(ends, {})) {
            EXPECT_EQ(result.text.empty(), result.isDone());
            EXPECT_EQ(result.text.find('\n'), std::string::npos);
            lastText = result.text;
            outcomes.push_back(result.outcome);
        }
        return outcomes;
    }

    Session& session() {
        if (!theSession) {
            theSession = std::make_unique<Session>(
                options,
                [this](std::span<const unsigned char> bytes) { sent.push_back(toHex(bytes)); },
                [this] { return time; });
        }
        return *theSession;
    }

    Done end() {
        return [this](const Result& result) { ends.push_back(result); };
    }

    // Connection 5, with procedure 1.
    void connect() {
        session().connect(end());
        server(connectCfm, "00000001 00000005 0801");
        ASSERT_THAT(takeEnds(), ElementsAre(Outcome::Done));
        takeSent();
    }

    void pull(const std::string& filter = "f", bool clear = false) {
        session().pull(
            {filter, clear},
            [this](std::string_view chunk) {
                time += sinkTime;
                chunks.emplace_back(chunk);
                return chunks.size() != stopAfter;
            },
            end());
    }

    // Stream 9, as procedure 2 of connection 5.
    void startStream() {
        connect();
        pull();
        server(pullCfm, "00000002 00000005 0809");
        takeSent();
    }

    Options options;
    Session::Time time{1h};
    std::vector<std::string> sent;
    std::vector<Result> ends;
    std::string lastText;
    std::vector<std::string> chunks;
    std::size_t stopAfter = 1000;
    std::chrono::milliseconds sinkTime{0};
    std::unique_ptr<Session> theSession;
};

// --- Connecting --------------------------------------------------------------------------------

TEST_F(SessionTest, ConnectOffersTheRevisions) {
    options.revisions = {1, 300};
    session().connect(end());
    EXPECT_THAT(takeSent(), ElementsAre(frame(connectReq, "00000001 00000000 0a0301ac02")));
    EXPECT_TRUE(session().isBusy());
    EXPECT_FALSE(session().isConnected());
    EXPECT_THAT(takeEnds(), IsEmpty());
}

TEST_F(SessionTest, ConfirmationConnectsWithTheServersReference) {
    session().connect(end());
    EXPECT_TRUE(server(connectCfm, "00000001 fffffffe 0801"));
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::Done));
    EXPECT_TRUE(session().isConnected());
    EXPECT_FALSE(session().isBusy());
    EXPECT_EQ(session().connectionReference(), 0xFFFFFFFE);
    EXPECT_EQ(session().revision(), 1);
    EXPECT_EQ(session().deadline(), std::nullopt);
}

TEST_F(SessionTest, ConnectionWithoutACommonRevisionSaysWhichWereOffered) {
    options.revisions = {2, 3};
    session().connect(end());
    server(connectRej, "00000001 00000000 0801");
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::NoCommonRevision));
    EXPECT_THAT(lastText, HasSubstr("{2,3}"));
    EXPECT_FALSE(session().isConnected());
}

TEST_F(SessionTest, ConnectionBeyondTheLastIsRejected) {
    session().connect(end());
    server(connectRej, "00000001 00000000 0803");
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::TooManyConnections));
}

TEST_F(SessionTest, RejectionForNoKnownReasonIsNotTakenForAKnownOne) {
    for (const char* body : {"", "0802", "087f"}) {
        theSession.reset();
        session().connect(end());
        server(connectRej, std::string("00000001 00000000 ") + body);
        EXPECT_THAT(takeEnds(), ElementsAre(Outcome::ConnectionRejected)) << body;
    }
}

TEST_F(SessionTest, RevisionThatWasNotOfferedIsAProtocolError) {
    for (const char* body : {"0802", ""}) {
        theSession.reset();
        session().connect(end());
        server(connectCfm, std::string("00000001 00000005 ") + body);
        EXPECT_THAT(takeEnds(), ElementsAre(Outcome::ProtocolError)) << body;
        EXPECT_FALSE(session().isConnected());
    }
}

TEST_F(SessionTest, RejectedClientMayTryAgain) {
    session().connect(end());
    server(connectRej, "00000001 00000000 0803");
    session().connect(end());
    server(connectCfm, "00000002 00000006 0801");
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::TooManyConnections, Outcome::Done));
    EXPECT_EQ(session().connectionReference(), 6);
}

TEST_F(SessionTest, AnswerToAnotherConnectRequestIsIgnored) {
    session().connect(end());
    EXPECT_TRUE(server(connectCfm, "00000002 00000005 0801"));
    EXPECT_TRUE(server(connectRej, "00000002 00000000 0803"));
    EXPECT_TRUE(server(connectRej, "00000001 00000007 0803"));
    EXPECT_THAT(takeEnds(), IsEmpty());
    EXPECT_EQ(session().ignored(), 3);
}

// --- Capabilities ------------------------------------------------------------------------------

TEST_F(SessionTest, CapabilitiesAreExchangedUnderTheConnectionsReference) {
    connect();
    session().exchangeCapabilities(end());
    EXPECT_THAT(takeSent(), ElementsAre(frame(capabilityReq, "00000002 00000005")));
    server(capabilityCfm, "00000002 00000005");
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::Done));
}

TEST_F(SessionTest, CapabilitiesMayBeRejected) {
    connect();
    session().exchangeCapabilities(end());
    server(capabilityRej, "00000002 00000005");
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::CapabilitiesRejected));
    EXPECT_TRUE(session().isConnected());
}

// --- Pulls -------------------------------------------------------------------------------------

TEST_F(SessionTest, PullAsksForTheFilterByName) {
    connect();
    pull("f", true);
    EXPECT_THAT(takeSent(), ElementsAre(frame(pullReq, "00000002 00000005 0a0166 1001")));
}

TEST_F(SessionTest, PullThatKeepsSaysSo) {
    connect();
    pull("f", false);
    EXPECT_THAT(takeSent(), ElementsAre(frame(pullReq, "00000002 00000005 0a0166 1000")));
}

TEST_F(SessionTest, ConfirmationOfAPullIsNotAcknowledged) {
    connect();
    pull();
    takeSent();
    server(pullCfm, "00000002 00000005 0809");
    EXPECT_THAT(takeSent(), IsEmpty());
    EXPECT_THAT(takeEnds(), IsEmpty());
}

TEST_F(SessionTest, ContentsInOneChunkAreAcknowledgedToo) {
    startStream();
    server(data, "00000002 00000005 0a02 6162 1000 1809");
    EXPECT_THAT(takeSent(), ElementsAre(frame(ack, "00000002 00000005 0809")));
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::Done));
    EXPECT_THAT(chunks, ElementsAre("ab"));
}

TEST_F(SessionTest, ChunksComeInOrderEachAcknowledgedOnce) {
    startStream();
    const auto acknowledgement = frame(ack, "00000002 00000005 0809");
    server(data, "00000002 00000005 0a02 6162 1001 1809");
    EXPECT_THAT(takeSent(), ElementsAre(acknowledgement));
    server(data, "00000002 00000005 0a02 6364 1001 1809");
    EXPECT_THAT(takeSent(), ElementsAre(acknowledgement));
    EXPECT_THAT(takeEnds(), IsEmpty());
    server(data, "00000002 00000005 0a01 65 1000 1809");
    EXPECT_THAT(takeSent(), ElementsAre(acknowledgement));
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::Done));
    EXPECT_THAT(chunks, ElementsAre("ab", "cd", "e"));
}

TEST_F(SessionTest, EmptyLastChunkEndsTheStreamAndIsNoneForTheSink) {
    startStream();
    server(data, "00000002 00000005 0a01 61 1001 1809");
    server(data, "00000002 00000005 0a00 1000 1809");
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::Done));
    EXPECT_EQ(takeSent().size(), 2);
    EXPECT_THAT(chunks, ElementsAre("a"));
}

TEST_F(SessionTest, AcknowledgementLeavesBeforeTheSinkWorks) {
    connect();
    std::vector<std::string> sentBefore;
    session().pull(
        {"f"},
        [&](std::string_view) {
            sentBefore = takeSent();
            return true;
        },
        end());
    takeSent();
    server(pullCfm, "00000002 00000005 0809");
    server(data, "00000002 00000005 0a01 61 1000 1809");
    EXPECT_THAT(sentBefore, ElementsAre(frame(ack, "00000002 00000005 0809")));
}

TEST_F(SessionTest, NextPullGoesUnderAReferenceOfItsOwn) {
    startStream();
    server(data, "00000002 00000005 0a01 61 1000 1809");
    pull("g");
    EXPECT_EQ(takeSent().back(), frame(pullReq, "00000003 00000005 0a0167 1000"));
    server(pullCfm, "00000003 00000005 080a");
    server(data, "00000003 00000005 0a01 62 1000 180a");
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::Done, Outcome::Done));
    EXPECT_THAT(chunks, ElementsAre("a", "b"));
}

TEST_F(SessionTest, NextPullMayStartFromTheEndOfTheLast) {
    connect();
    session().pull(
        {"f"}, [](auto) { return true; }, [this](const Result&) { pull("g"); });
    takeSent();
    server(pullRej, "00000002 00000005 0802");
    EXPECT_THAT(takeSent(), ElementsAre(frame(pullReq, "00000003 00000005 0a0167 1000")));
    server(pullCfm, "00000003 00000005 080a");
    server(data, "00000003 00000005 0a01 62 1000 180a");
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::Done));
    EXPECT_THAT(chunks, ElementsAre("b"));
}

TEST_F(SessionTest, FilterNameOfAnyBytesGoesOutAsItIsAndIsWrittenNowhere) {
    connect();
    testing::internal::CaptureStderr();
    pull("\xff\xfe");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_THAT(takeSent(), ElementsAre(frame(pullReq, "00000002 00000005 0a02fffe 1000")));
}

struct PullRejection {
    const char* body;
    Outcome outcome;
};

class PullRejectionTest : public SessionTest, public testing::WithParamInterface<PullRejection> {};

TEST_P(PullRejectionTest, EndsThePullAndLeavesTheConnection) {
    connect();
    pull();
    server(pullRej, std::string("00000002 00000005 ") + GetParam().body);
    EXPECT_THAT(takeEnds(), ElementsAre(GetParam().outcome));
    EXPECT_THAT(lastText, HasSubstr("filter \"f\": "));
    EXPECT_TRUE(session().isConnected());
    EXPECT_THAT(chunks, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Statuses, PullRejectionTest,
                         testing::Values(PullRejection{"0801", Outcome::NoSuchFilter},
                                         PullRejection{"0802", Outcome::NoDataYet},
                                         PullRejection{"0803", Outcome::MetaDataNotSet},
                                         PullRejection{"0804", Outcome::OutOfMemory},
                                         PullRejection{"0805", Outcome::FilterDisabled},
                                         PullRejection{"0806", Outcome::PullRejected},
                                         PullRejection{"", Outcome::PullRejected}),
                         [](const auto& tested) {
                             const std::string body = tested.param.body;
                             return body.empty() ? "absent" : "status" + body.substr(2);
                         });

// --- The sink ----------------------------------------------------------------------------------

TEST_F(SessionTest, SinkThatWantsNoMoreGetsNoMoreAndTheServerIsRidOfTheStream) {
    stopAfter = 1;
    startStream();
    server(data, "00000002 00000005 0a01 61 1001 1809");
    server(data, "00000002 00000005 0a01 62 1001 1809");
    EXPECT_THAT(takeEnds(), IsEmpty());
    server(data, "00000002 00000005 0a01 63 1000 1809");
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::Stopped));
    EXPECT_EQ(takeSent().size(), 3);
    EXPECT_THAT(chunks, ElementsAre("a"));
}

TEST_F(SessionTest, SinkThatRefusesTheLastChunkDoesNotHaveAll) {
    stopAfter = 1;
    startStream();
    server(data, "00000002 00000005 0a01 61 1000 1809");
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::Stopped));
}

TEST_F(SessionTest, ContentsAsLargeAsTheLimitPass) {
    options.largestContents = 3;
    startStream();
    server(data, "00000002 00000005 0a02 6162 1001 1809");
    server(data, "00000002 00000005 0a01 63 1000 1809");
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::Done));
}

TEST_F(SessionTest, ContentsOverTheLimitEndThePullAndTheRestIsThrownAway) {
    options.largestContents = 3;
    startStream();
    server(data, "00000002 00000005 0a02 6162 1001 1809");
    server(data, "00000002 00000005 0a02 6364 1001 1809");
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::TooLarge));
    EXPECT_EQ(takeSent().size(), 2);
    server(data, "00000002 00000005 0a02 6566 1000 1809");
    EXPECT_THAT(takeSent(), ElementsAre(frame(ack, "00000002 00000005 0809")));
    EXPECT_THAT(chunks, ElementsAre("ab"));
}

// --- Deadlines ---------------------------------------------------------------------------------

TEST_F(SessionTest, IdleSessionHasNoDeadline) {
    EXPECT_EQ(session().deadline(), std::nullopt);
    time += 1000h;
    session().checkDeadline();
    EXPECT_THAT(takeEnds(), IsEmpty());
}

TEST_F(SessionTest, ConnectTimesOutAtItsDeadlineAndNotBefore) {
    options.answerTime = 100ms;
    session().connect(end());
    EXPECT_EQ(session().deadline(), time + 100ms);
    time += 99ms;
    session().checkDeadline();
    EXPECT_THAT(takeEnds(), IsEmpty());
    time += 1ms;
    session().checkDeadline();
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::TimedOut));
    EXPECT_EQ(lastText, "no answer from the collector within 100 ms");
    EXPECT_FALSE(session().isBusy());
}

TEST_F(SessionTest, CapabilityExchangeTimesOutAndTheConnectionStays) {
    connect();
    session().exchangeCapabilities(end());
    time += options.answerTime;
    session().checkDeadline();
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::TimedOut));
    EXPECT_TRUE(session().isConnected());
}

TEST_F(SessionTest, PullTimesOutBeforeItsConfirmation) {
    connect();
    pull();
    time += options.answerTime;
    session().checkDeadline();
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::TimedOut));
}

TEST_F(SessionTest, EachExpectedAnswerOfAPullBeginsAWaitAnew) {
    connect();
    pull();
    time += 6s;
    server(pullCfm, "00000002 00000005 0809");
    EXPECT_EQ(session().deadline(), time + options.answerTime);
    time += 6s;
    server(data, "00000002 00000005 0a01 61 1001 1809");
    EXPECT_EQ(session().deadline(), time + options.answerTime);
    time += options.answerTime;
    session().checkDeadline();
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::TimedOut));
}

TEST_F(SessionTest, TimeThatTheSinkTakesIsNotTheServers) {
    sinkTime = 1h;
    startStream();
    server(data, "00000002 00000005 0a01 61 1001 1809");
    EXPECT_EQ(session().deadline(), time + options.answerTime);
}

TEST_F(SessionTest, NoiseKeepsNoProcedureAlive) {
    startStream();
    const auto due = session().deadline();
    time += 1s;
    server(data, "00000001 00000005 0a01 61 1001 1809");
    server(data, "00000002 00000006 0a01 61 1001 1809");
    server(0x01707BFF, "00000002 00000005");
    EXPECT_EQ(session().deadline(), due);
    EXPECT_THAT(takeSent(), IsEmpty());
}

TEST_F(SessionTest, AnswerThatComesTooLateIsIgnored) {
    session().connect(end());
    time += options.answerTime;
    session().checkDeadline();
    server(connectCfm, "00000001 00000005 0801");
    EXPECT_FALSE(session().isConnected());
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::TimedOut));
    EXPECT_EQ(session().ignored(), 1);
}

TEST_F(SessionTest, StreamOfAPullThatTimedOutIsStillAcknowledgedToItsEnd) {
    connect();
    pull();
    time += options.answerTime;
    session().checkDeadline();
    pull("g");
    takeSent();
    server(pullCfm, "00000002 00000005 0809");
    server(data, "00000002 00000005 0a01 61 1001 1809");
    EXPECT_THAT(takeSent(), ElementsAre(frame(ack, "00000002 00000005 0809")));
    server(data, "00000002 00000005 0a01 62 1000 1809");
    EXPECT_THAT(takeSent(), ElementsAre(frame(ack, "00000002 00000005 0809")));
    server(data, "00000002 00000005 0a01 63 1000 1809");
    EXPECT_THAT(takeSent(), IsEmpty()) << "the stream has ended";
    EXPECT_THAT(chunks, IsEmpty());

    server(pullCfm, "00000003 00000005 080a");
    server(data, "00000003 00000005 0a01 67 1000 180a");
    EXPECT_THAT(chunks, ElementsAre("g"));
}

TEST_F(SessionTest, StreamsOfSeveralPullsThatTimedOutAreAcknowledged) {
    connect();
    for (const auto* filter : {"f", "g", "h"}) {
        pull(filter);
        time += options.answerTime;
        session().checkDeadline();
    }
    takeSent();
    server(data, "00000002 00000005 0a01 61 1001 1809");
    server(data, "00000003 00000005 0a01 61 1000 180a");
    server(data, "00000002 00000005 0a01 62 1000 1809");
    EXPECT_THAT(takeSent(), ElementsAre(frame(ack, "00000002 00000005 0809"),
                                        frame(ack, "00000003 00000005 080a"),
                                        frame(ack, "00000002 00000005 0809")));
    server(pullRej, "00000004 00000005");
    server(data, "00000004 00000005 0a01 61 1000 180b");
    EXPECT_THAT(takeSent(), IsEmpty()) << "a rejected pull has no stream";
}

// --- The collector's end -----------------------------------------------------------------------

TEST_F(SessionTest, EndOfTheConnectionEndsWhatRuns) {
    startStream();
    session().disconnect({Outcome::CollectorGone, "gone"});
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::CollectorGone));
    EXPECT_EQ(lastText, "gone");
    EXPECT_FALSE(session().isConnected());
    EXPECT_FALSE(session().isBusy());
}

TEST_F(SessionTest, EndOfTheConnectionTellsNobodyWhenNothingRuns) {
    connect();
    session().disconnect({Outcome::CollectorGone, "gone"});
    EXPECT_THAT(takeEnds(), IsEmpty());
    EXPECT_FALSE(session().isConnected());
}

TEST_F(SessionTest, ConnectsAgainAfterTheEnd) {
    connect();
    session().disconnect({Outcome::CollectorGone, "gone"});
    session().connect(end());
    EXPECT_THAT(takeSent(), ElementsAre(frame(connectReq, "00000002 00000000 0a0101")));
    server(connectCfm, "00000002 00000001 0801");
    EXPECT_EQ(session().connectionReference(), 1);
}

// --- Calls that don't fit ----------------------------------------------------------------------

TEST_F(SessionTest, NothingButAConnectFitsBeforeTheConnection) {
    session().exchangeCapabilities(end());
    pull();
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::Misuse, Outcome::Misuse));
    EXPECT_THAT(takeSent(), IsEmpty());
}

TEST_F(SessionTest, SecondConnectDoesNotFit) {
    connect();
    session().connect(end());
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::Misuse));
    EXPECT_THAT(takeSent(), IsEmpty());
    EXPECT_TRUE(session().isConnected());
}

TEST_F(SessionTest, SecondProcedureDoesNotFitAndLeavesTheFirst) {
    startStream();
    pull("g");
    session().exchangeCapabilities(end());
    session().connect(end());
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::Misuse, Outcome::Misuse, Outcome::Misuse));
    EXPECT_THAT(takeSent(), IsEmpty());
    server(data, "00000002 00000005 0a01 61 1000 1809");
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::Done));
    EXPECT_THAT(chunks, ElementsAre("a"));
}

TEST_F(SessionTest, RequestLongerThanAMessageDoesNotFit) {
    options.largestMessage = 30;
    connect();
    pull(std::string(14, 'x'));
    EXPECT_THAT(takeEnds(), IsEmpty()) << "12 + 2 + 14 + 2 bytes fit";
    server(pullRej, "00000002 00000005 0801");
    takeEnds();
    takeSent();
    pull(std::string(15, 'x'));
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::Misuse));
    EXPECT_THAT(takeSent(), IsEmpty());
}

// --- Servers that lie --------------------------------------------------------------------------

TEST_F(SessionTest, NumbersThatAreNotAServersAreLeftToOthers) {
    connect();
    EXPECT_FALSE(server(0, "00000001 00000005"));
    EXPECT_FALSE(server(connectReq, "00000001 00000005"));
    EXPECT_FALSE(server(pullReq, "00000001 00000005"));
    EXPECT_FALSE(server(ack, "00000001 00000005"));
    EXPECT_FALSE(session().take({}));
    EXPECT_FALSE(session().take(fromHex("010203")));
    EXPECT_EQ(session().ignored(), 6);
}

TEST_F(SessionTest, AnswersThatNobodyAskedForAreIgnored) {
    connect();
    for (const auto number :
         {connectCfm, connectRej, capabilityCfm, capabilityRej, pullCfm, pullRej, data}) {
        EXPECT_TRUE(server(number, "00000001 00000005 0801"));
    }
    EXPECT_THAT(takeSent(), IsEmpty());
    EXPECT_TRUE(session().isConnected());
    EXPECT_EQ(session().connectionReference(), 5);
    EXPECT_EQ(session().ignored(), 7);
}

TEST_F(SessionTest, FrameWithoutAWholeHeaderIsIgnored) {
    connect();
    pull();
    const auto whole = fromHex(numberInHostOrder(pullRej) + "00000002 00000005");
    for (std::size_t size = 4; size < whole.size(); ++size) {
        EXPECT_TRUE(session().take(std::span(whole).first(size)));
    }
    EXPECT_THAT(takeEnds(), IsEmpty());
    EXPECT_EQ(session().ignored(), 8);
    session().take(whole);
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::PullRejected));
}

TEST_F(SessionTest, AnswerOutOfOrderIsAProtocolError) {
    connect();
    pull();
    server(data, "00000002 00000005 0a01 61 1000 1809");
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::ProtocolError)) << "before the confirmation";
    EXPECT_THAT(chunks, IsEmpty());
    EXPECT_TRUE(session().isConnected());
}

TEST_F(SessionTest, SecondConfirmationOfAPullIsAProtocolError) {
    startStream();
    server(pullCfm, "00000002 00000005 080a");
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::ProtocolError));
}

TEST_F(SessionTest, AnswerToAnotherProcedureIsAProtocolError) {
    connect();
    session().exchangeCapabilities(end());
    server(pullCfm, "00000002 00000005 0809");
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::ProtocolError));
}

TEST_F(SessionTest, BodyThatCannotBeDecodedIsAProtocolError) {
    session().connect(end());
    server(connectCfm, "00000001 00000005 ff");
    session().connect(end());
    server(connectRej, "00000002 00000000 ff");
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::ProtocolError, Outcome::ProtocolError));
    session().connect([](const Result&) {});
    server(connectCfm, "00000003 00000005 0801");
    session().exchangeCapabilities(end());
    server(capabilityCfm, "00000004 00000005 ff");
    pull();
    server(pullCfm, "00000005 00000005 ff");
    pull();
    server(pullRej, "00000006 00000005 ff");
    pull();
    server(pullCfm, "00000007 00000005 0809");
    server(data, "00000007 00000005 0a7f61");
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::ProtocolError, Outcome::ProtocolError,
                                        Outcome::ProtocolError, Outcome::ProtocolError));
    EXPECT_THAT(lastText, HasSubstr("message 24148760 that can't be decoded"));
}

TEST_F(SessionTest, PullWithoutAStreamIsAProtocolError) {
    for (const char* body : {"", "0800"}) {
        theSession.reset();
        connect();
        pull();
        server(pullCfm, std::string("00000002 00000005 ") + body);
        EXPECT_THAT(takeEnds(), ElementsAre(Outcome::ProtocolError)) << body;
    }
}

TEST_F(SessionTest, ChunkOfAnotherStreamIsAProtocolErrorAndNotAcknowledged) {
    startStream();
    server(data, "00000002 00000005 0a01 61 1000 180a");
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::ProtocolError));
    EXPECT_THAT(takeSent(), IsEmpty());
    EXPECT_THAT(chunks, IsEmpty());
}

TEST_F(SessionTest, EmptyChunkThatIsNotTheLastIsAProtocolErrorForItWouldNeverEnd) {
    startStream();
    server(data, "00000002 00000005 0a00 1001 1809");
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::ProtocolError));
    EXPECT_THAT(takeSent(), IsEmpty());
}

TEST_F(SessionTest, PullAfterAProtocolErrorWorks) {
    startStream();
    server(pullCfm, "00000002 00000005 080a");
    takeEnds();
    pull();
    server(pullCfm, "00000003 00000005 080b");
    server(data, "00000003 00000005 0a01 61 1000 180b");
    EXPECT_THAT(takeEnds(), ElementsAre(Outcome::Done));
}

TEST(Outcomes, EachHasANameOfItsOwn) {
    std::vector<std::string_view> names;
    for (int outcome = 0; outcome <= static_cast<int>(Outcome::TooLarge); ++outcome) {
        const auto name = nameOf(static_cast<Outcome>(outcome));
        EXPECT_THAT(names, testing::Not(testing::Contains(name)));
        names.push_back(name);
    }
    EXPECT_EQ(names.front(), "Done");
    EXPECT_EQ(names.back(), "TooLarge");
}

}  // namespace
