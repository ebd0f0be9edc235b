// Where a pull goes, and what is there when it fails.
#include "files/outputFile.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <sstream>

namespace {

using namespace Qdx::Files;
namespace fs = std::filesystem;

class OutputFileTest : public testing::Test {
protected:
    OutputFileTest() {
        auto pattern = (fs::temp_directory_path() / "pullXXXXXX").string();
        folder = mkdtemp(pattern.data());
        path = (folder / "pull.bin").string();
    }
    void TearDown() override { fs::remove_all(folder); }

    static std::string textOf(const fs::path& file) {
        std::ostringstream text;
        text << std::ifstream(file).rdbuf();
        return text.str();
    }

    template <typename Action>
    static std::string failureOf(const Action& action) {
        try {
            action();
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "none";
    }

    std::ptrdiff_t filesInFolder() const {
        return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
    }

    fs::path folder;
    std::string path;
};

TEST_F(OutputFileTest, IsThereOnceItIsWhole) {
    OutputFile output(path);
    output.stream() << "abc" << std::flush;
    EXPECT_FALSE(fs::exists(path));
    output.commit();
    EXPECT_EQ(textOf(path), "abc");
    EXPECT_EQ(filesInFolder(), 1);
}

TEST_F(OutputFileTest, FailureLeavesWhatWasThereAndNothingElse) {
    std::ofstream(path) << "old";
    {
        OutputFile output(path);
        output.stream() << "half" << std::flush;
    }
    EXPECT_EQ(textOf(path), "old");
    EXPECT_EQ(filesInFolder(), 1);
}

TEST_F(OutputFileTest, ReplacesTheTargetOfALinkAndNotTheLink) {
    std::ofstream(folder / "target") << "old";
    fs::create_symlink("target", path);
    OutputFile output(path);
    output.stream() << "new";
    output.commit();
    EXPECT_TRUE(fs::is_symlink(path));
    EXPECT_EQ(textOf(folder / "target"), "new");
}

TEST_F(OutputFileTest, DeviceIsWrittenInPlace) {
    OutputFile output("/dev/null");
    output.stream() << "abc";
    output.commit();
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(OutputFileTest, FullDeviceIsALoss) {
    OutputFile output("/dev/full");
    output.stream() << "abc";
    EXPECT_EQ(failureOf([&] { output.commit(); }), "cannot write /dev/full");
}

TEST_F(OutputFileTest, FolderThatIsNotThereIsSaidByName) {
    const auto nowhere = (folder / "no/pull.bin").string();
    EXPECT_EQ(failureOf([&] { const OutputFile output(nowhere); }),
              nowhere + ": No such file or directory");
}

TEST_F(OutputFileTest, FileWithoutANameIsNotThere) {
    fs::current_path(folder);
    EXPECT_EQ(failureOf([] { const OutputFile output(""); }), ": No such file or directory");
    EXPECT_EQ(filesInFolder(), 0);
}

TEST_F(OutputFileTest, FileThatCannotBePutInItsPlaceIsSaidWithTheReasonAndLeavesNothing) {
    {
        OutputFile output(path);
        fs::create_directory(path);
        EXPECT_EQ(failureOf([&] { output.commit(); }), "cannot write " + path + ": Is a directory");
    }
    EXPECT_EQ(filesInFolder(), 1);
}

TEST_F(OutputFileTest, ReplacementKeepsThePermissionsOfTheOlderFile) {
    std::ofstream(path) << "old";
    ASSERT_EQ(chmod(path.c_str(), 0600), 0);
    umask(022);
    OutputFile output(path);
    output.stream() << "new";
    output.commit();
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

}  // namespace
