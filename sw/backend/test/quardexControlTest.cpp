// Control clients of the whole collector: real filters, frontends on the same mailbox.
#include <gmock/gmock.h>

#include <cstdlib>
#include <future>

#include "InfoObjectCollections.pb.h"
#include "batch.hpp"
#include "collectorThread.hpp"
#include "controlClient.hpp"
#include "frontendMessages.hpp"
#include "parsedStatement.hpp"
#include "quardex.hpp"
#include "refusedMessage.hpp"
#include "tessel/activeObject.hpp"
#include "traceRecorder.hpp"
#include "unitRoot.hpp"
#include "wireFormat.hpp"

namespace Qdx::Backend {
namespace {

using namespace qdxfilterctrli;
using Qdx::Test::Batch;
using Qdx::Test::CollectorThread;
using Qdx::Test::ControlClient;
using Qdx::Test::References;
using Qdx::Test::RefusedMessage;
using Qdx::Test::TraceRecorder;
using Tessel::ActiveObject::V1::ActiveObjectIf;
using Tessel::ActiveObject::V1::SchedulingPolicy;
using testing::ElementsAre;
using testing::IsEmpty;
using Trace::Level;

RadioMetaData allSix() {
    RadioMetaData metaData;
    metaData.set_swproductnumber("sw");
    metaData.set_swproductrevision("R1");
    metaData.set_hwproductnumber("hw");
    metaData.set_hwproductrevision("R2");
    metaData.set_hwserialnumber("123");
    metaData.set_hwname("radio");
    return metaData;
}

class QuardexControlTest : public testing::Test {
protected:
    QuardexControlTest() {
        TraceRecorder::instance().clear();
        root.writeCatalogue(R"(<infoObjectList><objects><object id="1" name="m" type="meas"/>
            <object id="2" name="r" type="record"/></objects></infoObjectList>)",
                            "enabled = 1\n");
        collector = std::make_unique<Quardex>();
        thread = std::make_unique<CollectorThread>(*collector, [] {});
        createFilter(11, "lists", {"list count 5"});
        client = std::make_unique<ControlClient>("Client");
        references = {.procedure = 6, .connection = client->connect()};
    }

    void createFilter(std::int64_t id, const std::string& name,
                      const std::vector<std::string>& statements) {
        thread->run([&] {
            EXPECT_EQ(collector->createFilter(FilterId{id}, name, Qdx::Test::parsedAll(statements),
                                              0, Enabled::Yes, Static::No, Printable::No),
                      ErrorType::NoError);
        });
    }

    void sendMetaData() { client->sendFrame(V1::encodeMetaData({}, allSix())); }

    void sendPull(const std::string& filter, bool clearData = false) {
        PullFilterDataReq request;
        request.set_filter_name(filter);
        if (clearData) {
            request.set_clear_data(true);
        }
        client->send(references, request);
    }

    PullFilterDataRej::StatusCode pullInVain(const std::string& filter) {
        sendPull(filter);
        return client->receive<PullFilterDataRej>().body.status_code();
    }

    // The whole contents of a filter.
    std::string pull(const std::string& filter, bool clearData = false) {
        sendPull(filter, clearData);
        const auto streamId = client->receive<PullFilterDataCfm>().body.stream_id();
        std::string contents;
        for (bool hasMoreData = true; hasMoreData;) {
            const auto message = client->receive<FilterContentsRData>();
            EXPECT_EQ(message.body.stream_id(), streamId);
            contents += message.body.data_chunk();
            hasMoreData = message.body.has_more_data();
            client->acknowledge(references, streamId);
        }
        return contents;
    }

    InfoObjectCollections pullCollections(const std::string& filter, bool clearData = false) {
        InfoObjectCollections collections;
        EXPECT_TRUE(collections.ParseFromString(pull(filter, clearData)));
        return collections;
    }

