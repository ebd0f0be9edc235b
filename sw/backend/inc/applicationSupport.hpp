// The open configuration database of the process.
#pragma once

#include <memory>
#include <mutex>

#include "corbel/dbRegistry.hpp"

namespace Qdx {

// Opens the database once and keeps it open; configuration is read through it at the start.
class ApplicationSupport {
public:
    // The instance, created on first use, which opens the database. Throws what opening throws; the
    // next call tries again. Any thread may call; the pointer is valid until freeInstance() or the
    // end of the process.
    static ApplicationSupport* getInstance();

    // Destroys the instance; the next getInstance() opens the file anew. No thread may be using the
    // instance.
    static void freeInstance();

    // A share of the database: whoever holds it keeps the database open.
    std::shared_ptr<Corbel::V1::DbHandleIf> getDatabase() const { return database; }

private:
    ApplicationSupport();

    std::shared_ptr<Corbel::V1::DbHandleIf> database;

    static std::unique_ptr<ApplicationSupport> m_instance;
    static std::mutex instanceMutex;
};

}  // namespace Qdx
