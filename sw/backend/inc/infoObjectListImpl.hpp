// The catalogue as read from the info object list file.
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "infoObjectListIf.hpp"

namespace Qdx::Backend {

// Doesn't change once constructed. A name is unique; of several objects with one identity, the
// look-up by identity gives the one whose name sorts last.
class InfoObjectListImpl : public InfoObjectListIf {
public:
    // Reads the list file that the configuration names, with all files that it includes. Reports by
    // trace; a catalogue that can't be read whole is empty. Throws what ParserContext throws.
    //
    // Cleans libxml2 up behind it: nothing else in the process may be using that library meanwhile.
    InfoObjectListImpl();

    // The indexes point into the set.
    InfoObjectListImpl(const InfoObjectListImpl&) = delete;
    InfoObjectListImpl& operator=(const InfoObjectListImpl&) = delete;

    bool tagIsUsed(const std::string& tag) const override;
    const InfoObject* getInfoObject(const std::string& name) const override;
    const InfoObject* getInfoObject(const InfoObjectId& id) const override;

    std::size_t size() const { return infoObjects.size(); }

    // Reads one file and those that it includes, all relative to the directory (empty, or with its
    // "/" at the end); only for the constructor. False after any error or warning.
    bool processFile(const std::string& fileName, const std::string& directory);

private:
    bool processIncludes(const std::vector<std::string>& includes, const std::string& directory);
    void buildIndexes();

    std::set<InfoObject> infoObjects;
    std::unordered_map<std::string, const InfoObject*> infoObjectsByName;
    std::map<InfoObjectId, const InfoObject*> infoObjectsById;
};

}  // namespace Qdx::Backend
