#include "pull/catalogue.hpp"

#include <algorithm>
#include <array>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "files/inputFile.hpp"
#include "pull/badData.hpp"
#include "tessel/util.hpp"
#include "xml/reader.hpp"

namespace Qdx::Pull {

namespace {

constexpr std::size_t longestListFile = std::size_t{16} << 20;

// The format has no element that counts below /infoObjectList/objects/object/tags and its like.
constexpr std::size_t deepestLevel = 4;

bool isObject(std::string_view path) {
    return path == "/infoObjectList/objects/object" ||
           path == "/infoObjectList/prototypeObjects/object";
}

// A text that begins with no number is 0, as in the collector.
std::uint32_t numberIn(const std::string& text) {
    std::uint32_t number = 0;
    std::istringstream(text) >> number;
    return number;
}

struct NamedObject {
    std::uint32_t id = 0;
    CatalogueObject object;
};

// What the files that were read so far hold.
struct Content {
    std::set<std::string> declaredTags;
    std::map<std::string, NamedObject> byName;
};

// One file while it is being read.
class ListFile : public Xml::ContentIf {
public:
    ListFile(std::string filePath, Content& filled) : path(std::move(filePath)), content(filled) {}

    void onStart(const std::string& element, const Xml::Attributes& attributes, int line) override {
        if (open.empty() && element != "infoObjectList") {
            throw BadData(path + ": no info object list; its root is not infoObjectList");
        }
        open.push_back({element, attributes, "", line});
        const auto place = placeInFormat();
        if (isObject(place)) {
            startObject();
        } else if (place == "/infoObjectList/objects/include") {
            includes.push_back(required("href"));
        }
    }

    void onText(const std::string& text) override { open.back().text += text; }

    void onEnd() override {
        actOnEnd(placeInFormat());
        open.pop_back();
    }

    const std::vector<std::string>& included() const { return includes; }

private:
    struct Element {
        std::string name;
        Xml::Attributes attributes;
        std::string text;
        int line;
    };

    // Empty where nothing counts any more: deeper elements cost no path each.
    std::string placeInFormat() const {
        std::string place;
        if (open.size() <= deepestLevel) {
            for (const auto& element : open) {
                place.append("/").append(element.name);
            }
        }
        return place;
    }

    void startObject() {
        current = {numberIn(required("id")), {}};
        current.object.name = required("name");
        static constexpr std::array<std::string_view, 3> types{"meas", "counter", "record"};
        if (std::ranges::find(types, required("type")) == types.end()) {
            throw BadData(position() + "object of a type that is none of meas, counter, record");
        }
    }

    void actOnEnd(std::string_view place) {
        if (isObject(place)) {
            // The first of a name counts, also across files.
            content.byName.try_emplace(current.object.name, current);
        } else if (place == "/infoObjectList/tags/tag") {
            content.declaredTags.insert(required("name"));
        } else if (open.size() == deepestLevel && isObject(place.substr(0, place.rfind('/')))) {
            finishPart();
        }
    }

    // Of the object that is being read.
    void finishPart() {
        const auto& part = open.back();
        if (part.name == "tags") {
            takeTags(part.text);
        } else if (part.name == "unit") {
            current.object.unit = required("type");
            current.object.resolution = required("res");
        } else if (part.name == "type") {
            current.object.messageType = required("message");
        }
    }

    // Only blanks separate tags; one that wasn't declared before is dropped.
    void takeTags(const std::string& text) {
        for (const auto& tag : Tessel::Util::tokenize(Tessel::Util::trim(text), " ")) {
            if (content.declaredTags.contains(tag)) {
                current.object.tags.insert(tag);
            }
        }
    }

    // An attribute of the innermost element.
    const std::string& required(const std::string& attribute) const {
        const auto& element = open.back();
        const auto found = element.attributes.find(attribute);
        if (found == element.attributes.end()) {
            throw BadData(position() + element.name + " without " + attribute);
        }
        return found->second;
    }

    std::string position() const { return path + ':' + std::to_string(open.back().line) + ": "; }

    const std::string path;
    Content& content;
    std::vector<Element> open;  // outermost first
    NamedObject current;
    std::vector<std::string> includes;
};

// The files of one catalogue while they are being read.
class ListFiles {
public:
    explicit ListFiles(const std::string& path)
        : directory(path.substr(0, path.find_last_of('/') + 1)) {
        read(path);
    }

    const std::map<std::string, NamedObject>& objects() const { return content.byName; }

private:
    void read(const std::string& path) {
        if (open.contains(path)) {
            throw BadData(path + ": includes itself; the collector would never finish reading it");
        }
        // All that it holds is known already.
        if (!seen.insert(path).second) {
            return;
        }
        open.insert(path);
        for (const auto& include : parse(path)) {
            read(directory + include);
        }
        open.erase(path);
    }

    std::vector<std::string> parse(const std::string& path) {
        ListFile file(path, content);
        if (const auto fault = Xml::read(Files::readFile(path, longestListFile), file)) {
            throw BadData(path + ':' + std::to_string(fault->line) + ": " + fault->text);
        }
        return file.included();
    }

    const std::string directory;
    std::set<std::string> seen;
    std::set<std::string> open;  // and what they include is being read
    Content content;
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
