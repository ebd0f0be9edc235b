#include "ledger.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <sstream>

namespace QdxLoad {
namespace {

constexpr std::string_view firstLine = "qdxload ledger 2";
constexpr std::array<std::string_view, causeCount> causeNames{
    "notConnected", "refusedRevision", "slowCollector", "noMemory", "tooLarge"};

std::string inQuotes(std::string_view text) {
    return std::string("\"").append(text).append("\"");
}

void writePlan(std::ostream& out, const Plan& plan) {
    out << "plan " << plan.frontends << ' ' << plan.objects << ' ' << plan.contexts << ' '
        << plan.seed << ' ' << plan.recordSize << ' ' << plan.recordSpread << ' ';
    for (std::size_t i = 0; i < plan.kinds.size(); ++i) {
        out << (i == 0 ? "" : ",") << nameOf(plan.kinds[i]);
    }
    out << '\n';
}

void writeRange(std::ostream& out, const Range& range) {
    switch (range.fate) {
        case Fate::Sent:
            out << "sent " << range.first << ' ' << range.end << " connection " << range.number;
            break;
        case Fate::Dropped:
            out << "dropped " << range.first << ' ' << range.end << ' ' << nameOf(range.cause)
                << " at " << range.number;
            break;
        case Fate::Waiting:
            out << "waiting " << range.first << ' ' << range.end;
            break;
    }
    out << '\n';
}

// Reads line by line; each is words with single blanks.
class Reader {
public:
    Reader(std::istream& stream, const std::string& sourceName) : in(stream), source(sourceName) {}

    Ledger read() {
        nextLine();
        require(line == firstLine, "not a ledger of qdxload");
        Ledger ledger;
        nextLine();
        ledger.plan = readPlan();
        nextLine();
        for (std::uint32_t number = 0; number < ledger.plan.frontends; ++number) {
            ledger.frontends.push_back(readFrontend(number));
        }
        require(line == "end", "\"end\" expected");
        return ledger;
    }

private:
    void nextLine() {
        ++lineNumber;
        require(static_cast<bool>(std::getline(in, line)), "the ledger is cut off");
        words = std::istringstream(line);
    }

    void require(bool good, const std::string& what) const {
        if (!good) {
            throw BadLedger(source + ":" + std::to_string(lineNumber) + ": " + what);
        }
    }

    std::string word() {
        std::string text;
        words >> text;
        return text;
    }

    void expect(std::string_view literal) {
        require(word() == literal, inQuotes(literal) + " expected");
    }

    template <typename Number = std::uint64_t>
    Number number() {
        Number value = 0;
        const bool isDigit = (words >> std::ws).peek() >= '0' && words.peek() <= '9';
        require(isDigit && words >> value, "a number expected");
        return value;
    }

    void endLine() { require(word().empty(), "the line should end earlier"); }

    Plan readPlan() {
        expect("plan");
        Plan plan;
        plan.frontends = number<std::uint32_t>();
        plan.objects = number<std::uint32_t>();
        plan.contexts = number<std::uint32_t>();
        plan.seed = number();
        plan.recordSize = number<std::size_t>();
        plan.recordSpread = number<std::size_t>();
        plan.kinds = readKinds(word());
        endLine();
        const auto fault = plan.fault();
        require(fault.empty(), fault);
        return plan;
    }

    std::vector<Kind> readKinds(const std::string& text) const {
        std::vector<Kind> kinds;
        std::istringstream names(text);
        for (std::string name; std::getline(names, name, ',');) {
            const auto kind = kindNamed(name);
            require(kind.has_value(), inQuotes(name) + " is no kind");
            kinds.push_back(*kind);
        }
        return kinds;
    }

    static std::optional<Kind> kindNamed(std::string_view name) {
        for (const Kind kind : {Kind::Measurement, Kind::Counter, Kind::Record}) {
            if (nameOf(kind) == name) {
                return kind;
            }
        }
        return std::nullopt;
    }

    FrontendLedger readFrontend(std::uint32_t index) {
        expect("frontend");
        require(number() == index, "frontend " + std::to_string(index) + " expected");
        FrontendLedger frontend;
        expect("added");
        frontend.added = number();
        expect("last-connection");
        frontend.lastConnection = number();
        endLine();
        nextLine();
        std::uint64_t end = 0;
        for (; end < frontend.added; nextLine()) {
            frontend.ranges.push_back(readRange(end, frontend.added));
            end = frontend.ranges.back().end;
        }
        return frontend;
    }

    Range readRange(std::uint64_t first, std::uint64_t added) {
        const auto fate = word();
        Range range{.first = number(), .end = number(), .fate = Fate::Waiting};
        require(range.first == first && range.end > first && range.end <= added,
                "a range from " + std::to_string(first) + " expected");
        if (fate == "sent") {
            range.fate = Fate::Sent;
            expect("connection");
            range.number = number();
        } else if (fate == "dropped") {
            range.fate = Fate::Dropped;
            range.cause = readCause();
            expect("at");
            range.number = number();
            require(range.number >= range.end, "dropped before it was there");
        } else {
            require(fate == "waiting", "\"sent\", \"dropped\" or \"waiting\" expected");
        }
        endLine();
        return range;
    }

    Cause readCause() {
        const auto name = word();
        const auto* const found = std::find(causeNames.begin(), causeNames.end(), name);
        require(found != causeNames.end(), inQuotes(name) + " is no cause");
        return static_cast<Cause>(found - causeNames.begin());
    }

    std::istream& in;
    const std::string& source;
    std::size_t lineNumber = 0;
    std::string line;
    std::istringstream words;
};

}  // namespace

std::string_view nameOf(Cause cause) {
    return causeNames[static_cast<std::size_t>(cause)];
}

void writeLedger(std::ostream& out, const Ledger& ledger) {
    out << firstLine << '\n';
    writePlan(out, ledger.plan);
    for (std::size_t number = 0; number < ledger.frontends.size(); ++number) {
        const auto& frontend = ledger.frontends[number];
        out << "frontend " << number << " added " << frontend.added << " last-connection "
            << frontend.lastConnection << '\n';
        for (const auto& range : frontend.ranges) {
            writeRange(out, range);
        }
    }
    out << "end\n";
}

Ledger readLedger(std::istream& in, const std::string& source) {
    return Reader(in, source).read();
}

}  // namespace QdxLoad
