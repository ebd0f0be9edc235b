// Who can do what with a collector: a table, and each of its cells as a test that a process of that
// user tries.
#include <dirent.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <sstream>
#include <tuple>

#include "InfoObjectCollections.pb.h"
#include "batchWriter.hpp"
#include "control/blockingClient.hpp"
#include "frame.hpp"
#include "frontendMessages.hpp"
#include "ozo.h"
#include "ozoTestSupport.hpp"
#include "sharedUnit.hpp"
#include "tessel/commandClient.hpp"
#include "wireFormat.hpp"

namespace {

using namespace AccessTest;
namespace V1 = Qdx::V1;

constexpr const char* table = R"(
                                  root collector member operator both stranger
sendsBatches                      yes  yes       yes    no       yes  no
pullsOverTheControlProtocol       yes  yes       yes    no       yes  no
typesCommands                     yes  yes       no     yes      yes  no
pullsByCommand                    yes  yes       no     yes      yes  no
listsMailboxes                    yes  yes       yes    no       yes  no
takesTheCollectorsNameWhileItRuns no   no        no     no       no   no
takesItsNameAfterACrash           yes  yes       no     no       no   no
takesItsNameAfterAStop            yes  yes       yes    no       yes  no
isBelievedToBeTheCollector        yes  yes       no     no       no   no
removesTheMailboxOfAnother        yes  yes       no     no       no   no
replacesTheNameOfAnother          yes  yes       no     no       no   no
speaksAsTheMailboxOfAnother       no   no        no     no       no   no
)";

std::vector<std::string> wordsOf(const std::string& line) {
    std::istringstream stream(line);
    return {std::istream_iterator<std::string>(stream), {}};
}

// What the table says.
bool isAllowed(const std::string& deed, const std::string& user) {
    std::istringstream lines(table);
    std::string line;
    std::getline(lines, line);
    std::getline(lines, line);
    const auto users = wordsOf(line);
    while (std::getline(lines, line)) {
        const auto row = wordsOf(line);
        if (row.front() == deed) {
            const auto column = std::find(users.begin(), users.end(), user) - users.begin();
            return row.at(static_cast<std::size_t>(column) + 1) == "yes";
        }
    }
    throw std::runtime_error("the table has no row " + deed);
}

struct Scene {
    const SharedUnit& unit;
    std::uint32_t otherMailbox = OZO_NO_MAILBOX;  // a member's, that takes part in nothing
};

void send(const V1::MessageBytes& bytes) {
    ozo_send(V1::toOzoMessage(bytes), ozo_locate_service(V1::collectorMailbox), OZO_MY_MAILBOX);
}

V1::MessageBytes connectionRequest() {
    return V1::encodeConnectionRequest({}, {V1::protocolRevision});
}

// True when the collector has handled them.
bool delivers(const std::vector<V1::MessageBytes>& messages) {
    const std::uint32_t mailbox = ozo_create_mailbox("Sender", 0);
    if (mailbox == OZO_NO_MAILBOX)
        return false;
    for (const auto& message : messages)
        send(message);
    // Answered when what came before is handled.
    send(connectionRequest());
    const OzoTest::Message answer = OzoTest::receive();
    // Its name is for other users too.
    ozo_delete_mailbox(mailbox);
    return answer != nullptr && answer->msgno == V1::beConnectionCfm;
}

V1::MessageBytes batch() {
    V1::BatchWriter writer(ozo_get_max_size());
    (void)writer.addMeasurement("cpu:load", "", {5});
    return writer.take();
}

V1::MessageBytes metaData() {
    Qdx::RadioMetaData message;
    message.set_swproductnumber("CXP1");
    message.set_swproductrevision("R1A");
    message.set_hwproductnumber("KRC1");
    message.set_hwproductrevision("R2B");
    message.set_hwserialnumber("S123");
    message.set_hwname("radio");
    return V1::encodeMetaData({}, message);
}

bool sendsBatches(const Scene&) {
    return delivers({batch()});
}

bool pullsOverTheControlProtocol(const Scene&) {
    Qdx::Control::BlockingClient client;
    return client.connect().isDone() &&
           client.pull({.filter = "11"}, [](std::string_view) { return true; }).isDone();
}

bool types(const std::string& line, const std::string& answerBegins) {
    std::string output;
    const auto add = [&output](std::string_view bytes) { output += bytes; };
    try {
        return Tessel::CommandClient::run(wordsOf(line), {add, add}) == 0 &&
               output.starts_with(answerBegins);
    } catch (const Tessel::CommandClient::Unreachable&) {
        return false;
    }
}

bool typesCommands(const Scene&) {
    return types("dch filter status", "Current Filter(s):");
}

bool pullsByCommand(const Scene&) {
    return types("dch filter pull keep 11", "<QdxOutput>");
}

