// Which machine this is, as the collector adds it to what it collects.
#pragma once

#include <string>

#include "hostFiles.hpp"
#include "qdx/frontend/metaData.hpp"

namespace HostFe {

// What uname tells.
struct Kernel {
    std::string hostName;
    std::string release;
    std::string machine;
};
Kernel runningKernel();

// All six texts are there: the operating system and its kernel as software, what the firmware tells
// as hardware, the host's name as name. What the machine doesn't tell is "unknown"; a serial number
// is often for root alone.
Qdx::Frontend::MetaData readHostMetaData(const HostFiles& files, const Kernel& kernel);

}  // namespace HostFe
