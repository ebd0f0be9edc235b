// The worked examples of the page about the wire formats are what this system writes and reads.
#include <gmock/gmock.h>
#include <sys/socket.h>

#include <array>
#include <chrono>
#include <iomanip>
#include <map>
#include <set>
#include <sstream>

#include "batchWriter.hpp"
#include "carrierEvent.pb.h"
#include "collectorThread.hpp"
#include "controlFrame.hpp"
#include "frame.hpp"
#include "frontendMessages.hpp"
#include "hexPage.hpp"
#include "hexText.hpp"
#include "infoObjectContextImpl.hpp"
#include "ozoTestSupport.hpp"
#include "parsedStatement.hpp"
#include "pull/pullReader.hpp"
#include "qdxFilterCtrlI.pb.h"
#include "qdxFilterCtrlIServer.hpp"
#include "quardex.hpp"
#include "recording/encoder.hpp"
#include "recording/reader.hpp"
#include "registerInfo.pb.h"
#include "support/rawClient.hpp"
#include "tessel/commandServer.hpp"
#include "traceRecorder.hpp"
#include "unitRoot.hpp"
#include "wireFormat.hpp"

namespace {

using namespace qdxfilterctrli;
using namespace std::chrono_literals;
using FormatTest::Bytes;
using FormatTest::HexBlock;
using Qdx::V1::toHex;
using Tessel::CommandProtocol::Kind;
using testing::HasSubstr;

// Every example of the page; a test below has each.
const std::set<std::string> examples = {
    "mailbox-frame",
    "connection-request",
    "connection-confirmation",
    "connection-rejection",
    "metadata",
    "batch",
    "control-connect",
    "control-connected",
    "control-pull",
    "control-pulled",
    "control-chunk",
    "control-acknowledgement",
    "control-refused",
    "command-request",
    "command-answer",
    "command-refused",
    "pull",
    "record-carrier",
    "record-registers",
    "context",
    "recording",
};

const HexBlock& block(const std::string& name) {
    static const auto blocks = FormatTest::hexBlocksOf(PAGE);
    EXPECT_TRUE(examples.contains(name));
    for (const auto& each : blocks) {
        if (each.name == name) {
            return each;
        }
    }
    throw std::runtime_error("no example \"" + name + "\" in " PAGE);
}

Bytes example(const std::string& name) {
    return block(name).bytes();
}

std::string exampleText(const std::string& name) {
    const auto bytes = example(name);
    return {bytes.begin(), bytes.end()};
}

Bytes bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

void expectExample(const std::string& name, const Bytes& written) {
    EXPECT_EQ(toHex(written), toHex(example(name))) << name;
}

// --- The page ----------------------------------------------------------------------------------

TEST(WireFormatsPage, HasTheExamplesThatAreTestedAndNoOthers) {
    std::multiset<std::string> names;
    for (const auto& each : FormatTest::hexBlocksOf(PAGE)) {
        names.insert(each.name);
    }
    EXPECT_THAT(names, testing::ElementsAreArray(examples));
}

TEST(WireFormatsPage, OffsetsAreThoseOfTheBytesBehindThem) {
    for (const auto& each : FormatTest::hexBlocksOf(PAGE)) {
        std::size_t offset = 0;
        for (const auto& line : each.lines) {
            EXPECT_EQ(line.offset, offset) << each.name << ": " << line.remark;
            EXPECT_FALSE(line.remark.empty()) << each.name << " at " << line.offset;
            offset += line.bytes.size();
        }
    }
}

// Texts in double quotes, of which "\n" and "\0" stand for one byte each.
std::vector<std::string> quotedIn(const std::string& remark) {
    std::vector<std::string> texts;
    for (auto open = remark.find('"'); open != std::string::npos;) {
        const auto close = remark.find('"', open + 1);
        std::string text;
        for (auto at = open + 1; at < close; ++at) {
            if (remark[at] != '\\') {
                text += remark[at];
            } else {
                text += remark[++at] == 'n' ? '\n' : '\0';
            }
        }
        texts.push_back(text);
        open = remark.find('"', close + 1);
    }
    return texts;
}

TEST(WireFormatsPage, QuotesTextsThatStandInTheLine) {
    std::size_t quotes = 0;
    for (const auto& each : FormatTest::hexBlocksOf(PAGE)) {
        for (const auto& line : each.lines) {
            const std::string bytes(line.bytes.begin(), line.bytes.end());
            for (const auto& text : quotedIn(line.remark)) {
                EXPECT_THAT(bytes, HasSubstr(text)) << each.name << " at " << line.offset;
                ++quotes;
            }
        }
    }
    EXPECT_GT(quotes, examples.size());
}

// --- The tables -----------------------------------------------------------------------------

std::string hexNumber(std::uint32_t number) {
    std::ostringstream text;
    text << "0x" << std::uppercase << std::hex << std::setw(8) << std::setfill('0') << number;
    return text.str();
}

bool pageSays(const std::string& text) {
    return FormatTest::textOf(PAGE).find(text) != std::string::npos;
}

TEST(WireFormatsPage, NumbersTheMessagesOfTheControlProtocolAsTheSchemaDoes) {
    const auto& schema = *ConnectionEstablishReq::descriptor()->file();
    const std::set<std::string> served = {"ConnectionEstablishReq", "ConnectionEstablishCfm",
                                          "ConnectionEstablishRej", "CapabilityExchangeReq",
                                          "CapabilityExchangeCfm",  "PullFilterDataReq",
                                          "PullFilterDataCfm",      "PullFilterDataRej",
                                          "FilterContentsRData",    "FilterContentsRAck"};
    for (const auto& name : served) {
        const auto* number =
            schema.FindMessageTypeByName(name)->FindEnumValueByName("MESSAGE_NUMBER");
        const auto row =
            "| " + hexNumber(static_cast<std::uint32_t>(number->number())) + " | `" + name + "` |";
        EXPECT_TRUE(pageSays(row)) << row;
    }
}

TEST(WireFormatsPage, NumbersTheMessagesOfFrontendsAsTheCodeDoes) {
    using namespace Qdx::V1;
    for (const auto number : {beConnectionReq, beConnectionCfm, beConnectionRej,
                              beProcessMetaDataUreq, beProcessBatchesUreq}) {
        EXPECT_TRUE(pageSays(hexNumber(number)));
    }
}

TEST(WireFormatsPage, HasTheKeysOfContexts) {
    const auto* message = Qdx::InfoObjectContext::descriptor();
    for (int i = 0; i < message->field_count(); ++i) {
        const auto* field = message->field(i);
        const auto cells =
            "`" + field->json_name() + "` | " + std::to_string(field->number()) + " |";
        EXPECT_TRUE(pageSays(cells)) << cells;
    }
}

TEST(WireFormatsPage, HasTheLimitsOfTheCode) {
    using namespace Tessel::CommandProtocol;
    constexpr std::size_t kibi = 1024;
    constexpr std::size_t mebi = kibi * kibi;
    const Tessel::Host::V1::CommandServerLimits limits;
    const std::pair<std::string, std::size_t> said[] = {
        {"| 8 | 4 to # |", Ozo::maxMessageSize},
        {"| the words joined with single blanks | # bytes |", maxLine},
        {"| payload of a request | # bytes |", maxRequest},
        {"| payload of an answering frame | # bytes |", maxAnswer},
        {"| clients at a time | # |", limits.clients},
        {"is its turn | # s |", static_cast<std::size_t>(limits.stall / 1s)},
        {"| output that waits for a client | # MiB |", limits.heldOutput / mebi},
        {"`qdxview` takes up to # MiB", Qdx::Pull::longestInput / mebi},
        {"of text, # MiB", Qdx::Pull::longestMessage / mebi},
        {"(# MiB for a file of the header", Recording::maxText / mebi},
        {"# KiB for a message", Recording::maxMessage / kibi},
        {"# bytes for a command", Recording::maxCommand},
    };
    for (auto [text, number] : said) {
        text.replace(text.find('#'), 1, std::to_string(number));
        EXPECT_TRUE(pageSays(text)) << text;
    }
}

// --- The values that the page names ------------------------------------------------------------

constexpr std::uint32_t frontendsProcedure = 7;
constexpr auto pulledAt = std::chrono::seconds(1795262400);  // 2026-11-21 12:00:00 UTC

const char* const catalogue = R"(<infoObjectList>
    <tags><tag name="RADIO"/><tag name="TRAFFIC"/></tags><objects>
    <object id="1" name="radio:temperature" type="meas"><tags>RADIO</tags></object>
    <object id="2" name="radio:packets" type="counter"><tags>TRAFFIC</tags></object>
    <object id="3" name="radio:event" type="record"><tags>RADIO</tags></object>
    </objects></infoObjectList>)";

