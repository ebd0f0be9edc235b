// Recordings of any content, played twice: every pull and every frame can be parsed, all memory of
// the budget is accounted for, and the second time is the first one to the byte. An input that
// fails is a recording: qdx-replay shows how the collector comes to it.
#include <algorithm>
#include <chrono>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "../test/support/objects.hpp"
#include "InfoObjectCollections.pb.h"
#include "controlFrame.hpp"
#include "pieces.hpp"
#include "printer.hpp"
#include "qdxFilterCtrlI.pb.h"
#include "recording/encoder.hpp"
#include "tessel/util.hpp"

extern "C" std::size_t __attribute__((weak))
LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

namespace {

using namespace Recording;
using Qdx::Fuzz::require;

// Commands compile regular expressions: a recording of many is slow and tells no more.
constexpr std::size_t mostCommands = 20;
constexpr std::size_t mostEvents = 1000;

bool isRow(const std::vector<std::string>& words, const std::vector<std::string>& row) {
    return words.size() >= row.size() && std::equal(row.begin(), row.end(), words.begin());
}

template <typename Collections>
void checkSeries(const Collections& collections) {
    for (const auto& collection : collections) {
        require(collection.values_size() == collection.timestamps_size());
    }
}

void checkPull(const std::string& output) {
    static const std::string before = "<QdxOutput>";
    static const std::string after = "</QdxOutput>\n";
    if (output.rfind(before, 0) != 0) {
        return;  // refused
    }
    require(output.size() >= before.size() + after.size());
    const auto text = output.substr(before.size(), output.size() - before.size() - after.size());
    const auto bytes = Tessel::Util::Base64::decode(text);
    Qdx::InfoObjectCollections collections;
    require(collections.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())));
    checkSeries(collections.measurementcollections());
    checkSeries(collections.countercollections());
    checkSeries(collections.recordcollections());
}

class Checker : public Replay::Printer {
public:
    Checker(std::ostream& out, const Header& header) : Printer(out), header_(header) {}

    void onAnswer(const std::vector<std::string>& words, const std::string& output,
                  int status) override {
        if (isRow(words, {"dch"}) || isRow(words, {"rodc"})) {
            require(status >= 0 && status <= 2);
        }
        if (isRow(words, {"dch", "filter", "pull"})) {
            checkPull(output);
        }
        Printer::onAnswer(words, output, status);
    }

    void onReply(std::uint32_t receiver, const ozo_msg& message) override {
        require(ozo_size(&message) <= header_.maxMessageSize);
        if (message.msgno == qdxfilterctrli::FilterContentsRData::MESSAGE_NUMBER) {
            qdxfilterctrli::FilterContentsRData chunk;
            Qdx::Control::References references;
            const auto* bytes = reinterpret_cast<const unsigned char*>(&message);
            require(Qdx::Control::decode({bytes, ozo_size(&message)}, references, chunk));
            require(chunk.has_stream_id() && chunk.has_data_chunk() && chunk.has_has_more_data());
        }
        Printer::onReply(receiver, message);
    }

private:
    const Header& header_;
};

// A stream over bytes that stay where they are.
class Bytes : public std::streambuf {
public:
    explicit Bytes(std::string& bytes) {
        setg(bytes.data(), bytes.data(), bytes.data() + bytes.size());
    }
};

// The collector reads its catalogue once in a process.
bool hasTheCatalogue(const Header& header) {
    return header.listFiles.size() == 1 && header.listFiles[0].name == "objects.xml" &&
           header.listFiles[0].text == TestSupport::objects;
}

struct Content {
    Header header;
    std::size_t headerSize = 0;
    std::vector<Entry> entries;
};

// What can be read of it; nothing if there is no header, or another catalogue.
std::optional<Content> contentOf(std::string bytes) {
    Bytes buffer(bytes);
    std::istream stream(&buffer);
    Content content;
    try {
        Reader reader(stream);
        content.header = reader.header();
        content.headerSize = reader.offset();
        if (!hasTheCatalogue(content.header)) {
            return std::nullopt;
        }
        while (auto entry = reader.next()) {
            content.entries.push_back(*std::move(entry));
        }
    } catch (const Fault&) {
        return content.headerSize == 0 ? std::nullopt : std::optional(std::move(content));
    }
    return content;
}

