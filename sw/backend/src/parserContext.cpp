#include "parserContext.hpp"

#include <algorithm>
#include <optional>
#include <sstream>
#include <utility>

#include "tessel/util.hpp"

namespace Qdx::Backend {

namespace {

// The format has no element that counts below /infoObjectList/objects/object/tags and its like.
constexpr std::size_t deepestLevel = 4;

// Objects stand under either of two elements; nothing else tells them apart.
bool isObject(const std::string& path) {
    return path == "/infoObjectList/objects/object" ||
           path == "/infoObjectList/prototypeObjects/object";
}

bool isInObject(const std::string& path, const std::string& element) {
    return path == "/infoObjectList/objects/object/" + element ||
           path == "/infoObjectList/prototypeObjects/object/" + element;
}

// A text that doesn't begin with a number is no fault and gives 0.
InfoObjectId readId(const std::string& text) {
    std::uint32_t number = 0;
    std::istringstream(text) >> number;
    return InfoObjectId{number};
}

std::optional<InfoObjectType> typeOf(const std::string& text) {
    const auto& texts = infoObjectTypeTexts();
    const auto found =
        std::ranges::find_if(texts, [&text](const auto& entry) { return entry.second == text; });
    return found == texts.end() ? std::nullopt : std::optional(found->first);
}

}  // namespace

std::set<std::string> ParserContext::tags;

void ParserContext::startElement(const std::string& name,
                                 const std::map<std::string, std::string>& attributes) {
    if (!errWarn.empty()) {
        return;
    }
    hierarchy.push_back({name, attributes, ""});
    const auto path = pathInFormat();
    if (isObject(path)) {
        startObject(attributes);
    } else if (path == "/infoObjectList/objects/include") {
        addInclude(attributes.at("href"));
    }
}

void ParserContext::endElement(const std::string& name) {
    if (!errWarn.empty()) {
        return;
    }
    if (hierarchy.empty() || name != hierarchy.back().name) {
        errWarn.emplace_back("Error: End element did not match begin element");
        return;
    }
    actOnEnd(pathInFormat(), hierarchy.back());
    hierarchy.pop_back();
}

void ParserContext::appendCharacters(const std::string& text) {
    if (errWarn.empty() && !hierarchy.empty()) {
        hierarchy.back().characters += text;
    }
}

void ParserContext::addError(const std::string& text) {
    errWarn.push_back("Error: " + text);
}

void ParserContext::addWarning(const std::string& text) {
    errWarn.push_back("Warning: " + text);
}

void ParserContext::addInclude(std::string href) {
    include.push_back(std::move(href));
}

std::string ParserContext::getHierarchy() const {
    std::string path;
    for (const auto& node : hierarchy) {
        path += "/" + node.name;
    }
    return path;
}

// Deeper elements cost no path each, so that a file of nothing but nested elements takes no longer
// than its size deserves.
std::string ParserContext::pathInFormat() const {
    return hierarchy.size() <= deepestLevel ? getHierarchy() : "";
}

void ParserContext::startObject(const std::map<std::string, std::string>& attributes) {
    currentId = InfoObjectId{};
    currentName.clear();
    currentType = InfoObjectType{};
    currentTags.clear();
    currentRecordType.clear();
    currentUnitType.clear();
    currentUnitRes.clear();

    currentId = readId(attributes.at("id"));
    currentName = attributes.at("name");
    currentType = typeOf(attributes.at("type")).value();
}

void ParserContext::actOnEnd(const std::string& path, const Node& node) {
    if (isObject(path)) {
        finishObject();
    } else if (isInObject(path, "tags")) {
        takeTags(node.characters);
    } else if (isInObject(path, "unit")) {
        currentUnitType = node.attributes.at("type");
        currentUnitRes = node.attributes.at("res");
    } else if (isInObject(path, "type")) {
        currentRecordType = node.attributes.at("message");
    } else if (path == "/infoObjectList/tags/tag") {
        tags.insert(node.attributes.at("name"));
    }
}

// The first definition of a name wins, also across files.
void ParserContext::finishObject() {
    infoObjects->emplace(currentId, currentName, currentType, currentUnitType, currentUnitRes,
                         currentRecordType, currentTags);
}

// Only blanks separate tags; one that wasn't declared is dropped.
void ParserContext::takeTags(const std::string& text) {
    for (const auto& tag : Tessel::Util::tokenize(Tessel::Util::trim(text), " ")) {
        if (tags.contains(tag)) {
            currentTags.insert(tag);
        }
    }
}

}  // namespace Qdx::Backend
