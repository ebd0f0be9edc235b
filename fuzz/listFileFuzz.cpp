// Info object list files: whatever their text, reading ends, keeps its invariants and gives the
// same again; and the programs beside the collector refuse the XML that it refuses.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "listFileReader.hpp"
#include "pieces.hpp"
#include "xml/reader.hpp"

namespace {

using Qdx::Backend::InfoObject;
using Qdx::Backend::ParserContext;

struct Outcome {
    std::set<InfoObject> objects;
    std::vector<std::string> faults;
    std::vector<std::string> includes;
    bool thrown = false;
};

Outcome read(std::string text) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
        fmemopen(text.data(), text.size(), "r"), &std::fclose);
    Qdx::Fuzz::require(file != nullptr);
    Outcome outcome;
    ParserContext context(&outcome.objects);
    try {
        Qdx::Backend::parseListFile(file.get(), context);
    } catch (const std::out_of_range&) {
        outcome.thrown = true;
    } catch (const std::bad_optional_access&) {
        outcome.thrown = true;
    }
    outcome.faults = context.getErrWarn();
    outcome.includes = context.getInclude();
    return outcome;
}

bool same(const InfoObject& a, const InfoObject& b) {
    return a.getId() == b.getId() && a.getName() == b.getName() && a.getType() == b.getType() &&
           a.getUnitType() == b.getUnitType() && a.getUnitRes() == b.getUnitRes() &&
           a.getRecordType() == b.getRecordType();
}

// Looks at the order in which elements open and close.
class Nesting : public Xml::ContentIf {
public:
    void onStart(const std::string&, const Xml::Attributes&, int line) override {
        Qdx::Fuzz::require(line > 0);
        ++depth;
    }
    void onEnd() override { Qdx::Fuzz::require(depth-- > 0); }
    void onText(const std::string&) override { Qdx::Fuzz::require(depth > 0); }

private:
    int depth = 0;
};

bool isRefusedBeside(const std::string& text) {
    Nesting nesting;
    const auto fault = Xml::read(text, nesting);
    Qdx::Fuzz::require(!fault || (fault->line > 0 && fault->text.find('\n') == std::string::npos));
    return fault.has_value();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    const auto first = read(text);
    const auto second = read(text);
    Qdx::Fuzz::require(first.faults == second.faults && first.includes == second.includes &&
                       first.thrown == second.thrown);
    Qdx::Fuzz::require(std::equal(first.objects.begin(), first.objects.end(),
                                  second.objects.begin(), second.objects.end(), same));
    // What throws in the collector ends its reading before all faults are known.
    Qdx::Fuzz::require(first.thrown || first.faults.empty() || isRefusedBeside(text));
    return 0;
}
