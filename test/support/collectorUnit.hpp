// A unit with a collector that runs.
#pragma once

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "support/process.hpp"
#include "support/unitRoot.hpp"

namespace TestSupport {

// Its catalogue has two measurements, tagged CPU and NET. Needs QDXD and QDXBE, the paths of the
// daemon and of the library.
class CollectorUnit {
public:
    CollectorUnit() {
        const auto objects = root_.path() / "objects.xml";
        std::ofstream(objects) << R"(<infoObjectList>
            <tags><tag name="CPU"/><tag name="NET"/></tags>
            <objects>
                <object id="1" name="cpu:load" type="meas"><tags>CPU</tags></object>
                <object id="2" name="net:delay" type="meas"><tags>NET</tags></object>
            </objects></infoObjectList>)";
        const auto database = root_.path() / "opt/zelvasw/srv/database/qdx/swdb.cfg";
        std::filesystem::create_directories(database.parent_path());
        std::ofstream(database) << "[qdx]\ninfoObjectListFilePath = '" << objects.string()
                                << "'\nenabled = 1\n";
    }

    ~CollectorUnit() {
        if (collector_ != nullptr) {
            expectGoodEnd(*collector_);
        }
    }
    CollectorUnit(const CollectorUnit&) = delete;
    CollectorUnit& operator=(const CollectorUnit&) = delete;

    void start() {
        collector_ = std::make_unique<Process>(std::vector<std::string>{QDXD, "--library", QDXBE});
        collector_->awaitError("qdxd: ready");
    }

    void kill() {
        collector_->signal(SIGKILL);
        collector_->awaitExit();
    }

    const std::filesystem::path& path() const { return root_.path(); }

private:
    UnitRoot root_;
    std::unique_ptr<Process> collector_;
};

}  // namespace TestSupport
