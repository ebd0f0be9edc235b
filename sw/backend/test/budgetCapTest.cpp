// The budgets hold at every single allocation, whatever is created, fed, pulled and dropped.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <map>
#include <random>
#include <sstream>
#include <stdexcept>

#include "InfoObjectCollections.pb.h"
#include "batch.hpp"
#include "blockLedger.hpp"
#include "frontendMessages.hpp"
#include "memoryFaults.hpp"
#include "parsedStatement.hpp"
#include "quardex.hpp"
#include "traceRecorder.hpp"
#include "unitRoot.hpp"
#include "wholeMetaData.hpp"

namespace Qdx::Backend {
namespace {

using Qdx::Test::Batch;
using Qdx::Test::BlockLedger;
using Qdx::Test::DefaultResourceScope;
using Qdx::Test::TraceRecorder;

constexpr unsigned idsInUse = 8;
constexpr unsigned roomForFilters = 6;
constexpr unsigned objectsOfAKind = 12;
constexpr unsigned contexts = 12;

std::string catalogue() {
    const char* const types[] = {"meas", "counter", "record"};
    std::string xml = R"(<infoObjectList><tags><tag name="A"/><tag name="B"/></tags><objects>)";
    for (unsigned id = 1; id <= 3 * objectsOfAKind; ++id) {
        const auto number = std::to_string(id);
        xml.append("<object id=\"").append(number).append("\" name=\"o:").append(number);
        xml.append("\" type=\"").append(types[id % 3]).append("\"><tags>");
        xml.append(id % 2 == 0 ? "A" : "A B").append("</tags></object>");
    }
    return xml + "</objects></infoObjectList>";
}

// What one filter has taken, as the blocks below the global budget tell it.
struct Account {
    std::optional<unsigned long> limit;
    unsigned long main = 0;
    unsigned long content = 0;
};

// The memory below the global budget. It books every block to the filter and the share that asked
// for it; that shows in their counters once the request is through, so a block is booked at the
// next event.
class BudgetAudit : public BlockLedger {
public:
    explicit BudgetAudit(unsigned long limit) : cap(limit) {}

    // From now on all blocks belong to filters of this collector.
    void follow(const Quardex& audited) { collector = &audited; }

    // A filter may be created that takes the place of one with the same id.
    void expect(FilterId id, std::optional<unsigned long> limit) {
        accounts.try_emplace(id);
        nextLimits[id] = limit;
    }

    // REQUIRES: no request is under way. The first fault ends the auditing.
    void settle() {
        if (testing::Test::HasFailure())
            return;
        if (unbooked != nullptr)
            book();
        unbooked = nullptr;
        for (auto& [id, account] : accounts)
            check(id, account);
        checkTotals();
    }

    // Filters that are gone and owe nothing need no account.
    void closeAccounts() {
        std::erase_if(accounts, [&](const auto& entry) {
            const auto& [id, account] = entry;
            return account.main + account.content == 0 && memoryOf(id) == nullptr;
        });
    }

private:
    enum class Share { Main, Content };

    void allocating(std::size_t bytes) override {
        settle();
        if (bytes > cap - held())
            ADD_FAILURE() << held() << " bytes are out, " << bytes << " more pass a cap of " << cap;
    }

    void allocated(void* block, std::size_t bytes) override {
        unbooked = block;
        unbookedBytes = bytes;
    }

    void deallocating(void* block, std::size_t bytes) override {
        settle();
        const auto owner = owners.find(block);
        if (owner == owners.end())
            return;  // a fault kept it from being booked
        const auto [id, share] = owner->second;
        (share == Share::Main ? accounts.at(id).main : accounts.at(id).content) -= bytes;
        owners.erase(owner);
    }

    FilterMemory* memoryOf(FilterId id) const {
        try {
            return collector->getFilterMemory(id);
        } catch (const std::out_of_range&) {
            return nullptr;
        }
    }

    void book() {
        unsigned takers = 0;
        for (auto& [id, account] : accounts) {
            auto* memory = memoryOf(id);
            if (memory == nullptr)
                continue;
            for (const auto share : {Share::Main, Share::Content}) {
                const bool isMain = share == Share::Main;
                const auto* resource =
                    isMain ? memory->getMainResource() : memory->getContentResource();
                auto& booked = isMain ? account.main : account.content;
                if (resource->getAllocatedSize() != booked + unbookedBytes)
                    continue;
                booked += unbookedBytes;
                owners[unbooked] = {id, share};
                ++takers;
            }
        }
        if (takers != 1)
            ADD_FAILURE() << takers << " filters count a block of " << unbookedBytes << " bytes";
    }

