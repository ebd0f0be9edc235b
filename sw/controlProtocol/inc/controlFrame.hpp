// Messages of the control protocol as mailbox messages carry them:
//
//     0 message number   4 procedure reference   8 connection reference   12 body
//
// The number is the message service's own word, in host byte order; the references are big-endian.
// The body is the protobuf encoding of the message, up to the end of the mailbox message: an empty
// body is a message with no field set. qdxFilterCtrlI.proto has the bodies and their numbers.
//
//     std::vector<unsigned char> frame(frameSize(request));
//     encode(PullFilterDataReq::MESSAGE_NUMBER, references, request, frame);
//
// Nothing here keeps state, so any thread may call.
#pragma once

#include <google/protobuf/message_lite.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace Qdx::Control {

inline constexpr std::size_t procedureReferenceOffset = 4;
inline constexpr std::size_t connectionReferenceOffset = 8;
inline constexpr std::size_t headerSize = 4 + 4 + 4;

struct References {
    std::uint32_t procedure = 0;   // the client's choice; comes back unchanged in the replies
    std::uint32_t connection = 0;  // the server's, from the confirmation of the connection on
    friend bool operator==(const References&, const References&) = default;
};

// Bytes of the mailbox message with this body.
std::size_t frameSize(const google::protobuf::MessageLite& body);

// Writes header and body. False, with any bytes written, for a body of 2 GiB and more, which
// protobuf refuses. REQUIRES: frame.size() == frameSize(body).
[[nodiscard]] bool encode(std::uint32_t messageNumber, References references,
                          const google::protobuf::MessageLite& body,
                          std::span<unsigned char> frame);

// Reads what stands behind the message number. False, with any values read, for a frame shorter
// than its header or a body that isn't a message of its type.
[[nodiscard]] bool decode(std::span<const unsigned char> frame, References& references,
                          google::protobuf::MessageLite& body);

}  // namespace Qdx::Control