Bytes connectionRequest(std::uint32_t revision) {
    return Qdx::V1::encodeConnectionRequest({.procedure = frontendsProcedure}, {revision});
}

Bytes metaData() {
    Qdx::RadioMetaData fields;
    fields.set_swproductnumber("SW1");
    fields.set_swproductrevision("R1A");
    fields.set_hwproductnumber("HW1");
    fields.set_hwproductrevision("R2");
    fields.set_hwserialnumber("S123");
    fields.set_hwname("radio");
    return Qdx::V1::encodeMetaData({.procedure = 8, .connection = 1}, fields);
}

std::string carrierEvent() {
    Qdx::Records::CarrierEvent event;
    event.set_carrier_id(7);
    event.set_kind(Qdx::Records::CarrierEvent::FAILED);
    event.set_power_mdbm(-1);
    event.set_reason("PLL");
    return event.SerializeAsString();
}

std::string registerInfo() {
    Qdx::Records::RegisterInfo info;
    info.set_block("pll");
    info.set_base_address(0x4000);
    info.set_cause(Qdx::Records::RegisterInfo::FAULT);
    auto* lock = info.add_registers();
    lock->set_offset(4);
    lock->set_value(300);
    lock->set_name("LOCK");
    lock->set_trigger(true);
    return info.SerializeAsString();
}

