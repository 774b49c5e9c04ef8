/** @file The record database beside gdbm and SQLite, each on a file in a folder of its own, and none forced to the medium. */
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <filesystem>
#include <gdbm.h>
#include <sqlite3.h>
#include <string>

#include "database/JDatabase.h"

namespace {

constexpr int RECORDS = 500;
const char TEXT[] = "a record of some length";
const char OTHER_TEXT[] = "a record of other text.";

void require(bool done) {
    if (!done) std::abort();
}

/** A folder that is gone with the scope. */
class Folder {
public:
    Folder() { require(mkdtemp(path_.data()) != nullptr); }
    ~Folder() { std::filesystem::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string file(const char* name) const { return path_ + "/" + name; }

private:
    std::string path_ = "/tmp/jay-bench-XXXXXX";
};

/** Opens the file for each operation. */
class Jay {
public:
    /** The file is called `path`, a backslash, "notes.db". */
    explicit Jay(const std::string& path) { JDatabase::_path = path.c_str(); }
    ~Jay() { JDatabase::release(); }
    Jay(const Jay&) = delete;
    Jay& operator=(const Jay&) = delete;

    void add() { database_->addRecord(NAME, TEXT); }
    void set(int id) { database_->setRecord(NAME, id, OTHER_TEXT); }
    std::size_t get(int id) { return static_cast<std::size_t>(database_->getRecord(NAME, id).length()); }
    std::size_t getAll() {
        JStringArray texts = database_->getRecords(NAME);
        std::size_t bytes = 0;
        for (int i = 0; i < texts.length(); i++) bytes += static_cast<std::size_t>(texts[i].length());
        return bytes;
    }

private:
    static constexpr char NAME[] = "notes";
    JDatabase* database_ = JDatabase::getDatabase();
};

/** Opens the file for each operation, as Jay does, or keeps it open. */
template <bool KEPT_OPEN>
class Gdbm {
public:
    explicit Gdbm(const std::string& path) : path_(path) { open(); }
    ~Gdbm() { gdbm_close(file_); }
    Gdbm(const Gdbm&) = delete;
    Gdbm& operator=(const Gdbm&) = delete;

    void add() { store(++records_, TEXT); }
    void set(int id) { store(id, OTHER_TEXT); }
    std::size_t get(int id) {
        reopen();
        return fetch(id);
    }
    std::size_t getAll() {
        reopen();
        std::size_t bytes = 0;
        for (int id = 1; id <= records_; id++) bytes += fetch(id);
        return bytes;
    }

private:
    void open() {
        file_ = gdbm_open(path_.c_str(), 0, GDBM_WRCREAT, 0600, nullptr);
        require(file_ != nullptr);
    }
    void reopen() {
        if (KEPT_OPEN) return;
        gdbm_close(file_);
        open();
    }
    void store(int id, const char* text) {
        reopen();
        const datum key{reinterpret_cast<char*>(&id), sizeof id};
        const datum content{const_cast<char*>(text), static_cast<int>(sizeof TEXT - 1)};
        require(gdbm_store(file_, key, content, GDBM_REPLACE) == 0);
    }
    std::size_t fetch(int id) {
        const datum key{reinterpret_cast<char*>(&id), sizeof id};
        const datum found = gdbm_fetch(file_, key);
        const std::string text(found.dptr, static_cast<std::size_t>(found.dsize));
        std::free(found.dptr);
        return text.size();
    }

    std::string path_;
    int records_ = 0;
    GDBM_FILE file_ = nullptr;
};

/** Opens the file for each operation, as Jay does, or keeps it open with prepared statements. */
template <bool KEPT_OPEN>
class Sqlite {
public:
    explicit Sqlite(const std::string& path) : path_(path) {
        open();
        require(sqlite3_exec(file_, "CREATE TABLE records (id INTEGER PRIMARY KEY, text TEXT)", nullptr,
                             nullptr, nullptr) == SQLITE_OK);
    }
    ~Sqlite() { close(); }
    Sqlite(const Sqlite&) = delete;
    Sqlite& operator=(const Sqlite&) = delete;

