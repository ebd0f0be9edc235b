// What mailboxes leave in the file system: who may see it, and what becomes of it after a crash.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <barrier>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <list>

#include "ozo.h"
#include "ozoTestSupport.hpp"

namespace {

using namespace OzoTest;

class Files : public ::testing::Test {
protected:
    void TearDown() override { ozo_delete_mailbox(own); }

    // After children have been forked.
    bool create(const char* name) {
        own = ozo_create_mailbox(name, 0);
        return own != OZO_NO_MAILBOX;
    }

    void leaveBehind(const char* name, const char* alias) {
        Child victim([name, alias](const Child::Line& line) {
            const std::uint32_t id = ozo_create_mailbox(name, 0);
            ozo_add_name(id, alias);
            line.tell(id);
            line.awaitGo();
        });
        leftover = victim.hear().value_or(OZO_NO_MAILBOX);
        victim.kill();
    }

    static mode_t modeOf(const std::string& path) {
        struct stat status {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
        return status.st_mode & 07777;
    }

    TemporaryUnit unit;
    std::uint32_t own = OZO_NO_MAILBOX;
    std::uint32_t leftover = OZO_NO_MAILBOX;
};

TEST_F(Files, GoWithTheMailbox) {
    ASSERT_TRUE(create("Name"));
    ozo_add_name(own, "Alias");
    EXPECT_EQ(unit.filesIn("mbox"), 1U);
    EXPECT_EQ(unit.filesIn("name"), 2U);
    EXPECT_EQ(unit.filesIn("id"), 1U);
    ozo_delete_mailbox(own);
    for (const char* folder : {"mbox", "name", "id"})
        EXPECT_EQ(unit.filesIn(folder), 0U) << folder;
}

TEST_F(Files, GoWithTheThread) {
    { const MailboxThread guest("Guest"); }
    for (const char* folder : {"mbox", "name", "id"})
        EXPECT_EQ(unit.filesIn(folder), 0U) << folder;
}

TEST_F(Files, StayInTheUnitTheyWereMadeIn) {
    ASSERT_TRUE(create("Name"));
    {
        const TemporaryUnit another;
        EXPECT_EQ(ozo_add_name(own, "Alias"), 0);
        ozo_delete_mailbox(own);
    }
    EXPECT_EQ(unit.filesIn("mbox"), 0U);
    EXPECT_EQ(unit.filesIn("name"), 0U);
}

TEST_F(Files, OfTwoUnitsNeverMeet) {
    const MailboxThread here("Name");
    const TemporaryUnit another;
    EXPECT_EQ(ozo_locate("Name"), OZO_NO_MAILBOX);
    const MailboxThread there("Name");
    EXPECT_EQ(ozo_locate("Name"), there.id());
    unit.use();
    EXPECT_EQ(ozo_locate("Name"), here.id());
}

TEST_F(Files, OfSeveralUnitsOneAfterAnother) {
    for (int round = 0; round < 3; ++round) {
        const TemporaryUnit another;
        ASSERT_TRUE(create("Name"));
        EXPECT_EQ(ozo_locate("Name"), own);
        EXPECT_EQ(ozo_delete_mailbox(own), 0);
    }
}

class FilesUnderUmask : public Files, public ::testing::WithParamInterface<mode_t> {};

TEST_P(FilesUnderUmask, AreOpenToTheGroupAndNobodyElse) {
    const mode_t before = ::umask(GetParam());
    const bool created = create("Name");
    ::umask(before);
    ASSERT_TRUE(created);
    for (const char* folder : {"", "mbox", "name", "id"})
        EXPECT_EQ(modeOf(unit.folder(folder)), mode_t{0750}) << folder;
    EXPECT_EQ(modeOf(unit.socketFile(own)), mode_t{0660});
}

INSTANTIATE_TEST_SUITE_P(Umasks, FilesUnderUmask, ::testing::Values(0, 022, 077));

TEST_F(Files, OfFoldersThatExistKeepTheirMode) {
    std::filesystem::create_directories(unit.folder("mbox"));
    ::chmod(unit.folder("mbox").c_str(), 0770);
    ASSERT_TRUE(create("Name"));
    EXPECT_EQ(modeOf(unit.folder("mbox")), mode_t{0770});
}

TEST_F(Files, MayLieUnderARootLongerThanASocketAddress) {
    unit.lengthenRoot(400);
    ASSERT_TRUE(create("Name"));
    MailboxThread other("Other");
    EXPECT_EQ(ozo_locate("Other"), other.id());
    sendText(other.id(), 1, "far");
    EXPECT_EQ(other.run([] { return textOf(receive()); }), "far");
    EXPECT_EQ(modeOf(unit.socketFile(own)), mode_t{0660});
    EXPECT_EQ(ozo_create_mailbox("Other", 0), OZO_NO_MAILBOX);
}

TEST_F(Files, CannotBeMadeWithoutARoot) {
    ::setenv("UNIT_ROOT", (unit.root() + "/missing").c_str(), 1);
    EXPECT_FALSE(create("Name"));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(ozo_locate("Name"), OZO_NO_MAILBOX);
}

TEST_F(Files, CannotBeMadeWhereAFolderIsNone) {
    std::ofstream(unit.root() + "/run") << "a file";
    EXPECT_FALSE(create("Name"));
    EXPECT_EQ(errno, ENOTDIR);
}

TEST_F(Files, ThatAreNoLinksToMailboxesAreLeftAlone) {
    ASSERT_TRUE(create("First"));
    ozo_delete_mailbox(own);
    std::ofstream(unit.folder("name/Name")) << "not ours";
    EXPECT_FALSE(create("Name"));
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(ozo_locate("Name"), OZO_NO_MAILBOX);
    EXPECT_TRUE(std::filesystem::exists(unit.folder("name/Name")));
    EXPECT_EQ(unit.filesIn("mbox"), 0U);
}

TEST_F(Files, OfACrashAreKnownAsDead) {
    leaveBehind("Name", "Alias");
    EXPECT_TRUE(std::filesystem::exists(unit.socketFile(leftover)));
    EXPECT_EQ(ozo_locate("Name"), OZO_NO_MAILBOX);
    EXPECT_EQ(ozo_locate("Alias"), OZO_NO_MAILBOX);
}

TEST_F(Files, OfACrashGiveWayToTheNextOwnerOfTheName) {
    leaveBehind("Name", "Alias");
    ASSERT_TRUE(create("Name"));
    EXPECT_EQ(ozo_add_name(own, "Alias"), 0);
    EXPECT_EQ(ozo_locate("Name"), own);
    EXPECT_EQ(ozo_locate("Alias"), own);
    EXPECT_EQ(unit.filesIn("mbox"), 1U);
    EXPECT_EQ(unit.filesIn("id"), 1U);
}

TEST_F(Files, OfACrashAreSweptByWhoeverCreatesAMailbox) {
    leaveBehind("Victim", "VictimsAlias");
    ASSERT_TRUE(create("Name"));
    for (const char* folder : {"mbox", "id"})
        EXPECT_EQ(unit.filesIn(folder), 1U) << folder;
    EXPECT_FALSE(std::filesystem::is_symlink(unit.folder("name/Victim")));
}

TEST_F(Files, OfManyCrashesDoNotPileUp) {
    for (int victim = 0; victim < 60; ++victim) {
        const std::string name = std::to_string(victim);
        leaveBehind(name.c_str(), name.c_str());
        for (const char* folder : {"mbox", "name", "id"})
            EXPECT_LE(unit.filesIn(folder), 16U) << folder;
    }
}

TEST_F(Files, OfLiveMailboxesAreNotSweptAndTheirOwnersNotWoken) {
    MailboxThread first("First");
    ASSERT_TRUE(create("Second"));
    EXPECT_EQ(first.run([] {
        pollfd readable{.fd = ozo_get_fd(), .events = POLLIN, .revents = 0};
        return ::poll(&readable, 1, 0);
    }),
              0);
    EXPECT_EQ(ozo_locate("First"), first.id());
    EXPECT_EQ(unit.filesIn("mbox"), 2U);
}

TEST_F(Files, OfALiveMailboxOfAnotherProcessKeepTheirName) {
    Child first([](const Child::Line& line) {
        line.tell(ozo_create_mailbox("Name", 0));
        line.awaitGo();
    });
    const std::uint32_t firstId = first.hear().value_or(OZO_NO_MAILBOX);
    EXPECT_FALSE(create("Name"));
    EXPECT_EQ(errno, EADDRINUSE);
    EXPECT_EQ(ozo_locate("Name"), firstId);
    EXPECT_EQ(unit.filesIn("mbox"), 1U);
    first.go();
    EXPECT_TRUE(first.endsWell());
}

TEST_F(Files, GiveANameThatProcessesRaceForToOne) {
    for (int round = 0; round < 10; ++round) {
        leaveBehind("Name", "Alias");
        std::list<Child> racers;
        for (int racer = 0; racer < 6; ++racer)
            racers.emplace_back([](const Child::Line& line) {
                line.tell(0);
                line.awaitGo();
                line.tell(ozo_create_mailbox("Name", 0));
                line.awaitGo();
            });
        for (const Child& racer : racers)
            ASSERT_EQ(racer.hear(), 0U);
        for (const Child& racer : racers)
            racer.go();
        std::vector<std::uint32_t> winners;
        for (const Child& racer : racers) {
            const std::uint32_t id = racer.hear().value_or(OZO_NO_MAILBOX);
            if (id != OZO_NO_MAILBOX)
                winners.push_back(id);
        }
        ASSERT_EQ(winners.size(), 1U);
        EXPECT_EQ(ozo_locate("Name"), winners.front());
    }
}

TEST_F(Files, GiveANameThatThreadsRaceForToOne) {
    for (int round = 0; round < 10; ++round) {
        constexpr int count = 6;
        std::barrier together(count);
        std::atomic<int> winners = 0;
        std::vector<std::thread> racers;
        racers.reserve(count);
        for (int racer = 0; racer < count; ++racer)
            racers.emplace_back([&] {
                together.arrive_and_wait();
                const std::uint32_t id = ozo_create_mailbox("Name", 0);
                winners += id != OZO_NO_MAILBOX ? 1 : 0;
                together.arrive_and_wait();
            });
        for (std::thread& racer : racers)
            racer.join();
        EXPECT_EQ(winners, 1);
        EXPECT_EQ(ozo_locate("Name"), OZO_NO_MAILBOX);
    }
}

TEST_F(Files, GiveWayThoughSomebodyKeepsTheLock) {
    leaveBehind("Name", "Alias");
    const int folder = ::open(unit.folder("").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(::flock(folder, LOCK_EX), 0);
    ASSERT_TRUE(create("Name"));
    ::close(folder);
    EXPECT_EQ(ozo_locate("Name"), own);
}

TEST_F(Files, TakeANameThatIsClearedAwayWhileTheyWaitForTheLock) {
    leaveBehind("Name", "Alias");
    const int folder = ::open(unit.folder("").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(::flock(folder, LOCK_EX), 0);
    std::thread sweeper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        ::unlink(unit.folder("name/Name").c_str());
        ::close(folder);
    });
    EXPECT_TRUE(create("Name"));
    sweeper.join();
    EXPECT_EQ(ozo_locate("Name"), own);
}

TEST_F(Files, AreMadeWithoutTheLockWhereTheNameIsFree) {
    ASSERT_TRUE(create("First"));
    const int folder = ::open(unit.folder("").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(::flock(folder, LOCK_EX), 0);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(ozo_add_name(own, "Alias"), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    ::close(folder);
}

TEST_F(Files, AreNotTouchedByAForkedChild) {
    ASSERT_TRUE(create("Parent"));
    const std::uint32_t parent = own;
    Child child([parent](const Child::Line& line) {
        EXPECT_EQ(ozo_get_fd(), -1);
        EXPECT_NE(ozo_delete_mailbox(parent), 0);
        EXPECT_EQ(ozo_receive(0), nullptr);
        const std::uint32_t id = ozo_create_mailbox("Child", 0);
        EXPECT_NE(id, OZO_NO_MAILBOX);
        sendText(ozo_locate("Parent"), 1, "from the child");
        line.tell(id);
        EXPECT_EQ(textOf(receive()), "to the child");
        EXPECT_EQ(ozo_delete_mailbox(id), 0);
    });
    const std::uint32_t childId = child.hear().value_or(OZO_NO_MAILBOX);
    const Message message = receive();
    EXPECT_EQ(textOf(message), "from the child");
    EXPECT_EQ(ozo_sender(message.get()), childId);
    sendText(childId, 2, "to the child");
    EXPECT_TRUE(child.endsWell());
    EXPECT_EQ(ozo_locate("Parent"), parent);
}

TEST_F(Files, AreNotRemovedWhenAForkedChildExits) {
    ASSERT_TRUE(create("Parent"));
    Child child([](const Child::Line&) { std::exit(0); });
    EXPECT_TRUE(child.endsWell());
    EXPECT_EQ(ozo_locate("Parent"), own);
    MailboxThread sender("Sender");
    sender.run([this] { sendText(own, 1, ""); });
    EXPECT_EQ(receive()->msgno, 1U);
}

}  // namespace
