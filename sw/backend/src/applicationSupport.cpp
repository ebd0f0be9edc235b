#include "applicationSupport.hpp"

namespace Qdx {

namespace {

constexpr auto databasePath = "/opt/zelvasw/srv/database/qdx/swdb.cfg";

}  // namespace

std::unique_ptr<ApplicationSupport> ApplicationSupport::m_instance;
std::mutex ApplicationSupport::instanceMutex;

ApplicationSupport::ApplicationSupport()
    : database(Corbel::V1::DbRegistryIf::getInstance().openDatabase(databasePath)) {}

ApplicationSupport* ApplicationSupport::getInstance() {
    const std::lock_guard lock(instanceMutex);
    if (!m_instance) {
        m_instance.reset(new ApplicationSupport);
    }
    return m_instance.get();
}

void ApplicationSupport::freeInstance() {
    m_instance.reset();
}

}  // namespace Qdx
