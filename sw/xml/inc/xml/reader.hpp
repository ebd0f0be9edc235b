// XML with the eyes of the collector, for programs that read an info object list beside it: what it
// refuses is refused here, and what it takes has the same names, values and order.
//
// libxml2 is asked for events alone, so that entities that a document declares are unknown and
// nothing else is ever loaded. It must not be in use on another thread that cleans it up.
#pragma once

#include <map>
#include <optional>
#include <string>

namespace Xml {

// By local names. Of two with one local name the first stands. An ampersand in a value is the
// reference &#38;, as libxml2 hands it over.
using Attributes = std::map<std::string, std::string>;

// Who is told what a document holds, in its order. Names are local, whatever the namespace.
class ContentIf {
public:
    virtual void onStart(const std::string& element, const Attributes& attributes, int line) = 0;
    virtual void onEnd() = 0;
    // A part of the text directly in the innermost element.
    virtual void onText(const std::string& text) = 0;
    virtual ~ContentIf() = default;
};

struct Fault {
    int line = 1;
    std::string text;  // one line, without its end
};

// Tells of the document in text up to its first fault, and returns that; a warning of libxml2
// counts as one. An exception of the content ends the reading and is thrown on.
std::optional<Fault> read(const std::string& text, ContentIf& content);

}  // namespace Xml