    Qdx::Test::UnitRoot root;
    std::unique_ptr<Quardex> collector;
    std::unique_ptr<CollectorThread> thread;
    std::unique_ptr<ControlClient> client;
    References references;
};

TEST_F(QuardexControlTest, ServerIsFoundUnderItsAliasOfTheCollectorsMailbox) {
    EXPECT_NE(ozo_locate("QdxFilterCtrlI"), OZO_NO_MAILBOX);
    EXPECT_EQ(ozo_locate("QdxFilterCtrlI"), ozo_locate("QuardexBeI"));
}

TEST_F(QuardexControlTest, PullGivesTheCollectionsOfTheFilterByNameAndById) {
    sendMetaData();
    client->sendFrame(Batch().measurement("m", -5, "rfBranch=1").bytes());
    for (const char* const filter : {"lists", "11"}) {
        const auto collections = pullCollections(filter);
        EXPECT_EQ(collections.radiometadata().SerializeAsString(), allSix().SerializeAsString());
        ASSERT_EQ(collections.measurementcollections_size(), 1);
        EXPECT_EQ(collections.measurementcollections(0).id(), 1);
        EXPECT_EQ(collections.measurementcollections(0).context().rf_branch(), 1);
        EXPECT_THAT(collections.measurementcollections(0).values(), ElementsAre(-5));
    }
}

TEST_F(QuardexControlTest, ContentsOfSeveralChunksAreTheSameBytesAsAPullInOnePiece) {
    sendMetaData();
    std::vector<unsigned char> payload(60'000);
    for (std::size_t i = 0; i < payload.size(); ++i) {
        payload[i] = static_cast<unsigned char>(i * 7);
    }
    client->sendFrame(Batch().record("r", payload).bytes());
    client->sendFrame(Batch().record("r", payload).bytes());
    const auto contents = pull("lists");
    EXPECT_GT(contents.size(), 2 * payload.size());
    std::string atOnce;
    thread->run([&] {
        EXPECT_EQ(collector->pullFilterData(FilterId{11}, Clear::No, atOnce), ErrorType::NoError);
    });
    EXPECT_EQ(contents, atOnce);
}

TEST_F(QuardexControlTest, PullKeepsTheDataUnlessItIsToBeCleared) {
    sendMetaData();
    client->sendFrame(Batch().measurement("m", 5).bytes());
    EXPECT_EQ(pullCollections("lists").measurementcollections_size(), 1);
    EXPECT_EQ(pullCollections("lists", true).measurementcollections_size(), 1);
    EXPECT_EQ(pullInVain("lists"), PullFilterDataRej::NO_DATA_YET);
}

TEST_F(QuardexControlTest, DataClearedForAPullWhoseConfirmationCannotBeSentIsLost) {
    sendMetaData();
    client->sendFrame(Batch().measurement("m", 5).bytes());
    {
        const RefusedMessage refused(PullFilterDataCfm::MESSAGE_NUMBER);
        sendPull("lists", true);
        EXPECT_THAT(client->framesSoFar(), IsEmpty());
    }
    EXPECT_EQ(pullInVain("lists"), PullFilterDataRej::NO_DATA_YET);
}

TEST_F(QuardexControlTest, PullBeforeTheMetaDataIsRejectedWithItsStatus) {
    client->sendFrame(Batch().measurement("m", 5).bytes());
    EXPECT_EQ(pullInVain("lists"), PullFilterDataRej::META_DATA_NOT_SET);
}

TEST_F(QuardexControlTest, PullOfADisabledFilterIsRejectedWithItsStatus) {
    sendMetaData();
    client->sendFrame(Batch().measurement("m", 5).bytes());
    client->framesSoFar();
    thread->run([&] { collector->disableFilter(FilterId{11}); });
    EXPECT_EQ(pullInVain("lists"), PullFilterDataRej::FILTER_DISABLED);
}

TEST_F(QuardexControlTest, PullWithoutEnoughDataIsRejectedWithItsStatus) {
    createFilter(12, "windows", {"max count 2 10"});
    sendMetaData();
    client->sendFrame(Batch().measurement("m", 5).bytes());
    EXPECT_EQ(pullInVain("windows"), PullFilterDataRej::NO_DATA_YET);
    client->sendFrame(Batch().measurement("m", 7).bytes());
    EXPECT_THAT(pullCollections("windows").measurementcollections(0).values(), ElementsAre(7));
}

TEST_F(QuardexControlTest, PullOfAnUnknownFilterIsRejectedWithItsStatus) {
    sendMetaData();
    EXPECT_EQ(pullInVain("nobody"), PullFilterDataRej::NO_SUCH_FILTER_ID);
    EXPECT_EQ(pullInVain("12"), PullFilterDataRej::NO_SUCH_FILTER_ID);
    EXPECT_EQ(pullInVain(""), PullFilterDataRej::NO_SUCH_FILTER_ID);
}

TEST_F(QuardexControlTest, FrontendsAreServedOnTheSameMailbox) {
    client->sendFrame(V1::encodeConnectionRequest({.procedure = 9}, {1}));
    const auto reply = V1::decodeConnectionReply(client->receiveFrame());
    ASSERT_TRUE(reply);
    EXPECT_TRUE(reply->confirmed);
    EXPECT_EQ(reply->references.procedure, 9);
}

TEST_F(QuardexControlTest, RequestsThatAreNotServedGetNoReply) {
    client->send(references, CreateFilterReq());
    client->send(references, DisableFilterReq());
    client->send(references, EnableFilterReq());
    client->send(references, DeleteFilterReq());
    client->send(references, GetFilterSummaryReq());
    EXPECT_THAT(client->framesSoFar(), IsEmpty());
    EXPECT_THAT(TraceRecorder::instance().texts(Level::Error), IsEmpty());
}

TEST_F(QuardexControlTest, ClientThatGoesIsForgotten) {
    ControlClient other("Other");
    const auto mailbox = client->mailbox();
    client.reset();
    std::ostringstream gone;
    gone << "OZO client(s) with mailbox ID 0x" << std::hex << mailbox << std::dec
         << " disconnected! Removed connection references: {" << references.connection << "}";
    ASSERT_TRUE(TraceRecorder::instance().waitFor(Level::Info, gone.str()));
    other.send(references, CapabilityExchangeReq());
    EXPECT_THAT(other.framesSoFar(), IsEmpty());
}

// On another thread: one watches the mailbox of its first server only.
TEST_F(QuardexControlTest, PublishingAgainMakesAServerThatKnowsNoClient) {
    client->send(references, CapabilityExchangeReq());
    client->receive<CapabilityExchangeCfm>();
    thread.reset();
    std::promise<bool> published;
    const auto other = ActiveObjectIf::create(
        "other",
        [&] { published.set_value(collector->publishOZO() && collector->setupMessageHandlers()); },
        SchedulingPolicy::Default);
    EXPECT_TRUE(published.get_future().get());
    client->send(references, CapabilityExchangeReq());
    EXPECT_THAT(client->framesSoFar(), IsEmpty());

    std::promise<void> done;
    other->runOnActiveObject([&] {
        ozo_delete_mailbox(ozo_locate("QuardexBeI"));
        done.set_value();
    });
    done.get_future().wait();
}

TEST_F(QuardexControlTest, CollectorGoesWithClientsAndStreamsOpen) {
    sendMetaData();
    client->sendFrame(Batch().measurement("m", 5).bytes());
    sendPull("lists");
    client->receive<PullFilterDataCfm>();
    client->receive<FilterContentsRData>();
    thread.reset();
    collector.reset();
    client.reset();
    EXPECT_EQ(ozo_locate("QdxFilterCtrlI"), OZO_NO_MAILBOX);
}

}  // namespace
}  // namespace Qdx::Backend
