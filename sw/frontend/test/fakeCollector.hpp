// The collector's end of the wire, played by a test on a thread of its own.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "InfoObjectCollections.pb.h"
#include "ozoTestSupport.hpp"
#include "wireFormat.hpp"

namespace Qdx::Frontend {

// One item of a batch, as it stands there.
struct Item {
    std::string key;  // "name" or "name context"
    std::int64_t value = 0;
    std::string bytes = {};  // of a record

    friend bool operator==(const Item&, const Item&) = default;
};

struct Batch {
    std::vector<Item> measurements;
    std::vector<Item> counters;
    std::vector<Item> records;
    std::size_t size = 0;  // of the message
};

// Stands still unless a test calls it: tests are sequences. What doesn't come fails the test and
// comes back empty. As it goes, so does its mailbox.
class FakeCollector {
public:
    // Answers the connection request that waits: with revision 1, or that none is common.
    void confirm();
    void reject();
    // Answers the last one of all that wait.
    void answerLast(bool confirmed);
    // Reads and forgets the connection requests that wait; gives their number.
    std::size_t ignoreRequests();

    // What waits next, which must be of that kind.
    RadioMetaData metaData();
    Batch batch();
    // All batches that wait.
    std::vector<Batch> batches();
    bool nothingWaits();

    // Reads as a collector does, until that many batches came. Any thread.
    std::vector<Batch> serve(std::size_t batches);

private:
    OzoTest::Message next(std::uint32_t number);
    void answer(std::uint32_t number);
    static void reply(const OzoTest::Message& request, std::uint32_t number);

    OzoTest::MailboxThread thread{V1::collectorMailbox};
};

}  // namespace Qdx::Frontend
