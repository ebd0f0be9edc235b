#include "controlFrame.hpp"

#include <google/protobuf/stubs/logging.h>

#include <cstring>
#include <limits>

#include "bigEndian.hpp"

namespace Qdx::Control {

namespace {

constexpr std::size_t largestBody = std::numeric_limits<int>::max();  // of what protobuf takes

}  // namespace

std::size_t frameSize(const google::protobuf::MessageLite& body) {
    return headerSize + body.ByteSizeLong();
}

bool encode(std::uint32_t messageNumber, References references,
            const google::protobuf::MessageLite& body, std::span<unsigned char> frame) {
    std::memcpy(frame.data(), &messageNumber, sizeof(messageNumber));
    V1::writeBigEndian32(references.procedure, &frame[procedureReferenceOffset]);
    V1::writeBigEndian32(references.connection, &frame[connectionReferenceOffset]);
    const auto room = frame.subspan(headerSize);
    return room.size() <= largestBody &&
           body.SerializeToArray(room.data(), static_cast<int>(room.size()));
}

bool decode(std::span<const unsigned char> frame, References& references,
            google::protobuf::MessageLite& body) {
    if (frame.size() < headerSize) {
        return false;
    }
    references.procedure = V1::readBigEndian32(&frame[procedureReferenceOffset]);
    references.connection = V1::readBigEndian32(&frame[connectionReferenceOffset]);
    const auto bytes = frame.subspan(headerSize);
    // A peer whose texts aren't UTF-8 would else fill the standard error of this process.
    const google::protobuf::LogSilencer silencer;
    return bytes.size() <= largestBody &&
           body.ParseFromArray(bytes.data(), static_cast<int>(bytes.size()));
}

}  // namespace Qdx::Control
