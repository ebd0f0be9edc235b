// A ledger reads as it was written, or not at all.
#include "ledger.hpp"

#include <gmock/gmock.h>

#include <sstream>

namespace {

using namespace QdxLoad;

const char* const text =
    "qdxload ledger 2\n"
    "plan 2 2 5 77 64 8 record,counter\n"
    "frontend 0 added 30 last-connection 2\n"
    "sent 0 10 connection 1\n"
    "dropped 10 12 slowCollector at 20\n"
    "sent 12 25 connection 2\n"
    "waiting 25 30\n"
    "frontend 1 added 0 last-connection 0\n"
    "end\n";

Ledger ledger() {
    return {.plan = {.frontends = 2,
                     .objects = 2,
                     .contexts = 5,
                     .kinds = {Kind::Record, Kind::Counter},
                     .seed = 77,
                     .recordSize = 64,
                     .recordSpread = 8},
            .frontends = {{.added = 30,
                           .lastConnection = 2,
                           .ranges = {{0, 10, Fate::Sent, 1},
                                      {10, 12, Fate::Dropped, 20, Cause::SlowCollector},
                                      {12, 25, Fate::Sent, 2},
                                      {25, 30, Fate::Waiting}}},
                          {}}};
}

Ledger read(const std::string& input) {
    std::istringstream stream(input);
    return readLedger(stream, "run.ledger");
}

std::string faultOf(const std::string& input) {
    try {
        read(input);
    } catch (const BadLedger& error) {
        return error.what();
    }
    return "none";
}

TEST(LedgerTest, IsALineForEachRange) {
    std::ostringstream out;
    writeLedger(out, ledger());
    EXPECT_EQ(out.str(), text);
}

TEST(LedgerTest, ReadsAsItWasWritten) {
    EXPECT_EQ(read(text), ledger());
}

TEST(LedgerTest, EveryCauseReadsAsItWasWritten) {
    for (std::size_t cause = 0; cause < causeCount; ++cause) {
        auto written = ledger();
        written.frontends[0].ranges[1].cause = static_cast<Cause>(cause);
        std::ostringstream out;
        writeLedger(out, written);
        EXPECT_EQ(read(out.str()), written);
    }
}

TEST(LedgerTest, CutAnywhereItIsRefused) {
    const std::string whole = text;
    for (std::size_t size = 0; size + 1 < whole.size(); ++size) {
        EXPECT_NE(faultOf(whole.substr(0, size)), "none") << size;
    }
}

struct BadText {
    const char* good;
    const char* bad;
    const char* fault;
};

class BadLedgerTest : public testing::TestWithParam<BadText> {};

TEST_P(BadLedgerTest, IsRefusedWithTheLine) {
    std::string input = text;
    const std::string good = GetParam().good;
    input.replace(input.find(good), good.size(), GetParam().bad);
    EXPECT_EQ(faultOf(input), std::string("run.ledger:") + GetParam().fault);
}

INSTANTIATE_TEST_SUITE_P(
    Faults, BadLedgerTest,
    testing::Values(BadText{"ledger 2", "ledger 1", "1: not a ledger of qdxload"},
                    BadText{"plan 2", "plan 65", "2: 65 frontends; from 1 to 64 are possible"},
                    BadText{"plan 2", "plan -2", "2: a number expected"},
                    BadText{"plan 2", "plan 4294967297", "2: a number expected"},
                    BadText{"record,counter", "record,quantity", "2: \"quantity\" is no kind"},
                    BadText{"record,counter", "record,counter 5", "2: the line should end earlier"},
                    BadText{"frontend 0", "frontend 1", "3: frontend 0 expected"},
                    BadText{"sent 0 10", "sent 1 10", "4: a range from 0 expected"},
                    BadText{"sent 0 10", "sent 0 0", "4: a range from 0 expected"},
                    BadText{"sent 12 25", "sent 12 31", "6: a range from 12 expected"},
                    BadText{"sent 12 25", "lent 12 25",
                            "6: \"sent\", \"dropped\" or \"waiting\" expected"},
                    BadText{"connection 1", "connection x", "4: a number expected"},
                    BadText{"slowCollector", "sloth", "5: \"sloth\" is no cause"},
                    BadText{"at 20", "at 11", "5: dropped before it was there"},
                    BadText{"\nend", "\nfin", "9: \"end\" expected"}));

}  // namespace
