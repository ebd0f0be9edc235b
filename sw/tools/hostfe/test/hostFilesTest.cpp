#include "hostFiles.hpp"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "fakeHost.hpp"

namespace HostFe {
namespace {

class HostFilesTest : public ::testing::Test {
protected:
    FakeHost host;
    const HostFiles files{host.root()};
};

TEST_F(HostFilesTest, ReadsAWholeFileOfAnySize) {
    const std::string text(10'000, 'x');
    host.file("proc/stat", text).file("proc/empty", "");
    EXPECT_EQ(files.read("proc/stat"), text);
    EXPECT_EQ(files.read("proc/empty"), "");
}

TEST_F(HostFilesTest, FileThatIsNotThereIsEmpty) {
    EXPECT_EQ(files.read("proc/stat"), "");
}

// The kernel lets a file be opened and then refuses its content; so does a directory.
TEST_F(HostFilesTest, FileThatOpensButCannotBeReadIsEmpty) {
    host.folder("sys/class/net/lo/speed");
    EXPECT_EQ(files.read("sys/class/net/lo/speed"), "");
}

TEST_F(HostFilesTest, PipeThatNobodyWritesToIsEmpty) {
    host.folder("proc");
    ASSERT_EQ(::mkfifo((host.root() / "proc/loadavg").c_str(), 0600), 0);
    EXPECT_EQ(files.read("proc/loadavg"), "");
}

TEST_F(HostFilesTest, ListsNamesSorted) {
    host.file("sys/b", "").folder("sys/a");
    EXPECT_THAT(files.list("sys"), ::testing::ElementsAre("a", "b"));
    EXPECT_THAT(files.list("proc"), ::testing::IsEmpty());
}

}  // namespace
}  // namespace HostFe
