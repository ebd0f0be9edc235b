// The start of the collector on the real platform: active object, mailbox, subscription, command
// tables.
#include <gmock/gmock.h>

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <sstream>
#include <stdexcept>

#include "batch.hpp"
#include "batchMessage.hpp"
#include "bevel/cmdTableHelper.hpp"
#include "collectorThread.hpp"
#include "frontendMessages.hpp"
#include "parsedStatement.hpp"
#include "quardex.hpp"
#include "tessel/host.hpp"
#include "tessel/ozoMessageSubscription.hpp"
#include "traceRecorder.hpp"
#include "unitRoot.hpp"
#include "wholeMetaData.hpp"
#include "wireFormat.hpp"

namespace Qdx::Backend {
namespace {

using Bevel::CmdTableHelper::V2::CmdTableHelperIf;
using Qdx::Test::Batch;
using Qdx::Test::CollectorThread;
using Qdx::Test::parsedAll;
using Qdx::Test::TraceRecorder;
using Tessel::OzoMessageSubscription::V1::OzoMessageSubscriptionIf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
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

    // The collector's thread ends by itself: it may still be at it when the test is over.
    void TearDown() override {
        collector.reset();
        EXPECT_TRUE(Tessel::Host::V1::Host().finish(std::chrono::seconds(20)));
    }

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

const char* const oneMeasurement =
    R"(<infoObjectList><objects><object id="1" name="m" type="meas"><unit type="" res="1"/></object>
    </objects></infoObjectList>)";

// A reply to a connection request.
struct Reply {
    bool confirmed;
    std::uint32_t procedureReference;
    std::uint32_t connectionReference;
    std::uint32_t value;
    friend bool operator==(const Reply&, const Reply&) = default;
};

void PrintTo(const Reply& reply, std::ostream* out) {
    *out << (reply.confirmed ? "confirmed " : "rejected ") << reply.value << " for "
         << reply.procedureReference << " by " << reply.connectionReference;
}

Reply replyOf(const Bytes& message) {
    const auto reply = V1::decodeConnectionReply(message);
    if (!reply) {
        throw std::runtime_error("no reply to a connection request came");
    }
    return {reply->confirmed, reply->references.procedure, reply->references.connection,
            reply->value};
}

Reply confirmed(std::uint32_t reference = 9) {
    return {true, reference, 1, 1};
}
Reply rejected(std::uint32_t reference = 9) {
    return {false, reference, 1, 1};
}

// The test's thread as a frontend.
class Frontend {
public:
    explicit Frontend(const char* name) : mailbox(ozo_create_mailbox(name, 0)) {}
    ~Frontend() { ozo_delete_mailbox(mailbox); }
    Frontend(const Frontend&) = delete;
    Frontend& operator=(const Frontend&) = delete;

    static void send(const Bytes& message) {
        ozo_send(V1::toOzoMessage(message), ozo_locate(V1::collectorMailbox), OZO_MY_MAILBOX);
    }

    // The bytes of the next message; none if nothing comes.
    static Bytes receive() {
        const std::shared_ptr<ozo_msg> msg(ozo_receive(generousMs), ozo_free);
        if (!msg) {
            return {};
        }
        const auto bytes = V1::bytesOf(msg.get());
        return {bytes.begin(), bytes.end()};
    }

    // The reply to an offer of revisions under a procedure reference.
    static Reply connect(const std::vector<std::uint32_t>& revisions, std::uint32_t reference = 9) {
        send(V1::encodeConnectionRequest({.procedure = reference}, revisions));
        return replyOf(receive());
    }

private:
    std::uint32_t mailbox;
};

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
                    "Published mailbox alias QdxFilterCtrlI for QFCI server",
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
    // Whoever reads this value throws.
    start("enabled = 0\nradioObservabilityEnabled = []\n");
    EXPECT_FALSE(rodcIsLive());
    EXPECT_THAT(texts(Level::Error), IsEmpty());
    EXPECT_THAT(texts(Level::Trace5),
                ElementsAre("QDX is disabled in database", "RODC is disabled in database"));
}

