// Where recordings go, and what becomes of those that can't.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "recording/outputFile.hpp"

namespace {

using Recording::CannotWrite;
using Recording::OutputFile;

class OutputFileTest : public testing::Test {
protected:
    OutputFileTest() {
        std::string name = std::filesystem::temp_directory_path() / "recordingXXXXXX";
        directory = mkdtemp(name.data());
        std::signal(SIGPIPE, SIG_IGN);
    }
    void TearDown() override { std::filesystem::remove_all(directory); }

    // A FIFO with a reader, who need not read.
    std::string fifo() {
        const auto path = directory / "fifo";
        mkfifo(path.c_str(), 0600);
        reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
        return path;
    }

    std::filesystem::path directory;
    int reader = -1;
};

template <typename Call>
std::string failureOf(Call call) {
    try {
        call();
    } catch (const CannotWrite& error) {
        return error.what();
    }
    return {};
}

TEST_F(OutputFileTest, AFileHasItsBytesWhileItIsStillOpen) {
    const auto path = directory / "file";
    std::ofstream(path) << "what was there before";
    OutputFile file(path);
    file.write("ab");
    file.write("c");
    std::ifstream written(path);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(written), {}), "abc");
}

TEST_F(OutputFileTest, AFileThatCannotBeMadeIsSaidWithItsPath) {
    const auto path = directory / "no" / "file";
    EXPECT_EQ(failureOf([&] { OutputFile file(path); }),
              path.string() + ": No such file or directory");
}

TEST_F(OutputFileTest, AFullDiskIsSaid) {
    OutputFile file("/dev/full");
    EXPECT_EQ(failureOf([&] { file.write("a"); }), "/dev/full: No space left on device");
}

TEST_F(OutputFileTest, AReaderThatReadsNothingIsWaitedForOnlyAWhile) {
    const auto path = fifo();
    OutputFile file(path);
    const std::string much(std::size_t{64} * 1024 * 1024, 'x');
    EXPECT_EQ(failureOf([&] { file.write(much); }), path + ": its reader doesn't keep up");
    close(reader);
}

TEST_F(OutputFileTest, AReaderThatGoesIsSaid) {
    const auto path = fifo();
    OutputFile file(path);
    close(reader);
    EXPECT_EQ(failureOf([&] { file.write("a"); }), path + ": Broken pipe");
}

}  // namespace
