#include "tessel/commandRegistry.hpp"

#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <thread>

#include "support/await.hpp"
#include "support/typing.hpp"
#include "support/unitRoot.hpp"
#include "tessel/commandServer.hpp"
#include "tessel/host.hpp"

namespace {

using namespace TestSupport;
using Tessel::Host::V1::CommandServer;
using testing::Each;

class CommandRegistryTest : public testing::Test {
protected:
    CommandRegistryTest() { server->serve(); }

    void TearDown() override {
        server.reset();
        EXPECT_TRUE(Tessel::Host::V1::Host().finish(deadline));
    }

    const UnitRoot unit;
    std::unique_ptr<CommandServer> server = std::make_unique<CommandServer>(nullptr);
};

// Registers on an active object.
int registerOn(ActiveObjectIf& object, const std::string& word,
               const Tessel::CommandRegistry::V1::CommandRegistryIf::Command& command) {
    return on(object, [=] { return registerCommand(word, command); });
}

TEST_F(CommandRegistryTest, GivesTheCommandItsWordsAndTheClientItsOutput) {
    EXPECT_EQ(registerCommand("echo", echo), 0);
    EXPECT_EQ(type({"echo", "a b", "", "c"}), (Answer{0, "echo|a b||c|", ""}));
}

TEST_F(CommandRegistryTest, GivesTheClientTheResultAsExitStatus) {
    registerCommand("fail", [](const auto&, std::ostream& out) {
        out << "no";
        return 2;
    });
    registerCommand("negative", [](const auto&, std::ostream&) { return -1; });
    EXPECT_EQ(type({"fail"}), (Answer{2, "no", ""}));
    EXPECT_EQ(type({"negative"}), (Answer{-1, "", ""}));
}

TEST_F(CommandRegistryTest, RunsACommandOnTheActiveObjectThatRegisteredIt) {
    std::promise<std::thread::id> ran;
    const auto object = makeActiveObject();
    registerOn(*object, "where", [&](const auto&, std::ostream&) {
        ran.set_value(std::this_thread::get_id());
        return 0;
    });
    EXPECT_EQ(type({"where"}).status, 0);
    EXPECT_EQ(await(ran.get_future()), on(*object, [] { return std::this_thread::get_id(); }));
}

TEST_F(CommandRegistryTest, RunsACommandOfAThreadWithoutAnActiveObjectOnAThreadOfItsOwn) {
    std::promise<std::thread::id> ran;
    registerCommand("where", [&](const auto&, std::ostream&) {
        ran.set_value(std::this_thread::get_id());
        return 0;
    });
    EXPECT_EQ(type({"where"}).status, 0);
    EXPECT_NE(await(ran.get_future()), std::this_thread::get_id());
}

TEST_F(CommandRegistryTest, RunsTheCommandsOfAnActiveObjectOneAtATime) {
    std::atomic<int> inside = 0;
    std::atomic<bool> together = false;
    const auto object = makeActiveObject();
    registerOn(*object, "alone", [&](const auto&, std::ostream& out) {
        together = together || ++inside > 1;
        out << std::string(100000, 'x') << std::flush;
        --inside;
        return 0;
    });
    Record<int> statuses;
    std::array<std::thread, 8> clients;
    for (auto& client : clients) {
        client = std::thread([&] { statuses.add(type({"alone"}).status); });
    }
    for (auto& client : clients) {
        client.join();
    }
    EXPECT_THAT(statuses.await(8), Each(0));
    EXPECT_FALSE(together);
}

TEST_F(CommandRegistryTest, RunsACommandOfOneActiveObjectWhileThatOfAnotherIsBusy) {
    Event otherRan;
    const auto busy = makeActiveObject();
    const auto free = makeActiveObject();
    registerOn(*busy, "busy", [&](const auto&, std::ostream& out) {
        out << std::flush;
        otherRan.await();
        return 0;
    });
    registerOn(*free, "free", [&](const auto&, std::ostream&) {
        otherRan.happen();
        return 0;
    });
    std::thread client([] { EXPECT_EQ(type({"busy"}).status, 0); });
    EXPECT_EQ(type({"free"}).status, 0);
    client.join();
}

TEST_F(CommandRegistryTest, ReplacesAWordThatIsRegisteredAgain) {
    registerCommand("word", [](const auto&, std::ostream&) { return 1; });
    EXPECT_EQ(registerCommand("word", [](const auto&, std::ostream&) { return 2; }), 0);
    EXPECT_EQ(type({"word"}).status, 2);
}

TEST_F(CommandRegistryTest, KeepsAHiddenWordOutOfTheListing) {
    registerCommand("seen", echo);
    registerCommand("hidden", echo, true);
    registerCommand("also", echo);
    Answer listing;
    EXPECT_EQ(Tessel::CommandClient::list(into(listing)), 0);
    EXPECT_EQ(listing.output, "also\nseen\n");
    EXPECT_EQ(type({"hidden"}).output, "hidden|");
}

TEST_F(CommandRegistryTest, RefusesAnEmptyWordAndAnEmptyCommand) {
    EXPECT_NE(registerCommand("", echo), 0);
    EXPECT_NE(registerCommand("word", nullptr), 0);
    EXPECT_EQ(type({"word"}).status, 127);
}

TEST_F(CommandRegistryTest, AnswersAnUnknownWordWithOneLineAnd127) {
    EXPECT_EQ(type({"nonsense", "x"}), (Answer{127, "", "nonsense: no such command\n"}));
}

TEST_F(CommandRegistryTest, SaysThatTheActiveObjectOfACommandIsGone) {
    auto object = makeActiveObject();
    registerOn(*object, "gone", echo);
    object.reset();
    EXPECT_EQ(type({"gone"}), (Answer{69, "", "the command is not served any more\n"}));
}

TEST_F(CommandRegistryTest, AnswersACommandThatComesWhileItsActiveObjectEnds) {
    Event released;
    Event mayEnd;
    auto object = makeActiveObject();
    registerOn(*object, "second", echo);
    on(*object, [&] {
        return registerCommand("first", [&](const auto&, std::ostream&) {
            object.reset();
            released.happen();
            mayEnd.await();
            return 0;
        });
    });
    std::thread first([] { EXPECT_EQ(type({"first"}).status, 0); });
    released.await();
    Record<Answer> answers;
    std::thread second([&] { answers.add(type({"second"})); });
    mayEnd.happen();
    first.join();
    second.join();
    EXPECT_EQ(answers.get().front(), (Answer{69, "", "the command is not served any more\n"}));
}

TEST_F(CommandRegistryTest, AnswersACommandThatThrowsWithOneLineAnd70) {
    registerCommand("throw", [](const auto&, std::ostream& out) -> int {
        out << "before";
        throw std::runtime_error("oops");
    });
    registerCommand("odd", [](const auto&, std::ostream&) -> int { throw 5; });
    EXPECT_EQ(type({"throw"}), (Answer{70, "before", "throw: oops\n"}));
    EXPECT_EQ(type({"odd"}), (Answer{70, "", "odd: unknown exception\n"}));
}

TEST_F(CommandRegistryTest, StreamsOutputWhileTheCommandRuns) {
    Event seen;
    registerCommand("stream", [&](const auto&, std::ostream& out) {
        out << "first" << std::endl;
        seen.await();
        out << "second";
        return 0;
    });
    Answer answer;
    const auto sinks = into(answer);
    const auto output = [&](std::string_view bytes) {
        sinks.output(bytes);
        seen.happen();
    };
    EXPECT_EQ(Tessel::CommandClient::run({"stream"}, {output, sinks.error}), 0);
    EXPECT_EQ(answer.output, "first\nsecond");
}

TEST_F(CommandRegistryTest, SendsAFullBufferWithoutAFlush) {
    Event seen;
    registerCommand("stream", [&](const auto&, std::ostream& out) {
        for (int i = 0; i < 100000; ++i) {
            out << 'x';
        }
        seen.await();
        return 0;
    });
    std::size_t size = 0;
    const auto output = [&](std::string_view bytes) {
        size += bytes.size();
        seen.happen();
    };
    EXPECT_EQ(Tessel::CommandClient::run({"stream"}, {output, nullptr}), 0);
    EXPECT_EQ(size, 100000U);
}

TEST_F(CommandRegistryTest, CarriesFiftyMegabytesWhole) {
    std::string text;
    text.resize(50000000);
    for (std::size_t i = 0; i < text.size(); ++i) {
        text[i] = static_cast<char>('a' + i % 23);
    }
    registerCommand("pull", [&](const auto&, std::ostream& out) {
        out << "<" << text << ">\n" << std::flush;
        return 0;
    });
    const auto answer = type({"pull"});
    EXPECT_EQ(answer.status, 0);
    EXPECT_TRUE(answer.output == "<" + text + ">\n");
}

TEST_F(CommandRegistryTest, KeepsTheOrderOfSmallAndLargePieces) {
    std::string expected;
    for (std::size_t i = 0; i < 200; ++i) {
        expected += std::string(i * i, static_cast<char>('a' + i % 26)) + '.';
    }
    registerCommand("pieces", [&](const auto&, std::ostream& out) {
        for (std::size_t i = 0; i < 200; ++i) {
            out << std::string(i * i, static_cast<char>('a' + i % 26)) << '.';
        }
        return 0;
    });
    EXPECT_TRUE(type({"pieces"}).output == expected);
}

TEST_F(CommandRegistryTest, TakesALineOf4096Characters) {
    registerCommand("size", [](const auto& words, std::ostream& out) {
        out << words[1].size();
        return 0;
    });
    EXPECT_EQ(type({"size", std::string(4096 - 5, 'x')}), (Answer{0, "4091", ""}));
}

TEST_F(CommandRegistryTest, RefusesALongerLine) {
    registerCommand("size", echo);
    const Answer refused{64, "", "the command line is longer than 4096 characters\n"};
    EXPECT_EQ(type({"size", std::string(4096 - 4, 'x')}), refused);
    EXPECT_EQ(type({"size", std::string(2000000, 'x')}), refused);
}

TEST_F(CommandRegistryTest, CountsTheBlankOfAnEmptyWord) {
    registerCommand("w", [](const auto& words, std::ostream& out) {
        out << words.size();
        return 0;
    });
    std::vector<std::string> words(4096, "");
    words[0] = "w";
    EXPECT_EQ(type(words), (Answer{0, "4096", ""}));
    words.emplace_back("");
    EXPECT_EQ(type(words).status, 64);
}

// --- Completion --------------------------------------------------------------------------------

// Values that tell of which parameter they are.
std::vector<std::string> twoValues(const std::string& parameter) {
    return {parameter + "1", parameter + "2"};
}

TEST_F(CommandRegistryTest, TellsTheValuesOfAParameterOnePerLine) {
    registerCommand("word", echo);
    EXPECT_EQ(registerCompleter("word", twoValues), 0);
    EXPECT_EQ(complete("word", "id"), (Answer{0, "id1\nid2\n", ""}));
}

TEST_F(CommandRegistryTest, AsksTheCompleterOnTheActiveObjectOfItsCommand) {
    std::promise<std::thread::id> asked;
    const auto object = makeActiveObject();
    registerOn(*object, "word", echo);
    registerCompleter("word", [&](const auto&) -> std::vector<std::string> {
        asked.set_value(std::this_thread::get_id());
        return {};
    });
    EXPECT_EQ(complete("word", "id"), (Answer{0, "", ""}));
    EXPECT_EQ(await(asked.get_future()), on(*object, [] { return std::this_thread::get_id(); }));
}

TEST_F(CommandRegistryTest, CompletesNothingForACommandWithoutACompleter) {
    registerCommand("word", echo);
    EXPECT_EQ(complete("word", "id"), (Answer{0, "", ""}));
}

TEST_F(CommandRegistryTest, CompletesAHiddenCommandToo) {
    registerCommand("word", echo, true);
    registerCompleter("word", twoValues);
    EXPECT_EQ(complete("word", "id").output, "id1\nid2\n");
}

TEST_F(CommandRegistryTest, ReplacesACompleterThatIsRegisteredAgain) {
    registerCommand("word", echo);
    registerCompleter("word", [](const auto&) { return std::vector<std::string>{"old"}; });
    EXPECT_EQ(registerCompleter("word", twoValues), 0);
    EXPECT_EQ(complete("word", "id").output, "id1\nid2\n");
}

TEST_F(CommandRegistryTest, ForgetsTheCompleterOfAWordThatIsRegisteredAgain) {
    registerCommand("word", echo);
    registerCompleter("word", twoValues);
    registerCommand("word", echo);
    EXPECT_EQ(complete("word", "id").output, "");
}

TEST_F(CommandRegistryTest, ForgetsACompleterForAnEmptyOne) {
    registerCommand("word", echo);
    registerCompleter("word", twoValues);
    EXPECT_EQ(registerCompleter("word", nullptr), 0);
    EXPECT_EQ(complete("word", "id"), (Answer{0, "", ""}));
}

TEST_F(CommandRegistryTest, RefusesTheCompleterOfAWordThatIsNoCommand) {
    EXPECT_NE(registerCompleter("nonsense", twoValues), 0);
    EXPECT_EQ(complete("nonsense", "id"), (Answer{127, "", "nonsense: no such command\n"}));
}

TEST_F(CommandRegistryTest, AnswersACompleterThatThrowsWithOneLineAnd70) {
    registerCommand("word", echo);
    registerCompleter(
        "word", [](const auto&) -> std::vector<std::string> { throw std::runtime_error("oops"); });
    EXPECT_EQ(complete("word", "id"), (Answer{70, "", "word: oops\n"}));
}

TEST_F(CommandRegistryTest, SaysThatTheActiveObjectOfACompleterIsGone) {
    auto object = makeActiveObject();
    registerOn(*object, "gone", echo);
    registerCompleter("gone", twoValues);
    object.reset();
    EXPECT_EQ(complete("gone", "id"), (Answer{69, "", "the command is not served any more\n"}));
}

}  // namespace
