// The start of the collector on the real platform: active object, mailbox, subscription, command
// tables.
#include <gmock/gmock.h>

#include <future>
#include <sstream>

#include "batchMessage.hpp"
#include "bevel/cmdTableHelper.hpp"
#include "bigEndian.hpp"
#include "quardex.hpp"
#include "tessel/activeObject.hpp"
#include "tessel/ozoMessageSubscription.hpp"
#include "traceRecorder.hpp"
#include "unitRoot.hpp"
#include "wireFormat.hpp"

namespace Qdx::Backend {
namespace {

using Bevel::CmdTableHelper::V2::CmdTableHelperIf;
using Qdx::Test::bigEndian;
using Qdx::Test::messageOf;
using Qdx::Test::TraceRecorder;
using Tessel::ActiveObject::V1::ActiveObjectIf;
using Tessel::ActiveObject::V1::SchedulingPolicy;
using Tessel::OzoMessageSubscription::V1::OzoMessageSubscriptionIf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using Trace::Level;
using Bytes = std::vector<unsigned char>;

constexpr int generousMs = 20'000;

std::string typed(const std::vector<std::string>& words) {
    std::ostringstream out;
    CmdTableHelperIf::getInstance().executeCmd(words, out);
    return out.str();
}

const std::string dchDisabled =
    "Since data collection is disabled, the functionality for this command is disabled.\n";
const std::string rodcDisabled =
    "Since radio observability data collection is disabled, the functionality for this command is "
    "disabled.\n";

bool dchIsLive() {
    const auto answer = typed({"dch", "filter", "status"});
    EXPECT_THAT(answer, testing::AnyOf(dchDisabled, "No filters found\n"));
    return answer != dchDisabled;
}

bool rodcIsLive() {
    const auto answer = typed({"rodc", "list"});
    EXPECT_THAT(answer, testing::AnyOf(rodcDisabled, "No printable filters exist\n"));
    return answer != rodcDisabled;
}

class QuardexStartTest : public testing::Test {
protected:
    QuardexStartTest() { TraceRecorder::instance().clear(); }

    void start(const std::string& toml) {
        root.writeDatabase("[qdx]\n" + toml);
        collector = std::make_unique<Quardex>();
        collector->start();
        ASSERT_TRUE(TraceRecorder::instance().waitFor(Level::Info, "Leaving activeObjectStart"));
    }

    static std::vector<std::string> texts(Level level) {
        return TraceRecorder::instance().texts(level);
    }

    static bool hasMailbox() { return ozo_locate("QuardexBeI") != OZO_NO_MAILBOX; }

    Qdx::Test::UnitRoot root;
    std::unique_ptr<Quardex> collector;
};

// The test's thread as a frontend.
class Frontend {
public:
    explicit Frontend(const char* name) : mailbox(ozo_create_mailbox(name, 0)) {}
    ~Frontend() { ozo_delete_mailbox(mailbox); }
    Frontend(const Frontend&) = delete;
    Frontend& operator=(const Frontend&) = delete;

    void send(std::uint32_t number, const Bytes& behindFirstWord) {
        auto* msg = ozo_alloc(sizeof(ozo_msg) + behindFirstWord.size(), number);
        std::memcpy(msg + 1, behindFirstWord.data(), behindFirstWord.size());
        ozo_send(msg, ozo_locate("QuardexBeI"), OZO_MY_MAILBOX);
    }

    // The bytes of the next message; none if nothing comes.
    static Bytes receive() {
        const std::shared_ptr<ozo_msg> msg(ozo_receive(generousMs), ozo_free);
        if (!msg) {
            return {};
        }
        const auto* bytes = reinterpret_cast<const unsigned char*>(msg.get());
        return {bytes, bytes + ozo_size(msg.get())};
    }

