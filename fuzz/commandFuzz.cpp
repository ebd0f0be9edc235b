// Command lines of any words, one a line, through the real tables.
#include <functional>
#include <sstream>
#include <string>

#include "batchMessage.hpp"
#include "exceptionGuard.hpp"
#include "pieces.hpp"
#include "quardex.hpp"
#include "quardexShellCommands.hpp"
#include "tessel/util.hpp"
#include "traceRecorder.hpp"
#include "unitRoot.hpp"

namespace {

using namespace Qdx;

constexpr std::size_t longestLine = 4096;

// What completion offers for a filter names one.
void requireCompletionsToBeFilters(const Backend::Quardex& collector,
                                   const Backend::QuardexShellCommands& commands) {
    for (const auto& word : commands.completeDch("filterId")) {
        Fuzz::require(collector.findFilter(word).has_value());
    }
}

struct Unit {
    Unit() {
        root.writeCatalogue(R"(<infoObjectList><tags><tag name="T"/></tags><objects>
            <object id="1" name="m" type="meas"><tags>T</tags></object></objects></infoObjectList>)");
    }
    Test::UnitRoot root;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Unit unit;
    Test::TraceRecorder::instance().clear();
    Backend::Quardex collector;
    collector.allocateGlobalMemory();
    collector.determineMaxNumberOfFilters();
    Backend::QuardexShellCommands commands(&collector);
    commands.initShellCommandDch(true);
    commands.initShellCommandRodc(true);
    const auto sample = Test::BatchMessage().measurement("m", 1).message();

    const std::string lines(reinterpret_cast<const char*>(data), size);
    for (const auto& line : Tessel::Util::tokenize(lines, "\n")) {
        const auto words = Tessel::Util::tokenize(line.substr(0, longestLine), " ");
        std::ostringstream out;
        const int result = commands.cmdDch(words, out);
        Fuzz::require(result >= 0 && result <= 2);
        requireCompletionsToBeFilters(collector, commands);
        // A filter may refuse a sample with an exception, which ends at the guard of the handlers.
        const std::function<void()> feed = [&] {
            collector.handleBeProcessBatchesUreq(sample.get());
        };
        Backend::exceptionGuard(feed)();
    }
    std::ostringstream out;
    collector.deleteAllFilters(out);
    Fuzz::require(collector.getGlobalMemory()->getCommonResource()->getAllocatedSize() == 0);
    return 0;
}
