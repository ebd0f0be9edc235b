#include "unitRoot.hpp"

#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "applicationSupport.hpp"

namespace Qdx::Test {

namespace {

std::filesystem::path makeTemporaryDirectory() {
    auto pattern = (std::filesystem::temp_directory_path() / "unitRoot.XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("Could not make a directory like " + pattern);
    }
    return pattern;
}

}  // namespace

UnitRoot::UnitRoot() : directory(makeTemporaryDirectory()) {
    ApplicationSupport::freeInstance();
    setenv("UNIT_ROOT", directory.c_str(), 1);
}

UnitRoot::~UnitRoot() {
    ApplicationSupport::freeInstance();
    unsetenv("UNIT_ROOT");
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
}

std::filesystem::path UnitRoot::write(const std::filesystem::path& relative,
                                      const std::string& content) const {
    auto file = directory / relative;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return file;
}

void UnitRoot::writeDatabase(const std::string& toml) const {
    write("opt/zelvasw/srv/database/qdx/swdb.cfg", toml);
    ApplicationSupport::freeInstance();
}

void UnitRoot::writeCatalogue(const std::string& xml, const std::string& furtherToml) const {
    const auto list = write("list/infoObjectList.xml", xml);
    writeDatabase("[qdx]\ninfoObjectListFilePath = \"" + list.string() + "\"\n" + furtherToml);
}

}  // namespace Qdx::Test
