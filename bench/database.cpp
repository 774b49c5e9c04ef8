/** @file The record database, in a folder of its own. */
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "database/JDatabase.h"

namespace {

constexpr int RECORDS = 500;

/** A file of records, gone with the scope. */
class Records {
public:
    Records() {
        char folder[] = "/tmp/jay-bench-XXXXXX";
        if (mkdtemp(folder) == nullptr) std::abort();
        folder_ = folder;
        name_ = folder_ + "/records";
        for (int i = 0; i < RECORDS; i++) database().addRecord(name(), "a record of some length");
    }
    ~Records() {
        JDatabase::release();
        std::filesystem::remove_all(folder_);
    }
    Records(const Records&) = delete;
    Records& operator=(const Records&) = delete;

    JDatabase& database() { return *database_; }
    const char* name() const { return name_.c_str(); }

private:
    JDatabase* database_ = JDatabase::getDatabase();
    std::string folder_;
    std::string name_;
};

void ReadAllRecords(benchmark::State& state) {
    Records records;
    for (auto unused : state)
        benchmark::DoNotOptimize(records.database().getRecords(records.name()).length());
    state.SetItemsProcessed(state.iterations() * RECORDS);
}
BENCHMARK(ReadAllRecords);

void RewriteARecord(benchmark::State& state) {
    Records records;
    for (auto unused : state)
        records.database().setRecord(records.name(), RECORDS, "a record of other text.");
}
BENCHMARK(RewriteARecord);

void AddARecord(benchmark::State& state) {
    Records records;
    for (auto unused : state) records.database().addRecord(records.name(), "a record of some length");
}
BENCHMARK(AddARecord)->Iterations(2000);

}  // namespace
