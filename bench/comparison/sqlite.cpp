// SQLite with a database in memory: the last hundred samples of each series with their time, in a
// ring of rows that are replaced in turn. No minima, maxima or averages: a query would compute
// them. One transaction for a batch, one prepared statement; the series is found in our own table.
#include <sqlite3.h>

#include <chrono>
#include <stdexcept>

#include "comparison.hpp"

namespace Qdx::Bench {

namespace {

constexpr std::int64_t rowsPerSeries = 100;

struct Series {
    std::int64_t number;
    std::int64_t samples;
};

class Sqlite : public Comparison {
public:
    Sqlite() {
        require(sqlite3_open(":memory:", &database));
        execute(
            "CREATE TABLE sample (series INTEGER, place INTEGER, time INTEGER, value INTEGER,"
            " PRIMARY KEY (series, place)) WITHOUT ROWID");
        require(sqlite3_prepare_v2(database, "REPLACE INTO sample VALUES (?, ?, ?, ?)", -1, &insert,
                                   nullptr));
    }
    ~Sqlite() override {
        sqlite3_finalize(insert);
        sqlite3_close(database);
    }
    Sqlite(const Sqlite&) = delete;
    Sqlite& operator=(const Sqlite&) = delete;

    void handle(const ozo_msg* batch) override {
        const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
        execute("BEGIN");
        forEachItem(batch, [&](std::string_view key, std::int64_t value) {
            auto& one = series.at(key, [this](std::string_view /*key*/) {
                return Series{++known, 0};
            });
            add(one, now, value);
        });
        execute("COMMIT");
    }

private:
    void add(Series& one, std::int64_t time, std::int64_t value) {
        sqlite3_bind_int64(insert, 1, one.number);
        sqlite3_bind_int64(insert, 2, one.samples++ % rowsPerSeries);
        sqlite3_bind_int64(insert, 3, time);
        sqlite3_bind_int64(insert, 4, value);
        if (sqlite3_step(insert) != SQLITE_DONE) {
            throw std::runtime_error(sqlite3_errmsg(database));
        }
        sqlite3_reset(insert);
    }

    void execute(const char* statement) {
        require(sqlite3_exec(database, statement, nullptr, nullptr, nullptr));
    }

    void require(int result) {
        if (result != SQLITE_OK) {
            throw std::runtime_error(sqlite3_errmsg(database));
        }
    }

    sqlite3* database = nullptr;
    sqlite3_stmt* insert = nullptr;
    std::int64_t known = 0;
    SeriesTable<Series> series;
};

}  // namespace

std::unique_ptr<Comparison> makeSqlite() {
    return std::make_unique<Sqlite>();
}

}  // namespace Qdx::Bench
