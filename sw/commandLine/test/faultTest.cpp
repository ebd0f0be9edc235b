#include "commandLine/fault.hpp"

#include <gtest/gtest.h>
#include <sysexits.h>

#include <new>
#include <stdexcept>

namespace {

using namespace Qdx::CommandLine;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

TEST(FaultTest, ReportIsOneLineAndGivesTheStatus) {
    CaptureStderr();
    EXPECT_EQ(report("show", "a.pull: is empty", EX_NOINPUT), EX_NOINPUT);
    EXPECT_EQ(GetCapturedStderr(), "show: a.pull: is empty\n");
}

TEST(FaultTest, ProgramThatEndsByItselfKeepsItsStatusAndIsSilent) {
    CaptureStderr();
    EXPECT_EQ(guarded("show", EX_SOFTWARE, [] { return 7; }), 7);
    EXPECT_EQ(GetCapturedStderr(), "");
}

TEST(FaultTest, WantOfMemoryIsAFaultOfTheMachine) {
    const auto program = []() -> int { throw std::bad_alloc(); };
    CaptureStderr();
    EXPECT_EQ(guarded("show", EX_UNAVAILABLE, program), EX_OSERR);
    EXPECT_EQ(GetCapturedStderr(), "show: not enough memory\n");
}

TEST(FaultTest, OtherExceptionsEndWithTheStatusOfTheProgram) {
    const auto program = []() -> int { throw std::runtime_error("no collector"); };
    CaptureStderr();
    EXPECT_EQ(guarded("show", EX_SOFTWARE, program), EX_SOFTWARE);
    EXPECT_EQ(guarded("show", EX_UNAVAILABLE, program), EX_UNAVAILABLE);
    EXPECT_EQ(GetCapturedStderr(), "show: no collector\nshow: no collector\n");
}

}  // namespace
