// All that a frontend of the collector needs.
#pragma once

#include "qdx/frontend/connection.hpp"
#include "qdx/frontend/handles.hpp"
#include "qdx/frontend/metaData.hpp"
#include "qdx/frontend/statistics.hpp"
