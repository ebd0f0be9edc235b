// What members of one group can and can't do to each other's mailboxes: whoever serves the unit
// gets its names in the end, whatever a member put in the way.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "ozo.h"
#include "sharedUnit.hpp"

namespace {

using namespace AccessTest;

constexpr const char* service = "QuardexBeI";

class SharedFolders : public testing::Test {
protected:
    std::string name(const std::string& mailbox) const {
        return unit.path("run/ozo/name/" + mailbox);
    }

    bool takes(const std::string& user, const std::string& mailbox) const {
        return can(unit.user(user), [&] {
            const std::uint32_t id = ozo_create_mailbox(mailbox.c_str(), 0);
            return id != OZO_NO_MAILBOX && ozo_locate(mailbox.c_str()) == id;
        });
    }

    SharedUnit unit;
};

TEST_F(SharedFolders, AndWhatIsInThemBelongToTheGroup) {
    const Guest guest(unit.user("member"), "Guest");
    struct stat status {};
    const auto socket = unit.path("run/ozo/mbox/") + std::to_string(guest.mailbox());
    ASSERT_EQ(::stat(socket.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, mode_t{0660});
    EXPECT_EQ(status.st_uid, unit.user("member").id);
    EXPECT_EQ(status.st_gid, unit.user("collector").groups.front());
    ASSERT_EQ(::stat(unit.path("run/ozo/mbox").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, mode_t{03770});
    EXPECT_EQ(status.st_uid, unit.user("collector").id);
}

TEST_F(SharedFolders, LetMembersTalkWithEachOther) {
    const Guest guest(unit.user("member"), "Guest");
    EXPECT_TRUE(can(unit.user("otherMember"), [&] {
        ozo_create_mailbox("Peer", 0);
        // Told at once if the mailbox is gone or out of reach, and not while it is there.
        return ozo_locate("Guest") == guest.mailbox() && ozo_monitor(guest.mailbox(), 1) == 0 &&
               ozo_receive(0) == nullptr;
    }));
}

TEST_F(SharedFolders, KeepANameForTheUserWhoseMailboxCrashed) {
    Guest guest(unit.user("member"), "Guest");
    guest.crash();
    EXPECT_FALSE(takes("otherMember", "Guest"));
    EXPECT_TRUE(takes("member", "Guest"));
}

TEST_F(SharedFolders, GiveTheCollectorTheNameOfAMembersDeadMailbox) {
    Guest squatter(unit.user("member"), service);
    squatter.crash();
    EXPECT_TRUE(takes("collector", service));
}

TEST_F(SharedFolders, GiveTheCollectorTheNameOfAMembersLiveMailbox) {
    const Guest squatter(unit.user("member"), service);
    EXPECT_TRUE(takes("collector", service));
}

TEST_F(SharedFolders, GiveTheCollectorANameThatAMemberFilledWithAFolder) {
    ASSERT_TRUE(can(unit.user("member"), [&] {
        std::filesystem::create_directory(name(service));
        std::ofstream(name(service) + "/file") << "in the way";
        return true;
    }));
    EXPECT_FALSE(takes("otherMember", service));
    EXPECT_TRUE(takes("collector", service));
}

TEST_F(SharedFolders, GiveTheCollectorANameThatAMemberLedToALiveMailboxOfTheCollectorsUser) {
    const Guest tessel(unit.user("collector"), "tessel.service");
    ASSERT_TRUE(can(unit.user("member"), [&] {
        std::filesystem::create_symlink("../mbox/" + std::to_string(tessel.mailbox()),
                                        name(service));
        return ozo_locate(service) == OZO_NO_MAILBOX;
    }));
    EXPECT_TRUE(takes("collector", service));
}

TEST_F(SharedFolders, GiveTheCollectorItsNameThoughAMemberKeepsTheLock) {
    Guest squatter(unit.user("member"), service);
    squatter.crash();
    const int lock = ::open(unit.path("run/ozo").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(::flock(lock, LOCK_EX), 0);
    EXPECT_TRUE(takes("collector", service));
    ::close(lock);
}

TEST_F(SharedFolders, LeaveACollectorWithItsUsersNameAlone) {
    const Guest first(unit.user("collector"), service);
    EXPECT_FALSE(takes("collector", service));
    EXPECT_FALSE(takes("root", service));
    EXPECT_FALSE(takes("member", service));
}

TEST_F(SharedFolders, ShowAMemberThatTookTheNameOfAServiceForWhatItIs) {
    const Guest squatter(unit.user("member"), service);
    EXPECT_EQ(ozo_locate(service), squatter.mailbox());
    EXPECT_EQ(ozo_locate_service(service), OZO_NO_MAILBOX);
}

// The socket of a dead mailbox may be gone while a name is left; its number is then free for all.
TEST_F(SharedFolders, TakeNoNameForAMailboxOfAnotherUser) {
    const Guest squatter(unit.user("member"), "Guest");
    ASSERT_TRUE(can(unit.user("collector"), [&] {
        std::filesystem::create_symlink("../mbox/" + std::to_string(squatter.mailbox()),
                                        name(service));
        return true;
    }));
    EXPECT_EQ(ozo_locate(service), OZO_NO_MAILBOX);
    EXPECT_EQ(ozo_locate_service(service), OZO_NO_MAILBOX);
}

TEST_F(SharedFolders, GiveTheCollectorTheAliasThatItsCrashLeftThoughAMemberListensBehindIt) {
    const Guest squatter(unit.user("member"), "Guest");
    EXPECT_TRUE(can(unit.user("collector"), [&] {
        std::filesystem::create_symlink("../mbox/" + std::to_string(squatter.mailbox()),
                                        name("QdxFilterCtrlI"));
        const std::uint32_t id = ozo_create_mailbox(service, 0);
        return ozo_add_name(id, "QdxFilterCtrlI") == 0 && ozo_locate("QdxFilterCtrlI") == id;
    }));
}

// Frontends meet the true collector as soon as it is there.
TEST_F(SharedFolders, LetACollectorStartOverAMemberThatTookItsNames) {
    const Guest squatter(unit.user("member"), service);
    const Guest accomplice(unit.user("otherMember"), "QdxFilterCtrlI");
    unit.startCollector();
    const std::uint32_t collector = ozo_locate_service(service);
    EXPECT_NE(collector, OZO_NO_MAILBOX);
    EXPECT_EQ(ozo_locate_service("QdxFilterCtrlI"), collector);
}

TEST_F(SharedFolders, LetNobodyInWhoIsNotOfTheGroup) {
    EXPECT_FALSE(takes("stranger", "Guest"));
    EXPECT_FALSE(takes("operator", "Guest"));
}

}  // namespace
