#include "history.hpp"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>

#include "support/unitRoot.hpp"

namespace Dch {
namespace {

using testing::Optional;

TEST(HistoryPathTest, IsInTheUsersFolderForState) {
    EXPECT_THAT(historyPath("/state", "/home/me"),
                Optional(std::filesystem::path("/state/qdx/history")));
    EXPECT_THAT(historyPath(nullptr, "/home/me"),
                Optional(std::filesystem::path("/home/me/.local/state/qdx/history")));
    EXPECT_THAT(historyPath("", "/home/me"),
                Optional(std::filesystem::path("/home/me/.local/state/qdx/history")));
}

TEST(HistoryPathTest, IsNowhereWithoutAHome) {
    EXPECT_EQ(historyPath(nullptr, nullptr), std::nullopt);
    EXPECT_EQ(historyPath("relative", ""), std::nullopt);
}

class HistoryTest : public testing::Test {
protected:
    std::string kept() const {
        std::ostringstream text;
        text << std::ifstream(file).rdbuf();
        return text.str();
    }

    static mode_t modeOf(const std::filesystem::path& path) {
        struct stat status {};
        stat(path.c_str(), &status);
        return status.st_mode & 07777U;
    }

    const TestSupport::UnitRoot unit;
    const std::filesystem::path file = unit.path() / "state/qdx/history";
};

TEST_F(HistoryTest, KeepsEachLineAtOnce) {
    History history(file);
    history.add("filter status");
    EXPECT_EQ(kept(), "filter status\n");
    history.add("fs create limit 0");
    EXPECT_EQ(kept(), "filter status\nfs create limit 0\n");
}

TEST_F(HistoryTest, LeavesOutEmptyLinesAndRepetitions) {
    History history(file);
    for (const auto* line : {"a", "a", "", "  ", "a", "b", "a"}) {
        history.add(line);
    }
    EXPECT_EQ(kept(), "a\nb\na\n");
}

TEST_F(HistoryTest, IsForItsOwnerAlone) {
    const auto former = umask(0);
    const History history(file);
    umask(former);
    EXPECT_EQ(modeOf(file), 0600U);
    EXPECT_EQ(modeOf(file.parent_path()), 0700U);
}

TEST_F(HistoryTest, IsBounded) {
    {
        std::filesystem::create_directories(file.parent_path());
        std::ofstream text(file);
        for (int i = 0; i < 3 * History::longest; ++i) {
            text << "line " << i << '\n';
        }
    }
    History history(file);
    history.add("new");
    const auto text = kept();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), History::longest + 1);
    EXPECT_TRUE(text.starts_with("line " + std::to_string(2 * History::longest) + '\n'));
    EXPECT_TRUE(text.ends_with("\nnew\n"));
}

TEST_F(HistoryTest, DoesWithoutAFileThatCannotBeWritten) {
    std::filesystem::create_directories(file);
    History history(file);
    history.add("a");
    EXPECT_TRUE(std::filesystem::is_directory(file));
}

TEST_F(HistoryTest, DoesWithoutAFolder) {
    std::ofstream(unit.path() / "state") << "a file";
    History history(file);
    history.add("a");
    EXPECT_FALSE(std::filesystem::exists(file));
}

}  // namespace
}  // namespace Dch
