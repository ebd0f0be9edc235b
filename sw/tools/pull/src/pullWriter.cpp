#include "pull/pullWriter.hpp"

#include "csv.hpp"
#include "json.hpp"
#include "textListing.hpp"

namespace Qdx::Pull {

const std::map<std::string, Format>& formats() {
    static const std::map<std::string, Format> byName{{"table", Format::Table},
                                                      {"json", Format::Json},
                                                      {"csv", Format::Csv},
                                                      {"text", Format::Text},
                                                      {"raw", Format::Raw}};
    return byName;
}

PullWriter::PullWriter(std::ostream& output, Format form, const Catalogue& names,
                       const TableStyle& look)
    : out(output), format(form), catalogue(names), style(look) {}

void PullWriter::write(const PulledMessage& pull) {
    switch (format) {
        case Format::Table:
            out << (first ? "" : "\n");
            printTable(out, pull.collections, catalogue, style);
            break;
        case Format::Json:
            writeJson(out, pull.collections);
            break;
        case Format::Csv:
            out << (first ? csvHeader : "");
            writeCsv(out, pull.collections, catalogue);
            break;
        case Format::Text:
            writeText(out, pull.collections, catalogue, style.glyphs);
            break;
        case Format::Raw:
            out << pull.bytes;
            break;
    }
    first = false;
}

}  // namespace Qdx::Pull
