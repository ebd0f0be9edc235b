#include "exceptionGuard.hpp"

#include <gmock/gmock.h>

#include <memory>
#include <new>
#include <sstream>
#include <stdexcept>

#include "heapFault.hpp"
#include "traceRecorder.hpp"

namespace Qdx::Backend {

namespace {

using Qdx::Test::HeapFault;
using Qdx::Test::TraceRecorder;
using testing::ElementsAre;
using testing::IsEmpty;
using Level = Trace::Level;

class ExceptionGuardTest : public testing::Test {
protected:
    ExceptionGuardTest() { trace.clear(); }

    TraceRecorder& trace = TraceRecorder::instance();
};

TEST_F(ExceptionGuardTest, PassesArgumentsAndResultThrough) {
    const std::function<int(int, const char* const*, std::ostream&)> command =
        [](int count, const char* const* words, std::ostream& out) {
            out << words[0];
            return count + 20;
        };
    const char* const words[] = {"dch"};
    std::ostringstream out;
    EXPECT_EQ(exceptionGuard(command)(1, words, out), 21);
    EXPECT_EQ(out.str(), "dch");
    EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(ExceptionGuardTest, TracesTheTextOfAnException) {
    const std::function<void()> body = [] { throw std::runtime_error("no luck"); };
    exceptionGuard(body)();
    EXPECT_THAT(trace.texts(Level::Error), ElementsAre("Caught exception: no luck"));
    EXPECT_EQ(trace.lines().size(), 1U);
}

TEST_F(ExceptionGuardTest, TracesAnythingElseThatIsThrownAsUnknown) {
    const std::function<void()> body = [] { throw 7; };
    exceptionGuard(body)();
    EXPECT_THAT(trace.texts(Level::Error), ElementsAre("Caught unknown exception"));
}

TEST_F(ExceptionGuardTest, CommandThatThrowsGivesZero) {
    const std::function<int(int)> standard = [](int) -> int { throw std::logic_error("bug"); };
    const std::function<int(int)> other = [](int) -> int { throw "bug"; };
    EXPECT_EQ(exceptionGuard(standard)(5), 0);
    EXPECT_EQ(exceptionGuard(other)(5), 0);
}

TEST_F(ExceptionGuardTest, EmptyFunctionCountsAsAFailedCall) {
    exceptionGuard(std::function<void()>())();
    EXPECT_THAT(trace.texts(Level::Error),
                ElementsAre(std::string("Caught exception: ") + std::bad_function_call().what()));
}

TEST_F(ExceptionGuardTest, NextMessageIsHandledNormally) {
    int handled = 0;
    const std::function<void(const std::shared_ptr<int>&)> handler =
        [&handled](const std::shared_ptr<int>& message) {
            if (!message) {
                throw std::runtime_error("null message");
            }
            handled += *message;
        };
    const auto guarded = exceptionGuard(handler);
    guarded(nullptr);
    guarded(std::make_shared<int>(3));
    EXPECT_EQ(handled, 3);
    EXPECT_THAT(trace.texts(Level::Error), ElementsAre("Caught exception: null message"));
}

TEST_F(ExceptionGuardTest, HoldsACopyOfTheFunction) {
    std::function<int()> function = [] { return 1; };
    const auto guarded = exceptionGuard(function);
    function = [] { return 2; };
    EXPECT_EQ(guarded(), 1);
}

TEST_F(ExceptionGuardTest, CatchesInSilenceWhenErrorIsOff) {
    trace.turnOff(Level::Error);
    const std::function<int()> body = []() -> int { throw std::runtime_error("no luck"); };
    EXPECT_EQ(exceptionGuard(body)(), 0);
    EXPECT_THAT(trace.lines(), IsEmpty());
}

// Calls a guarded function with allocation 0, 1, 2, ... of the call failing until none does; gives
// the number of failures. Each call must end in the value-initialised result.
std::size_t sweepGuarded(const std::function<int()>& body) {
    const auto guarded = exceptionGuard(body);
    for (std::size_t failing = 0;; ++failing) {
        int result = -1;
        bool failed = false;
        {
            const HeapFault fault(failing);
            try {
                result = guarded();
            } catch (...) {
                result = -2;
            }
            failed = fault.hasFailed();
        }
        EXPECT_EQ(result, 0) << "allocation " << failing;
        if (!failed || testing::Test::HasFailure()) {
            return failing;
        }
    }
}

// The line of the last call, which nothing failed, is whole; those before are cut or missing.
TEST_F(ExceptionGuardTest, LetsNothingOutWhenTheHeapIsOutWhileItTraces) {
    EXPECT_GT(sweepGuarded([]() -> int { throw std::bad_alloc(); }), 0U);
    ASSERT_THAT(trace.texts(Level::Error), testing::Not(IsEmpty()));
    EXPECT_EQ(trace.texts(Level::Error).back(),
              std::string("Caught exception: ") + std::bad_alloc().what());

    const std::string text(100, 'x');
    EXPECT_GT(sweepGuarded([&]() -> int { throw std::runtime_error(text); }), 1U);
    EXPECT_EQ(trace.texts(Level::Error).back(), "Caught exception: " + text);

    EXPECT_GT(sweepGuarded([]() -> int { throw 7; }), 0U);
    EXPECT_EQ(trace.texts(Level::Error).back(), "Caught unknown exception");
}

}  // namespace

}  // namespace Qdx::Backend