    void add() {
        sqlite3_stmt* insert = prepared(insert_, "INSERT INTO records (text) VALUES (?)");
        sqlite3_bind_text(insert, 1, TEXT, -1, SQLITE_STATIC);
        require(sqlite3_step(insert) == SQLITE_DONE);
    }
    void set(int id) {
        sqlite3_stmt* update = prepared(update_, "UPDATE records SET text = ? WHERE id = ?");
        sqlite3_bind_text(update, 1, OTHER_TEXT, -1, SQLITE_STATIC);
        sqlite3_bind_int(update, 2, id);
        require(sqlite3_step(update) == SQLITE_DONE);
    }
    std::size_t get(int id) {
        sqlite3_stmt* select = prepared(one_, "SELECT text FROM records WHERE id = ?");
        sqlite3_bind_int(select, 1, id);
        return textsOf(select);
    }
    std::size_t getAll() { return textsOf(prepared(all_, "SELECT text FROM records ORDER BY id")); }

private:
    void open() {
        require(sqlite3_open(path_.c_str(), &file_) == SQLITE_OK);
        require(sqlite3_exec(file_, "PRAGMA synchronous = OFF", nullptr, nullptr, nullptr) == SQLITE_OK);
    }
    void close() {
        for (sqlite3_stmt** statement : {&insert_, &update_, &one_, &all_}) {
            sqlite3_finalize(*statement);
            *statement = nullptr;
        }
        sqlite3_close(file_);
    }
    sqlite3_stmt* prepared(sqlite3_stmt*& statement, const char* text) {
        if (!KEPT_OPEN) {
            close();
            open();
        }
        if (statement == nullptr)
            require(sqlite3_prepare_v2(file_, text, -1, &statement, nullptr) == SQLITE_OK);
        sqlite3_reset(statement);
        return statement;
    }
    static std::size_t textsOf(sqlite3_stmt* select) {
        std::size_t bytes = 0;
        while (sqlite3_step(select) == SQLITE_ROW) {
            const std::string text(reinterpret_cast<const char*>(sqlite3_column_text(select, 0)),
                                   static_cast<std::size_t>(sqlite3_column_bytes(select, 0)));
            bytes += text.size();
        }
        sqlite3_reset(select);
        return bytes;
    }

    std::string path_;
    sqlite3* file_ = nullptr;
    sqlite3_stmt* insert_ = nullptr;
    sqlite3_stmt* update_ = nullptr;
    sqlite3_stmt* one_ = nullptr;
    sqlite3_stmt* all_ = nullptr;
};

/** Adds the records, and makes sure that they are there. */
template <class Store>
void fill(Store& store) {
    for (int i = 0; i < RECORDS; i++) store.add();
    require(store.getAll() == RECORDS * (sizeof TEXT - 1));
}

template <class Store>
void ReadAllRecords(benchmark::State& state) {
    const Folder folder;
    Store store(folder.file("records"));
    fill(store);
    for (auto unused : state) benchmark::DoNotOptimize(store.getAll());
    state.SetItemsProcessed(state.iterations() * RECORDS);
}

template <class Store>
void ReadTheLastRecord(benchmark::State& state) {
    const Folder folder;
    Store store(folder.file("records"));
    fill(store);
    for (auto unused : state) benchmark::DoNotOptimize(store.get(RECORDS));
}

template <class Store>
void RewriteARecord(benchmark::State& state) {
    const Folder folder;
    Store store(folder.file("records"));
    fill(store);
    for (auto unused : state) store.set(RECORDS);
}

template <class Store>
void AddARecord(benchmark::State& state) {
    const Folder folder;
    Store store(folder.file("records"));
    for (auto unused : state) store.add();
}

constexpr bool KEPT_OPEN = true;

#define JAY_BENCH_STORES(Measure, iterations)                                \
    BENCHMARK_TEMPLATE(Measure, Jay)->Iterations(iterations);                \
    BENCHMARK_TEMPLATE(Measure, Gdbm<!KEPT_OPEN>)->Iterations(iterations);   \
    BENCHMARK_TEMPLATE(Measure, Gdbm<KEPT_OPEN>)->Iterations(iterations);    \
    BENCHMARK_TEMPLATE(Measure, Sqlite<!KEPT_OPEN>)->Iterations(iterations); \
    BENCHMARK_TEMPLATE(Measure, Sqlite<KEPT_OPEN>)->Iterations(iterations)

JAY_BENCH_STORES(ReadAllRecords, 500);
JAY_BENCH_STORES(ReadTheLastRecord, 2000);
JAY_BENCH_STORES(RewriteARecord, 2000);
JAY_BENCH_STORES(AddARecord, 2000);

}  // namespace