TEST_F(QuardexStartTest, DisabledCollectorIsNotObservableEither) {
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

TEST_F(QuardexStartTest, BudgetOfZeroLeavesTheOneThatStands) {
    start("enabled = 1\nglobalMemoryLimit = 12345\n");
    const auto* budget = collector->getGlobalMemory();
    root.writeDatabase("[qdx]\nglobalMemoryLimit = 0\n");
    EXPECT_FALSE(collector->allocateGlobalMemory());
    ASSERT_EQ(collector->getGlobalMemory(), budget);
    EXPECT_EQ(collector->getGlobalMemory()->getCommonResource()->getRemainingSize(), 12'345);
}

TEST_F(QuardexStartTest, FilterLimitOfZeroLeavesTheOneThatStands) {
    start("enabled = 1\nmaxFilterLimit = 1\n");
    root.writeDatabase("[qdx]\nmaxFilterLimit = 0\n");
    EXPECT_FALSE(collector->determineMaxNumberOfFilters());
    EXPECT_FALSE(collector->hasReachedMaxNumberOfFilters());
    EXPECT_EQ(
        collector->createFilter(FilterId{1}, "f", {}, 0, Enabled::Yes, Static::No, Printable::No),
        ErrorType::NoError);
    EXPECT_TRUE(collector->hasReachedMaxNumberOfFilters());
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

TEST_F(QuardexStartTest, AliasInUseDisablesTheCollectorAndLeavesItsMailbox) {
    const Frontend other("QdxFilterCtrlI");
    start("enabled = 1\n");
    EXPECT_FALSE(dchIsLive());
    EXPECT_TRUE(hasMailbox());
    EXPECT_THAT(texts(Level::Info),
                Contains("Published mailbox alias QdxFilterCtrlI for QFCI server"))
        << "written before the alias exists";
    EXPECT_THAT(texts(Level::Error), ElementsAre("Could not create mailbox alias for QFCI.",
                                                 "Could not publish mailboxes. Disabling QDX."));
}

TEST_F(QuardexStartTest, StaticFiltersAreThereBeforeTheCommands) {
    start(
        "enabled = 1\nstaticFilters.enabledByDefault = ['a']\n"
        "staticFilters.a = ['dch', 'limit 0', 'dch', 'list count 1']\n");
    EXPECT_EQ(typed({"dch", "filter", "status"}),
              "Current Filter(s):\n Filter a (11): Enabled: Yes, FilterTag(s):\n");
    EXPECT_TRUE(hasMailbox());
}

TEST_F(QuardexStartTest, FaultyStaticFilterDisablesTheCollectorAndTheOthersStay) {
    start(
        "enabled = 1\nradioObservabilityEnabled = 1\n"
        "staticFilters.enabledByDefault = ['missing', 'a']\n"
        "staticFilters.a = ['dch', 'limit 0', 'dch', 'list count 1']\n");
    EXPECT_FALSE(dchIsLive());
    EXPECT_FALSE(rodcIsLive());
    EXPECT_FALSE(hasMailbox());
    EXPECT_NE(collector->getGlobalMemory(), nullptr);
    EXPECT_FALSE(collector->hasReachedMaxNumberOfFilters());
    EXPECT_EQ(collector->findFilter("a"), FilterId{11});
    EXPECT_THAT(texts(Level::Error),
                ElementsAre("No static filter configuration found for filter 'missing'",
                            "Could not create static filters. Disabling QDX."));
}

TEST_F(QuardexStartTest, StaticFiltersNeedTheFilterLimit) {
    start("enabled = 1\nmaxFilterLimit = 0\nstaticFilters.enabledByDefault = ['missing']\n");
    EXPECT_THAT(texts(Level::Error),
                testing::Not(Contains("No static filter configuration found for filter "
                                      "'missing'")));
}

TEST_F(QuardexStartTest, ExceptionInAStaticFilterEndsTheStartWithoutCommands) {
    root.writeDatabase(
        "[qdx]\nenabled = 1\nstaticFilters.enabledByDefault = ['a']\n"
        "staticFilters.a = ['dch', 'limit 0', 'dch', 'list count 99999999999']\n");
    collector = std::make_unique<Quardex>();
    collector->start();
    EXPECT_TRUE(TraceRecorder::instance().waitFor(
        Level::Error,
        "Caught exception: vector::_M_range_check: __n (which is 0) >= this->size() (which is 0)"));
    EXPECT_EQ(CmdTableHelperIf::getInstance().getCmdTable("dch"), std::nullopt);
    EXPECT_FALSE(hasMailbox());
}

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
    root.writeCatalogue(oneMeasurement, "enabled = 1\n");
    Quardex prepared;
    CollectorThread thread(prepared, [] {
        OzoMessageSubscriptionIf::getInstance().addHandler(V1::beProcessMetaDataUreq,
                                                           [](const auto&) {});
    });
    EXPECT_FALSE(dchIsLive());
    ASSERT_EQ(texts(Level::Error).size(), 2);
    EXPECT_THAT(texts(Level::Error)[0],
                testing::MatchesRegex("Failed to add msg handler for 17070c6: [0-9a-f]+ was "
                                      "returned"));
    EXPECT_EQ(texts(Level::Error)[1], "Could not setup message handlers. Disabling QDX.");

    thread.run([&] {
        prepared.createFilter(FilterId{1}, "f", parsedAll({"list count 5"}), 0, Enabled::Yes,
                              Static::No, Printable::Yes);
    });
    const Frontend frontend("Frontend");
    Frontend::send(Batch().measurement("m", 5).bytes());
    EXPECT_EQ(Frontend::connect({1}), confirmed());
    std::string report;
    thread.run([&] { prepared.printFilterData(std::nullopt, std::nullopt, report); });
    EXPECT_THAT(report, testing::HasSubstr("'5', "));
}

TEST_F(QuardexStartTest, ControlHandlerThatCannotBeAddedLeavesTheFrontendsServed) {
    root.writeCatalogue(oneMeasurement, "enabled = 1\n");
    for (const std::uint32_t number : {0x01707B00u, 0x01707B03u, 0x01707B15u, 0x01707B19u}) {
        TraceRecorder::instance().clear();
        Quardex prepared;
        CollectorThread thread(prepared, [&] {
            OzoMessageSubscriptionIf::getInstance().addHandler(number, [](const auto&) {});
        });
        EXPECT_FALSE(dchIsLive());
        std::ostringstream text;
        text << "Failed to add msg handler for " << std::hex << number << ": ";
        ASSERT_EQ(texts(Level::Error).size(), 2);
        EXPECT_THAT(texts(Level::Error)[0], testing::StartsWith(text.str()));
        EXPECT_EQ(texts(Level::Error)[1], "Could not setup message handlers. Disabling QDX.");
        thread.run([&] {
            prepared.createFilter(FilterId{1}, "f", parsedAll({"list count 5"}), 0, Enabled::Yes,
                                  Static::No, Printable::No);
        });
        const Frontend frontend("Frontend");
        Frontend::send(V1::encodeMetaData({}, Qdx::Test::wholeMetaData()));
        Frontend::send(Batch().measurement("m", 5).bytes());
        EXPECT_EQ(Frontend::connect({1}), confirmed());
        ErrorType pull{};
        std::string output;
        thread.run([&] { pull = prepared.pullFilterData(FilterId{1}, Clear::No, output); });
        EXPECT_EQ(pull, ErrorType::NoError) << "without its metadata or its sample";
    }
}

TEST_F(QuardexStartTest, ResultOfAHandlerThatCannotBeAddedIsTracedInHexadecimal) {
    Quardex prepared;
    EXPECT_FALSE(prepared.setupMessageHandlers()) << "this thread is no active object's";
    EXPECT_THAT(texts(Level::Error),
                ElementsAre("Failed to add msg handler for 17070c0: ffffffff was returned"));
}

// While it lives, the process can't have a thread: none has room for such a stack.
class NoMoreThreads {
public:
    NoMoreThreads() {
        pthread_getattr_default_np(&before);
        pthread_attr_t impossible;
        pthread_attr_init(&impossible);
        pthread_attr_setstacksize(&impossible, std::size_t{1} << 60);
        EXPECT_EQ(pthread_setattr_default_np(&impossible), 0);
        pthread_attr_destroy(&impossible);
    }
    ~NoMoreThreads() {
        pthread_setattr_default_np(&before);
        pthread_attr_destroy(&before);
    }
    NoMoreThreads(const NoMoreThreads&) = delete;
    NoMoreThreads& operator=(const NoMoreThreads&) = delete;

private:
    pthread_attr_t before{};
};

TEST_F(QuardexStartTest, StartWithoutAThreadSaysSoAndThrowsNothing) {
    const NoMoreThreads noMoreThreads;
    root.writeDatabase("[qdx]\nenabled = 1\n");
    collector = std::make_unique<Quardex>();
    collector->start();
    std::vector<std::string> all;
    for (const auto& line : TraceRecorder::instance().lines()) {
        all.push_back(line.text);
    }
    EXPECT_THAT(
        all, ElementsAre("Entering start", "Could not create process for QDX.", "Leaving start"));
    EXPECT_EQ(texts(Level::Error).size(), 1);
    EXPECT_FALSE(hasMailbox());
}

// --- Messages over the mailbox -----------------------------------------------------------------

TEST_F(QuardexStartTest, OffersWithRevisionOneAreConfirmed) {
    start("enabled = 1\n");
    const Frontend frontend("Frontend");
    EXPECT_EQ(Frontend::connect({1}), confirmed());
    EXPECT_EQ(Frontend::connect({1, 2}), confirmed());
    EXPECT_EQ(Frontend::connect({2, 1}), confirmed());
    EXPECT_EQ(Frontend::connect({0, 1}), confirmed());
    EXPECT_EQ(Frontend::connect({1, 1}), confirmed());
    EXPECT_EQ(TraceRecorder::instance().count(Level::Trace6, "Selected protocol version:1"), 5);
    EXPECT_EQ(TraceRecorder::instance().count(Level::Info, "Entering handleBeConnectionReq"), 5);
    EXPECT_TRUE(TraceRecorder::instance().waitFor(Level::Trace6, "Leaving handleBeConnectionReq"));
}

TEST_F(QuardexStartTest, OffersWithoutRevisionOneAreRejected) {
    start("enabled = 1\n");
    const Frontend frontend("Frontend");
    EXPECT_EQ(Frontend::connect({}), rejected());
    EXPECT_EQ(Frontend::connect({2}), rejected());
    EXPECT_EQ(Frontend::connect({0}), rejected());
    EXPECT_EQ(TraceRecorder::instance().count(Level::Info,
                                              "No common supported protocol revision was found"),
              3);
    EXPECT_TRUE(TraceRecorder::instance().waitFor(Level::Trace6, "Leaving handleBeConnectionReq"));
}

TEST_F(QuardexStartTest, RevisionsSortAsTheirWordsOnTheWire) {
    start("enabled = 1\n");
    const Frontend frontend("Frontend");
    // 256 is 00 00 01 00 on the wire, which a little-endian host reads as less than 00 00 00 01.
    EXPECT_EQ(Frontend::connect({1, 256}), rejected());
    EXPECT_EQ(Frontend::connect({256, 1}), rejected());
    EXPECT_EQ(Frontend::connect({1, 255}), confirmed());
    EXPECT_EQ(Frontend::connect({1, 0x01000000}), rejected());
}

TEST_F(QuardexStartTest, ReplyRepeatsTheBytesOfTheProcedureReference) {
    start("enabled = 1\n");
    const Frontend frontend("Frontend");
    EXPECT_EQ(Frontend::connect({1}, 0x01020304), confirmed(0x01020304));
    EXPECT_EQ(Frontend::connect({}, 0xFFEEDDCC), rejected(0xFFEEDDCC));

    Frontend::send(V1::encodeConnectionRequest({.procedure = 0x01020304}, {1}));
    const auto bytes = Frontend::receive();
    ASSERT_EQ(bytes.size(), 16);
    EXPECT_THAT(Bytes(bytes.begin() + 4, bytes.end()),
                ElementsAre(1, 2, 3, 4, 0, 0, 0, 1, 0, 0, 0, 1));
}

TEST_F(QuardexStartTest, RevisionCountPastTheEndIsAnErrorAndARejection) {
    start("enabled = 1\n");
    const Frontend frontend("Frontend");
    for (const std::uint32_t count : {2u, 0x40000001u, 0xFFFFFFFFu}) {
        TraceRecorder::instance().clear();
        auto request = V1::encodeConnectionRequest({.procedure = 9}, {1});
        const auto claim = Qdx::Test::bigEndian(count);
        std::copy(claim.begin(), claim.end(), request.begin() + V1::revisionCountOffset);
        Frontend::send(request);
        EXPECT_EQ(replyOf(Frontend::receive()), rejected());
        EXPECT_EQ(texts(Level::Error).size(), 1) << count;
    }
}

TEST_F(QuardexStartTest, ConnectionRequestShorterThanItsFixedFieldsIsAnErrorWithoutAReply) {
    start("enabled = 1\n");
    const Frontend frontend("Frontend");
    auto request = V1::encodeConnectionRequest({}, {});
    while (request.size() > sizeof(ozo_msg)) {
        request.pop_back();
        Frontend::send(request);
    }
    // Messages keep their order: the reply to this one is the first.
    EXPECT_EQ(Frontend::connect({1}, 77), confirmed(77));
    EXPECT_EQ(texts(Level::Error).size(), 12);
}

TEST_F(QuardexStartTest, BatchOverTheMailboxMovesTheTimeAndReachesTheFilter) {
    const auto before = std::chrono::steady_clock::now();
    root.writeCatalogue(oneMeasurement, "enabled = 1\n");
    Quardex prepared;
    CollectorThread thread(prepared, [] {});
    thread.run([&] {
        prepared.setClockAnchor(ClockAnchor{before, WallTime(std::chrono::hours(1))});
        prepared.createFilter(FilterId{1}, "f", parsedAll({"list count 5"}), 0, Enabled::Yes,
                              Static::No, Printable::Yes);
    });

    const Frontend frontend("Frontend");
    Frontend::send(Batch().measurement("m", 5).bytes());
    Frontend::connect({1});  // answered after the batch

    std::string report;
    thread.run([&] { prepared.printFilterData(std::nullopt, std::nullopt, report); });
    EXPECT_THAT(report, testing::HasSubstr("'1970-01-01 01:00:"));
}

TEST_F(QuardexStartTest, EmptyBatchOverTheMailboxMovesTheTime) {
    root.writeCatalogue(oneMeasurement, "enabled = 1\n");
    Quardex prepared;
    CollectorThread thread(prepared, [] {});
    std::string report;
    ErrorType before{};
    thread.run([&] {
        prepared.createFilter(FilterId{1}, "f", parsedAll({"max duration 1800 18000"}), 0,
                              Enabled::Yes, Static::No, Printable::Yes);
        prepared.setCurrTime(std::chrono::steady_clock::now() - std::chrono::hours(1));
        prepared.handleBeProcessBatchesUreq(Batch().measurement("m", 5).message().get());
        before = prepared.printFilterData(std::nullopt, std::nullopt, report);
    });
    EXPECT_EQ(before, ErrorType::NoDataYet);

    const Frontend frontend("Frontend");
    Frontend::send(Batch().bytes());
    Frontend::connect({1});  // answered after the batch
    thread.run([&] { prepared.printFilterData(std::nullopt, std::nullopt, report); });
    EXPECT_THAT(report, testing::HasSubstr("'5', "));
    EXPECT_THAT(texts(Level::Error), IsEmpty());
}

TEST_F(QuardexStartTest, HandlerThatThrowsIsTracedAndTheNextMessageHandled) {
    start("enabled = 1\n");
    // A list file with an unknown type throws whenever the catalogue is asked for.
    root.writeCatalogue(
        R"(<infoObjectList><objects><object id="1" name="m" type="x"/></objects></infoObjectList>)",
        "enabled = 1\n");
    const Frontend frontend("Frontend");
    Frontend::send(Batch().measurement("m", 5).bytes());
    EXPECT_EQ(Frontend::connect({1}), confirmed());
    EXPECT_THAT(texts(Level::Error), ElementsAre("Caught exception: bad optional access"));
}

// --- The end -----------------------------------------------------------------------------------

TEST_F(QuardexStartTest, DeletesItsMailboxOnTheActiveObjectWhenItGoes) {
    start("enabled = 1\n");
    const Frontend frontend("Frontend");
    constexpr std::uint32_t gone = 4711;
    ASSERT_EQ(ozo_monitor(ozo_locate("QuardexBeI"), gone), 0);
    collector.reset();
    const std::shared_ptr<ozo_msg> msg(ozo_receive(generousMs), ozo_free);
    ASSERT_NE(msg, nullptr);
    EXPECT_EQ(msg->msgno, gone);
    EXPECT_FALSE(hasMailbox());
}

TEST_F(QuardexStartTest, WithoutAnActiveObjectItLeavesItsMailboxWhenItGoes) {
    root.writeDatabase("[qdx]\nenabled = 1\n");
    collector = std::make_unique<Quardex>();
    collector->activeObjectStart();
    const auto mailbox = ozo_locate("QuardexBeI");
    ASSERT_NE(mailbox, OZO_NO_MAILBOX);
    collector.reset();
    EXPECT_EQ(ozo_locate("QuardexBeI"), mailbox);
    ozo_delete_mailbox(mailbox);
}

TEST_F(QuardexStartTest, StartsAgainAfterItHasGone) {
    for (int round = 0; round < 5; ++round) {
        TraceRecorder::instance().clear();
        start("enabled = 1\n");
        const Frontend frontend("Frontend");
        EXPECT_EQ(Frontend::connect({1}), confirmed());
        ASSERT_EQ(ozo_monitor(ozo_locate("QuardexBeI"), 1), 0);
        collector.reset();
        EXPECT_EQ(Frontend::receive().size(), 8);
    }
}

}  // namespace
}  // namespace Qdx::Backend
