// A pull in the form that its reader wants.
#pragma once

#include <map>
#include <ostream>
#include <string>

#include "pull/catalogue.hpp"
#include "pull/pullReader.hpp"
#include "pull/table.hpp"

namespace Qdx::Pull {

enum class Format {
    Table,  // a row a series, for people; see table.hpp
    Json,   // protobuf's JSON of the collections, one line a pull
    Csv,    // a row a value, under one header for all pulls; see csv.hpp
    Text,   // a line a value, for people and grep; see textListing.hpp
    Raw,    // the bytes of the message as they came; those of several pulls read as one pull
};

// By the names that command lines take.
const std::map<std::string, Format>& formats();

// Writes pull after pull to one output:
//
//     PullWriter writer(std::cout, Format::Csv, catalogue);
//     for (const auto& pull : readPulls(input, "pull.txt")) {
//         writer.write(pull);
//     }
//
// Beside the pull itself, a few lines' worth of memory is taken, but for a table, which copies the
// values, and JSON, which copies the message's bytes. Whether the output took everything, its
// stream knows. Raw bytes and CSV are no text for a terminal; keeping them off it is the caller's
// task.
class PullWriter {
public:
    // The output and the catalogue must outlive the writer. The style is that of tables and, but
    // for the width, of text.
    PullWriter(std::ostream& output, Format form, const Catalogue& names,
               const TableStyle& look = {});

    void write(const PulledMessage& pull);

private:
    std::ostream& out;
    const Format format;
    const Catalogue& catalogue;
    const TableStyle style;
    bool first = true;
};

}  // namespace Qdx::Pull
