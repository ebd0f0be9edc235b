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
    EXPECT_TRUE(output.commit());
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
    EXPECT_TRUE(output.commit());
    EXPECT_TRUE(fs::is_symlink(path));
    EXPECT_EQ(textOf(folder / "target"), "new");
}

TEST_F(OutputFileTest, DeviceIsWrittenInPlace) {
    OutputFile output("/dev/null");
    output.stream() << "abc";
    EXPECT_TRUE(output.commit());
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(OutputFileTest, FullDeviceIsALoss) {
    OutputFile output("/dev/full");
    output.stream() << "abc";
    EXPECT_FALSE(output.commit());
}

TEST_F(OutputFileTest, FolderThatIsNotThereIsSaidByName) {
    const auto nowhere = (folder / "no/pull.bin").string();
    try {
        const OutputFile output(nowhere);
        FAIL() << "created";
    } catch (const CannotCreate& error) {
        EXPECT_EQ(std::string(error.what()), nowhere + ": No such file or directory");
    }
}

}  // namespace
