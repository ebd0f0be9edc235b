// What is known while one info object list file is being read.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "infoObject.hpp"

namespace Qdx::Backend {

// Takes the events of a parser for one file, and puts finished objects into the catalogue's set.
// Elements are known by the path of their local names; elements, attributes and text that the
// format doesn't name are ignored. After the first error or warning nothing more of the file is
// taken in.
//
// One instance per file: (startElement | endElement | appendCharacters | addError | addWarning)*.
// One thread for all files, since the declared tags are shared.
class ParserContext {
public:
    // The set must outlive the context.
    explicit ParserContext(std::set<InfoObject>* catalogue) : infoObjects(catalogue) {}

    // Throws std::out_of_range for a missing attribute, std::bad_optional_access for an unknown
    // type of object.
    void startElement(const std::string& name,
                      const std::map<std::string, std::string>& attributes);
    // Throws std::out_of_range for a missing attribute.
    void endElement(const std::string& name);
    void appendCharacters(const std::string& text);
    void addError(const std::string& text);
    void addWarning(const std::string& text);
    void addInclude(std::string href);

    // Errors and warnings in order of arrival.
    std::vector<std::string> getErrWarn() const { return errWarn; }
    // The files to read after this one, in document order.
    std::vector<std::string> getInclude() const { return include; }
    // The path of the open elements: "/" and the name of each, from the outermost in.
    std::string getHierarchy() const;

private:
    struct Node {
        std::string name;
        std::map<std::string, std::string> attributes;
        std::string characters;
    };

    // The path of the open elements where the format may name it, else empty.
    std::string pathInFormat() const;
    void startObject(const std::map<std::string, std::string>& attributes);
    void finishObject();
    void actOnEnd(const std::string& path, const Node& node);
    void takeTags(const std::string& text);

    std::vector<Node> hierarchy;
    InfoObjectId currentId{};
    std::string currentName;
    InfoObjectType currentType{};
    std::set<std::string> currentTags;
    std::string currentRecordType;
    std::string currentUnitType;
    std::string currentUnitRes;
    std::vector<std::string> errWarn;
    std::set<InfoObject>* infoObjects;
    std::vector<std::string> include;

    // The tags declared so far, in any file.
    static std::set<std::string> tags;
};

}  // namespace Qdx::Backend
