#include "infoObjectListImpl.hpp"

#include <algorithm>
#include <vector>

#include "applicationSupport.hpp"
#include "listFileReader.hpp"
#include "parserContext.hpp"
#include "trace.hpp"

namespace Qdx::Backend {

const InfoObjectListIf& InfoObjectListIf::getInstance() {
    static const InfoObjectListImpl instance;
    return instance;
}

InfoObjectListImpl::InfoObjectListImpl() {
    QDX_TRACE(Info, "Entering InfoObjectListImpl");
    std::string path;
    if (ApplicationSupport::getInstance()->getDatabase()->readString("/qdx/infoObjectListFilePath",
                                                                     path) != 0) {
        QDX_TRACE(Error, "Could not read parameter /qdx/infoObjectListFilePath");
        return;
    }
    checkXmlLibrary();
    const auto nameStart = path.rfind('/') + 1;  // 0 without a separator
    if (!processFile(path.substr(nameStart), path.substr(0, nameStart))) {
        QDX_TRACE(Error, "Could not process Info object list XML file");
        infoObjects.clear();
        return;
    }
    buildIndexes();
    QDX_TRACE(Info, "Number of parsed info objects: " << size());
}

bool InfoObjectListImpl::processFile(const std::string& fileName, const std::string& directory) {
    const auto path = directory + fileName;
    ParserContext context(&infoObjects);
    if (!readListFile(path, context)) {
        QDX_TRACE(Error, "Could not open file " << path);
        return false;
    }
    const auto faults = context.getErrWarn();
    for (const auto& fault : faults) {
        QDX_TRACE(Error, fault);
    }
    return faults.empty() && processIncludes(context.getInclude(), directory);
}

// The directory stays that of the top file at every depth.
bool InfoObjectListImpl::processIncludes(const std::vector<std::string>& includes,
                                         const std::string& directory) {
    for (const auto& file : includes) {
        QDX_TRACE(Info, "Processing included file: " << directory << file);
        if (!processFile(file, directory)) {
            QDX_TRACE(Error, "Failed to process included file " << directory << file);
            return false;
        }
    }
    return true;
}

// In name order, so the last name wins where an identity repeats.
void InfoObjectListImpl::buildIndexes() {
    for (const auto& object : infoObjects) {
        infoObjectsByName[object.getName()] = &object;
        infoObjectsById[object.getId()] = &object;
    }
}

bool InfoObjectListImpl::tagIsUsed(const std::string& tag) const {
    QDX_TRACE(Trace7, "Entering tagIsUsed");
    return std::ranges::any_of(
        infoObjects, [&tag](const InfoObject& object) { return object.getTags().contains(tag); });
}

const InfoObject* InfoObjectListImpl::getInfoObject(const std::string& name) const {
    const auto found = infoObjectsByName.find(name);
    return found == infoObjectsByName.end() ? nullptr : found->second;
}

const InfoObject* InfoObjectListImpl::getInfoObject(const InfoObjectId& id) const {
    const auto found = infoObjectsById.find(id);
    return found == infoObjectsById.end() ? nullptr : found->second;
}

}  // namespace Qdx::Backend
