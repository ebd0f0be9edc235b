// Info object list files: whatever their text, reading ends, keeps its invariants and gives the
// same again.
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    const auto first = read(text);
    const auto second = read(text);
    Qdx::Fuzz::require(first.faults == second.faults && first.includes == second.includes &&
                       first.thrown == second.thrown);
    Qdx::Fuzz::require(std::equal(first.objects.begin(), first.objects.end(),
                                  second.objects.begin(), second.objects.end(), same));
    return 0;
}