    void check(FilterId id, Account& account) {
        const auto sum = account.main + account.content;
        if (sum == 0)
            account.limit = nextLimits[id];
        auto* memory = memoryOf(id);
        if (memory == nullptr && sum != 0)
            ADD_FAILURE() << "filter " << id << " is gone, " << sum << " of its bytes are not";
        if (memory != nullptr &&
            (memory->getMainResource()->getAllocatedSize() != account.main ||
             memory->getContentResource()->getAllocatedSize() != account.content ||
             (account.limit && memory->getRemainingSize() != *account.limit - sum)))
            ADD_FAILURE() << "filter " << id << " counts other blocks than are out";
        if (account.limit && isBeyond(*account.limit, account.main, account.content))
            ADD_FAILURE() << "filter " << id << " of " << *account.limit << " bytes holds "
                          << account.main << " of main and " << account.content << " of content";
    }

    void checkTotals() {
        unsigned long main = 0;
        unsigned long content = 0;
        for (const auto& [id, account] : accounts) {
            main += account.main;
            content += account.content;
        }
        if (isBeyond(cap, main, content))
            ADD_FAILURE() << "a cap of " << cap << " bytes holds " << main << " of main and "
                          << content << " of content";
        auto* global = collector->getGlobalMemory();
        if (global->getMainResource()->getAllocatedSize() != main ||
            global->getContentResource()->getAllocatedSize() != content ||
            global->getCommonResource()->getAllocatedSize() != held() || main + content != held())
            ADD_FAILURE() << "the global budget counts other blocks than are out";
    }

    static bool isBeyond(unsigned long limit, unsigned long main, unsigned long content) {
        return main > limit * 70 / 100 || content > limit * 99 / 100 || main + content > limit;
    }

    const unsigned long cap;
    const Quardex* collector = nullptr;
    std::map<FilterId, std::optional<unsigned long>> nextLimits;
    std::map<FilterId, Account> accounts;
    std::map<void*, std::pair<FilterId, Share>> owners;
    void* unbooked = nullptr;
    std::size_t unbookedBytes = 0;
};

unsigned long numberFrom(const char* variable, unsigned long otherwise) {
    const char* text = std::getenv(variable);
    return text == nullptr ? otherwise : std::stoul(text);
}

// What a run came by, so that one that never met a limit can't pass.
struct Tally {
    std::size_t steps = 0;
    std::size_t allocations = 0;
    std::size_t filtersRefused = 0;
    std::size_t recordsRefused = 0;
    std::size_t globalRefusals = 0;
    std::size_t filterRefusals = 0;
    double highWater = 0;
};

// One collector with a cap of its own, and everything that can be done to it, at random.
class RandomLife {
public:
    RandomLife(std::mt19937& source, Tally& counts, unsigned long limit)
        : random(source), tally(counts), cap(limit), audit(limit) {
        {
            const DefaultResourceScope scope(&audit);
            collector.allocateGlobalMemory();
        }
        collector.determineMaxNumberOfFilters();
        audit.follow(collector);
        Qdx::Test::sendWholeMetaData(collector);
    }

    ~RandomLife() {
        tally.allocations += audit.allocations();
        tally.highWater = std::max(tally.highWater,
                                   static_cast<double>(audit.maxHeld()) / static_cast<double>(cap));
        auto* global = collector.getGlobalMemory();
        for (const auto* resource :
             {global->getCommonResource(), global->getMainResource(), global->getContentResource()})
            tally.globalRefusals += resource->getNumFailures();
    }

    RandomLife(const RandomLife&) = delete;
    RandomLife& operator=(const RandomLife&) = delete;

    void step() {
        ++tally.steps;
        now += std::chrono::milliseconds(below(100) == 0 ? 100'000 : below(3'000));
        collector.setCurrTime(now);
        act();
        audit.settle();
        audit.closeAccounts();
        TraceRecorder::instance().clear();
    }

private:
    unsigned below(unsigned bound) { return static_cast<unsigned>(random() % bound); }

    void act() {
        const auto dice = below(1000);
        const FilterId id{1 + below(idsInUse)};
        std::ostringstream out;
        if (dice < 800)
            feed();
        else if (dice < 840)
            pull(id, Clear::No);
        else if (dice < 880)
            pull(id, Clear::Yes);
        else if (dice < 900)
            print(id);
        else if (dice < 910)
            collector.enableFilter(id);
        else if (dice < 915)
            collector.disableFilter(id);
        else if (dice < 980)
            create(id);
        else if (dice < 993)
            remove(id);
        else if (dice < 998)
            collector.clearAllFilters(out);
        else
            collector.deleteAllFilters(out);
    }

    // Some keys again and again, others seldom.
    std::string context() {
        const auto number = below(4) == 0 ? below(contexts) : below(3);
        return "rfBranch=" + std::to_string(number) + ",carrierId=123456";
    }

    void feed() {
        Batch batch;
        const auto samples = 1 + below(40);
        for (unsigned i = 0; i < samples; ++i) {
            const auto id = 1 + below(3 * objectsOfAKind);
            const auto name = "o:" + std::to_string(id);
            if (id % 3 == 0)
                batch.measurement(name, static_cast<std::int64_t>(random()), context());
            else if (id % 3 == 1)
                batch.counter(name, below(1000), context());
            else
                batch.record(name, std::vector<unsigned char>(recordSize()), context());
        }
        try {
            collector.handleBeProcessBatchesUreq(batch.message().get());
        } catch (const std::bad_alloc&) {
            ++tally.recordsRefused;  // main memory couldn't hold a record for a moment
        }
    }

