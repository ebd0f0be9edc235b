#include "benchUnit.hpp"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace Qdx::Bench {

namespace {

// Real names share their beginnings and differ late.
constexpr std::array groups = {"rf:tx:power:mean", "rf:tx:power:peak", "rf:rx:level:mean",
                               "rf:rx:noise:peak", "ul:harq:ack:rate", "dl:harq:ack:rate",
                               "ul:prb:load:mean", "dl:prb:load:mean", "hw:temp:pa:board",
                               "sw:cpu:core:load"};

// "rf:tx:power:mean:042": 20 characters.
std::string nameInGroup(std::size_t object, char firstDigit, std::size_t digits) {
    const auto number = std::to_string(object / groups.size());
    auto name = groups[object % groups.size()] + std::string(1, ':');
    name.append(3 - digits, firstDigit);
    name.append(digits - number.size(), '0');
    return name.append(number);
}

class BenchUnit {
public:
    BenchUnit() {
        auto pattern = (std::filesystem::temp_directory_path() / "qdxBenchXXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("no temporary directory at " + pattern);
        }
        root = pattern;
        setenv("UNIT_ROOT", root.c_str(), 1);
        writeCatalogue();
        writeDatabase();
    }
    ~BenchUnit() {
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }
    BenchUnit(const BenchUnit&) = delete;
    BenchUnit& operator=(const BenchUnit&) = delete;

private:
    void writeCatalogue() const {
        std::ofstream file(root / "list.xml");
        file << "<infoObjectList><tags><tag name='BENCH'/></tags><objects>";
        for (std::size_t object = 0; object < measurements; ++object) {
            writeObject(file, object + 1, measurementName(object), "meas");
        }
        for (std::size_t object = 0; object < counters; ++object) {
            writeObject(file, measurements + object + 1, counterName(object), "counter");
        }
        file << "</objects></infoObjectList>";
    }

    static void writeObject(std::ostream& file, std::size_t id, const std::string& name,
                            const char* type) {
        file << "<object id='" << id << "' name='" << name << "' type='" << type
             << "'><tags>BENCH</tags></object>";
    }

    void writeDatabase() const {
        const auto path = root / "opt/zelvasw/srv/database/qdx/swdb.cfg";
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << "[qdx]\nenabled = 1\nradioObservabilityEnabled = 1\n"
                               "globalMemoryLimit = 4000000000\ninfoObjectListFilePath = '"
                            << (root / "list.xml").string() << "'\n";
    }

    std::filesystem::path root;
};

}  // namespace

std::string measurementName(std::size_t object) {
    return nameInGroup(object, '0', 3);
}

std::string counterName(std::size_t object) {
    return nameInGroup(object, 'c', 2);
}

std::string contextOf(std::size_t series) {
    return "rfBranch=" + std::to_string(series % contextsPerObject) + ",carrierId=7";
}

void useBenchUnit() {
    static const BenchUnit unit;
}

std::unique_ptr<Backend::Quardex> collectorWith(const std::vector<std::string>& statements) {
    using namespace Backend;
    useBenchUnit();
    auto collector = std::make_unique<Quardex>();
    collector->allocateGlobalMemory();
    collector->determineMaxNumberOfFilters();
    std::int64_t id = 0;
    for (const auto& statement : statements) {
        auto text = " " + statement;
        const std::vector<CaptureStatement> parsed{CaptureStatement::parse(text).value()};
        collector->createFilter(FilterId{id}, std::to_string(id), parsed, 0, Enabled::Yes,
                                Static::No, Printable::Yes);
        ++id;
    }
    return collector;
}

}  // namespace Qdx::Bench