Bytes batch() {
    Qdx::V1::BatchWriter writer(ozo_get_max_size());
    EXPECT_TRUE(writer.addMeasurement("radio:temperature", "deviceId=0", {47250}));
    EXPECT_TRUE(writer.addMeasurement("radio:temperature", "deviceId=0", {-1}));
    EXPECT_TRUE(writer.addCounter("radio:packets", "", {100}));
    EXPECT_TRUE(writer.addRecord("radio:event", "carrierId=7", bytesOf(carrierEvent())));
    return writer.take({.procedure = 9, .connection = 1});
}

template <typename Body>
Bytes control(Qdx::Control::References references, const Body& body) {
    Bytes frame(Qdx::Control::frameSize(body));
    EXPECT_TRUE(Qdx::Control::encode(Body::MESSAGE_NUMBER, references, body, frame));
    return frame;
}

PullFilterDataReq pullOf(const std::string& filter) {
    PullFilterDataReq pull;
    pull.set_filter_name(filter);
    pull.set_clear_data(false);
    return pull;
}

// --- Mailboxes ---------------------------------------------------------------------------------

// The test's thread with a mailbox of that name.
class Mailbox {
public:
    explicit Mailbox(const char* name) : id(ozo_create_mailbox(name, 0)) {}
    ~Mailbox() { ozo_delete_mailbox(id); }
    Mailbox(const Mailbox&) = delete;
    Mailbox& operator=(const Mailbox&) = delete;

    static void send(const Bytes& message, const char* to) {
        ozo_send(Qdx::V1::toOzoMessage(message), ozo_locate(to), OZO_MY_MAILBOX);
    }

    static Bytes receive() {
        const auto message = OzoTest::receive();
        if (message == nullptr) {
            throw std::runtime_error("the collector doesn't answer");
        }
        const auto bytes = Qdx::V1::bytesOf(message.get());
        return {bytes.begin(), bytes.end()};
    }

    const std::uint32_t id;
};

