// One frontend of a run.
#pragma once

#include <atomic>
#include <cstdint>
#include <variant>
#include <vector>

#include "batchFates.hpp"
#include "ledger.hpp"
#include "loadRun.hpp"
#include "qdx/frontend.hpp"

namespace QdxLoad {

struct FrontendOutcome {
    FrontendLedger ledger;
    Qdx::Frontend::Statistics statistics;
    bool handled = false;  // by the collector, all that was added
};

// Used as connect (feed settle)* finish, all on the thread that constructs it. The plan and the
// load must outlive it.
class LoadFrontend {
public:
    // Throws std::runtime_error with one line, as connect() does.
    LoadFrontend(const Plan& wholePlan, const Load& wholeLoad, std::uint32_t frontend);
    LoadFrontend(const LoadFrontend&) = delete;
    LoadFrontend& operator=(const LoadFrontend&) = delete;

    void connect(const std::atomic<bool>& stopped);
    void feed(const std::atomic<bool>& stopped, std::chrono::duration<double> duration);
    // Returns when the collector has handled all that was added; false if it doesn't in time.
    bool settle();
    FrontendOutcome finish();

private:
    using Clock = Qdx::Frontend::Clock;
    using Handle =
        std::variant<Qdx::Frontend::Measurement, Qdx::Frontend::Counter, Qdx::Frontend::Record>;

    struct Turn {
        std::uint64_t series;
        Handle handle;
    };

    Handle makeHandle(const Series& series);
    // What a rate asks for is counted from here.
    struct Start {
        Clock::time_point time;
        std::uint64_t added = 0;
    };

    void addDue(const Start& start);
    void addNext();
    void add(const Turn& turn, std::uint64_t sequence);
    void serveUntil(Clock::time_point end);
    void observe(std::uint64_t boundary);
    bool queueIsFull() const;
    Clock::time_point timeOfNext(const Start& start) const;
    bool awaitHandled() const;
    void requireAgreement(const FrontendLedger& ledger) const;

    const Plan& plan;
    const Load& load;
    const std::uint32_t number;
    BatchFates fates;
    Qdx::Frontend::Connection connection;
    std::vector<Turn> turns;            // a round
    std::vector<unsigned char> record;  // room for the largest
    std::uint64_t added = 0;
    std::uint64_t sequence = 0;  // of the round
    std::size_t nextTurn = 0;
};

}  // namespace QdxLoad
