#include "pull/catalogue.hpp"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <memory>
#include <new>
#include <optional>
#include <set>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "files/inputFile.hpp"
#include "pull/badData.hpp"
#include "tessel/util.hpp"

namespace Qdx::Pull {

namespace {

constexpr std::size_t longestListFile = std::size_t{16} << 20;

using Document = std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)>;
using Parser = std::unique_ptr<xmlParserCtxt, decltype(&xmlFreeParserCtxt)>;

// The first thing that is wrong; what follows from it would only confuse.
struct Fault {
    int line = 1;
    std::string text;
};

void onError(void* parser, xmlError* error) {
    auto& first = *static_cast<Fault*>(static_cast<xmlParserCtxt*>(parser)->_private);
    if (first.text.empty() && error->level >= XML_ERR_ERROR && error->message != nullptr) {
        first = {error->line, Tessel::Util::trim(error->message)};
    }
}

Document parseXml(const std::string& text, const std::string& path) {
    const Parser parser(xmlNewParserCtxt(), xmlFreeParserCtxt);
    if (!parser) {
        throw std::bad_alloc();
    }
    Fault fault;
    parser->_private = &fault;
    parser->sax->serror = onError;
    Document document(xmlCtxtReadMemory(parser.get(), text.data(), static_cast<int>(text.size()),
                                        nullptr, nullptr, XML_PARSE_NONET),
                      xmlFreeDoc);
    if (!document) {
        throw BadData(path + ':' + std::to_string(fault.line) + ": " +
                      (fault.text.empty() ? "no XML" : fault.text));
    }
    return document;
}

std::string_view nameOf(const xmlNode* node) {
    return reinterpret_cast<const char*>(node->name);
}

// The child elements of a name, whatever their namespace.
std::vector<xmlNode*> childrenOf(const xmlNode* parent, std::string_view name) {
    std::vector<xmlNode*> children;
    for (auto* child = parent->children; child != nullptr; child = child->next) {
        if (child->type == XML_ELEMENT_NODE && nameOf(child) == name) {
            children.push_back(child);
        }
    }
    return children;
}

std::optional<std::string> attributeOf(const xmlNode* node, const char* name) {
    const std::unique_ptr<xmlChar, void (*)(void*)> value(
        xmlGetProp(node, reinterpret_cast<const xmlChar*>(name)), xmlFree);
    if (!value) {
        return std::nullopt;
    }
    return reinterpret_cast<const char*>(value.get());
}

// The text directly in an element, not that of its children.
std::string textOf(const xmlNode* node) {
    std::string text;
    for (const auto* child = node->children; child != nullptr; child = child->next) {
        if (child->type == XML_TEXT_NODE) {
            text += reinterpret_cast<const char*>(child->content);
        }
    }
    return text;
}

// A text that begins with no number is 0, as in the collector.
std::uint32_t numberIn(const std::string& text) {
    std::uint32_t number = 0;
    std::istringstream(text) >> number;
    return number;
}

// The files of one catalogue while they are being read.
class ListFiles {
public:
    struct NamedObject {
        std::uint32_t id;
        CatalogueObject object;
    };

    explicit ListFiles(const std::string& path)
        : directory(path.substr(0, path.find_last_of('/') + 1)) {
        read(path);
    }

    const std::map<std::string, NamedObject>& objects() const { return byName; }

private:
    void read(const std::string& path) {
        if (!seen.insert(path).second) {
            return;
        }
        const auto text = Files::readFile(path, longestListFile);
        const auto document = parseXml(text, path);
        const auto* const root = xmlDocGetRootElement(document.get());
        if (root == nullptr || nameOf(root) != "infoObjectList") {
            throw BadData(path + ": no info object list; its root is not infoObjectList");
        }
        for (const auto* const tags : childrenOf(root, "tags")) {
            for (const auto* const tag : childrenOf(tags, "tag")) {
                declaredTags.insert(required(tag, "name", path));
            }
        }
        for (const auto* const group : {"objects", "prototypeObjects"}) {
            for (const auto* const objects : childrenOf(root, group)) {
                takeObjects(objects, path);
            }
        }
        for (const auto* const objects : childrenOf(root, "objects")) {
            readIncludes(objects, path);
        }
    }

    void takeObjects(const xmlNode* parent, const std::string& path) {
        for (const auto* const node : childrenOf(parent, "object")) {
            const auto name = required(node, "name", path);
            NamedObject named{numberIn(required(node, "id", path)),
                              {name, "", "", "", tagsOf(node)}};
            for (const auto* const unit : childrenOf(node, "unit")) {
                named.object.unit = required(unit, "type", path);
                named.object.resolution = required(unit, "res", path);
            }
            for (const auto* const type : childrenOf(node, "type")) {
                named.object.messageType = required(type, "message", path);
            }
            byName.try_emplace(name, std::move(named));
        }
    }

    // Only blanks separate tags.
    std::set<std::string> tagsOf(const xmlNode* object) const {
        std::set<std::string> tags;
        for (const auto* const node : childrenOf(object, "tags")) {
            for (const auto& tag : Tessel::Util::tokenize(Tessel::Util::trim(textOf(node)), " ")) {
                if (declaredTags.contains(tag)) {
                    tags.insert(tag);
                }
            }
        }
        return tags;
    }

    void readIncludes(const xmlNode* objects, const std::string& path) {
        for (const auto* const include : childrenOf(objects, "include")) {
            read(directory + required(include, "href", path));
        }
    }

    static std::string required(const xmlNode* node, const char* attribute,
                                const std::string& path) {
        if (auto value = attributeOf(node, attribute)) {
            return std::move(*value);
        }
        throw BadData(path + ':' + std::to_string(xmlGetLineNo(node)) + ": " +
                      std::string(nameOf(node)) + " without " + attribute);
    }

    const std::string directory;
    std::set<std::string> seen;
    std::set<std::string> declaredTags;
    std::map<std::string, NamedObject> byName;
};

}  // namespace

Catalogue::Catalogue(std::map<std::uint32_t, CatalogueObject> byId) : objects(std::move(byId)) {}

Catalogue Catalogue::read(const std::string& path) {
    const ListFiles files(path);
    std::map<std::uint32_t, CatalogueObject> byId;
    for (const auto& [name, named] : files.objects()) {
        // Of two names with one id the later in order counts, as in the collector.
        byId.insert_or_assign(named.id, named.object);
    }
    return Catalogue(std::move(byId));
}

const CatalogueObject* Catalogue::find(std::uint32_t id) const {
    const auto found = objects.find(id);
    return found == objects.end() ? nullptr : &found->second;
}

}  // namespace Qdx::Pull
