// The catalogue of everything that can be measured.
#pragma once

#include <string>

#include "infoObject.hpp"

namespace Qdx::Backend {

// Read-only: any thread may call, and pointers that look-ups give stay valid as long as the
// catalogue.
class InfoObjectListIf {
public:
    // The catalogue of the process. The first call reads the list file that the configuration
    // names; when it can't be read the catalogue is empty. A list file with a missing attribute or
    // an unknown type throws, as does a database that can't be opened; the next call tries again.
    static const InfoObjectListIf& getInstance();

    virtual ~InfoObjectListIf() = default;

    // Whether any object carries the tag.
    virtual bool tagIsUsed(const std::string& tag) const = 0;

    // Null when there is none.
    virtual const InfoObject* getInfoObject(const std::string& name) const = 0;
    virtual const InfoObject* getInfoObject(const InfoObjectId& id) const = 0;
};

}  // namespace Qdx::Backend
