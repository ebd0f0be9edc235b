#include "catalogue.hpp"

#include <libxml/xmlerror.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "files/badInput.hpp"
#include "listFileReader.hpp"
#include "plainText.hpp"
#include "tessel/util.hpp"

namespace DchFilter {

using Qdx::Backend::InfoObject;
using Qdx::Backend::ParserContext;
using Qdx::Files::BadInput;
using Qdx::Files::NoInput;

namespace {

// libxml2 says on standard error what the reader gathers as well.
void ignore(void* /*context*/, const char* /*format*/, ...) {}

class ListFiles {
public:
    explicit ListFiles(const std::string& path) : directory(path.substr(0, path.rfind('/') + 1)) {
        read(path);
    }

    std::set<InfoObject> take() { return std::move(objects); }

private:
    void read(const std::string& path) {
        if (open.contains(path)) {
            throw BadInput(path + ": includes itself; the collector would never finish reading it");
        }
        // What it declares is known already.
        if (!seen.insert(path).second) {
            return;
        }
        open.insert(path);
        ParserContext context(&objects);
        parse(path, context);
        for (const auto& include : context.getInclude()) {
            read(directory + include);
        }
        open.erase(path);
    }

    static void parse(const std::string& path, ParserContext& context) {
        std::error_code unknown;
        if (std::filesystem::is_directory(path, unknown)) {
            throw NoInput(path + ": is a directory");
        }
        xmlSetGenericErrorFunc(nullptr, ignore);
        try {
            if (!Qdx::Backend::readListFile(path, context)) {
                throw NoInput(path + ": " + std::generic_category().message(errno));
            }
        } catch (const std::out_of_range&) {
            throw BadInput(path + ": an attribute is missing at " + context.getHierarchy());
        } catch (const std::bad_optional_access&) {
            throw BadInput(path + ": unknown type at " + context.getHierarchy());
        }
        const auto faults = context.getErrWarn();
        if (!faults.empty()) {
            throw BadInput(path + ": " + plainText(Tessel::Util::trim(faults.front())));
        }
    }

    const std::string directory;
    std::set<std::string> seen;
    std::set<std::string> open;
    std::set<InfoObject> objects;
};

}  // namespace

std::set<InfoObject> readCatalogue(const std::string& path) {
    Qdx::Backend::checkXmlLibrary();
    return ListFiles(path).take();
}

}  // namespace DchFilter
