// What a frontend adds samples through.
//
// A handle binds a name of the unit's info object list, and a context ("rfBranch=3,carrierId=7";
// empty: none), to a connection. The constructor does the checks and prepares the bytes; adding
// then copies them and allocates nothing. Handles are cheap to copy and must not be used after
// their connection. Handles of one kind, name and context are the same one; what they prepare is
// kept until the connection ends.
//
// Constructors throw std::invalid_argument if the name is empty, name or context hold white space
// or a NUL, or the collector could not decode the context; std::length_error if no message could
// hold a sample; std::bad_alloc.
//
// Samples of a name that the collector doesn't know, or knows as another kind, are left out there
// without a word. Their time is that of their batch's arrival.
//
// Thread: the connection's.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "qdx/frontend/connection.hpp"

namespace Qdx::Frontend {

struct Series;

// A level that stands until the next one: a temperature, a load.
class Measurement {
public:
    Measurement(Connection& connection, std::string_view name, std::string_view context = {});

    void add(std::int64_t value) const noexcept;

private:
    Series* series;
};

// Increments since the last one: bytes sent, errors seen.
class Counter {
public:
    Counter(Connection& connection, std::string_view name, std::string_view context = {});

    // Adds what was dropped of this counter to the increment.
    void add(std::int64_t increment) const noexcept;

private:
    Series* series;
};

// An event or a state in bytes whose meaning frontend and reader agree on.
class Record {
public:
    Record(Connection& connection, std::string_view name, std::string_view context = {});

    // False if the payload is too large for any message; it is then dropped and counted.
    bool add(std::span<const unsigned char> payload) const noexcept;

private:
    Series* series;
};

}  // namespace Qdx::Frontend
