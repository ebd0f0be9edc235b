#include "transaction.hpp"

#include <gmock/gmock.h>
#include <sysexits.h>

#include "tessel/commandClient.hpp"

namespace DchFilter {
namespace {

using Tessel::CommandClient::AnswerCutShort;
using Tessel::CommandClient::Unreachable;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

using Words = std::vector<std::string>;

FilterCheck someFilter() {
    return checkFilter(
        readFilterFile("", "limit 65536\n# comment\n  tags  CPU list count 5\nmax count 1 2\n"));
}

// Answers as the collector does; fails the command that begins with the words, if any.
class Collector {
public:
    Collector& failing(const Words& command, Answer failure) {
        failingCommand = command;
        answer = std::move(failure);
        return *this;
    }

    Collector& failing(const Words& command, std::function<void()> failure) {
        failingCommand = command;
        raise = std::move(failure);
        return *this;
    }

    Outcome create() {
        return createFilter(someFilter(), "some.filter",
                            [this](const Words& words) { return take(words); });
    }

    std::vector<Words> commands;

private:
    Answer take(const Words& words) {
        commands.push_back(words);
        const bool fails = !failingCommand.empty() && words.size() >= failingCommand.size() &&
                           std::equal(failingCommand.begin(), failingCommand.end(), words.begin());
        if (fails && raise) {
            raise();
        }
        if (fails) {
            return answer;
        }
        if (words[2] == "create") {
            return {0, "Created transaction: 7\n"};
        }
        return words[2] == "commit" ? Answer{0, "Filter ID is: 11\n"} : Answer{0, ""};
    }

    Words failingCommand;
    Answer answer{};
    std::function<void()> raise;
};

const Words create{"dch", "fs", "create"};
const Words addMax{"dch", "fs", "add", "7", "max"};
const Words commit{"dch", "fs", "commit"};
const Answer full{2, "Reached maximum number of filters.\n"};

TEST(Transaction, TypesTheCommandsOfAnOperator) {
    Collector collector;
    const auto outcome = collector.create();
    EXPECT_EQ(outcome.exitStatus, EX_OK);
    EXPECT_EQ(outcome.message, "Filter ID is: 11");
    EXPECT_THAT(collector.commands,
                ElementsAre(Words{"dch", "fs", "create", "limit", "65536"},
                            Words{"dch", "fs", "add", "7", "tags", "CPU", "list", "count", "5"},
                            Words{"dch", "fs", "add", "7", "max", "count", "1", "2"},
                            Words{"dch", "fs", "commit", "7"}));
}

TEST(Transaction, TellsThatTheTableIsFullFromTheStart) {
    const auto outcome = Collector().failing(create, full).create();
    EXPECT_EQ(outcome.exitStatus, EX_TEMPFAIL);
    EXPECT_EQ(outcome.message,
              "dch fs create: the collector says: Reached maximum number of filters.");
}

TEST(Transaction, TellsTheLineThatIsRefusedAndThatTheTransactionStaysOpen) {
    Collector collector;
    const auto outcome = collector.failing(addMax, {2, "Failed to execute command\n"}).create();
    EXPECT_EQ(outcome.exitStatus, EX_DATAERR);
    EXPECT_THAT(outcome.message,
                HasSubstr("some.filter:4: the collector says: Failed to execute command\n"
                          "transaction 7 stays open with 1 of 2 statements"));
    EXPECT_EQ(collector.commands.size(), 3U);
}

TEST(Transaction, TellsOfATableThatFillsInTheMiddle) {
    const auto adding = Collector().failing(addMax, full).create();
    EXPECT_EQ(adding.exitStatus, EX_TEMPFAIL);
    EXPECT_THAT(adding.message, HasSubstr("transaction 7 stays open with 1 of 2"));
    const auto committing = Collector().failing(commit, full).create();
    EXPECT_EQ(committing.exitStatus, EX_TEMPFAIL);
    EXPECT_THAT(committing.message, HasSubstr("transaction 7 stays open with 2 of 2"));
}

TEST(Transaction, LeavesNothingBehindWhenTheCommitFails) {
    for (const auto& [text, status] :
         std::map<std::string, int>{{"Not enough memory Error\n", EX_CANTCREAT},
                                    {"Maximum number of filters reached\n", EX_TEMPFAIL}}) {
        const auto outcome = Collector().failing(commit, {2, text}).create();
        EXPECT_EQ(outcome.exitStatus, status);
        EXPECT_EQ(outcome.message + '\n', "dch fs commit: the collector says: " + text);
    }
}

TEST(Transaction, TellsThatTheCollectorIsDisabled) {
    const auto outcome =
        Collector()
            .failing(create, {1,
                              "Since data collection is disabled, the functionality for this "
                              "command is disabled.\n"})
            .create();
    EXPECT_EQ(outcome.exitStatus, EX_CONFIG);
    EXPECT_THAT(outcome.message, HasSubstr("data collection is disabled"));
}

TEST(Transaction, TellsThatNobodyKnowsTheCommand) {
    const auto outcome = Collector().failing(create, {127, "dch: no such command\n"}).create();
    EXPECT_EQ(outcome.exitStatus, EX_UNAVAILABLE);
    EXPECT_THAT(outcome.message, EndsWith("dch: no such command"));
}

TEST(Transaction, RefusesAnswersThatItDoesNotUnderstand) {
    for (const auto* text :
         {"", "Hello\n", "Created transaction: \n", "Created transaction: x\n"}) {
        EXPECT_EQ(Collector().failing(create, {0, text}).create().exitStatus, EX_PROTOCOL) << text;
    }
    const auto outcome = Collector().failing(commit, {0, "Hello\n"}).create();
    EXPECT_EQ(outcome.exitStatus, EX_PROTOCOL);
}

TEST(Transaction, TellsThatThereIsNoCollector) {
    const auto nobody = [] { throw Unreachable("no collector answers"); };
    const auto outcome = Collector().failing(create, nobody).create();
    EXPECT_EQ(outcome.exitStatus, EX_UNAVAILABLE);
    EXPECT_EQ(outcome.message, "no collector answers");
}

TEST(Transaction, TellsWhatACollectorThatGoesMayHaveKept) {
    const auto goes = [] { throw AnswerCutShort("the answer ended"); };
    const auto adding = Collector().failing(addMax, goes).create();
    EXPECT_EQ(adding.exitStatus, EX_SOFTWARE);
    EXPECT_THAT(adding.message, HasSubstr("transaction 7 stays open with 1 of 2"));
    const auto committing = Collector().failing(commit, goes).create();
    EXPECT_EQ(committing.exitStatus, EX_SOFTWARE);
    EXPECT_THAT(committing.message, HasSubstr("\"dch filter status\" tells"));
}

}  // namespace
}  // namespace DchFilter
