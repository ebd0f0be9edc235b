// Records as text.
#pragma once

#include <string>
#include <string_view>

namespace Qdx::Pull {

// What a record says, in one line:
//
//     eth0 FAILED: no carrier                           a carrier event
//     carrier 7 ACTIVATED, 3500 MHz, 100 MHz wide
//     eth0 FAULT by rx_errors 3, 24 registers           a register dump
//     24 bytes 0a05312e00000000                         any other, by its size and first bytes
//
// The message type is that of the catalogue, of which the collector too looks only whether it
// holds "CarrierEvent" or else "RegisterInfo". A record that is none of its type is one of the
// others. The text may hold anything that the record held.
std::string recordText(std::string_view record, std::string_view messageType);

}  // namespace Qdx::Pull
