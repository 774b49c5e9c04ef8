#include "tools/jay/RecordStore.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <signal.h>
#include <string>
#include <vector>

#include "database/FileCalls.h"

using database::FileCalls;

namespace {

using Texts = std::vector<std::string>;

bool isBlocked(int signal) {
    sigset_t blocked;
    sigprocmask(SIG_BLOCK, nullptr, &blocked);
    return sigismember(&blocked, signal) == 1;
}

/** A database file, and a directory for temporary files, in a directory of its own. */
class RecordStoreTest : public testing::Test {
protected:
    RecordStoreTest() {
        FileCalls::reset();
        char pattern[] = "/tmp/jaystore.XXXXXX";
        directory_ = mkdtemp(pattern);
        std::filesystem::create_directory(temporary());
        setenv("TMPDIR", temporary().c_str(), 1);
    }
    ~RecordStoreTest() override {
        unsetenv("TMPDIR");
        std::filesystem::remove_all(directory_);
    }

    std::string temporary() const { return directory_ + "/tmp"; }
    std::string path() const { return directory_ + "/notes"; }

    std::string content() const {
        std::ifstream file(path(), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }

    void write(const Texts& texts) const {
        RecordStore store(RecordStore::ON_FILE, path());
        for (int i = 0; i < static_cast<int>(texts.size()); i++)
            ASSERT_EQ(store.add(texts[static_cast<std::size_t>(i)], i), i + 1);
    }

private:
    std::string directory_;
};

}  // namespace

TEST_F(RecordStoreTest, AddsAndReadsRecords) {
    RecordStore store(RecordStore::ON_FILE, path());
    EXPECT_EQ(store.error(), "");
    EXPECT_EQ(store.add("first", 0), 1);
    EXPECT_EQ(store.add("", 1), 2);
    EXPECT_EQ(store.count(), 2);
    EXPECT_EQ(store.text(1), "first");
    EXPECT_EQ(store.texts(), Texts({"first", ""}));
}

TEST_F(RecordStoreTest, Set_TellsUnderWhichNumberTheTextIs) {
    RecordStore store(RecordStore::ON_FILE, path());
    store.add("first", 0);
    EXPECT_EQ(store.set(1, "1st", 1), 1);
    EXPECT_EQ(store.set(1, "a longer one", 1), 2);
    EXPECT_EQ(store.set(1, "gone", 2), 0);
    EXPECT_EQ(store.texts(), Texts({"", "a longer one"}));
}

TEST_F(RecordStoreTest, ACopyIsReadWithoutTouchingTheFile) {
    write({"first", "second"});
    const std::string cut = content().substr(0, content().size() - 8);
    {
        RecordStore store(RecordStore::ON_COPY, cut);
        EXPECT_EQ(store.texts().at(0), "first");
        store.repair();
    }
    EXPECT_EQ(content().size(), cut.size() + 8);
}

TEST_F(RecordStoreTest, EachFailedFileCallIsReportedAndLosesNothing) {
    write({"first", "second"});
    const std::string before = content();
    for (int n = 0; n < 2; n++) {  // the record, the header
        RecordStore store(RecordStore::ON_FILE, path());
        FileCalls::pwrite.failAfter(n, EIO);
        EXPECT_EQ(store.add("third", 2), 0);
        EXPECT_EQ(store.texts(), Texts({"first", "second"}));
    }
    RecordStore store(RecordStore::ON_FILE, path());
    FileCalls::pread.failAfter(0, EIO);
    EXPECT_EQ(store.add("third", 2), 0);
    FileCalls::fopen.failAfter(0, EMFILE);
    EXPECT_EQ(store.set(1, "1st", 2), 0);
    EXPECT_EQ(store.texts(), Texts({"first", "second"}));
}

TEST_F(RecordStoreTest, HoldsSignalsAndLeavesNothingBehind) {
    EXPECT_FALSE(isBlocked(SIGINT));
    {
        const RecordStore store(RecordStore::ON_FILE, path());
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) EXPECT_TRUE(isBlocked(signal));
        EXPECT_FALSE(std::filesystem::is_empty(temporary()));
    }
    EXPECT_FALSE(isBlocked(SIGINT));
    EXPECT_TRUE(std::filesystem::is_empty(temporary()));
}

TEST_F(RecordStoreTest, WithoutAPlaceForTemporaryFilesItIsOfNoUse) {
    setenv("TMPDIR", "/nowhere", 1);
    const RecordStore store(RecordStore::ON_FILE, path());
    EXPECT_NE(store.error().find("/nowhere"), std::string::npos) << store.error();
    EXPECT_NE(store.error().find("TMPDIR"), std::string::npos) << store.error();
}
