#include "xml/reader.hpp"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <new>
#include <string_view>

namespace Xml {

namespace {

// What the handlers get as user data. libxml2's C frames can't be unwound, so an exception of the
// content waits here until they are behind us.
struct Reading {
    ContentIf& content;
    const xmlParserCtxt* parser = nullptr;
    std::optional<Fault> fault = std::nullopt;
    std::exception_ptr thrown = nullptr;
    std::size_t openElements = 0;
    bool endsEarly = false;

    bool hasEnded() const { return fault || thrown; }
    int line() const { return parser->input == nullptr ? 1 : parser->input->line; }
};

template <typename Action>
void guarded(void* userData, Action action) noexcept {
    auto& reading = *static_cast<Reading*>(userData);
    if (reading.hasEnded()) {
        return;
    }
    try {
        action(reading);
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
Attributes attributesOf(int count, const xmlChar** pointers) {
    Attributes attributes;
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
    guarded(userData, [&](Reading& reading) {
        ++reading.openElements;
        reading.content.onStart(asText(name), attributesOf(attributeCount, attributes),
                                reading.line());
    });
}

void onEndElementNs(void* userData, const xmlChar* /*name*/, const xmlChar* /*prefix*/,
                    const xmlChar* /*uri*/) {
    guarded(userData, [](Reading& reading) {
        --reading.openElements;
        reading.content.onEnd();
    });
}

void onCharacters(void* userData, const xmlChar* text, int length) {
    guarded(userData, [&](const Reading& reading) {
        reading.content.onText(asText(text, static_cast<std::size_t>(length)));
    });
}

std::string firstLine(std::string_view message) {
    return std::string(message.substr(0, message.find('\n')));
}

// Warnings as well as errors.
void onFault(void* userData, xmlError* error) {
    guarded(userData, [&](Reading& reading) {
        reading.endsEarly = error->code == XML_ERR_DOCUMENT_END && reading.openElements > 0;
        reading.fault = {error->line > 0 ? error->line : reading.line(),
                         error->message == nullptr ? "no XML" : firstLine(error->message)};
    });
}

// The slots that stay empty matter as much: no entity is ever looked up or loaded, and CDATA comes
// as characters.
xmlSAXHandler makeHandler() {
    xmlSAXHandler handler{};
    handler.initialized = XML_SAX2_MAGIC;
    handler.startElementNs = onStartElementNs;
    handler.endElementNs = onEndElementNs;
    handler.characters = onCharacters;
    handler.serror = onFault;
    return handler;
}

struct FreeParser {
    void operator()(xmlParserCtxt* parser) const {
        xmlFreeDoc(parser->myDoc);  // where libxml2 notes declarations of entities; not freed with
                                    // the parser
        xmlFreeParserCtxt(parser);
    }
};

// Takes that many bytes off what is left.
std::string_view take(std::string_view& left, std::size_t size) {
    const auto taken = left.substr(0, size);
    left.remove_prefix(taken.size());
    return taken;
}

// In pieces of the collector's sizes: the first lets libxml2 detect the encoding.
void parse(std::string_view text, Reading& reading) {
    auto handler = makeHandler();
    const auto start = take(text, 4);
    const std::unique_ptr<xmlParserCtxt, FreeParser> parser(xmlCreatePushParserCtxt(
        &handler, &reading, start.data(), static_cast<int>(start.size()), nullptr));
    if (!parser) {
        throw std::bad_alloc();
    }
    reading.parser = parser.get();
    while (!text.empty() && !reading.hasEnded()) {
        const auto chunk = take(text, 1024);
        const auto result =
            xmlParseChunk(parser.get(), chunk.data(), static_cast<int>(chunk.size()), 0);
        if (result != 0 && !reading.hasEnded()) {
            reading.fault = {reading.line(), "no XML"};
        }
    }
    if (!reading.hasEnded()) {
        xmlParseChunk(parser.get(), nullptr, 0, 1);
    }
    reading.parser = nullptr;
}

}  // namespace

std::optional<Fault> read(const std::string& text, ContentIf& content) {
    Reading reading{content};
    parse(text, reading);
    if (reading.thrown) {
        std::rethrow_exception(reading.thrown);
    }
    if (reading.endsEarly) {
        // libxml2 says that there is too much, in the line of the last tag.
        const auto lines = std::count(text.begin(), text.end(), '\n') + 1;
        return Fault{static_cast<int>(lines), "the text ends inside an element"};
    }
    return reading.fault;
}

}  // namespace Xml
