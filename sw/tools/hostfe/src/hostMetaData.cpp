#include "hostMetaData.hpp"

#include <sys/utsname.h>

#include <initializer_list>

#include "procText.hpp"

namespace HostFe {
namespace {

// The first text that says something.
std::string firstOf(std::initializer_list<std::string> texts) {
    for (const std::string& text : texts) {
        if (const std::string_view stripped = strip(text); !stripped.empty()) {
            return std::string(stripped);
        }
    }
    return "unknown";
}

}  // namespace

Kernel runningKernel() {
    utsname names{};
    ::uname(&names);
    return {names.nodename, names.release, names.machine};
}

Qdx::Frontend::MetaData readHostMetaData(const HostFiles& files, const Kernel& kernel) {
    const std::string osRelease = files.read("etc/os-release");
    const std::string dmi = "sys/class/dmi/id/";
    const std::string deviceTree = "proc/device-tree/";
    return {
        .swProductNumber =
            firstOf({parseOsRelease(osRelease, "PRETTY_NAME"), parseOsRelease(osRelease, "NAME")}),
        .swProductRevision = firstOf({kernel.release}),
        .hwProductNumber = firstOf(
            {files.read(dmi + "product_name"), files.read(deviceTree + "model"), kernel.machine}),
        .hwProductRevision = firstOf({files.read(dmi + "product_version")}),
        .hwSerialNumber =
            firstOf({files.read(dmi + "product_serial"), files.read(deviceTree + "serial-number")}),
        .hwName = firstOf({kernel.hostName})};
}

}  // namespace HostFe
