// A unit of its own for one test: a private root for all paths, with a database and list files.
#pragma once

#include <filesystem>
#include <string>

namespace Qdx::Test {

// Makes a temporary directory and sets UNIT_ROOT to it; at the end closes the process's database,
// takes UNIT_ROOT back and removes the directory. One at a time.
//
//     UnitRoot root;
//     root.writeCatalogue("<infoObjectList/>");
class UnitRoot {
public:
    UnitRoot();
    ~UnitRoot();

    UnitRoot(const UnitRoot&) = delete;
    UnitRoot& operator=(const UnitRoot&) = delete;

    const std::filesystem::path& path() const { return directory; }

    // Writes a file under the root, its directories included, and gives its path.
    std::filesystem::path write(const std::filesystem::path& relative,
                                const std::string& content) const;

    // Writes the configuration database (TOML); the next read opens it anew.
    void writeDatabase(const std::string& toml) const;

    // Writes an info object list, and a database that names it: the [qdx] table with further lines
    // behind it.
    void writeCatalogue(const std::string& xml, const std::string& furtherToml = "") const;

private:
    std::filesystem::path directory;
};

}  // namespace Qdx::Test