    // The reply to an offer of revisions under a procedure reference.
    Bytes connect(const std::vector<std::uint32_t>& revisions, std::uint32_t reference = 9) {
        Bytes request;
        const auto add = [&](const Bytes& bytes) {
            request.insert(request.end(), bytes.begin(), bytes.end());
        };
        add(bigEndian(reference));
        add(bigEndian(std::uint32_t{0}));
        add(bigEndian(static_cast<std::uint32_t>(revisions.size())));
        for (const auto revision : revisions) {
            add(bigEndian(revision));
        }
        send(V1::beConnectionReq, request);
        return receive();
    }

private:
    std::uint32_t mailbox;
};

Bytes reply(std::uint32_t number, std::uint32_t reference, std::uint32_t last) {
    Bytes bytes(4);
    std::memcpy(bytes.data(), &number, sizeof(number));
    for (const auto word : {reference, std::uint32_t{1}, last}) {
        const auto more = bigEndian(word);
        bytes.insert(bytes.end(), more.begin(), more.end());
    }
    return bytes;
}

Bytes confirmed(std::uint32_t reference = 9) {
    return reply(0x017070C1, reference, 1);
}
Bytes rejected(std::uint32_t reference = 9) {
    return reply(0x017070C2, reference, 1);
}

// --- Configuration -----------------------------------------------------------------------------

TEST_F(QuardexStartTest, LoadingRegistersAFactoryOfCollectors) {
    const auto participant = Quardex::startupFunction();
    EXPECT_NE(dynamic_cast<Quardex*>(participant.get()), nullptr);
}

TEST_F(QuardexStartTest, StartsWithEverythingEnabled) {
    start("enabled = 1\nradioObservabilityEnabled = 1\n");
    EXPECT_TRUE(dchIsLive());
    EXPECT_TRUE(rodcIsLive());
    EXPECT_TRUE(hasMailbox());
    EXPECT_THAT(texts(Level::Error), IsEmpty());
    EXPECT_THAT(texts(Level::Trace5),
                ElementsAre("QDX is enabled in database", "RODC is enabled in database"));
}

TEST_F(QuardexStartTest, SaysWhatItDoesInOrder) {
    start("enabled = 1\n");
    std::vector<std::string> body;
    for (const auto& text : texts(Level::Info)) {
        if (text != "Entering start" && text != "Leaving start") {
            body.push_back(text);
        }
    }
    EXPECT_THAT(
        body,
        ElementsAre("Entering activeObjectStart",
                    "Global memory limit not defined in database (/qdx/globalMemoryLimit), using "
                    "default value 2097152 bytes.",
                    "Maximum number of filters not defined in database (/qdx/maxFilterLimit), "
                    "using default value 10",
                    "'dch' command is enabled", "'rodc' command is disabled",
                    "Leaving activeObjectStart"));
    EXPECT_EQ(TraceRecorder::instance().count(Level::Info, "Entering start"), 1);
    EXPECT_TRUE(TraceRecorder::instance().waitFor(Level::Info, "Leaving start"));
}

TEST_F(QuardexStartTest, AbsentKeyMeansDisabled) {
    start("");
    EXPECT_FALSE(dchIsLive());
    EXPECT_FALSE(rodcIsLive());
    EXPECT_FALSE(hasMailbox());
    EXPECT_EQ(collector->getGlobalMemory(), nullptr);
    EXPECT_THAT(texts(Level::Trace5),
                ElementsAre("QDX is disabled in database", "RODC is disabled in database"));
    EXPECT_THAT(texts(Level::Error), IsEmpty());
}

TEST_F(QuardexStartTest, AnyValueButOneMeansDisabled) {
    start("enabled = 2\n");
    EXPECT_FALSE(dchIsLive());
    EXPECT_FALSE(hasMailbox());
}

TEST_F(QuardexStartTest, DisabledCollectorDoesNotAskForObservability) {
    start("enabled = 0\nradioObservabilityEnabled = 1\n");
    EXPECT_FALSE(rodcIsLive());
    EXPECT_THAT(texts(Level::Trace5),
                ElementsAre("QDX is disabled in database", "RODC is disabled in database"));
}

TEST_F(QuardexStartTest, ObservabilityIsOffUnlessTheDatabaseSaysOne) {
    start("enabled = 1\n");
    EXPECT_TRUE(dchIsLive());
    EXPECT_FALSE(rodcIsLive());
}

TEST_F(QuardexStartTest, TakesTheDefaultBudgetWithoutALimit) {
    start("enabled = 1\n");
    EXPECT_EQ(collector->getGlobalMemory()->getCommonResource()->getRemainingSize(), 2'097'152);
}

TEST_F(QuardexStartTest, TakesTheBudgetThatTheDatabaseSays) {
    start("enabled = 1\nglobalMemoryLimit = 12345\nmaxFilterLimit = 3\n");
    EXPECT_EQ(collector->getGlobalMemory()->getCommonResource()->getRemainingSize(), 12'345);
    EXPECT_THAT(texts(Level::Info),
                Contains("Decided global memory limit from '/qdx/globalMemoryLimit' database "
                         "parameter. Value is 12345 bytes."));
    EXPECT_THAT(texts(Level::Info),
                Contains("Determined max number of filters from '/qdx/maxFilterLimit' database "
                         "parameter. Value is 3"));
}

TEST_F(QuardexStartTest, BudgetOfZeroDisablesTheCollector) {
    start("enabled = 1\nradioObservabilityEnabled = 1\nglobalMemoryLimit = 0\n");
    EXPECT_FALSE(dchIsLive());
    EXPECT_FALSE(rodcIsLive());
    EXPECT_FALSE(hasMailbox());
    EXPECT_EQ(collector->getGlobalMemory(), nullptr);
    EXPECT_TRUE(collector->hasReachedMaxNumberOfFilters());
    EXPECT_THAT(
        texts(Level::Error),
        ElementsAre("QDX global memory limit set to an invalid value 0 bytes. If you meant to "
                    "disable QDX, use the /qdx/enabled parameter instead.",
                    "Could not allocate global memory buffer for QDX. Disabling QDX."));
    EXPECT_THAT(texts(Level::Trace5),
                ElementsAre("QDX is enabled in database", "RODC is enabled in database"));
}

TEST_F(QuardexStartTest, FilterLimitOfZeroDisablesTheCollectorWithItsBudgetTaken) {
    start("enabled = 1\nmaxFilterLimit = 0\n");
    EXPECT_FALSE(dchIsLive());
    EXPECT_FALSE(hasMailbox());
    EXPECT_NE(collector->getGlobalMemory(), nullptr);
    EXPECT_TRUE(collector->hasReachedMaxNumberOfFilters());
    EXPECT_THAT(
        texts(Level::Error),
        ElementsAre("QDX max number of filters set to 0 in database. If you meant to disable QDX, "
                    "use the /qdx/enabled parameter instead.",
                    "Could not determine max number of filters. Disabling QDX."));
}

TEST_F(QuardexStartTest, FilterLimitDefaultsToTen) {
    start("enabled = 1\n");
    for (std::int64_t id = 0; id < 10; ++id) {
        EXPECT_EQ(collector->createFilter(FilterId{id}, "f", {}, 0, Enabled::Yes, Static::No,
                                          Printable::No),
                  ErrorType::NoError);
    }
    EXPECT_TRUE(collector->hasReachedMaxNumberOfFilters());
}

TEST_F(QuardexStartTest, ExceptionInTheStartIsTracedAndLeavesTheCommandsAlone) {
    root.writeDatabase("[qdx]\nenabled = []\n");
    collector = std::make_unique<Quardex>();
    collector->start();
    EXPECT_TRUE(TraceRecorder::instance().waitFor(
        Level::Error,
        "Caught exception: vector::_M_range_check: __n (which is 0) >= this->size() (which is 0)"));
    EXPECT_EQ(CmdTableHelperIf::getInstance().getCmdTable("dch"), std::nullopt);
}

// --- Failing steps -----------------------------------------------------------------------------

TEST_F(QuardexStartTest, MailboxNameInUseDisablesTheCollector) {
    const Frontend other("QuardexBeI");
    start("enabled = 1\n");
    EXPECT_FALSE(dchIsLive());
    EXPECT_NE(collector->getGlobalMemory(), nullptr);
    EXPECT_FALSE(collector->hasReachedMaxNumberOfFilters());
    EXPECT_THAT(texts(Level::Error), ElementsAre("Could not create mailbox for QDX.",
                                                 "Could not publish mailboxes. Disabling QDX."));
}

// Runs the collector's start on an active object that has prepared something before.
class PreparedThread {
public:
    PreparedThread(Quardex& collector, const std::function<void()>& prepare) {
        std::promise<void> done;
        thread = ActiveObjectIf::create(
            "prepared",
            [&] {
                prepare();
                collector.activeObjectStart();
                done.set_value();
            },
            SchedulingPolicy{0});
        done.get_future().wait();
    }

    ~PreparedThread() {
        run([] { ozo_delete_mailbox(ozo_locate("QuardexBeI")); });
    }
    PreparedThread(const PreparedThread&) = delete;
    PreparedThread& operator=(const PreparedThread&) = delete;

    void run(const std::function<void()>& function) {
        std::promise<void> done;
        thread->runOnActiveObject([&] {
            function();
            done.set_value();
        });
        done.get_future().wait();
    }

private:
    std::shared_ptr<ActiveObjectIf> thread;
};

TEST_F(QuardexStartTest, MailboxThatCannotBeWatchedDisablesTheCollector) {
    root.writeDatabase("[qdx]\nenabled = 1\n");
    collector = std::make_unique<Quardex>();
    // On a thread without an active object nothing can be watched.
    collector->activeObjectStart();
    EXPECT_FALSE(dchIsLive());
    EXPECT_TRUE(hasMailbox());
    EXPECT_THAT(texts(Level::Error), ElementsAre("Could not monitor QDX mailbox.",
                                                 "Could not publish mailboxes. Disabling QDX."));
    ozo_delete_mailbox(ozo_locate("QuardexBeI"));
}

TEST_F(QuardexStartTest, HandlerThatCannotBeAddedDisablesTheCollectorAndLeavesTheOthers) {
    root.writeDatabase("[qdx]\nenabled = 1\n");
    Quardex prepared;
    PreparedThread thread(prepared, [] {
        OzoMessageSubscriptionIf::getInstance().addHandler(V1::beProcessMetaDataUreq,
                                                           [](const auto&) {});
    });
    EXPECT_FALSE(dchIsLive());
    ASSERT_EQ(texts(Level::Error).size(), 2);
    EXPECT_THAT(texts(Level::Error)[0],
                testing::MatchesRegex("Failed to add msg handler for 17070c6: [0-9a-f]+ was "
                                      "returned"));
    EXPECT_EQ(texts(Level::Error)[1], "Could not setup message handlers. Disabling QDX.");

    Frontend frontend("Frontend");
    EXPECT_EQ(frontend.connect({1}), confirmed());
}

// --- Messages over the mailbox -----------------------------------------------------------------

TEST_F(QuardexStartTest, OffersWithRevisionOneAreConfirmed) {
    start("enabled = 1\n");
    Frontend frontend("Frontend");
    EXPECT_EQ(frontend.connect({1}), confirmed());
    EXPECT_EQ(frontend.connect({1, 2}), confirmed());
    EXPECT_EQ(frontend.connect({2, 1}), confirmed());
    EXPECT_EQ(frontend.connect({0, 1}), confirmed());
    EXPECT_EQ(frontend.connect({1, 1}), confirmed());
    EXPECT_EQ(TraceRecorder::instance().count(Level::Trace6, "Selected protocol version:1"), 5);
    EXPECT_EQ(TraceRecorder::instance().count(Level::Info, "Entering handleBeConnectionReq"), 5);
    EXPECT_TRUE(TraceRecorder::instance().waitFor(Level::Trace6, "Leaving handleBeConnectionReq"));
}

TEST_F(QuardexStartTest, OffersWithoutRevisionOneAreRejected) {
    start("enabled = 1\n");
    Frontend frontend("Frontend");
    EXPECT_EQ(frontend.connect({}), rejected());
    EXPECT_EQ(frontend.connect({2}), rejected());
    EXPECT_EQ(frontend.connect({0}), rejected());
    EXPECT_EQ(TraceRecorder::instance().count(Level::Info,
                                              "No common supported protocol revision was found"),
              3);
}

TEST_F(QuardexStartTest, RevisionsSortAsTheirWordsOnTheWire) {
    start("enabled = 1\n");
    Frontend frontend("Frontend");
    // 256 is 00 00 01 00 on the wire, which a little-endian host reads as less than 00 00 00 01.
    EXPECT_EQ(frontend.connect({1, 256}), rejected());
    EXPECT_EQ(frontend.connect({256, 1}), rejected());
    EXPECT_EQ(frontend.connect({1, 255}), confirmed());
    EXPECT_EQ(frontend.connect({1, 0x01000000}), rejected());
}

TEST_F(QuardexStartTest, ReplyRepeatsTheBytesOfTheProcedureReference) {
    start("enabled = 1\n");
    Frontend frontend("Frontend");
    EXPECT_EQ(frontend.connect({1}, 0x01020304), confirmed(0x01020304));
    EXPECT_EQ(frontend.connect({}, 0xFFEEDDCC), rejected(0xFFEEDDCC));
}

TEST_F(QuardexStartTest, RevisionCountPastTheEndIsAnErrorAndARejection) {
    start("enabled = 1\n");
    Frontend frontend("Frontend");
    for (const std::uint32_t count : {2u, 0x40000001u, 0xFFFFFFFFu}) {
        TraceRecorder::instance().clear();
        Bytes request = bigEndian(std::uint32_t{9});
        for (const auto word : {std::uint32_t{0}, count, std::uint32_t{1}}) {
            const auto more = bigEndian(word);
            request.insert(request.end(), more.begin(), more.end());
        }
        frontend.send(V1::beConnectionReq, request);
        EXPECT_EQ(Frontend::receive(), rejected());
        EXPECT_EQ(texts(Level::Error).size(), 1) << count;
    }
}

TEST_F(QuardexStartTest, ConnectionRequestShorterThanItsFixedFieldsIsAnErrorWithoutAReply) {
    start("enabled = 1\n");
    Frontend frontend("Frontend");
    for (std::size_t size = 0; size < 12; ++size) {
        frontend.send(V1::beConnectionReq, Bytes(size));
    }
    // Messages keep their order: the reply to this one is the first.
    EXPECT_EQ(frontend.connect({1}, 77), confirmed(77));
    EXPECT_EQ(texts(Level::Error).size(), 12);
}

TEST_F(QuardexStartTest, BatchOverTheMailboxMovesTheTimeAndReachesTheFilter) {
    const auto before = std::chrono::steady_clock::now();
    root.writeCatalogue(
        R"(<infoObjectList><objects><object id="1" name="m" type="meas"/></objects></infoObjectList>)",
        "enabled = 1\n");
    Quardex prepared;
    PreparedThread thread(prepared, [] {});
    auto statement = std::string(" list count 5");
    thread.run([&] {
        prepared.setClockAnchor(ClockAnchor{before, WallTime(std::chrono::hours(1))});
        prepared.createFilter(FilterId{1}, "f", {*CaptureStatement::parse(statement)}, 0,
                              Enabled::Yes, Static::No, Printable::Yes);
    });

    Frontend frontend("Frontend");
    const auto bytes = Qdx::Test::BatchMessage().measurement("m", 5).bytes();
    frontend.send(V1::beProcessBatchesUreq, {bytes.begin() + 4, bytes.end()});
    frontend.connect({1});  // answered after the batch

    std::string report;
    thread.run([&] { prepared.printFilterData(std::nullopt, std::nullopt, report); });
    EXPECT_THAT(report, testing::HasSubstr("'1970-01-01 01:00:"));
}

TEST_F(QuardexStartTest, HandlerThatThrowsIsTracedAndTheNextMessageHandled) {
    start("enabled = 1\n");
    // A list file with an unknown type throws whenever the catalogue is asked for.
    root.writeCatalogue(
        R"(<infoObjectList><objects><object id="1" name="m" type="x"/></objects></infoObjectList>)",
        "enabled = 1\n");
    Frontend frontend("Frontend");
    const auto bytes = Qdx::Test::BatchMessage().measurement("m", 5).bytes();
    frontend.send(V1::beProcessBatchesUreq, {bytes.begin() + 4, bytes.end()});
    EXPECT_EQ(frontend.connect({1}), confirmed());
    EXPECT_THAT(texts(Level::Error), ElementsAre("Caught exception: bad optional access"));
}

// --- The end -----------------------------------------------------------------------------------

TEST_F(QuardexStartTest, DeletesItsMailboxOnTheActiveObjectWhenItGoes) {
    start("enabled = 1\n");
    Frontend frontend("Frontend");
    constexpr std::uint32_t gone = 4711;
    ASSERT_EQ(ozo_monitor(ozo_locate("QuardexBeI"), gone), 0);
    collector.reset();
    const std::shared_ptr<ozo_msg> msg(ozo_receive(generousMs), ozo_free);
    ASSERT_NE(msg, nullptr);
    EXPECT_EQ(msg->msgno, gone);
    EXPECT_FALSE(hasMailbox());
}

TEST_F(QuardexStartTest, StartsAgainAfterItHasGone) {
    for (int round = 0; round < 5; ++round) {
        TraceRecorder::instance().clear();
        start("enabled = 1\n");
        Frontend frontend("Frontend");
        EXPECT_EQ(frontend.connect({1}), confirmed());
        ASSERT_EQ(ozo_monitor(ozo_locate("QuardexBeI"), 1), 0);
        collector.reset();
        EXPECT_EQ(Frontend::receive().size(), 8);
    }
}

}  // namespace
}  // namespace Qdx::Backend