TEST(WireFormatsPage, MailboxFrameIsWhatAMailboxTakesAndSends) {
    const Qdx::Test::UnitRoot unit;
    const Mailbox mailbox("Receiver");
    const OzoTest::RawPeer peer;
    ASSERT_TRUE(peer.connect(unit.path() / "run/ozo/mbox" / std::to_string(mailbox.id)));
    auto frame = example("mailbox-frame");
    const auto raw = std::as_bytes(std::span(frame));
    peer.send({raw.begin(), raw.end()});
    const auto message = OzoTest::receive();
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(ozo_sender(message.get()), 17);
    EXPECT_EQ(toHex(Qdx::V1::bytesOf(message.get())), toHex(connectionRequest(1)));

    // Its own frame with the same message differs in the sender only.
    ozo_send(Qdx::V1::toOzoMessage(connectionRequest(1)), 17, OZO_MY_MAILBOX);
    std::memcpy(&frame[offsetof(Ozo::FrameHeader, sender)], &mailbox.id, sizeof(mailbox.id));
    Bytes sent(Ozo::maxFrameSize);
    const auto size = recv(peer.descriptor(), sent.data(), sent.size(), 0);
    ASSERT_GT(size, 0);
    sent.resize(static_cast<std::size_t>(size));
    EXPECT_EQ(toHex(sent), toHex(frame));
}

// --- A collector in this process ---------------------------------------------------------------

// It has filter 11 and answers over mailboxes and the command socket.
class WireFormatsPageCollector : public testing::Test {
protected:
    WireFormatsPageCollector() {
        using namespace Qdx::Backend;
        QdxFilterCtrlIServer::lastConnRef = 0;
        QdxFilterCtrlIServer::lastStreamId = 0;
        root.writeCatalogue(catalogue, "enabled = 1\n");
        server = std::make_unique<Tessel::Host::V1::CommandServer>(nullptr);
        server->serve();
        thread = std::make_unique<Qdx::Test::CollectorThread>(collector, [] {});
        thread->run([this] {
            collector.createFilter(
                FilterId{11}, "11",
                Qdx::Test::parsedAll({"tags RADIO list count 10", "tags TRAFFIC sum count 1 10"}),
                0, Enabled::Yes, Static::No, Printable::No);
            collector.setClockAnchor(ClockAnchor{time_point{}, WallTime{pulledAt}});
        });
        mailbox = std::make_unique<Mailbox>("Peer");
    }

    // The batch of the page, at the time of the page.
    void handleBatch() {
        const std::shared_ptr<ozo_msg> message(Qdx::V1::toOzoMessage(example("batch")), ozo_free);
        thread->run([&] {
            collector.setCurrTime(Qdx::Backend::time_point{});
            collector.handleBeProcessBatchesUreq(message.get());
        });
    }

    bool hasMetaData() {
        bool has = false;
        thread->run([&] { has = collector.isMetaDataCollected(); });
        return has;
    }

    static Bytes frontendAsks(const std::string& name) {
        Mailbox::send(example(name), Qdx::V1::collectorMailbox);
        return Mailbox::receive();
    }

    static Bytes clientAsks(const std::string& name) {
        Mailbox::send(example(name), "QdxFilterCtrlI");
        return Mailbox::receive();
    }

    static std::string type(const Bytes& request) {
        TestSupport::RawClient client;
        client.send(std::string(request.begin(), request.end()));
        return client.readAll();
    }

    static std::string typeWords(const std::vector<std::string>& words) {
        return type(bytesOf(TestSupport::runFrame(words)));
    }

    Qdx::Test::UnitRoot root;
    std::unique_ptr<Tessel::Host::V1::CommandServer> server;
    Qdx::Backend::Quardex collector;
    std::unique_ptr<Qdx::Test::CollectorThread> thread;
    std::unique_ptr<Mailbox> mailbox;
};

TEST_F(WireFormatsPageCollector, ConfirmsTheConnectionAsThePageSays) {
    expectExample("connection-request", connectionRequest(1));
    expectExample("connection-confirmation", frontendAsks("connection-request"));
    const auto reply = Qdx::V1::decodeConnectionReply(example("connection-confirmation"));
    ASSERT_TRUE(reply);
    EXPECT_TRUE(reply->confirmed);
    EXPECT_EQ(reply->references.procedure, frontendsProcedure);
    EXPECT_EQ(reply->value, 1);
}

