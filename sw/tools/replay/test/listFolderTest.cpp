#include "listFolder.hpp"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>

namespace {

namespace fs = std::filesystem;

using Replay::ListFolder;
using testing::IsEmpty;

class ListFolderTest : public testing::Test {
protected:
    // Folders are made in one that shows what else is written.
    ListFolderTest() : outside(makeDirectory()) { setenv("TMPDIR", outside.c_str(), 1); }
    void TearDown() override {
        unsetenv("TMPDIR");
        fs::remove_all(outside);
    }

    static fs::path makeDirectory() {
        auto pattern = testing::TempDir() + "listFolderTest.XXXXXX";
        return mkdtemp(pattern.data()) == nullptr ? "" : pattern;
    }

    static std::vector<Recording::ListFile> filesOf(const std::vector<std::string>& names) {
        std::vector<Recording::ListFile> files;
        files.reserve(names.size());
        for (const auto& name : names) {
            files.push_back({name, "text of " + name});
        }
        return files;
    }

    static std::string textOf(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    // Relative to where folders are made.
    std::vector<std::string> filesIn(const fs::path& directory) const {
        std::vector<std::string> files;
        for (const auto& entry : fs::recursive_directory_iterator(directory)) {
            if (!entry.is_directory()) {
                files.push_back(entry.path().lexically_relative(outside));
            }
        }
        return files;
    }

    std::vector<std::string> entriesOutside() const {
        std::vector<std::string> entries;
        for (const auto& entry : fs::directory_iterator(outside)) {
            entries.push_back(entry.path().filename());
        }
        return entries;
    }

    const fs::path outside;
};

TEST_F(ListFolderTest, EachFileIsWhereTheCollectorLooksForIt) {
    const std::vector<std::string> names{"list.xml",
                                         "more.xml",
                                         "sub/more.xml",
                                         "./sub//./other.xml",
                                         "../common/more.xml",
                                         "sub/../beside.xml",
                                         "deep/deeper/../../../../high.xml",
                                         "/absolute/more.xml",
                                         "/../rooted.xml",
                                         "..hidden",
                                         "../d/list.xml",
                                         "../dd/list.xml",
                                         "R&#38;D \xC3\xA9.xml"};
    const ListFolder folder(filesOf(names));
    EXPECT_EQ(textOf(folder.listPath()), "text of list.xml");
    for (const auto& name : names) {
        EXPECT_EQ(textOf(folder.directory() + name), "text of " + name);
    }
}

TEST_F(ListFolderTest, AFolderGoesWithItsObject) {
    std::optional<ListFolder> folder(filesOf({"list.xml", "../../sub/more.xml"}));
    EXPECT_THAT(entriesOutside(), testing::SizeIs(1));
    folder.reset();
    EXPECT_THAT(entriesOutside(), IsEmpty());
}

TEST_F(ListFolderTest, WithoutFilesTheListIsMissing) {
    const ListFolder folder({});
    EXPECT_EQ(folder.listPath(), folder.directory() + "infoObjectList.xml");
    EXPECT_FALSE(fs::exists(folder.listPath()));
}

TEST_F(ListFolderTest, HostileNamesWriteNothingOutside) {
    using std::string_literals::operator""s;
    std::string up;
    for (int i = 0; i < 99; ++i) {
        up += "../";
    }
    const auto before = fs::exists("/hostile") || fs::exists("/tmp/hostile");
    for (const auto& name : {"../hostile"s,
                             "../../../../../../../hostile"s,
                             "a/../../hostile"s,
                             "/hostile"s,
                             "//hostile"s,
                             "/tmp/hostile"s,
                             "./.././hostile"s,
                             up + "hostile",
                             up + up + "hostile",
                             "..\0/hostile"s,
                             "a/..\0/../hostile"s,
                             "../\0hostile"s,
                             ".."s,
                             "../"s,
                             "/"s,
                             ""s,
                             "."s,
                             "a/."s,
                             "a/.."s,
                             "../.."s,
                             "a/"s,
                             "\0"s}) {
        for (const auto& names : {std::vector{name}, {"list.xml", name}, {name, "../more.xml"}}) {
            const ListFolder folder(filesOf(names));
            const auto own = entriesOutside();
            ASSERT_THAT(own, testing::SizeIs(1)) << name;
            EXPECT_EQ(folder.directory().rfind((outside / own.front()).string() + "/", 0), 0U);
            EXPECT_LE(filesIn(outside).size(), names.size());
        }
        EXPECT_THAT(entriesOutside(), IsEmpty()) << name;
    }
    EXPECT_EQ(fs::exists("/hostile") || fs::exists("/tmp/hostile"), before);
}

TEST_F(ListFolderTest, NamesThatLeadToNoFileAreLeftOut) {
    std::string deep;
    for (int i = 0; i < 100; ++i) {
        deep += "d/";
    }
    const ListFolder folder(filesOf({"", ".", "..", "sub/", "sub/..", "/", deep + "more.xml"}));
    EXPECT_THAT(filesIn(outside), IsEmpty());
    EXPECT_EQ(folder.listPath(), folder.directory() + "infoObjectList.xml");
}

TEST_F(ListFolderTest, FilesThatAreInEachOthersWayLeaveNothingBehind) {
    EXPECT_THROW(ListFolder(filesOf({"a", "a/b"})), std::runtime_error);
    EXPECT_THROW(ListFolder(filesOf({"a/b", "a"})), std::runtime_error);
    EXPECT_THROW(ListFolder(filesOf({std::string(300, 'n')})), std::runtime_error);
    EXPECT_THAT(entriesOutside(), IsEmpty());
}

}  // namespace
