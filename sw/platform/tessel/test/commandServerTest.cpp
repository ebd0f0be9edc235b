#include "tessel/commandServer.hpp"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>
#include <thread>

#include "support/await.hpp"
#include "support/rawClient.hpp"
#include "support/typing.hpp"
#include "support/unitRoot.hpp"
#include "tessel/commandProtocol.hpp"
#include "tessel/host.hpp"

namespace {

using namespace TestSupport;
using namespace std::chrono_literals;
using namespace Tessel::CommandProtocol;
using Tessel::CommandClient::AnswerCutShort;
using Tessel::CommandClient::Unreachable;
using Tessel::Host::V1::CommandServer;
using Tessel::Host::V1::CommandServerError;
using Tessel::Host::V1::CommandServerLimits;
using Tessel::Host::V1::CommandTableRow;
using testing::HasSubstr;

constexpr std::size_t mebibyte = std::size_t{1024} * 1024;

mode_t modeOf(const std::string& path) {
    struct stat status {};
    stat(path.c_str(), &status);
    return status.st_mode & 07777U;
}

class CommandServerTest : public testing::Test {
protected:
    // Starts the server with the limits of the test.
    void serve(const CommandServerLimits& limits = {}) {
        server = std::make_unique<CommandServer>(
            [](const std::string& word) -> std::optional<std::vector<CommandTableRow>> {
                if (word != "dch") {
                    return std::nullopt;
                }
                return std::vector<CommandTableRow>{{"dch a <x>", "Does a."}, {"dch b", ""}};
            },
            limits);
        server->serve();
        registerCommand("echo", echo);
        registerCommand("flood", [this](const auto&, std::ostream& out) {
            const std::string piece(mebibyte, 'x');
            while (out) {
                out << piece << std::flush;
            }
            floodEnded.happen();
            return 0;
        });
        registerCommand("write", [this](const auto& words, std::ostream& out) {
            out << std::string(std::stoul(words[1]) * mebibyte, 'x') << std::flush;
            written.happen();
            return 0;
        });
    }

    // Commands use what stands here.
    void TearDown() override {
        server.reset();
        EXPECT_TRUE(Tessel::Host::V1::Host().finish(deadline));
    }

    CommandServerError::Reason refusal(std::string& text) {
        try {
            const CommandServer another(nullptr);
        } catch (const CommandServerError& error) {
            text = error.what();
            return error.reason;
        }
        throw std::runtime_error("the server was not refused");
    }