TEST_F(WireFormatsPageCollector, RejectsAnotherRevisionAsThePageSays) {
    Mailbox::send(connectionRequest(2), Qdx::V1::collectorMailbox);
    expectExample("connection-rejection", Mailbox::receive());
    const auto reply = Qdx::V1::decodeConnectionReply(example("connection-rejection"));
    ASSERT_TRUE(reply);
    EXPECT_FALSE(reply->confirmed);
    EXPECT_EQ(reply->value, Qdx::V1::rejectReasonNoCommonRevision);
}

TEST_F(WireFormatsPageCollector, ComparesRevisionsAsThePageSays) {
    const auto replyTo = [](const std::vector<std::uint32_t>& revisions) {
        Mailbox::send(Qdx::V1::encodeConnectionRequest({}, revisions), Qdx::V1::collectorMailbox);
        return Qdx::V1::decodeConnectionReply(Mailbox::receive())->confirmed;
    };
    EXPECT_TRUE(replyTo({1, 2, 255}));
    EXPECT_FALSE(replyTo({1, 256}));
}

TEST_F(WireFormatsPageCollector, TakesTheMetadataOfThePage) {
    expectExample("metadata", metaData());
    EXPECT_FALSE(hasMetaData());
    Mailbox::send(example("metadata"), Qdx::V1::collectorMailbox);
    (void)frontendAsks("connection-request");  // comes behind it
    EXPECT_TRUE(hasMetaData());
}

TEST_F(WireFormatsPageCollector, ServesTheControlClientOfThePage) {
    expectExample("batch", batch());
    handleBatch();
    Mailbox::send(example("metadata"), "QdxFilterCtrlI");

    ConnectionEstablishReq offer;
    offer.add_supported_revisions(1);
    expectExample("control-connect", control({.procedure = 1}, offer));
    expectExample("control-connected", clientAsks("control-connect"));
    expectExample("control-pull", control({.procedure = 2, .connection = 1}, pullOf("11")));
    expectExample("control-pulled", clientAsks("control-pull"));
    expectExample("control-chunk", Mailbox::receive());

    FilterContentsRAck acknowledgement;
    acknowledgement.set_stream_id(1);
    expectExample("control-acknowledgement",
                  control({.procedure = 2, .connection = 1}, acknowledgement));
    Mailbox::send(example("control-acknowledgement"), "QdxFilterCtrlI");
    Mailbox::send(control({.procedure = 3, .connection = 1}, pullOf("12")), "QdxFilterCtrlI");
    expectExample("control-refused", Mailbox::receive());
    Qdx::Control::References references;
    FilterContentsRData chunk;
    ASSERT_TRUE(Qdx::Control::decode(example("control-chunk"), references, chunk));
    EXPECT_EQ(toHex(bytesOf(chunk.data_chunk())), toHex(example("pull")));
}

TEST_F(WireFormatsPageCollector, GivesThePullOfThePage) {
    handleBatch();
    Mailbox::send(example("metadata"), Qdx::V1::collectorMailbox);
    (void)frontendAsks("connection-request");
    std::string contents;
    thread->run([&] {
        collector.pullFilterData(Qdx::Backend::FilterId{11}, Qdx::Backend::Clear::No, contents);
    });
    expectExample("pull", bytesOf(contents));

    // The line of the page is what a command says, and what readers of pulls take.
    const auto answer = typeWords({"dch", "filter", "pull", "keep", "11"});
    const auto begin = answer.find("<QdxOutput>");
    const auto line = answer.substr(begin, answer.find('\n') - begin);
    EXPECT_NE(FormatTest::textOf(PAGE).find("\n" + line + "\n"), std::string::npos) << line;
    const auto pulls = Qdx::Pull::readPulls(line, "the page");
    ASSERT_EQ(pulls.size(), 1);
    EXPECT_EQ(pulls[0].bytes, contents);
    EXPECT_EQ(pulls[0].collections.measurementcollections(0).values(0), 47250);
}

