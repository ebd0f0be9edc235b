// What the shell is told of each end of a procedure.
#include "exitStatus.hpp"

#include <gtest/gtest.h>
#include <sysexits.h>

namespace {

using namespace Qfci;
using Qdx::Control::Outcome;

TEST(ExitStatus, TellsCausesApart) {
    EXPECT_EQ(exitStatusOf(Outcome::Done), 0);
    EXPECT_EQ(exitStatusOf(Outcome::NoSuchFilter), EX_NOINPUT);
    EXPECT_EQ(exitStatusOf(Outcome::FilterDisabled), EX_NOINPUT);
    EXPECT_EQ(exitStatusOf(Outcome::NoCollector), EX_UNAVAILABLE);
    EXPECT_EQ(exitStatusOf(Outcome::CollectorGone), EX_UNAVAILABLE);
    EXPECT_EQ(exitStatusOf(Outcome::SystemFailure), EX_OSERR);
    EXPECT_EQ(exitStatusOf(Outcome::Stopped), EX_IOERR);
    EXPECT_EQ(exitStatusOf(Outcome::TooLarge), EX_DATAERR);
    EXPECT_EQ(exitStatusOf(Outcome::Misuse), EX_USAGE);
}

TEST(ExitStatus, WhatTimeMayMendIsATemporaryFailure) {
    for (const auto outcome : {Outcome::TimedOut, Outcome::TooManyConnections, Outcome::NoDataYet,
                               Outcome::MetaDataNotSet, Outcome::OutOfMemory}) {
        EXPECT_EQ(exitStatusOf(outcome), EX_TEMPFAIL) << nameOf(outcome);
    }
}

TEST(ExitStatus, AnotherProtocolIsAProtocolFailure) {
    for (const auto outcome :
         {Outcome::ProtocolError, Outcome::NoCommonRevision, Outcome::ConnectionRejected,
          Outcome::CapabilitiesRejected, Outcome::PullRejected}) {
        EXPECT_EQ(exitStatusOf(outcome), EX_PROTOCOL) << nameOf(outcome);
    }
}

TEST(ExitStatus, ReportIsOneLineAndNoneWhenDone) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(report(Qdx::Control::Result{}), 0);
    EXPECT_EQ(report({Outcome::CollectorGone, "it went"}), EX_UNAVAILABLE);
    EXPECT_EQ(report({Outcome::NoCollector, "there is none"}), EX_UNAVAILABLE);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "qfci: it went\n"
              "qfci: there is none; start qdxd, or set UNIT_ROOT to the root of its unit\n");
}

}  // namespace
