#include "qdxFilterCtrlIServer.hpp"

#include <algorithm>
#include <functional>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "contentsChunks.hpp"
#include "exceptionGuard.hpp"
#include "tessel/ozoMailboxMonitor.hpp"
#include "trace.hpp"

namespace Qdx::Backend {

namespace {

using qdxfilterctrli::CapabilityExchangeCfm;
using qdxfilterctrli::CapabilityExchangeReq;
using qdxfilterctrli::ConnectionEstablishCfm;
using qdxfilterctrli::ConnectionEstablishRej;
using qdxfilterctrli::ConnectionEstablishReq;
using qdxfilterctrli::FilterContentsRAck;
using qdxfilterctrli::FilterContentsRData;
using qdxfilterctrli::PullFilterDataCfm;
using qdxfilterctrli::PullFilterDataRej;
using qdxfilterctrli::PullFilterDataReq;
using Tessel::OzoMailboxMonitor::V1::OzoMailboxMonitorIf;

constexpr std::size_t mailboxNameSize = 255;  // the NUL included

// Empty for a mailbox that is gone.
std::string nameOfMailbox(std::uint32_t mailbox) {
    char name[mailboxNameSize] = {};
    (void)ozo_get_name(mailbox, name, sizeof(name));
    return name;
}

// "{1,2}"
std::string inBraces(const std::vector<std::uint32_t>& numbers) {
    std::ostringstream text;
    const char* separator = "{";
    for (const auto number : numbers) {
        text << separator << number;
        separator = ",";
    }
    text << (numbers.empty() ? "{}" : "}");
    return text.str();
}

void requireMessage(const ozo_msg* msg, const char* handler) {
    if (msg == nullptr) {
        throw std::runtime_error(std::string("Null pointer in ") + handler);
    }
}

// False if the reply can't be encoded. Its memory then stays where it is: nothing here frees
// messages.
template <typename Body>
bool send(const OzoMboxIds& mailboxes, Control::References references, const Body& body) {
    const auto size = Control::frameSize(body);
    auto* msg = ozo_alloc(size, Body::MESSAGE_NUMBER);
    const bool encoded =
        msg != nullptr && Control::encode(Body::MESSAGE_NUMBER, references, body,
                                          {reinterpret_cast<unsigned char*>(msg), size});
    if (!isSuccess(encoded, Body::descriptor()->name(), references.connection,
                   mailboxes.peerMboxId)) {
        return false;
    }
    ozo_send(msg, mailboxes.peerMboxId, mailboxes.ownMboxId);
    return true;
}

}  // namespace

// A request with all that its replies need.
template <typename Body>
struct QdxFilterCtrlIServer::Request {
    static std::optional<Request> decode(const ozo_msg* msg, std::uint32_t ownMailbox) {
        Request request{{ownMailbox, ozo_sender(msg)}, {}, {}};
        const bool decoded =
            Control::decode({reinterpret_cast<const unsigned char*>(msg), ozo_size(msg)},
                            request.references, request.body);
        if (!isSuccess(decoded, Body::descriptor()->name(), 0, OZO_NO_MAILBOX)) {
            return std::nullopt;
        }
        return request;
    }