bool listsMailboxes(const Scene& scene) {
    DIR* const folder = ::opendir(scene.unit.path("run/ozo/mbox").c_str());
    if (folder == nullptr)
        return false;
    int mailboxes = 0;
    while (const dirent* const entry = ::readdir(folder))
        mailboxes += entry->d_name[0] != '.' ? 1 : 0;
    ::closedir(folder);
    return mailboxes >= 2;
}

bool takesTheCollectorsName(const Scene&) {
    const std::uint32_t mailbox = ozo_create_mailbox(V1::collectorMailbox, 0);
    return mailbox != OZO_NO_MAILBOX && ozo_locate(V1::collectorMailbox) == mailbox;
}

bool isBelievedToBeTheCollector(const Scene& scene) {
    return takesTheCollectorsName(scene) &&
           ozo_locate_service(V1::collectorMailbox) == ozo_locate(V1::collectorMailbox);
}

bool removesTheMailboxOfAnother(const Scene& scene) {
    const std::string file = scene.unit.path("run/ozo/mbox/") + std::to_string(scene.otherMailbox);
    return ::unlink(file.c_str()) == 0;
}

bool replacesTheNameOfAnother(const Scene& scene) {
    const std::string own = scene.unit.path("run/ozo/name/Own");
    return ::symlink("../mbox/1", own.c_str()) == 0 &&
           ::rename(own.c_str(), scene.unit.path("run/ozo/name/Other").c_str()) == 0;
}

// The answer to a sender that is believed comes over the sender's connection.
bool speaksAsTheMailboxOfAnother(const Scene& scene) {
    const OzoTest::RawPeer liar;
    const auto collector = std::to_string(ozo_locate(V1::collectorMailbox));
    if (!liar.connect(scene.unit.path("run/ozo/mbox/") + collector))
        return false;
    const auto request = connectionRequest();
    std::vector<std::byte> datagram(sizeof(Ozo::FrameHeader) + request.size());
    const Ozo::FrameHeader header{.sender = scene.otherMailbox};
    std::memcpy(datagram.data(), &header, sizeof header);
    std::memcpy(datagram.data() + sizeof header, request.data(), request.size());
    liar.send(datagram);
    pollfd answer{.fd = liar.descriptor(), .events = POLLIN, .revents = 0};
    char byte = 0;
    return ::poll(&answer, 1, OzoTest::deadlineMs) == 1 && ::recv(answer.fd, &byte, 1, 0) > 0;
}

enum class Collector { Runs, Crashed, Stopped };

struct Deed {
    const char* name;
    bool (*attempt)(const Scene&);
    Collector collector = Collector::Runs;
};

const Deed deeds[] = {
    {"sendsBatches", sendsBatches},
    {"pullsOverTheControlProtocol", pullsOverTheControlProtocol},
    {"typesCommands", typesCommands},
    {"pullsByCommand", pullsByCommand},
    {"listsMailboxes", listsMailboxes},
    {"takesTheCollectorsNameWhileItRuns", takesTheCollectorsName},
    {"takesItsNameAfterACrash", takesTheCollectorsName, Collector::Crashed},
    {"takesItsNameAfterAStop", takesTheCollectorsName, Collector::Stopped},
    {"isBelievedToBeTheCollector", isBelievedToBeTheCollector, Collector::Stopped},
    {"removesTheMailboxOfAnother", removesTheMailboxOfAnother},
    {"replacesTheNameOfAnother", replacesTheNameOfAnother},
    {"speaksAsTheMailboxOfAnother", speaksAsTheMailboxOfAnother},
};

void PrintTo(const Deed& deed, std::ostream* out) {
    *out << deed.name;
}

class Access : public testing::TestWithParam<std::tuple<std::string, Deed>> {
protected:
    // A filter with something to pull.
    void fill() {
        ASSERT_TRUE(types("dch fs create limit 0", "Created transaction: 0"));
        ASSERT_TRUE(types("dch fs add 0 tags CPU list count 10", ""));
        ASSERT_TRUE(types("dch fs commit 0", "Filter ID is: 11"));
        ASSERT_TRUE(can(unit.user("root"), [] { return delivers({metaData(), batch()}); }));
    }

    SharedUnit unit;
};

TEST_P(Access, IsAsTheTableSays) {
    const auto& [user, deed] = GetParam();
    unit.startCollector();
    fill();
    const Guest other(unit.user("otherMember"), "Other");
    if (deed.collector == Collector::Crashed)
        unit.crashCollector();
    if (deed.collector == Collector::Stopped)
        unit.stopCollector();
    const Scene scene{unit, other.mailbox()};
    const auto attempt = deed.attempt;
    EXPECT_EQ(can(unit.user(user), [&] { return attempt(scene); }), isAllowed(deed.name, user));
}

INSTANTIATE_TEST_SUITE_P(
    Table, Access,
    testing::Combine(testing::Values("root", "collector", "member", "operator", "both", "stranger"),
                     testing::ValuesIn(deeds)),
    [](const auto& cell) { return std::get<0>(cell.param) + "_" + std::get<1>(cell.param).name; });

}  // namespace
