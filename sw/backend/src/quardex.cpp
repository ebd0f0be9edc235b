#include "quardex.hpp"

#include <algorithm>
#include <set>
#include <sstream>

#include "dbGet.hpp"
#include "exceptionGuard.hpp"
#include "infoObjectListIf.hpp"
#include "qdxFilterCtrlIServer.hpp"
#include "quardexShellCommands.hpp"
#include "tessel/clock.hpp"
#include "tessel/ozoMessageSubscription.hpp"
#include "trace.hpp"
#include "wireFormat.hpp"

namespace Qdx::Backend {

namespace {

using Tessel::ActiveObject::V1::ActiveObjectIf;
using Tessel::ActiveObject::V1::SchedulingPolicy;
using Tessel::Clock::V1::ClockIf;
using Tessel::OzoMessageSubscription::V1::OzoMessageSubscriptionIf;

constexpr unsigned int defaultGlobalMemoryLimit = 2 * 1024 * 1024;  // bytes
constexpr unsigned int defaultMaxFilterLimit = 10;
// The short way of samples may take as much memory again as this part of the budget.
constexpr unsigned int budgetPerRoutes = 4;

bool isOnInDatabase(const std::string& key) {
    return dbGet<unsigned char>(key) == 1;
}

// "a:b" of "a:b:1"; names without a colon stay whole.
std::string withoutLastElement(const std::string& name) {
    return name.substr(0, name.rfind(':'));
}

std::string joined(const std::set<std::string>& tags) {
    std::string text;
    for (const auto& tag : tags) {
        text += (text.empty() ? "" : " ") + tag;
    }
    return text;
}

// A text that memory fails for must not pass for a shorter one: what is written throws.
std::ostringstream wholeOrNothing() {
    std::ostringstream text;
    text.exceptions(std::ios::badbit);
    return text;
}

void listTags(const Filter& filter, std::ostream& out) {
    const char* separator = " ";
    for (const auto& statement : filter.getCaptureStatements()) {
        for (const auto& tag : statement.getTags()) {
            out << separator << tag;
            separator = ", ";
        }
    }
}

// One line for each group of objects whose names differ in the last element only.
void listCapturedObjects(const Filter& filter, std::ostream& out) {
    const auto& catalogue = InfoObjectListIf::getInstance();
    std::set<std::string> listed;
    filter.getCapturedObjects([&](const std::pair<InfoObjectId, std::string>& captured) {
        const auto* object = catalogue.getInfoObject(captured.first);
        if (object == nullptr) {
            return;
        }
        const auto name = withoutLastElement(object->getName());
        if (listed.insert(name).second) {
            out << "   " << name << " (" << joined(object->getTags()) << ")\n";
        }
    });
}

void listFilter(FilterId id, const Filter& filter, std::ostream& out) {
    out << " Filter " << filter.getName() << " (" << id
        << "): Enabled: " << (filter.isEnabled() ? "Yes" : "No") << ", FilterTag(s):";
    listTags(filter, out);
    out << "\n";
    if (filter.isEnabled() && filter.isPrintable()) {
        out << "  name (tags)\n";
        listCapturedObjects(filter, out);
        out << "\n";
    }
}

}  // namespace

const std::function<std::shared_ptr<Tessel::Startup::V1::StartupParticipantIf>()>
    Quardex::startupFunction = [] { return std::make_shared<Quardex>(); };
const Tessel::Startup::V1::StartupRegistrar Quardex::startupRegistrar(Quardex::startupFunction);

Quardex::Quardex() = default;

Quardex::~Quardex() {
    if (activeObject) {
        activeObject->runOnActiveObject(
            [box = mailbox, keptUntilDone = activeObject] { ozo_delete_mailbox(box); });
    }
    // The budgets go before the filters when the members do; what lies in them has to go earlier.
    filters.clear();
}

// --- Start -------------------------------------------------------------------------------------

void Quardex::start() {
    QDX_TRACE(Info, "Entering start");
    const std::function<void()> body = [this] { activeObjectStart(); };
    activeObject = ActiveObjectIf::create("QdxBackend", exceptionGuard(body), SchedulingPolicy{0});
    if (!activeObject) {
        QDX_TRACE(Error, "Could not create process for QDX.");
    }
    QDX_TRACE(Info, "Leaving start");
}

void Quardex::activeObjectStart() {
    QDX_TRACE(Info, "Entering activeObjectStart");
    bool enabled = isOnInDatabase("/qdx/enabled");
    const bool observable = enabled && isOnInDatabase("/qdx/radioObservabilityEnabled");
    QDX_TRACE(Trace5, "QDX is " << (enabled ? "enabled" : "disabled") << " in database");
    QDX_TRACE(Trace5, "RODC is " << (observable ? "enabled" : "disabled") << " in database");

    if (enabled && !allocateGlobalMemory()) {
        QDX_TRACE(Error, "Could not allocate global memory buffer for QDX. Disabling QDX.");
        enabled = false;
    }
    shellCommands = std::make_shared<QuardexShellCommands>(this);

    const bool dch = enabled && startSteps();
    shellCommands->initShellCommandDch(dch);
    shellCommands->initShellCommandRodc(dch && observable);
    QDX_TRACE(Info, "Leaving activeObjectStart");
}

bool Quardex::startSteps() {
    if (!determineMaxNumberOfFilters()) {
        QDX_TRACE(Error, "Could not determine max number of filters. Disabling QDX.");
        return false;
    }
    if (!shellCommands->createStaticFilters()) {
        QDX_TRACE(Error, "Could not create static filters. Disabling QDX.");
        return false;
    }
    if (!publishOZO()) {
        QDX_TRACE(Error, "Could not publish mailboxes. Disabling QDX.");
        return false;
    }
    if (!setupMessageHandlers()) {
        QDX_TRACE(Error, "Could not setup message handlers. Disabling QDX.");
        return false;
    }
    return true;
}

bool Quardex::allocateGlobalMemory() {
    const auto configured = dbGet<unsigned int>("/qdx/globalMemoryLimit");
    if (!configured) {
        QDX_TRACE(Info,
                  "Global memory limit not defined in database (/qdx/globalMemoryLimit), using "
                  "default value "
                      << defaultGlobalMemoryLimit << " bytes.");
    } else {
        QDX_TRACE(Info,
                  "Decided global memory limit from '/qdx/globalMemoryLimit' database "
                  "parameter. Value is "
                      << *configured << " bytes.");
        if (*configured == 0) {
            QDX_TRACE(Error,
                      "QDX global memory limit set to an invalid value 0 bytes. If you meant to "
                      "disable QDX, use the /qdx/enabled parameter instead.");
            return false;
        }
    }
    const auto limit = configured.value_or(defaultGlobalMemoryLimit);
    globalMemory = std::make_unique<GlobalMemory>(limit);
    routes = SampleRoutes(limit / budgetPerRoutes);
    return true;
}

bool Quardex::determineMaxNumberOfFilters() {
    const auto configured = dbGet<unsigned int>("/qdx/maxFilterLimit");
    if (!configured) {
        QDX_TRACE(Info,
                  "Maximum number of filters not defined in database (/qdx/maxFilterLimit), using "
                  "default value "
                      << defaultMaxFilterLimit);
    } else {
        QDX_TRACE(Info,
                  "Determined max number of filters from '/qdx/maxFilterLimit' database "
                  "parameter. Value is "
                      << *configured);
        if (*configured == 0) {
            QDX_TRACE(Error,
                      "QDX max number of filters set to 0 in database. If you meant to disable "
                      "QDX, use the /qdx/enabled parameter instead.");
            return false;
        }
    }
    maxNumberOfFilters = configured.value_or(defaultMaxFilterLimit);
    return true;
}

bool Quardex::publishOZO() {
    mailbox = ozo_create_mailbox(V1::collectorMailbox, 0);
    if (mailbox == OZO_NO_MAILBOX) {
        QDX_TRACE(Error, "Could not create mailbox for QDX.");
        return false;
    }
    filterCtrlServer = std::make_shared<QdxFilterCtrlIServer>(this);
    const auto alias = filterCtrlServer->serverName;
    QDX_TRACE(Info, "Published mailbox alias " << alias << " for QFCI server");
    if (ozo_add_name(mailbox, alias.c_str()) != 0) {
        QDX_TRACE(Error, "Could not create mailbox alias for QFCI.");
        return false;
    }
    filterCtrlServer->mailboxId = mailbox;
    if (OzoMessageSubscriptionIf::getInstance().addMailbox(ozo_get_fd()) != 0) {
        QDX_TRACE(Error, "Could not monitor QDX mailbox.");
        return false;
    }
    return true;
}

bool Quardex::setupMessageHandlers() {
    struct Subscription {
        std::uint32_t messageNumber;
        std::function<void(ozo_msg*)> handle;
    };
    const Subscription subscriptions[] = {
        {V1::beConnectionReq, [this](ozo_msg* msg) { handleBeConnectionReq(msg); }},
        {V1::beProcessBatchesUreq,
         [this](ozo_msg* msg) {
             setCurrTime(std::nullopt);
             handleBeProcessBatchesUreq(msg);
         }},
        {V1::beProcessMetaDataUreq, [this](ozo_msg* msg) { handleBeProcessMetaDataUreq(msg); }},
        {qdxfilterctrli::ConnectionEstablishReq::MESSAGE_NUMBER,
         [this](ozo_msg* msg) { filterCtrlServer->handleQfciConnectionEstablishReq(msg); }},
        {qdxfilterctrli::CapabilityExchangeReq::MESSAGE_NUMBER,
         [this](ozo_msg* msg) { filterCtrlServer->handleQfciCapabilityExchangeReq(msg); }},
        {qdxfilterctrli::PullFilterDataReq::MESSAGE_NUMBER,
         [this](ozo_msg* msg) { filterCtrlServer->handleQfciPullFilterDataReq(msg); }},
        {qdxfilterctrli::FilterContentsRAck::MESSAGE_NUMBER,
         [this](ozo_msg* msg) { filterCtrlServer->handleQfciFilterContentsRAck(msg); }},
    };
    for (const auto& subscription : subscriptions) {
        const OzoMessageSubscriptionIf::Handler handler =
            [handle = subscription.handle](const std::shared_ptr<ozo_msg>& msg) {
                handle(msg.get());
            };
        const int result = OzoMessageSubscriptionIf::getInstance().addHandler(
            subscription.messageNumber, exceptionGuard(handler));
        if (result != 0) {
            QDX_TRACE(Error, "Failed to add msg handler for "
                                 << std::hex << subscription.messageNumber << ": " << result
                                 << " was returned");
            return false;
        }
    }
    return true;
}

// --- Clocks and metadata -----------------------------------------------------------------------

void Quardex::setCurrTime(std::optional<time_point> time) {
    currTime = time.value_or(ClockIf::getInstance().steadyNow());
}

ClockAnchor Quardex::getClockAnchor() {
    if (!clockAnchor) {
        const auto steady = ClockIf::getInstance().steadyNow();
        const auto wall = ClockIf::getInstance().wallNow();
        setClockAnchor(ClockAnchor{steady, wall});
    }
    return *clockAnchor;
}

bool Quardex::isMetaDataCollected() const {
    return metaData.has_swproductnumber() && metaData.has_swproductrevision() &&
           metaData.has_hwproductnumber() && metaData.has_hwproductrevision() &&
           metaData.has_hwserialnumber() && metaData.has_hwname();
}

// --- The fan-out of a sample -------------------------------------------------------------------

template <typename T>
void Quardex::offer(const InfoObject& object, const std::string& context, const T& value,
                    Push<T> push) {
    for (const auto& [id, filter] : filters) {
        if (filter->isEnabled()) {
            (filter.get()->*push)(object, context, currTime, value);
        }
    }
}

template void Quardex::offer(const InfoObject&, const std::string&, const Qdx::V1::MeasurementData&,
                             Push<Qdx::V1::MeasurementData>);
template void Quardex::offer(const InfoObject&, const std::string&, const Qdx::V1::CounterData&,
                             Push<Qdx::V1::CounterData>);

void Quardex::handleMeasurement(const InfoObject& object, const std::string& context,
                                const Qdx::V1::MeasurementData& value) {
    routes.straighten();
    offer(object, context, value, &Filter::pushMeasurement);
}

void Quardex::handleCounter(const InfoObject& object, const std::string& context,
                            const Qdx::V1::CounterData& value) {
    routes.straighten();
    offer(object, context, value, &Filter::pushCounter);
}

void Quardex::handleRecord(const InfoObject& object, const std::string& context,
                           const std::vector<unsigned char>& value) {
    offer(object, context, value, &Filter::pushRecord);
}

// --- The registry of filters -------------------------------------------------------------------

bool Quardex::hasReachedMaxNumberOfFilters() const {
    return filters.size() >= maxNumberOfFilters;
}

ErrorType Quardex::createFilter(const FilterId& id, const std::string& name,
                                const std::vector<CaptureStatement>& statements,
                                unsigned long memoryLimit, Enabled enabled, Static isStatic,
                                Printable printable) {
    if (hasReachedMaxNumberOfFilters()) {
        QDX_TRACE(Error, "Cannot create more filters, maximum number of filters reached! "
                             << filters.size() << " filters allocated.");
        return ErrorType::MaxFiltersReached;
    }
    routes.clear();
    filters.erase(id);
    filterMemories.erase(id);
    try {
        const auto limit = memoryLimit == 0 ? std::nullopt : std::optional(memoryLimit);
        const auto memory =
            filterMemories
                .emplace(id, std::make_unique<FilterMemory>(name, limit, getGlobalMemory()))
                .first;
        auto* main = memory->second->getMainResource();
        auto* content = memory->second->getContentResource();
        filters.emplace(id, std::allocate_shared<Filter>(
                                std::pmr::polymorphic_allocator<Filter>(main), name, statements,
                                enabled, isStatic, printable, content, main));
    } catch (const std::bad_alloc&) {
        filters.erase(id);
        filterMemories.erase(id);
        return ErrorType::NotEnoughMemory;
    }
    return ErrorType::NoError;
}

std::optional<FilterId> Quardex::findFilter(const std::string& text) const {
    for (const auto& [id, filter] : filters) {
        if (filter->getName() == text || std::to_string(static_cast<std::int64_t>(id)) == text) {
            return id;
        }
    }
    return std::nullopt;
}

void Quardex::enableFilter(const FilterId& id) {
    routes.clear();
    if (const auto entry = filters.find(id); entry != filters.end()) {
        entry->second->enable();
    }
}

void Quardex::disableFilter(const FilterId& id) {
    routes.clear();
    if (const auto entry = filters.find(id); entry != filters.end()) {
        entry->second->disable();
    }
}

void Quardex::deleteFilter(FilterId id, std::ostream& out) {
    const auto entry = filters.find(id);
    if (entry == filters.end()) {
        out << "No filter with ID: " << id << " found" << std::endl;
        return;
    }
    if (entry->second->isStatic()) {
        out << "Cannot delete static filters" << std::endl;
        return;
    }
    out << "Deleting filter with ID: " << id << std::endl;
    routes.clear();
    filters.erase(entry);
    filterMemories.erase(id);
}

Quardex::Filters::iterator Quardex::eraseWithAggregators(Filters::iterator entry) {
    const auto id = entry->first;
    routes.clear();
    entry->second->eraseAggregators();
    const auto next = filters.erase(entry);
    filterMemories.erase(id);
    return next;
}

void Quardex::deleteAllFilters(std::ostream& out) {
    for (auto entry = filters.begin(); entry != filters.end();) {
        entry = entry->second->isStatic() ? std::next(entry) : eraseWithAggregators(entry);
    }
    out << "Deleting all filters except static filters\n";
}

void Quardex::deleteStaticFilters() {
    for (auto entry = filters.begin(); entry != filters.end();) {
        if (entry->second->isStatic()) {
            entry = eraseWithAggregators(entry);
        }
    }
}

void Quardex::clearAllFilters(std::ostream& out) {
    if (filters.empty()) {
        out << "No Filter(s) found\n";
        return;
    }
    routes.straighten();
    for (const auto& [id, filter] : filters) {
        out << "Clearing data for FilterId " << id << "\n";
        filter->clearData(currTime);
    }
    out << "Clearing all filter data complete.\n";
}

ErrorType Quardex::prepareFilterData(FilterId id, Clear clear, OutputEncoderIf* encoder) {
    const auto entry = filters.find(id);
    if (entry == filters.end()) {
        return ErrorType::NoSuchFilter;
    }
    const auto& filter = entry->second;
    if (!filter->isEnabled()) {
        return ErrorType::FilterDisabled;
    }
    routes.straighten();
    if (!filter->isUsed()) {
        routes.clear();
        filter->markAsUsed();
    }
    filter->pullData(currTime, encoder, clear);
    return encoder->empty() ? ErrorType::NoDataYet : ErrorType::NoError;
}

ErrorType Quardex::pullFilterData(FilterId id, Clear clear, std::string& output) {
    const auto encoder = OutputEncoderIf::create(getClockAnchor());
    if (!isMetaDataCollected()) {
        return ErrorType::MetaDataNotSet;
    }
    encoder->addMetaData(metaData);
    const auto result = prepareFilterData(id, clear, encoder.get());
    if (result == ErrorType::NoError) {
        output += encoder->build();
    }
    return result;
}

// The filter of the id, or the first of all, if it is printable.
Quardex::Filters::const_iterator Quardex::findPrintable(std::optional<FilterId> id) const {
    if (!id) {
        return std::find_if(filters.begin(), filters.end(),
                            [](const auto& entry) { return entry.second->isPrintable(); });
    }
    const auto entry = filters.find(*id);
    return entry != filters.end() && entry->second->isPrintable() ? entry : filters.end();
}

ErrorType Quardex::printFilterData(std::optional<FilterId> id, std::optional<unsigned int> limit,
                                   std::string& output) {
    const auto encoder = OutputEncoderIf::create(getClockAnchor());
    const auto entry = findPrintable(id);
    if (entry == filters.end()) {
        return ErrorType::NoSuchFilter;
    }
    const auto result = prepareFilterData(entry->first, Clear::No, encoder.get());
    if (result != ErrorType::NoError) {
        return result;
    }
    auto report = wholeOrNothing();
    encoder->print(report, limit);
    output = report.str();
    return ErrorType::NoError;
}

std::optional<std::string> Quardex::listFilters(Printable printable) const {
    auto listing = wholeOrNothing();
    for (const auto& [id, filter] : filters) {
        if (filter->isPrintable() == (printable == Printable::Yes)) {
            listFilter(id, *filter, listing);
        }
    }
    if (listing.view().empty()) {
        return std::nullopt;
    }
    return "Current Filter(s):\n" + listing.str();
}

}  // namespace Qdx::Backend