    OzoMboxIds mailboxes;
    Control::References references;
    Body body;
};

std::uint32_t QdxFilterCtrlIServer::lastConnRef = 0;
std::uint32_t QdxFilterCtrlIServer::lastStreamId = 0;

std::ostream& operator<<(std::ostream& out, const QfciClientInfo& client) {
    return out << "ConnRef " << client.connRef << ", ProcRef " << client.procRef << ", SelProtRev "
               << client.selectedProtocolRev << ", MailboxId 0x" << std::hex << client.mailboxId
               << std::dec << ", Mailbox name \"" << client.mailboxName << '"';
}

bool isSuccess(bool success, const std::string& messageName, unsigned connRef, unsigned mailboxId) {
    if (success) {
        return true;
    }
    if (connRef == 0) {
        QDX_TRACE(Error, messageName << " could not be decoded");
    } else {
        QDX_TRACE(Error, "Failed to encode " << messageName << " for client 0x" << std::hex
                                             << connRef << " from " << nameOfMailbox(mailboxId));
    }
    return false;
}

QdxFilterCtrlIServer::QdxFilterCtrlIServer(QuardexBeIf* theBackend) : backend(theBackend) {}

// --- Connections -------------------------------------------------------------------------------

void QdxFilterCtrlIServer::handleQfciConnectionEstablishReq(ozo_msg* msg) {
    requireMessage(msg, "handleQfciConnectionEstablishReq");
    QDX_TRACE(Info, "Entering handleQfciConnectionEstablishReq");
    const auto request = Request<ConnectionEstablishReq>::decode(msg, mailboxId);
    if (!request) {
        return;
    }
    const auto& [mailboxes, references, body] = *request;
    if (clients.size() >= maxClients) {
        sendConnEstablishRej(mailboxes, references.procedure, references.connection,
                             ConnectionEstablishRej::MAX_NUMBER_OF_CONNECTIONS_EXCEEDED);
        return;
    }
    const std::vector<unsigned> revisions(body.supported_revisions().begin(),
                                          body.supported_revisions().end());
    const auto revision = determineProtocolRevision(revisions);
    if (revision == 0) {
        QDX_TRACE(Info, "No supported protocol revisions. Client's revisions: "
                            << inBraces(revisions)
                            << ". Server's revisions: " << inBraces(supportedRevisions));
        sendConnEstablishRej(mailboxes, references.procedure, references.connection,
                             ConnectionEstablishRej::NO_SUPPORTED_PROTOCOL_REVISION);
        return;
    }
    acceptClient(*request, revision);
}

void QdxFilterCtrlIServer::acceptClient(const Request<ConnectionEstablishReq>& request,
                                        unsigned revision) {
    const auto connRef = ++lastConnRef;
    const auto client = request.mailboxes.peerMboxId;
    const std::function<void(std::uint32_t)> removeGone =
        [weak = weak_from_this()](std::uint32_t gone) {
            if (const auto server = weak.lock()) {
                server->onClientDisconnect(gone);
            }
        };
    (void)OzoMailboxMonitorIf::getInstance().monitorMailbox(client, exceptionGuard(removeGone));
    const QfciClientInfo info{connRef, request.references.procedure, revision, client,
                              nameOfMailbox(client)};
    addClient(connRef, info);
    sendConnEstablishCfm(request.mailboxes, info);
}

unsigned QdxFilterCtrlIServer::determineProtocolRevision(
    const std::vector<unsigned>& clientRevisions) const {
    unsigned largest = 0;
    for (const auto revision : clientRevisions) {
        if (std::ranges::find(supportedRevisions, revision) != supportedRevisions.end()) {
            largest = std::max(largest, revision);
        }
    }
    return largest;
}

void QdxFilterCtrlIServer::addClient(unsigned connRef, const QfciClientInfo& client) {
    clients.emplace(connRef, client);
    QDX_TRACE(Info, "Adding client: " << client);
}

bool QdxFilterCtrlIServer::removeClient(unsigned connRef) {
    const auto client = clients.find(connRef);
    if (client == clients.end()) {
        return false;
    }
    QDX_TRACE(Info, "Deleting client: " << client->second);
    clients.erase(client);
    return true;
}

bool QdxFilterCtrlIServer::isClientRegistered(unsigned connRef) const {
    const auto client = clients.find(connRef);
    if (client == clients.end()) {
        return false;
    }
    QDX_TRACE(Trace7, "Found client: " << client->second);
    return true;
}

bool QdxFilterCtrlIServer::isFromClient(Control::References references) const {
    if (isClientRegistered(references.connection)) {
        return true;
    }
    QDX_TRACE(Info, "Ignoring messages from unregistered client");
    return false;
}

std::vector<unsigned> QdxFilterCtrlIServer::getConnectionRefsByMailboxId(unsigned mailbox) const {
    std::vector<unsigned> connRefs;
    for (const auto& [connRef, client] : clients) {
        if (client.mailboxId == mailbox) {
            connRefs.push_back(connRef);
        }
    }
    return connRefs;
}

void QdxFilterCtrlIServer::onClientDisconnect(unsigned mailbox) {
    const auto connRefs = getConnectionRefsByMailboxId(mailbox);
    if (connRefs.empty()) {
        QDX_TRACE(Info, "OZO client with mailbox ID " << mailbox
                                                      << " disconnected, but this client never "
                                                         "registered with the QFCI server.");
        return;
    }
    for (const auto connRef : connRefs) {
        removeClient(connRef);
    }
    QDX_TRACE(Info, "OZO client(s) with mailbox ID 0x"
                        << std::hex << mailbox
                        << " disconnected! Removed connection references: " << inBraces(connRefs));
}

void QdxFilterCtrlIServer::sendConnEstablishCfm(const OzoMboxIds& mailboxes,
                                                const QfciClientInfo& client) {
    QDX_TRACE(Info, "sendConnEstablishCfm");
    ConnectionEstablishCfm body;
    body.set_selected_protocol_rev(client.selectedProtocolRev);
    send(mailboxes, {client.procRef, client.connRef}, body);
}

void QdxFilterCtrlIServer::sendConnEstablishRej(
    const OzoMboxIds& mailboxes, unsigned procRef, unsigned connRef,
    const qdxfilterctrli::ConnectionEstablishRej_RejectReason& reason) {
    QDX_TRACE(Info, "sendConnEstablishRej");
    ConnectionEstablishRej body;
    body.set_reject_reason(reason);
    send(mailboxes, {procRef, connRef}, body);
}

void QdxFilterCtrlIServer::handleQfciCapabilityExchangeReq(ozo_msg* msg) {
    requireMessage(msg, "handleQfciCapabilityExchangeReq");
    QDX_TRACE(Info, "Entering handleQfciCapabilityExchangeReq");
    const auto request = Request<CapabilityExchangeReq>::decode(msg, mailboxId);
    if (!request || !isFromClient(request->references)) {
        return;
    }
    QDX_TRACE(Info, "CapabilityExchangeCfm");
    send(request->mailboxes, request->references, CapabilityExchangeCfm());
}

// --- Streams -----------------------------------------------------------------------------------

void QdxFilterCtrlIServer::handleQfciPullFilterDataReq(ozo_msg* msg) {
    requireMessage(msg, "handleQfciPullFilterDataReq");
    QDX_TRACE(Trace7, "Entering handleQfciPullFilterDataReq");
    const auto maxSize = static_cast<std::uint32_t>(ozo_get_max_size());
    const auto request = Request<PullFilterDataReq>::decode(msg, mailboxId);
    if (!request || !isFromClient(request->references)) {
        return;
    }
    const auto& [mailboxes, references, body] = *request;
    const auto filter = backend->findFilter(body.filter_name());
    if (!filter) {
        sendPullFilterDataRej(mailboxes, references.procedure, references.connection,
                              PullFilterDataRej::NO_SUCH_FILTER_ID);
        return;
    }
    std::string contents;
    const auto result =
        backend->pullFilterData(*filter, body.clear_data() ? Clear::Yes : Clear::No, contents);
    if (result != ErrorType::NoError) {
        sendPullFilterDataRej(mailboxes, references.procedure, references.connection,
                              convertErrorTypeToGPBStatusCode(result));
        return;
    }
    startStream(*request, std::move(contents), maxSize);
}

void QdxFilterCtrlIServer::startStream(const Request<PullFilterDataReq>& request,
                                       std::string contents, std::uint32_t maxSize) {
    QDX_TRACE(Trace7, "Send PullFilterDataCfm");
    const auto streamId = takeStreamId();
    PullFilterDataCfm body;
    body.set_stream_id(streamId);
    if (!send(request.mailboxes, request.references, body)) {
        return;
    }
    pendingData.emplace(streamId, cutIntoChunks(std::move(contents), streamId, maxSize));
    QDX_TRACE(Trace7, "Adding stream_id to MAP: " << streamId);
    sendFilterContentsRData(request.mailboxes, request.references.procedure,
                            request.references.connection, streamId);
}

// The stream that still has the id, if the ids have come round to it, is given up.
std::uint32_t QdxFilterCtrlIServer::takeStreamId() {
    if (++lastStreamId == 0) {
        lastStreamId = 1;
    }
    pendingData.erase(lastStreamId);
    return lastStreamId;
}

bool QdxFilterCtrlIServer::isDataRegistered(unsigned streamId) const {
    return pendingData.contains(streamId);
}

qdxfilterctrli::PullFilterDataRej_StatusCode QdxFilterCtrlIServer::convertErrorTypeToGPBStatusCode(
    ErrorType error) {
    switch (error) {
        case ErrorType::FilterDisabled:
            return PullFilterDataRej::FILTER_DISABLED;
        case ErrorType::MetaDataNotSet:
            return PullFilterDataRej::META_DATA_NOT_SET;
        case ErrorType::NoDataYet:
            return PullFilterDataRej::NO_DATA_YET;
        default:
            return PullFilterDataRej::NO_SUCH_FILTER_ID;
    }
}

void QdxFilterCtrlIServer::sendPullFilterDataRej(
    const OzoMboxIds& mailboxes, unsigned procRef, unsigned connRef,
    const qdxfilterctrli::PullFilterDataRej_StatusCode& status) {
    QDX_TRACE(Info, "sendPullFilterDataRej");
    PullFilterDataRej body;
    body.set_status_code(status);
    send(mailboxes, {procRef, connRef}, body);
}

void QdxFilterCtrlIServer::sendFilterContentsRData(const OzoMboxIds& mailboxes, unsigned procRef,
                                                   unsigned connRef, unsigned streamId) {
    QDX_TRACE(Trace7, "sendFilterContentsRData");
    const auto stream = pendingData.find(streamId);
    if (stream == pendingData.end() || stream->second.empty()) {
        return;
    }
    auto& chunks = stream->second;
    FilterContentsRData body;
    body.set_stream_id(streamId);
    body.set_data_chunk(std::move(chunks.front()));
    chunks.pop();
    body.set_has_more_data(!chunks.empty());
    send(mailboxes, {procRef, connRef}, body);
}

void QdxFilterCtrlIServer::handleQfciFilterContentsRAck(ozo_msg* msg) {
    requireMessage(msg, "handleQfciFilterContentsRAck");
    QDX_TRACE(Trace7, "Entering handleQfciFilterContentsRAck");
    const auto request = Request<FilterContentsRAck>::decode(msg, mailboxId);
    if (!request || !isFromClient(request->references)) {
        return;
    }
    const auto streamId = request->body.stream_id();
    const auto stream = pendingData.find(streamId);
    if (stream == pendingData.end()) {
        return;
    }
    if (stream->second.empty()) {
        pendingData.erase(stream);
        QDX_TRACE(Info,
                  "Whole filter content with stream_id = " << streamId << " succesfully sent");
        return;
    }
    sendFilterContentsRData(request->mailboxes, request->references.procedure,
                            request->references.connection, streamId);
}

}  // namespace Qdx::Backend
