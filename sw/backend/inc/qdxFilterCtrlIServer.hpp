// The server of the control protocol: how programs on the unit pull the data of filters.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <ostream>
#include <queue>
#include <string>
#include <vector>

#include "controlFrame.hpp"
#include "errorType.hpp"
#include "ozo.h"
#include "qdxFilterCtrlI.pb.h"
#include "quardexBeIf.hpp"

namespace Qdx::Backend {

// The two mailboxes of one exchange.
struct OzoMboxIds {
    std::uint32_t ownMboxId = OZO_NO_MAILBOX;   // sends the replies
    std::uint32_t peerMboxId = OZO_NO_MAILBOX;  // the client's
};

// A registered connection.
struct QfciClientInfo {
    std::uint32_t connRef = 0;  // given out by the server
    std::uint32_t procRef = 0;  // of the request that it accepted
    std::uint32_t selectedProtocolRev = 0;
    std::uint32_t mailboxId = OZO_NO_MAILBOX;
    std::string mailboxName;
};
std::ostream& operator<<(std::ostream& out, const QfciClientInfo& client);

// Gives success back, and traces a failure at Error: to decode a request if connRef is 0, else to
// encode a reply for that client and mailbox.
bool isSuccess(bool success, const std::string& messageName, unsigned connRef, unsigned mailboxId);

// Lets clients connect and sends them the contents of filters, in chunks that fit a message: the
// first behind the confirmation of the pull, each further one for an acknowledgement. It shares the
// collector's mailbox and thread; the collector delivers the four requests. The bodies of the
// messages are in qdxFilterCtrlI.proto, their framing is in controlFrame.hpp.
//
// What counts is the connection reference: a registered one is served from any mailbox, and replies
// go to the sender. A connection ends with the mailbox that opened it, and in no other way. Streams
// belong to nobody: any client's acknowledgement drives any stream.
//
// Limits: ten connections; a further one is rejected. Streams have none: their chunks are copies on
// the heap, outside the budgets of the filters, and those that nobody acknowledges stay until their
// id comes round again or the server goes.
//
// Make it with std::make_shared: the notices of mailboxes that go hold it weakly.
class QdxFilterCtrlIServer : public std::enable_shared_from_this<QdxFilterCtrlIServer> {
public:
    // backend must outlive the server.
    explicit QdxFilterCtrlIServer(QuardexBeIf* backend);
    virtual ~QdxFilterCtrlIServer() = default;
    QdxFilterCtrlIServer(const QdxFilterCtrlIServer&) = delete;
    QdxFilterCtrlIServer& operator=(const QdxFilterCtrlIServer&) = delete;

    // Handlers of the requests; msg stays the caller's. Each throws std::runtime_error for a null
    // message. A request that can't be decoded, or whose connection reference isn't registered, is
    // traced and gets no reply.
    void handleQfciConnectionEstablishReq(ozo_msg* msg);
    void handleQfciCapabilityExchangeReq(ozo_msg* msg);
    void handleQfciPullFilterDataReq(ozo_msg* msg);
    void handleQfciFilterContentsRAck(ozo_msg* msg);

    // Removes all connections of a mailbox that is gone. Their streams stay.
    void onClientDisconnect(unsigned mailbox);

    // A reference that is registered already keeps its client.
    void addClient(unsigned connRef, const QfciClientInfo& client);
    // False if there was none.
    bool removeClient(unsigned connRef);
    bool isClientRegistered(unsigned connRef) const;
    // In ascending order.
    std::vector<unsigned> getConnectionRefsByMailboxId(unsigned mailbox) const;

    // The largest revision that both sides have; 0 if there is none.
    unsigned determineProtocolRevision(const std::vector<unsigned>& clientRevisions) const;

    // Whether the stream waits for an acknowledgement.
    bool isDataRegistered(unsigned streamId) const;
    static qdxfilterctrli::PullFilterDataRej_StatusCode convertErrorTypeToGPBStatusCode(
        ErrorType error);

    // Replies. One that can't be encoded is traced and not sent.
    static void sendConnEstablishCfm(const OzoMboxIds& mailboxes, const QfciClientInfo& client);
    static void sendConnEstablishRej(
        const OzoMboxIds& mailboxes, unsigned procRef, unsigned connRef,
        const qdxfilterctrli::ConnectionEstablishRej_RejectReason& reason);
    static void sendPullFilterDataRej(const OzoMboxIds& mailboxes, unsigned procRef,
                                      unsigned connRef,
                                      const qdxfilterctrli::PullFilterDataRej_StatusCode& status);
    // The next chunk of a stream. Nothing, if there is no such stream or all of it was sent.
    void sendFilterContentsRData(const OzoMboxIds& mailboxes, unsigned procRef, unsigned connRef,
                                 unsigned streamId);

    // The last ones given out in this process, so that no server repeats another's. They wrap, the
    // stream id past 0.
    static std::uint32_t lastConnRef;
    static std::uint32_t lastStreamId;

private:
    template <typename Body>
    struct Request;

    bool isFromClient(Control::References references) const;
    void acceptClient(const Request<qdxfilterctrli::ConnectionEstablishReq>& request,
                      unsigned revision);
    void startStream(const Request<qdxfilterctrli::PullFilterDataReq>& request,
                     std::string contents, std::uint32_t maxSize);
    std::uint32_t takeStreamId();

    const std::vector<std::uint32_t> supportedRevisions = {1};

public:
    // The alias of the shared mailbox, by which clients find the server.
    const std::string serverName = qdxfilterctrli::ServerMetadata().name();
    // The shared mailbox, once it has that alias.
    std::uint32_t mailboxId = OZO_NO_MAILBOX;

private:
    std::map<std::uint32_t, const QfciClientInfo> clients;  // by connection reference
    const std::uint32_t maxClients = 10;
    // What is still to be sent of each stream; empty once only the last acknowledgement is missing.
    std::map<std::uint32_t, std::queue<std::string>> pendingData;
    QuardexBeIf* const backend;
};

}  // namespace Qdx::Backend
