// Which machine this is, as the collector adds it to what it collects.
#pragma once

#include <string>

#include "InfoObjectCollections.pb.h"
#include "hostFiles.hpp"

namespace HostFe {

// What uname tells.
struct Kernel {
    std::string hostName;
    std::string release;
    std::string machine;
};
Kernel runningKernel();

// All six fields are set: the operating system and its kernel as software, what the firmware tells
// as hardware, the host's name as name. What the machine doesn't tell is "unknown"; a serial number
// is often for root alone.
Qdx::RadioMetaData readHostMetaData(const HostFiles& files, const Kernel& kernel);

}  // namespace HostFe
