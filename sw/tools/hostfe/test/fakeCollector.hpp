// The collector's end of the wire, played by a test.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "InfoObjectCollections.pb.h"
#include "ozo.h"

namespace HostFe {

// One item of a batch, as it stands there.
struct Item {
    std::string name;
    std::string context;
    std::int64_t value = 0;
};

struct RecordItem {
    std::string name;
    std::string context;
    std::string bytes;
};

struct Batch {
    std::vector<Item> measurements;
    std::vector<Item> counters;
    std::vector<RecordItem> records;
};

// Owns the mailbox that frontends look for, on the thread that made it. What doesn't come within 20
// s fails the test and comes back empty.
class FakeCollector {
public:
    using Message = std::unique_ptr<ozo_msg, decltype(&ozo_free)>;

    explicit FakeCollector(const char* name);
    ~FakeCollector();
    FakeCollector(const FakeCollector&) = delete;
    FakeCollector& operator=(const FakeCollector&) = delete;

    // The next message, which must have that number; others fail the test.
    Message expect(std::uint32_t number);
    Qdx::RadioMetaData expectMetaData();
    Batch expectBatch();
    // The next record of the object, of the batches taken before or of one that comes.
    RecordItem expectRecord(const std::string& name);

    static std::uint32_t procedureOf(const ozo_msg* message);
    static std::uint32_t wordOf(const ozo_msg* message, std::size_t offset);

    // Answers a connection request: revision 1 is selected, or none is.
    static void confirm(const ozo_msg* request);
    static void reject(const ozo_msg* request);
    static void reply(std::uint32_t receiver, std::uint32_t number, std::uint32_t procedure);

    // Confirms the next request and takes the metadata that follow.
    void connect();

private:
    std::optional<RecordItem> takeRecord(const std::string& name);

    const std::uint32_t mailbox;
    std::vector<RecordItem> records;  // in the order in which they came
};

}  // namespace HostFe