    unsigned recordSize() { return below(50) == 0 ? below(20'000) : below(300); }

    void pull(FilterId id, Clear clear) {
        std::string output;
        if (collector.pullFilterData(id, clear, output) == ErrorType::NoError) {
            InfoObjectCollections collections;
            EXPECT_TRUE(collections.ParseFromString(output));
            EXPECT_GT(collections.ByteSizeLong(), 0U);
        }
    }

    void print(FilterId id) {
        std::string output;
        const auto result = collector.printFilterData(id, below(5), output);
        EXPECT_EQ(result == ErrorType::NoError, !output.empty());
    }

    unsigned long limit() {
        return below(3) == 0 ? 0 : 500 + random() % std::max(1000UL, cap * 6 / 5);
    }

    std::vector<CaptureStatement> statements() {
        static const std::vector<CaptureStatement> all = Qdx::Test::parsedAll(
            {"list count 20", "list duration 30", "tags B list count 500", "min count 1 10 100",
             "tags A max count 3 30 300", "average count 2 100", "sum count 1 7",
             "min duration 2 20", "tags B max duration 1 100", "average duration 5 50",
             "sum duration 1 60", "context rfBranch 1 rfBranch 2 list count 4",
             "tags A B list duration 300 sum count 2 20 max count 5 100"});
        std::vector<CaptureStatement> chosen;
        for (auto count = below(5); count > 0; --count)
            chosen.push_back(all[below(static_cast<unsigned>(all.size()))]);
        return chosen;
    }

    void create(FilterId id) {
        countRefusals(id);
        const auto bytes = limit();
        if (!collector.hasReachedMaxNumberOfFilters())
            audit.expect(id, bytes == 0 ? std::nullopt : std::optional(bytes));
        const std::string name(below(60), 'f');
        const auto result = collector.createFilter(id, name, statements(), bytes,
                                                   below(8) == 0 ? Enabled::No : Enabled::Yes,
                                                   below(6) == 0 ? Static::Yes : Static::No,
                                                   below(2) == 0 ? Printable::Yes : Printable::No);
        if (result == ErrorType::NotEnoughMemory)
            ++tally.filtersRefused;
    }

    void remove(FilterId id) {
        countRefusals(id);
        std::ostringstream out;
        collector.deleteFilter(id, out);
    }

    void countRefusals(FilterId id) {
        if (!collector.findFilter(std::to_string(static_cast<std::int64_t>(id))))
            return;
        auto* memory = collector.getFilterMemory(id);
        tally.filterRefusals += memory->getMainResource()->getNumFailures() +
                                memory->getContentResource()->getNumFailures();
    }

    std::mt19937& random;
    Tally& tally;
    const unsigned long cap;
    BudgetAudit audit;
    Quardex collector;
    time_point now{};
};

// Runs at least the given steps, and goes on for QDX_BUDGET_SECONDS. QDX_BUDGET_SEED repeats a run.
TEST(BudgetCap, HoldsAtEveryAllocationOfARandomLife) {
    constexpr std::size_t stepsOfALife = 400;
    constexpr std::size_t minimumSteps = 4000;
    constexpr unsigned long caps[] = {64 << 10, 128 << 10, 256 << 10, 1 << 20, 4 << 20};
    const auto seed = numberFrom("QDX_BUDGET_SEED", 1);
    const auto end = std::chrono::steady_clock::now() +
                     std::chrono::seconds(numberFrom("QDX_BUDGET_SECONDS", 0));
    SCOPED_TRACE("QDX_BUDGET_SEED=" + std::to_string(seed));

    const Qdx::Test::UnitRoot root;
    std::mt19937 random(static_cast<unsigned>(seed));
    Tally tally;
    while (!HasFailure() &&
           (tally.steps < minimumSteps || std::chrono::steady_clock::now() < end)) {
        const auto cap = caps[random() % std::size(caps)];
        root.writeCatalogue(catalogue(),
                            "globalMemoryLimit = " + std::to_string(cap) +
                                "\nmaxFilterLimit = " + std::to_string(roomForFilters) + "\n");
        RandomLife life(random, tally, cap);
        for (std::size_t step = 0; step < stepsOfALife && !HasFailure(); ++step) {
            life.step();
        }
    }

    std::cout << tally.steps << " steps, " << tally.allocations << " allocations checked, "
              << tally.highWater * 100 << " % of a cap at most; refused: " << tally.globalRefusals
              << " by global limits, " << tally.filterRefusals << " by shares of filters, "
              << tally.filtersRefused << " filters, " << tally.recordsRefused << " records\n";
    EXPECT_GT(tally.highWater, 0.9);
    EXPECT_GT(tally.globalRefusals, 0U);
    EXPECT_GT(tally.filterRefusals, 0U);
    EXPECT_GT(tally.filtersRefused, 0U);
    EXPECT_GT(tally.recordsRefused, 0U);
}

}  // namespace
}  // namespace Qdx::Backend