bool isShort(const Content& content) {
    const auto commands = std::count_if(
        content.entries.begin(), content.entries.end(),
        [](const Entry& entry) { return std::holds_alternative<Command>(entry.what); });
    return static_cast<std::size_t>(commands) <= mostCommands &&
           content.entries.size() <= mostEvents;
}

void checkBudget(Qdx::Backend::Quardex& collector, std::size_t limit) {
    auto* memory = collector.getGlobalMemory()->getCommonResource();
    require(memory->getAllocatedSize() + *memory->getRemainingSize() == limit);
}

std::string played(std::string bytes) {
    Bytes buffer(bytes);
    std::istream stream(&buffer);
    Reader reader(stream);
    std::ostringstream out;
    Checker checker(out, reader.header());
    Replay::Player player(reader, checker);
    auto& collector = player.collector();
    const bool enabled = collector.getGlobalMemory() != nullptr;
    const auto limit =
        enabled ? collector.getGlobalMemory()->getCommonResource()->getAllocatedSize() +
                      *collector.getGlobalMemory()->getCommonResource()->getRemainingSize()
                : 0;
    try {
        player.play();
    } catch (const Fault& fault) {
        out << fault.what();
    }
    if (enabled) {
        checkBudget(collector, limit);
    }
    return out.str();
}

// --- Mutations ---------------------------------------------------------------------------------

struct Append {
    Encoder& encoder;
    std::chrono::nanoseconds steady;

    void operator()(const Message& message) const {
        encoder.message(steady, message.sender, message.number,
                        std::as_bytes(std::span(message.payload)));
    }
    void operator()(const MailboxGone& gone) const { encoder.mailboxGone(steady, gone.sender); }
    void operator()(const Command& command) const { encoder.command(steady, command.words); }
    void operator()(const SteadyReading&) const { encoder.steadyReading(steady); }
    void operator()(const WallReading& reading) const { encoder.wallReading(steady, reading.wall); }
};

void mutate(std::string& text) {
    const auto size = text.size();
    const auto room = size + 16;
    text.resize(room);
    text.resize(LLVMFuzzerMutate(reinterpret_cast<std::uint8_t*>(text.data()), size, room));
}

void mutate(Entry& entry) {
    if (auto* message = std::get_if<Message>(&entry.what)) {
        mutate(message->payload);
    } else if (auto* command = std::get_if<Command>(&entry.what)) {
        mutate(command->words.back());
    } else {
        // A second either way, or what is left of the clock.
        const auto moved = entry.steady + std::chrono::milliseconds(1);
        entry.steady = std::chrono::nanoseconds(moved.count() ^ (std::int64_t{1} << 30));
    }
}

// A change of one entry, its place or its number.
void mutate(std::vector<Entry>& entries, std::minstd_rand& random) {
    const auto any = [&] { return entries.begin() + static_cast<int>(random() % entries.size()); };
    switch (random() % 4) {
        case 0:
            entries.insert(any(), *any());
            break;
        case 1:
            entries.erase(any());
            break;
        case 2:
            std::iter_swap(any(), any());
            break;
        default:
            mutate(*any());
    }
}

}  // namespace

// Keeps the header, and the entries entries most of the time.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t maxSize, unsigned seed) {
    auto content = contentOf({reinterpret_cast<const char*>(data), size});
    if (!content) {
        return LLVMFuzzerMutate(data, size, maxSize);
    }
    std::minstd_rand random(seed);
    if (content->entries.empty() || random() % 8 == 0) {
        const auto kept = content->headerSize;
        return kept + LLVMFuzzerMutate(data + kept, size - kept, maxSize - kept);
    }
    mutate(content->entries, random);
    Encoder encoder(content->header);
    for (const auto& entry : content->entries) {
        std::visit(Append{encoder, entry.steady}, entry.what);
    }
    const auto& bytes = encoder.bytes();
    if (bytes.size() > maxSize) {
        return size;
    }
    std::copy(bytes.begin(), bytes.end(), data);
    return bytes.size();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const auto content = contentOf(bytes);
    if (!content || !isShort(*content)) {
        return 0;
    }
    require(played(bytes) == played(bytes));
    return 0;
}
