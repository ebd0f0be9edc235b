// The collector as a user meets it: qdxd with the library in a unit root of the test's own,
// frontends over mailboxes, dch and rodc over the command socket.
#pragma once

#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "InfoObjectCollections.pb.h"
#include "batchWriter.hpp"
#include "frontendMessages.hpp"
#include "objects.hpp"
#include "ozo.h"
#include "support/process.hpp"
#include "support/unitRoot.hpp"
#include "wireFormat.hpp"

namespace TestSupport {

struct Answer {
    int status;
    std::string output;
    friend bool operator==(const Answer&, const Answer&) = default;
};

inline void PrintTo(const Answer& answer, std::ostream* out) {
    *out << answer.status << " \"" << answer.output << '"';
}

inline const Answer disabled{
    1, "Since data collection is disabled, the functionality for this command is disabled.\n"};

inline std::vector<std::string> wordsOf(const std::string& line) {
    std::istringstream stream(line);
    return {std::istream_iterator<std::string>(stream), {}};
}

// What a program writes and how it ends.
inline Answer run(std::vector<std::string> words) {
    Process process(std::move(words));
    const int status = process.awaitExit();
    return {status, process.output() + process.error()};
}

// A line typed at the shell: "dch filter status".
inline Answer type(const std::string& line) {
    auto words = wordsOf(line);
    words.front() = std::filesystem::path(DCH).replace_filename(words.front());
    return run(words);
}

// What stands between the marks of a pull.
inline std::string base64OfPull(const std::string& pullOutput) {
    const std::string before = "<QdxOutput>";
    const std::string after = "</QdxOutput>\n";
    EXPECT_THAT(pullOutput, testing::AllOf(testing::StartsWith(before), testing::EndsWith(after)));
    return pullOutput.substr(before.size(), pullOutput.size() - before.size() - after.size());
}

// Types the lines of a transaction for a filter without a limit; gives the commit's answer.
inline Answer createFilter(const std::vector<std::string>& statements) {
    const auto created = type("dch fs create limit 0");
    const auto id = created.output.substr(std::string("Created transaction: ").size());
    const auto add = "dch fs add " + id + " ";
    for (const auto& statement : statements) {
        EXPECT_EQ(type(add + statement), (Answer{0, ""})) << statement;
    }
    return type("dch fs commit " + id);
}

// The test's thread as a frontend, connected to the collector.
class Frontend {
public:
    Frontend() : mailbox(ozo_create_mailbox("Frontend", 0)) {}
    ~Frontend() { ozo_delete_mailbox(mailbox); }
    Frontend(const Frontend&) = delete;
    Frontend& operator=(const Frontend&) = delete;

    static void send(const Qdx::V1::MessageBytes& bytes) {
        ozo_send(Qdx::V1::toOzoMessage(bytes), ozo_locate(Qdx::V1::collectorMailbox),
                 OZO_MY_MAILBOX);
    }

    static void sendMetaData() {
        Qdx::RadioMetaData metaData;
        metaData.set_swproductnumber("CXP1");
        metaData.set_swproductrevision("R1A");
        metaData.set_hwproductnumber("KRC1");
        metaData.set_hwproductrevision("R2B");
        metaData.set_hwserialnumber("S123");
        metaData.set_hwname("radio");
        send(Qdx::V1::encodeMetaData({}, metaData));
    }

    // Returns once the collector has handled all that was sent before.
    static void awaitHandled() {
        send(Qdx::V1::encodeConnectionRequest({}, {Qdx::V1::protocolRevision}));
        auto* reply = ozo_receive(20'000);
        ASSERT_NE(reply, nullptr) << "the collector doesn't answer";
        EXPECT_EQ(reply->msgno, Qdx::V1::beConnectionCfm);
        ozo_free(reply);
    }

private:
    std::uint32_t mailbox;
};

class CollectorTest : public testing::Test {
protected:
    CollectorTest() {
        std::ofstream(unit.path() / "objects.xml") << objects;
        writeDatabase("enabled = 1\nradioObservabilityEnabled = 1\n");
    }

    void TearDown() override {
        if (collector != nullptr) {
            expectGoodEnd(*collector);
        }
    }

    void writeDatabase(const std::string& toml) {
        const auto path = unit.path() / "opt/zelvasw/srv/database/qdx/swdb.cfg";
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << "[qdx]\ninfoObjectListFilePath = '"
                            << (unit.path() / "objects.xml").string() << "'\n"
                            << toml;
    }

    void startCollector(const std::string& library = QDXBE) {
        collector = std::make_unique<Process>(std::vector<std::string>{QDXD, "--library", library});
        collector->awaitError("qdxd: ready");
    }

    int stopCollector() {
        collector->signal(SIGTERM);
        return collector->awaitExit();
    }

    // A pull as the schema's own tools decode it, with the wall clock taken out.
    std::string decode(const std::string& pullOutput) {
        std::ofstream(unit.path() / "pull.b64") << base64OfPull(pullOutput);
        const auto decoded =
            run({"/bin/sh", "-c",
                 "base64 -d '" + (unit.path() / "pull.b64").string() +
                     "' | '" PROTOC "' --decode=Qdx.InfoObjectCollections -I " SCHEMA_DIRECTORY
                     " InfoObjectCollections.proto"});
        EXPECT_EQ(decoded.status, 0) << decoded.output;
        return std::regex_replace(decoded.output, std::regex("timestamps: [0-9]{10}"),
                                  "timestamps: now");
    }

    TestSupport::UnitRoot unit;
    std::unique_ptr<Process> collector;
};

}  // namespace TestSupport
