// The collector.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "InfoObjectCollections.pb.h"
#include "filter.hpp"
#include "filterMemory.hpp"
#include "globalMemory.hpp"
#include "infoObject.hpp"
#include "outputEncoderIf.hpp"
#include "ozo.h"
#include "quardexBeIf.hpp"
#include "sampleRoutes.hpp"
#include "tessel/activeObject.hpp"
#include "tessel/startup.hpp"

namespace Qdx::Backend {

class BatchReader;
class InfoObjectListIf;
class QdxFilterCtrlIServer;
struct BatchItem;
class QuardexShellCommands;

// The one object of the library: loading the library registers it, the host creates it and calls
// start().
//
// start() makes the active object "QdxBackend". On its thread runs all else: activeObjectStart()
// reads the configuration, takes the memory budget, opens the mailbox "QuardexBeI" with the alias
// of the control server and registers the commands; then message handlers and commands, one at a
// time. Nothing here locks. A step of the start that fails disables the collector for good: nothing
// is undone, and the commands answer that they are disabled.
class Quardex : public Tessel::Startup::V1::StartupParticipantIf, public QuardexBeIf {
public:
    Quardex();
    // REQUIRES: no message, command or disappearance is delivered any more. The mailbox is deleted
    // on the active object.
    ~Quardex() override;
    Quardex(const Quardex&) = delete;
    Quardex& operator=(const Quardex&) = delete;

    void start() override;

    // The body of the active object, and its steps: false if the step failed.
    void activeObjectStart();
    bool allocateGlobalMemory();  // REQUIRES: no filters, whose memory would go with the old budget
    bool determineMaxNumberOfFilters();
    bool publishOZO();
    bool setupMessageHandlers();

    // Null if no budget was taken.
    GlobalMemory* getGlobalMemory() const { return globalMemory.get(); }

    // Handlers of the frontend protocol; msg stays the caller's. Each throws std::runtime_error for
    // a null message. Lengths in a message that would run past its end drop the rest of it with one
    // trace at Error.
    void handleBeConnectionReq(ozo_msg* msg);
    void handleBeProcessMetaDataUreq(ozo_msg* msg);
    void handleBeProcessBatchesUreq(ozo_msg* msg);

    // The time of all samples of a batch: the argument, or now.
    void setCurrTime(std::optional<time_point> time);
    void setClockAnchor(std::optional<ClockAnchor> anchor) { clockAnchor = anchor; }
    // Taken at the first call, and kept.
    ClockAnchor getClockAnchor();
    // Whether all six fields have arrived.
    bool isMetaDataCollected() const;

    // Offer a sample to every enabled filter, in order of ids. An exception from a filter ends the
    // round.
    void handleMeasurement(const InfoObject& object, const std::string& context,
                           const Qdx::V1::MeasurementData& value);
    void handleCounter(const InfoObject& object, const std::string& context,
                       const Qdx::V1::CounterData& value);
    void handleRecord(const InfoObject& object, const std::string& context,
                      const std::vector<unsigned char>& value);

    ErrorType pullFilterData(FilterId id, Clear clear, std::string& output) override;
    ErrorType printFilterData(std::optional<FilterId> id, std::optional<unsigned int> limit,
                              std::string& output) override;
    bool hasReachedMaxNumberOfFilters() const override;
    ErrorType createFilter(const FilterId& id, const std::string& name,
                           const std::vector<CaptureStatement>& statements,
                           unsigned long memoryLimit, Enabled enabled, Static isStatic,
                           Printable printable) override;
    std::optional<FilterId> findFilter(const std::string& text) const override;
    std::optional<std::string> listFilters(Printable printable) const override;
    void enableFilter(const FilterId& id) override;
    void disableFilter(const FilterId& id) override;
    void deleteFilter(FilterId id, std::ostream& out) override;
    void deleteAllFilters(std::ostream& out) override;
    void clearAllFilters(std::ostream& out) override;

    // Has the filter add its data to the encoder and counts it as used.
    ErrorType prepareFilterData(FilterId id, Clear clear, OutputEncoderIf* encoder);
    // The filter's budget. Throws std::out_of_range for an unknown id.
    FilterMemory* getFilterMemory(const FilterId& id) const { return filterMemories.at(id).get(); }
    // REQUIRES: every filter is static; the walk never gets past one that isn't.
    void deleteStaticFilters();

    static const std::function<std::shared_ptr<Tessel::Startup::V1::StartupParticipantIf>()>
        startupFunction;
    static const Tessel::Startup::V1::StartupRegistrar startupRegistrar;

private:
    using Filters = std::map<FilterId, std::shared_ptr<Filter>>;

    bool startSteps();
    static void replyToConnectionReq(const ozo_msg* request, std::uint32_t messageNumber,
                                     std::uint32_t value);
    template <typename T>
    using Push = void (Filter::*)(const InfoObject&, const std::string&, time_point, const T&);

    template <typename T>
    void offer(const InfoObject& object, const std::string& context, const T& value, Push<T> push);
    template <typename T>
    bool handleValues(BatchReader& batch, std::uint64_t sectionEnd,
                      const InfoObjectListIf& catalogue, InfoObjectType type, const char* sizeError,
                      Push<T> push);
    template <typename T>
    void feed(std::span<SampleRoutes::Feed> feeds, const T& value);
    template <typename T>
    void handleUnknownKey(std::string_view text, const BatchItem& item, const T& value,
                          const InfoObjectListIf& catalogue, InfoObjectType type, Push<T> push);
    void learnRoute(std::string_view key, const InfoObject& object, const std::string& context);
    void handleRecords(BatchReader& batch, const InfoObjectListIf& catalogue);
    Filters::iterator eraseWithAggregators(Filters::iterator entry);
    Filters::const_iterator findPrintable(std::optional<FilterId> id) const;

    std::unique_ptr<GlobalMemory> globalMemory;
    std::uint32_t maxNumberOfFilters = 0;
    // The two maps hold the same ids. A filter lies in its own memory, so it goes first.
    Filters filters;
    std::map<FilterId, std::unique_ptr<FilterMemory>> filterMemories;
    std::shared_ptr<QuardexShellCommands> shellCommands;
    std::shared_ptr<QdxFilterCtrlIServer> filterCtrlServer;
    std::shared_ptr<Tessel::ActiveObject::V1::ActiveObjectIf> activeObject;
    std::uint32_t mailbox = OZO_NO_MAILBOX;
    Qdx::RadioMetaData metaData;
    std::optional<ClockAnchor> clockAnchor;
    time_point currTime;
    SampleRoutes routes;
};

}  // namespace Qdx::Backend
