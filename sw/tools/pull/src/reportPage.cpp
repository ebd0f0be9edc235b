#include "pull/reportPage.hpp"

#include <array>
#include <cstdio>
#include <stdexcept>

#include "tessel/util.hpp"
#include "utf8.hpp"

namespace Qdx::Pull {

namespace {

// A less-than sign could begin the end of the element that the text stands in.
bool needsEscape(char character) {
    return static_cast<unsigned char>(character) < ' ' || character == '"' || character == '\\' ||
           character == '<';
}

std::string jsonText(std::string_view text) {
    std::string json = "\"";
    for (const char character : validPart(text)) {
        if (needsEscape(character)) {
            std::array<char, 7> escape{};
            std::snprintf(escape.data(), escape.size(), "\\u%04x",
                          static_cast<unsigned>(character));
            json += escape.data();
        } else {
            json += character;
        }
    }
    return json + '"';
}

// What is empty is left out.
void writeMember(std::ostream& out, const char* key, const std::string& text) {
    if (!text.empty()) {
        out << ",\"" << key << "\":" << jsonText(text);
    }
}

void writeObject(std::ostream& out, const CatalogueObject& object) {
    out << "{\"name\":" << jsonText(object.name);
    writeMember(out, "unit", object.unit);
    writeMember(out, "resolution", object.resolution);
    writeMember(out, "messageType", object.messageType);
    const char* before = ",\"tags\":[";
    for (const auto& tag : object.tags) {
        out << before << jsonText(tag);
        before = ",";
    }
    out << (object.tags.empty() ? "}" : "]}");
}

void writeCatalogue(std::ostream& out, const Catalogue& catalogue) {
    const char* before = "";
    out << '{';
    for (const auto& [id, object] : catalogue.all()) {
        out << before << "\n\"" << id << "\":";
        writeObject(out, object);
        before = ",";
    }
    out << '}';
}

void writePulls(std::ostream& out, const std::vector<PulledMessage>& pulls) {
    for (const auto& pull : pulls) {
        out << "<QdxOutput>" << Tessel::Util::Base64::encode({pull.bytes.begin(), pull.bytes.end()})
            << "</QdxOutput>\n";
    }
}

}  // namespace

void writeReportPage(std::ostream& out, std::string_view page,
                     const std::vector<PulledMessage>& pulls, const Catalogue& catalogue,
                     std::string_view source) {
    const auto marker = page.find(reportDataMarker);
    if (marker == std::string_view::npos) {
        throw std::invalid_argument("a report page without a place for the data");
    }
    out << page.substr(0, marker) << "<script type=\"application/json\" id=\"source\">"
        << jsonText(source) << "</script>\n<script type=\"application/json\" id=\"catalogue\">";
    writeCatalogue(out, catalogue);
    out << "</script>\n<script type=\"text/plain\" id=\"pulls\">";
    writePulls(out, pulls);
    out << "</script>" << page.substr(marker + reportDataMarker.size());
}

}  // namespace Qdx::Pull
