#include "listFileReader.hpp"

#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlerror.h>

#include <array>
#include <cstdarg>
#include <exception>
#include <map>
#include <memory>
#include <new>

namespace Qdx::Backend {

namespace {

// What the handlers get as user data. libxml2's C frames can't be unwound, so an exception of the
// context waits here until they are behind us; the events that follow it meanwhile are dropped.
struct Reading {
    ParserContext& context;
    std::exception_ptr thrown = nullptr;
};

template <typename Action>
void guarded(void* userData, Action action) noexcept {
    auto& reading = *static_cast<Reading*>(userData);
    if (reading.thrown) {
        return;
    }
    try {
        action(reading.context);
    } catch (...) {
        reading.thrown = std::current_exception();
    }
}

std::string asText(const xmlChar* begin, std::size_t length) {
    return {reinterpret_cast<const char*>(begin), length};
}

std::string asText(const xmlChar* text) {
    return reinterpret_cast<const char*>(text);
}

// libxml2 gives five pointers for each attribute: local name, prefix, namespace, begin and end of
// the value.
std::map<std::string, std::string> attributesOf(int count, const xmlChar** pointers) {
    std::map<std::string, std::string> attributes;
    for (int i = 0; i < count; ++i, pointers += 5) {
        attributes.emplace(
            asText(pointers[0]),
            asText(pointers[3], static_cast<std::size_t>(pointers[4] - pointers[3])));
    }
    return attributes;
}

void onStartElementNs(void* userData, const xmlChar* name, const xmlChar* /*prefix*/,
                      const xmlChar* /*uri*/, int /*namespaceCount*/,
                      const xmlChar** /*namespaces*/, int attributeCount, int /*defaultedCount*/,
                      const xmlChar** attributes) {
    guarded(userData, [&](ParserContext& context) {
        context.startElement(asText(name), attributesOf(attributeCount, attributes));
    });
}

void onEndElementNs(void* userData, const xmlChar* name, const xmlChar* /*prefix*/,
                    const xmlChar* /*uri*/) {
    guarded(userData, [&](ParserContext& context) { context.endElement(asText(name)); });
}

void onCharacters(void* userData, const xmlChar* text, int length) {
    guarded(userData, [&](ParserContext& context) {
        context.appendCharacters(asText(text, static_cast<std::size_t>(length)));
    });
}

// A message of libxml2, cut to what fits the buffer.
class Message {
public:
    Message(const char* format, std::va_list arguments)
        : valid(std::vsnprintf(buffer.data(), buffer.size(), format, arguments) >= 0) {}

    explicit operator bool() const { return valid; }
    std::string text() const { return buffer.data(); }

private:
    std::array<char, 1024> buffer{};
    bool valid;
};

void onWarning(void* userData, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const Message message(format, arguments);
    va_end(arguments);
    if (message) {
        guarded(userData, [&](ParserContext& context) { context.addWarning(message.text()); });
    }
}

void onError(void* userData, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const Message message(format, arguments);
    va_end(arguments);
    if (message) {
        guarded(userData, [&](ParserContext& context) { context.addError(message.text()); });
    }
}

// The slots that stay empty matter as much: no entity is ever looked up or loaded, and fatal errors
// come through error.
xmlSAXHandler makeHandler() {
    xmlSAXHandler handler{};
    handler.initialized = XML_SAX2_MAGIC;
    handler.startElementNs = onStartElementNs;
    handler.endElementNs = onEndElementNs;
    handler.characters = onCharacters;
    handler.warning = onWarning;
    handler.error = onError;
    return handler;
}

struct FreeParser {
    void operator()(xmlParserCtxt* parser) const {
        xmlFreeDoc(parser->myDoc);  // where libxml2 notes declarations of entities; not freed with
                                    // the parser
        xmlFreeParserCtxt(parser);
        xmlCleanupParser();
    }
};

using Parser = std::unique_ptr<xmlParserCtxt, FreeParser>;

// The first bytes let libxml2 detect the encoding.
Parser startParser(std::FILE* file, xmlSAXHandler& handler, Reading& reading) {
    std::array<char, 4> start{};
    const auto size = std::fread(start.data(), 1, start.size(), file);
    Parser parser(
        xmlCreatePushParserCtxt(&handler, &reading, start.data(), static_cast<int>(size), nullptr));
    if (!parser) {
        throw std::bad_alloc();
    }
    return parser;
}

void rethrowIfAny(const Reading& reading) {
    if (reading.thrown) {
        std::rethrow_exception(reading.thrown);
    }
}

}  // namespace

void checkXmlLibrary() {
    xmlCheckVersion(LIBXML_VERSION);
}

bool readListFile(const std::string& path, ParserContext& context) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "r"),
                                                               &std::fclose);
    if (!file) {
        return false;
    }
    parseListFile(file.get(), context);
    return true;
}

void parseListFile(std::FILE* file, ParserContext& context) {
    Reading reading{context};
    auto handler = makeHandler();
    const auto parser = startParser(file, handler, reading);
    std::array<char, 1024> chunk{};
    while (std::feof(file) == 0 && std::ferror(file) == 0) {
        const auto size = std::fread(chunk.data(), 1, chunk.size(), file);
        if (size == 0) {
            continue;
        }
        const int result = xmlParseChunk(parser.get(), chunk.data(), static_cast<int>(size), 0);
        rethrowIfAny(reading);
        if (result != 0) {
            xmlParserError(parser.get(), "xmlParseChunk");
        }
    }
    xmlParseChunk(parser.get(), nullptr, 0, 1);
    rethrowIfAny(reading);
}

}  // namespace Qdx::Backend