TEST_F(WireFormatsPageCollector, ContextThatIsNoneSilencesThePull) {
    Mailbox::send(example("metadata"), Qdx::V1::collectorMailbox);
    Qdx::V1::BatchWriter writer(ozo_get_max_size());
    ASSERT_TRUE(writer.addMeasurement("radio:temperature", "place", {1}));
    Mailbox::send(writer.take(), Qdx::V1::collectorMailbox);
    (void)frontendAsks("connection-request");
    const auto answer = typeWords({"dch", "filter", "pull", "keep", "11"});
    EXPECT_EQ(answer, TestSupport::frame(Kind::Exit, std::string(4, '\0')));
    EXPECT_THAT(
        Qdx::Test::TraceRecorder::instance().texts(Qdx::Backend::Trace::Level::Error),
        testing::ElementsAre("Caught exception: Context string place could not be decoded."));
}

TEST_F(WireFormatsPageCollector, AnswersTheCommandOfThePage) {
    const std::vector<std::string> words = {"dch", "fs", "create", "limit", "0"};
    expectExample("command-request", bytesOf(TestSupport::runFrame(words)));
    expectExample("command-answer", bytesOf(type(example("command-request"))));
}

TEST_F(WireFormatsPageCollector, RefusesARequestAsThePageSays) {
    expectExample("command-refused", bytesOf(type(bytesOf(TestSupport::frame(Kind::Run, "")))));
}

// --- Inside messages ---------------------------------------------------------------------------

TEST(WireFormatsPage, RecordsAreTheMessagesThatThePageNames) {
    expectExample("record-carrier", bytesOf(carrierEvent()));
    Qdx::Records::CarrierEvent event;
    ASSERT_TRUE(event.ParseFromString(exampleText("record-carrier")));
    EXPECT_EQ(event.reason(), "PLL");

    expectExample("record-registers", bytesOf(registerInfo()));
    Qdx::Records::RegisterInfo info;
    ASSERT_TRUE(info.ParseFromString(exampleText("record-registers")));
    EXPECT_EQ(info.registers(0).value(), 300);
}

TEST(WireFormatsPage, ContextTextBecomesTheMessageOfThePage) {
    const auto* context = Qdx::V1::InfoObjectContextImpl::cache("rfBranch=3,deviceId=-1");
    ASSERT_NE(context, nullptr);
    expectExample("context", bytesOf(context->SerializeAsString()));
}

// --- Recordings --------------------------------------------------------------------------------

std::string recording() {
    Recording::Encoder encoder({.maxMessageSize = 65536,
                                .steady = 1000ns,
                                .wall = pulledAt,
                                .database = "[qdx]\nenabled = 1\n",
                                .listFiles = {{"l.xml", "<infoObjectList/>"}}});
    const auto request = connectionRequest(1);
    const auto payload = std::as_bytes(std::span(request)).subspan(sizeof(std::uint32_t));
    encoder.message(1200ns, 1, Qdx::V1::beConnectionReq, payload);
    encoder.command(1300ns, {"dch", "filter", "status"});
    encoder.steadyReading(1364ns);
    encoder.wallReading(1365ns, std::chrono::nanoseconds(pulledAt) + 364ns);
    encoder.mailboxGone(1365ns, 1);
    return encoder.bytes();
}

TEST(WireFormatsPage, RecordingIsWhatTheEncoderWritesAndTheReaderReads) {
    expectExample("recording", bytesOf(recording()));
    std::istringstream stream(exampleText("recording"));
    Recording::Reader reader(stream);
    EXPECT_EQ(reader.header().database, "[qdx]\nenabled = 1\n");
    std::string kinds;
    for (auto entry = reader.next(); entry; entry = reader.next()) {
        kinds += "MGCSW"[entry->what.index()];
    }
    EXPECT_EQ(kinds, "MCSWG");
    EXPECT_FALSE(reader.isCutOff());
}

}  // namespace