    const UnitRoot unit;
    Event began;
    Event mayEnd;
    Event floodEnded;
    Event written;
    std::unique_ptr<CommandServer> server;
};

TEST_F(CommandServerTest, LetsTheUnitsGroupInAndNobodyElse) {
    const auto former = umask(0);
    serve();
    umask(former);
    EXPECT_EQ(modeOf(runDirectory()), 0750U);
    EXPECT_EQ(modeOf(socketPath()), 0660U);
}

TEST_F(CommandServerTest, LetsNobodyInBeforeItServes) {
    CommandServer early(nullptr);
    EXPECT_THROW(type({"echo"}), Unreachable);
    early.serve();
    EXPECT_EQ(type({"nonsense"}).status, 127);
}

TEST_F(CommandServerTest, RefusesASecondServerInOneLine) {
    serve();
    std::string text;
    EXPECT_EQ(refusal(text), CommandServerError::Reason::Taken);
    EXPECT_THAT(text, HasSubstr(socketPath() + " is served by a live process"));
    EXPECT_EQ(type({"echo"}).output, "echo|");
}

TEST_F(CommandServerTest, RefusesASecondServerBeforeTheFirstServes) {
    const CommandServer early(nullptr);
    std::string text;
    EXPECT_EQ(refusal(text), CommandServerError::Reason::Taken);
}

TEST_F(CommandServerTest, RefusesToReplaceALiveSocketOfAStranger) {
    std::filesystem::create_directories(runDirectory());
    const auto address = addressOf(socketPath());
    const int stranger = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(stranger, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(stranger, 1), 0);
    std::string text;
    EXPECT_EQ(refusal(text), CommandServerError::Reason::Taken);
    EXPECT_TRUE(std::filesystem::exists(socketPath()));
    close(stranger);
}

TEST_F(CommandServerTest, ReplacesTheSocketOfADeadProcess) {
    std::filesystem::create_directories(runDirectory());
    const auto address = addressOf(socketPath());
    const int dead = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(dead, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    close(dead);
    serve();
    EXPECT_EQ(type({"echo"}).output, "echo|");
}

TEST_F(CommandServerTest, LeavesAFileInTheSocketsPlaceAlone) {
    std::filesystem::create_directories(runDirectory());
    std::ofstream(socketPath()) << "precious";
    std::string text;
    EXPECT_EQ(refusal(text), CommandServerError::Reason::Socket);
    EXPECT_THAT(text, HasSubstr("cannot bind " + socketPath()));
    std::stringstream content;
    content << std::ifstream(socketPath()).rdbuf();
    EXPECT_EQ(content.str(), "precious");
}

TEST_F(CommandServerTest, SaysThatTheRunDirectoryCannotBeMade) {
    std::ofstream(unit.path() / "run") << "in the way";
    std::string text;
    EXPECT_EQ(refusal(text), CommandServerError::Reason::Directory);
    EXPECT_THAT(text, HasSubstr("cannot make " + runDirectory() + ": Not a directory"));
}

TEST_F(CommandServerTest, SaysThatThePathIsTooLong) {
    const auto root = unit.path() / std::string(100, 'x');
    setenv("UNIT_ROOT", root.c_str(), 1);
    std::string text;
    EXPECT_EQ(refusal(text), CommandServerError::Reason::Socket);
    EXPECT_THAT(text, HasSubstr("File name too long"));
}

TEST_F(CommandServerTest, TakesItsSocketAwayAndLeavesRoomForANewOne) {
    serve();
    server.reset();
    EXPECT_FALSE(std::filesystem::exists(socketPath()));
    EXPECT_THROW(type({"echo"}), Unreachable);
    serve();
    EXPECT_EQ(type({"echo"}).output, "echo|");
}

TEST_F(CommandServerTest, TellsTheTableOfAWord) {
    serve();
    Answer table;
    EXPECT_EQ(Tessel::CommandClient::table("dch", into(table)), 0);
    EXPECT_EQ(table.output, "dch a <x>\tDoes a.\ndch b\t\n");
}

TEST_F(CommandServerTest, SaysThatAWordHasNoTable) {
    serve();
    Answer table;
    EXPECT_EQ(Tessel::CommandClient::table("other", into(table)), 127);
    EXPECT_EQ(table.error, "no table of subcommands for this word\n");
}

TEST_F(CommandServerTest, UnderstandsARequestThatComesByteByByte) {
    serve();
    RawClient client;
    for (const char byte : runFrame({"echo", "a"})) {
        client.send({&byte, 1});
    }
    EXPECT_EQ(client.readAll(),
              frame(Kind::Output, "echo|a|") + frame(Kind::Exit, encodeStatus(0)));
}

TEST_F(CommandServerTest, RefusesRequestsThatAreNone) {
    serve();
    const auto refused = [](const std::string& request, const std::string& line) {
        RawClient client;
        client.send(request);
        EXPECT_EQ(client.readAll(),
                  frame(Kind::Error, line + '\n') + frame(Kind::Exit, encodeStatus(64)));
    };
    refused(frame(static_cast<Kind>('?'), ""), "unknown kind of request");
    refused(frame(Kind::Exit, "abcd"), "unknown kind of request");
    refused(runFrame({}), "no command in the request");
    refused(runFrame({"", "x"}), "no command in the request");
    refused(runFrame({std::string("ec\0ho", 5)}), "no command in the request");
    refused(frame(Kind::Run, "\x05"), "no command in the request");
    const std::string noParameter = "no parameter of a command in the request";
    refused(frame(Kind::Complete, ""), noParameter);
    refused(frame(Kind::Complete, encodeWords({"echo"})), noParameter);
    refused(frame(Kind::Complete, encodeWords({"echo", "a", "b"})), noParameter);
    refused(frame(Kind::Complete, "\x05"), noParameter);
}

TEST_F(CommandServerTest, RefusesARequestOfFourGigabytesWithoutReadingIt) {
    serve();
    RawClient client;
    client.send(
        std::string("R\xFF\xFF\xFF\xFF"
                    "abc"));
    EXPECT_THAT(client.readAll(), HasSubstr("the command line is longer than 4096 characters"));
}

TEST_F(CommandServerTest, GoesOnAfterClientsThatHangUpInTheirRequest) {
    serve();
    const auto request = runFrame({"echo", "a"});
    for (std::size_t size = 0; size < request.size(); ++size) {
        RawClient client;
        client.send(request.substr(0, size));
    }
    EXPECT_EQ(type({"echo"}).output, "echo|");
}

TEST_F(CommandServerTest, LetsTheStreamOfACommandGoBadWhenItsClientHangsUp) {
    serve();
    RawClient client;
    client.send(runFrame({"flood"}));
    client.hangUp();
    floodEnded.await();
    EXPECT_EQ(type({"echo"}).output, "echo|");
}

TEST_F(CommandServerTest, DropsAClientThatSaysMoreThanItsRequest) {
    serve();
    RawClient client;
    client.send(runFrame({"flood"}) + "more");
    floodEnded.await();
    EXPECT_EQ(type({"echo"}).output, "echo|");
}

TEST_F(CommandServerTest, ServesOthersWhileAClientReadsNothing) {
    serve();
    RawClient stalled;
    stalled.send(runFrame({"write", "8"}));
    written.await();
    EXPECT_EQ(type({"echo"}).output, "echo|");
    EXPECT_EQ(stalled.readAll().size(),
              8 * mebibyte + 8 * mebibyte / maxAnswer * headerSize + headerSize + 4);
}

TEST_F(CommandServerTest, DropsAClientThatReadsNothingForTooLong) {
    CommandServerLimits limits;
    limits.stall = 500ms;
    serve(limits);
    RawClient stalled;
    stalled.send(runFrame({"write", "8"}));
    stalled.awaitHangUp();
    EXPECT_LT(stalled.readAll().size(), 8 * mebibyte);
    EXPECT_EQ(type({"echo"}).output, "echo|");
}

TEST_F(CommandServerTest, LetsASlowCommandTakeLongerThanAStall) {
    CommandServerLimits limits;
    limits.stall = 500ms;
    serve(limits);
    registerCommand("slow", [](const auto&, std::ostream& out) {
        // A silent client comes and is dropped while this one waits.
        RawClient().awaitHangUp();
        out << "done";
        return 0;
    });
    EXPECT_EQ(type({"slow"}), (Answer{0, "done", ""}));
}

TEST_F(CommandServerTest, DropsAClientThatAsksNothingForTooLong) {
    CommandServerLimits limits;
    limits.stall = 50ms;
    serve(limits);
    RawClient silent;
    RawClient stuck;
    stuck.send("R");
    silent.awaitHangUp();
    stuck.awaitHangUp();
    EXPECT_EQ(silent.readAll() + stuck.readAll(), "");
}

TEST_F(CommandServerTest, CutsOffAClientWhoseOutputIsOverTheLimit) {
    CommandServerLimits limits;
    limits.heldOutput = 4 * mebibyte;
    serve(limits);
    RawClient client;
    client.send(runFrame({"flood"}));
    floodEnded.await();
    client.awaitHangUp();
    EXPECT_EQ(type({"echo"}).output, "echo|");
}

TEST_F(CommandServerTest, TellsTheClientThatItsAnswerIsCutShort) {
    CommandServerLimits limits;
    limits.heldOutput = mebibyte;
    serve(limits);
    EXPECT_THROW(type({"write", "8"}), AnswerCutShort);
}

TEST_F(CommandServerTest, RefusesMoreClientsThanItsLimit) {
    CommandServerLimits limits;
    limits.clients = 1;
    serve(limits);
    RawClient only;
    EXPECT_EQ(type({"echo"}), (Answer{69, "", "too many clients at a time; try again\n"}));
    only.send(runFrame({"echo"}));
    EXPECT_THAT(only.readAll(), HasSubstr("echo|"));
    EXPECT_EQ(type({"echo"}).output, "echo|");
}

TEST_F(CommandServerTest, LetsAClientTakeItsOutputWhenItStops) {
    serve();
    Event stopping;
    Answer answer;
    std::thread client([&] {
        const auto sinks = into(answer);
        const auto output = [&](std::string_view bytes) {
            stopping.await();
            sinks.output(bytes);
        };
        answer.status = Tessel::CommandClient::run({"write", "8"}, {output, sinks.error});
    });
    written.await();
    RawClient idle;
    stopping.happen();
    server->stop(deadline);
    client.join();
    EXPECT_EQ(answer.status, 0);
    EXPECT_EQ(answer.output.size(), 8 * mebibyte);
    EXPECT_EQ(idle.readAll(), "");
}

TEST_F(CommandServerTest, CutsOffAClientThatTakesTooLongWhenItStops) {
    serve();
    RawClient stalled;
    stalled.send(runFrame({"write", "8"}));
    written.await();
    server->stop(1ms);
    EXPECT_LT(stalled.readAll().size(), 8 * mebibyte);
}

TEST_F(CommandServerTest, StopsWhileACommandRuns) {
    serve();
    registerCommand("wait", [this](const auto&, std::ostream& out) {
        began.happen();
        mayEnd.await();
        out << "too late" << std::flush;
        return 0;
    });
    RawClient client;
    client.send(runFrame({"wait"}));
    began.await();
    server.reset();
    mayEnd.happen();
    EXPECT_EQ(client.readAll(), "");
}

}  // namespace
