// The configuration database of a unit: typed values under paths, read from a TOML file.
//
//     [qdx]
//     enabled = 1                                   # /qdx/enabled
//     staticFilters.enabledByDefault = ["radio"]    # /qdx/staticFilters/enabledByDefault
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace Corbel::V1 {

// An open database. A key is "/" and a table's name for each table on the way, then "/" and the
// value's name; each name must stand in the file exactly as between the slashes.
//
// Each read gives 0 and the values on success; nonzero, with the result untouched, when the key is
// missing or its value, or any element of its array, is of the wrong type or range. A single value
// also reads as a list of one; an empty array reads as an empty list. Any thread may read.
class DbHandleIf {
public:
    virtual int readUintList(const std::string& key, std::vector<unsigned int>& values) = 0;
    virtual int readByteList(const std::string& key, std::vector<unsigned char>& values) = 0;
    virtual int readStringList(const std::string& key, std::vector<std::string>& values) = 0;
    virtual int readString(const std::string& key, std::string& value) = 0;
    virtual ~DbHandleIf() = default;
};

class DbRegistryIf {
public:
    // The registry of the process. Any thread may call.
    static DbRegistryIf& getInstance();

    // Reads the database file $UNIT_ROOT + path once; later changes of the file don't reach the
    // handle. A missing file is an empty database; a file that can't be read or doesn't parse
    // throws std::runtime_error with one line that names the path and, if it is the parse, line and
    // column.
    virtual std::shared_ptr<DbHandleIf> openDatabase(const std::string& path) = 0;

    virtual ~DbRegistryIf() = default;
};

}  // namespace Corbel::V1
