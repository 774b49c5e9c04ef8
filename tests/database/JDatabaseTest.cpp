#include "database/JDatabase.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <memory>
#include <pthread.h>
#include <random>
#include <signal.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "database/FileCalls.h"
#include "database/Records.h"
#include "support/JObjectArrayPeer.h"
#include "system/JSystem.h"

using database::FileCalls;
using database::fileOf;
using database::header;
using database::record;
using database::textField;
using database::word;
using database::wordAt;
using jay::detail::JObjectArrayPeer;

namespace {

/** A database in a directory of its own, of which every file image can be seen and set. */
class JDatabaseTest : public testing::Test {
public:
    void changeAndRead() {
        db.setRecord("notes", 1, "longer");
        db.getRecord("notes", 2);
        db.getRecords("notes");
        db.open("notes");
        db.find(1);
        db.writeHeader();
        db.close();
        finished = true;
    }

protected:
    JDatabaseTest() {
        FileCalls::reset();
        char pattern[] = "/tmp/jaydb.XXXXXX";
        directory = mkdtemp(pattern);
        JDatabase::_path = (directory + "/db").c_str();
    }
    ~JDatabaseTest() override {
        for (const char* name : {"notes", "other"}) std::remove(path(name).c_str());
        rmdir(directory.c_str());
    }

    std::string path(const char* name = "notes") const { return directory + "/db\\" + name + ".db"; }

    std::string image(const char* name = "notes") const {
        std::ifstream file(path(name), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }

    void setImage(const std::string& bytes) const {
        std::ofstream file(path(), std::ios::binary | std::ios::trunc);
        file << bytes;
    }

    off_t sizeOfFile() const {
        struct stat status {};
        stat(path().c_str(), &status);
        return status.st_size;
    }

    std::string get(int id) { return static_cast<const char*>(db.getRecord("notes", id)); }

    std::vector<std::string> all() {
        JStringArray records = db.getRecords("notes");
        std::vector<std::string> texts;
        for (int i = 0; i < records.length(); i++) texts.emplace_back(static_cast<const char*>(records[i]));
        return texts;
    }

    JDatabase db;
    std::string directory;
    bool finished = false;  // changeAndRead()
};

using Texts = std::vector<std::string>;

std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

/** Lets no file of this process grow beyond a size, as a full disk would, for the length of a scope. */
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : handler_(signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &former_);
        const rlimit limit{bytes, former_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &former_);
        signal(SIGXFSZ, handler_);
    }

private:
    void (*handler_)(int);
    rlimit former_{};
};

}  // namespace

// ---- the shared instance ----

TEST(JDatabaseInstanceTest, IsMadeByTheFirstHolderAndDeletedByTheLast) {
    EXPECT_EQ(JDatabase::_instance, nullptr);
    JDatabase* first = JDatabase::getDatabase();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(JDatabase::getDatabase(), first);
    EXPECT_EQ(JDatabase::_ref, 2);
    EXPECT_EQ(JDatabase::release(), 1);
    EXPECT_EQ(JDatabase::_instance, first);
    JDatabase::release();
    EXPECT_EQ(JDatabase::_instance, nullptr);
    EXPECT_EQ(JDatabase::_ref, 0);
}

TEST(JDatabaseInstanceTest, ASurplusReleaseIsHarmless) {
    JDatabase::release();
    EXPECT_EQ(JDatabase::_instance, nullptr);
    JDatabase::_ref = 0;
}

TEST(JDatabaseInstanceTest, EveryConstructionSetsThePathFromTheHomeDirectory) {
    JDatabase::_path = "elsewhere";
    const JDatabase db;
    EXPECT_STREQ(JDatabase::_path, JSystem::getHomeDirectory() + "\\db");
}

// ---- records ----

TEST_F(JDatabaseTest, AddRecord_WritesHeaderAndRecord) {
    db.addRecord("notes", "abc");
    EXPECT_EQ(image(), header(1, 20) + std::string("\x08\0\0\0\x01\0\0\0\x03"
                                                   "abc",
                                                   12));
}

TEST_F(JDatabaseTest, AddRecord_NumbersRecordsFromOne) {
    for (const char* text : {"one", "two", "three"}) db.addRecord("notes", text);
    EXPECT_EQ(image(), fileOf({"one", "two", "three"}));
    EXPECT_EQ(db.getNumRecords("notes"), 3);
    EXPECT_EQ(get(2), "two");
}

TEST_F(JDatabaseTest, AddRecord_KeepsTextsOfEveryLengthForm) {
    const Texts texts = {"", std::string(253, 'a'), std::string(254, 'b'), std::string(65535, 'c'),
                         std::string(65536, 'd')};
    for (const std::string& text : texts) db.addRecord("notes", text.c_str());
    EXPECT_EQ(image(), fileOf(texts));
    EXPECT_EQ(all(), texts);
}

TEST_F(JDatabaseTest, AddRecord_TakesNullForTheEmptyText) {
    db.addRecord("notes", nullptr);
    EXPECT_EQ(image(), fileOf({""}));
}

TEST_F(JDatabaseTest, GetNumRecords_MakesAnEmptyDatabase) {
    EXPECT_EQ(db.getNumRecords("notes"), 0);
    EXPECT_EQ(image(), header(0, 8));
}

TEST_F(JDatabaseTest, GetRecord_IsEmptyForIdsThatAreNotThere) {
    db.addRecord("notes", "abc");
    const std::string before = image();
    for (const int id : {0, -2, 2, INT_MAX, INT_MIN}) EXPECT_EQ(get(id), "") << id;
    EXPECT_EQ(image(), before);
}

TEST_F(JDatabaseTest, SetRecord_WritesAShorterTextInPlace) {
    for (const char* text : {"abcdef", "second"}) db.addRecord("notes", text);
    db.setRecord("notes", 1, "xy");
    EXPECT_EQ(image(), header(2, 38) + word(11) + word(1) +
                           std::string("\x02xy"
                                       "cdef",
                                       7) +
                           record(2, "second"));
    EXPECT_EQ(all(), Texts({"xy", "second"}));
}

TEST_F(JDatabaseTest, SetRecord_WritesATextOfTheSameLengthInPlace) {
    db.addRecord("notes", "abc");
    db.setRecord("notes", 1, "xyz");
    EXPECT_EQ(image(), fileOf({"xyz"}));
}

TEST_F(JDatabaseTest, SetRecord_UsesTheSlackOfALongerText) {
    db.addRecord("notes", "abcdef");
    db.setRecord("notes", 1, "x");
    db.setRecord("notes", 1, "uvwxyz");
    EXPECT_EQ(image(), fileOf({"uvwxyz"}));
}

TEST_F(JDatabaseTest, SetRecord_AppendsALongerTextUnderANewId) {
    for (const char* text : {"abc", "second"}) db.addRecord("notes", text);
    db.setRecord("notes", 1, "abcd");
    EXPECT_EQ(image(), header(3, 48) + word(8) + word(-1) +
                           std::string("\x03"
                                       "abc") +
                           record(2, "second") + record(3, "abcd"));
    EXPECT_EQ(get(1), "");
    EXPECT_EQ(all(), Texts({"", "second", "abcd"}));
}

TEST_F(JDatabaseTest, SetRecord_OfAnAbsentIdChangesNothing) {
    db.addRecord("notes", "abc");
    db.setRecord("notes", 2, "x");
    EXPECT_EQ(image(), fileOf({"abc"}));
}

TEST_F(JDatabaseTest, DeleteRecordAndRemoveChangeNothing) {
    db.addRecord("notes", "abc");
    db.deleteRecord("notes", 1, "abc");
    db.remove("notes");
    EXPECT_EQ(image(), fileOf({"abc"}));
}

TEST_F(JDatabaseTest, DatabasesAreSeparateFiles) {
    db.addRecord("notes", "abc");
    db.addRecord("other", "xyz");
    EXPECT_EQ(image(), fileOf({"abc"}));
    EXPECT_EQ(image("other"), fileOf({"xyz"}));
}

TEST_F(JDatabaseTest, NoOperationLeavesTheFileOpen) {
    const auto before = openDescriptors();
    db.addRecord("notes", "abc");
    db.setRecord("notes", 1, "abcd");
    get(1);
    all();
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(JDatabaseTest, GetRecords_GivesTheFirstOfTwoRecordsWithOneId) {
    setImage(header(2, 8 + 24) + record(1, "abc") + record(1, "xyz"));
    EXPECT_EQ(all(), Texts({"abc", ""}));
    EXPECT_EQ(get(1), "abc");
}

// ---- the parts of an operation ----

TEST_F(JDatabaseTest, Find_GivesOffsetLengthAndBytes) {
    for (const char* text : {"abc", "second"}) db.addRecord("notes", text);
    db.open("notes");
    JMessage found = db.find(2);
    db.close();
    EXPECT_EQ(found.getInt(), 20);
    EXPECT_EQ(found.getInt(), 11);
    EXPECT_EQ(found.getInt(), 2);
    EXPECT_STREQ(found.getString(), "second");
    EXPECT_EQ(found.size(), 8 + 11);
}

TEST_F(JDatabaseTest, Find_SeesARecordThatWasAddedAfterTheFileWasOpened) {
    JDatabase other;
    JDatabase::_path = (directory + "/db").c_str();
    db.open("notes");
    other.addRecord("notes", "abc");
    EXPECT_GT(db.find(1).size(), 0);
    db.close();
}

TEST_F(JDatabaseTest, Open_ClosesTheFileThatWasOpenBefore) {
    const auto before = openDescriptors();
    db.open("notes");
    db.open("other");
    db.close();
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(JDatabaseTest, Find_WithoutAnOpenFileIsEmpty) {
    EXPECT_EQ(db.find(1).size(), 0);
    db.close();
    db.readHeader();
    db.writeHeader();
}

TEST_F(JDatabaseTest, Make_GivesTheBytesOfARecord) {
    JMessage made = db.make(7, "abc");
    const JByte bytes = made.toByteArray();
    EXPECT_EQ(std::string(static_cast<const char*>(bytes), static_cast<size_t>(bytes.size())),
              record(7, "abc"));
}

TEST_F(JDatabaseTest, Open_OfAShortFileWritesAnEmptyHeader) {
    setImage("abc");
    EXPECT_EQ(db.getNumRecords("notes"), 0);
    EXPECT_EQ(image(), header(0, 8));
}

// ---- files that cannot be opened or read ----

TEST_F(JDatabaseTest, AFileThatCannotBeOpenedOnceKeepsItsRecords) {
    for (const int error : {EACCES, EMFILE, ENFILE, ENOMEM, EIO, EINTR}) {
        setImage(fileOf({"abc", "xyz"}));
        FileCalls::fopen.failAfter(0, error);
        EXPECT_EQ(get(1), "") << error;
        EXPECT_EQ(image(), fileOf({"abc", "xyz"})) << error;
    }
}

TEST_F(JDatabaseTest, AFileThatAnotherProcessCreatesMeanwhileKeepsItsRecords) {
    setImage(fileOf({"abc"}));
    FileCalls::fopen.failAfter(0, ENOENT);
    EXPECT_EQ(get(1), "abc");
    EXPECT_EQ(image(), fileOf({"abc"}));
}

TEST_F(JDatabaseTest, AFailedReadIsNotTheEndOfTheFile) {
    const Texts texts(100, std::string(200, 'x'));
    const std::string whole = fileOf(texts);
    setImage(whole);
    const std::function<bool()> operations[] = {[this] { return all().empty(); },
                                                [this] { return get(100).empty(); },
                                                [this] { return db.setRecord("notes", 100, "new"), true; }};
    for (const auto& operation : operations) {
        for (int n = 0; n < 5; n++) {  // the header, and the records in several pieces
            FileCalls::pread.failAfter(n, EIO);
            EXPECT_TRUE(operation()) << n;
            EXPECT_TRUE(FileCalls::pread.hasFailed()) << n;
            ASSERT_TRUE(image() == whole) << n;
        }
    }
    EXPECT_EQ(all(), texts);
}

TEST_F(JDatabaseTest, AFailedReadOfTheHeaderAddsNoRecord) {
    setImage(fileOf({"abc"}));
    FileCalls::pread.failAfter(0, EIO);
    db.addRecord("notes", "new");
    FileCalls::pread.failAfter(0, EIO);
    EXPECT_EQ(db.getNumRecords("notes"), 0);
    EXPECT_EQ(image(), fileOf({"abc"}));
}

TEST_F(JDatabaseTest, AnInterruptedReadOrWriteGoesOn) {
    FileCalls::pread.failAfter(0, EINTR);
    FileCalls::pwrite.failAfter(1, EINTR);
    db.addRecord("notes", "abc");
    EXPECT_EQ(image(), fileOf({"abc"}));
}

TEST_F(JDatabaseTest, AFailedWriteLeavesTheOldTextOrTheNewOne) {
    for (int n = 0; n < 3; n++) {  // the new record, the header, the mark
        setImage(fileOf({"abc", "xyz"}));
        FileCalls::pwrite.failAfter(n, EIO);
        db.setRecord("notes", 1, "longer");
        EXPECT_TRUE(FileCalls::pwrite.hasFailed()) << n;
        EXPECT_EQ(all(), n < 2 ? Texts({"abc", "xyz"}) : Texts({"abc", "xyz", "longer"})) << n;
    }
}

TEST_F(JDatabaseTest, SetRecord_WithAFailedHeaderAppendsTheNextRecordInTheSamePlace) {
    setImage(fileOf({"abc"}));
    FileCalls::pwrite.failAfter(1, EIO);
    db.setRecord("notes", 1, "longer");
    db.addRecord("notes", "new");
    EXPECT_EQ(all(), Texts({"abc", "new"}));
}

TEST_F(JDatabaseTest, SetRecord_WritesInPlaceInOneCall) {
    setImage(fileOf({std::string(100000, 'a'), "second"}));
    FileCalls::reset();
    db.setRecord("notes", 1, std::string(100000, 'b').c_str());
    EXPECT_EQ(FileCalls::pwrite.count, 1);
}

TEST_F(JDatabaseTest, AFileThatCannotBeReadAtAllIsLeftAlone) {
    std::remove(path().c_str());
    ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
    db.addRecord("notes", "abc");
    EXPECT_EQ(get(1), "");
    EXPECT_TRUE(all().empty());
}

// ---- cancellation ----

TEST_F(JDatabaseTest, ACancelledThreadFinishesItsOperations) {
    db.addRecord("notes", "abc");
    pthread_t thread{};
    const auto run = [](void* test) -> void* {
        pthread_cancel(pthread_self());  // takes effect at the first cancellation point
        static_cast<JDatabaseTest*>(test)->changeAndRead();
        pthread_testcancel();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, nullptr, run, this), 0);
    void* result = nullptr;
    pthread_join(thread, &result);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_TRUE(finished);
    EXPECT_EQ(all(), Texts({"", "longer"}));
}

// ---- damaged files ----

TEST_F(JDatabaseTest, Find_RepairsAHeaderThatClaimsTooManyRecords) {
    const std::string records = record(1, "abc") + record(2, "xyz");
    setImage(header(5, 500) + records);
    EXPECT_EQ(get(4), "");
    EXPECT_EQ(image(), header(2, 36) + records + word(0));
}

TEST_F(JDatabaseTest, Find_RepairsALengthThatWasCut) {
    const std::string whole = fileOf({"abc", "xyz"});
    setImage(whole.substr(0, 20 + 3));
    EXPECT_EQ(get(2), "");
    EXPECT_EQ(image(), header(1, 24) + record(1, "abc") + word(3));
}

TEST_F(JDatabaseTest, Find_DoesNotRepairWhatItNeedNotRead) {
    setImage(header(5, 500) + record(1, "abc"));
    EXPECT_EQ(get(1), "abc");
    EXPECT_EQ(image(), header(5, 500) + record(1, "abc"));
}

TEST_F(JDatabaseTest, AfterARepairTheNextRecordIsSeenOnceAnotherFollows) {
    setImage(header(3, 500) + record(1, "abc"));
    get(3);
    db.addRecord("notes", "second");  // the repair's own word is counted in its place
    EXPECT_EQ(get(2), "");
    db.addRecord("notes", "third");
    EXPECT_EQ(get(2), "second");
    EXPECT_EQ(get(3), "");
}

TEST_F(JDatabaseTest, GetRecords_RepairsAndKeepsTheClaimedLength) {
    setImage(header(5, 500) + record(1, "abc") + record(2, "xyz"));
    EXPECT_EQ(all(), Texts({"abc", "xyz", "", "", ""}));
    EXPECT_EQ(image(), header(2, 36) + record(1, "abc") + record(2, "xyz") + word(0));
}

TEST_F(JDatabaseTest, GetRecords_DropsIdsAboveTheRepairedCount) {
    setImage(header(5, 500) + record(4, "abc"));
    EXPECT_EQ(all(), Texts({"", "", "", "", ""}));
}

TEST_F(JDatabaseTest, GetRecords_PassesOverIdsThatAreNone) {
    for (const int id : {0, -1, INT_MIN, 3, INT_MAX}) {
        setImage(header(2, 8 + 24) + record(id, "abc") + record(2, "xyz"));
        EXPECT_EQ(all(), Texts({"", "xyz"})) << id;
    }
}

TEST_F(JDatabaseTest, ANegativeLengthIsARecordOfNothing) {
    setImage(header(2, 100) + word(-5) + record(1, "abc"));
    EXPECT_EQ(get(1), "abc");
}

TEST_F(JDatabaseTest, ALengthBeyondTheFileIsCutAtItsEnd) {
    setImage(header(1, 100) + word(INT_MAX) + word(1) + textField("abc"));
    EXPECT_EQ(get(1), "abc");
}

TEST_F(JDatabaseTest, SetRecord_KeepsANewRecordThatADamagedEndPutsOverTheOldOne) {
    setImage(header(2, 8) + record(1, "abc") + record(2, "xyz"));  // an end that lies among the records
    db.setRecord("notes", 1, "abcdefgh");
    EXPECT_EQ(image().substr(0, 25), header(3, 25) + record(3, "abcdefgh"));
}

TEST_F(JDatabaseTest, ARecordOfFourBytesIsAnIdWithoutAText) {
    setImage(header(2, 100) + word(4) + word(1) + record(2, "xyz"));
    EXPECT_EQ(all(), Texts({"", "xyz"}));
    db.open("notes");
    EXPECT_EQ(db.find(1).size(), 8 + 4);
    db.close();
}

TEST_F(JDatabaseTest, ARecordOfThreeBytesHasNoId) {
    setImage(header(2, 100) + word(3) + word(1).substr(0, 3) + record(2, "xyz"));
    db.open("notes");
    EXPECT_EQ(db.find(1).size(), 0);
    db.close();
    EXPECT_EQ(get(2), "xyz");
}

TEST_F(JDatabaseTest, GetRecords_TakesTextsOfEverySizeFromEveryPlaceOfItsWindow) {
    Texts texts;
    for (int i = 0; i < 700; i++)
        texts.emplace_back(static_cast<size_t>(i * 37 % 300), static_cast<char>('a' + i % 26));
    for (const int size : {4079, 4080, 4081, 4090, 9000}) texts.emplace_back(static_cast<size_t>(size), 'x');
    setImage(fileOf(texts));
    EXPECT_TRUE(all() == texts);
}

TEST_F(JDatabaseTest, GetRecords_ReadsManyRecordsAtOnce) {
    setImage(fileOf(Texts(1000, "some text")));  // 18,008 bytes
    FileCalls::reset();
    all();
    EXPECT_LE(FileCalls::pread.count, 1 + 6);  // the header, and the records in pieces of 4 KiB
}

TEST_F(JDatabaseTest, AddRecord_ReadsTheHeaderAloneAndWritesTwice) {
    setImage(fileOf(Texts(1000, "some text")));
    FileCalls::reset();
    db.addRecord("notes", "new");
    EXPECT_EQ(FileCalls::pread.count, 1);
    EXPECT_EQ(FileCalls::pwrite.count, 2);
}

TEST_F(JDatabaseTest, ATextBeyondItsRecordIsCutAtTheRecordsEnd) {
    std::string damaged = fileOf({"abc", "xyz"});
    damaged[8 + 8] = 100;
    setImage(damaged);
    EXPECT_EQ(db.getRecord("notes", 1).length(), 3);
    EXPECT_EQ(all(), Texts({"abc", "xyz"}));
}

TEST_F(JDatabaseTest, ARecordWithoutAnIdDoesNotTakeTheNextLengthForOne) {
    Texts texts(8, "abc");  // each record has length 8, which is the id of the last one
    const std::string whole = fileOf(texts);
    setImage(header(9, 100) + word(0) + whole.substr(8));
    texts.emplace_back("");
    EXPECT_EQ(all(), texts);
    EXPECT_EQ(get(8), "abc");
}

TEST_F(JDatabaseTest, GetRecords_GivesWhatGetRecordGives_ForTextsBeyondTheirRecords) {
    for (const int length : {0, 1, 3, 4, 100, 253, 254, 255}) {
        std::string damaged = fileOf({"abc", "xyz"});
        damaged[8 + 8] = static_cast<char>(length);
        setImage(damaged);
        JStringArray records = db.getRecords("notes");
        const std::string after = image();
        setImage(damaged);
        for (int id = 1; id <= 2; id++) {
            const JString text = db.getRecord("notes", id);
            EXPECT_EQ(records[id - 1].length(), text.length()) << length;
            EXPECT_TRUE(records[id - 1] == text) << length;
        }
        EXPECT_EQ(image(), after);
    }
}

TEST_F(JDatabaseTest, ANegativeRecordCountIsCountedOn) {
    setImage(header(-5, 8));
    EXPECT_EQ(db.getNumRecords("notes"), -5);
    EXPECT_TRUE(all().empty());
    db.addRecord("notes", "abc");
    EXPECT_EQ(image(), header(-4, 20) + record(-4, "abc"));
}

TEST_F(JDatabaseTest, GetRecords_MakesNoStringForARecordThatIsNotThere) {
    setImage(header(INT_MAX, 8) + std::string(1 << 20, '\0'));
    JStringArray records = db.getRecords("notes");
    EXPECT_LE(records.length(), (8 + (1 << 20)) / 4);
    for (int i = 0; i < records.length(); i++) ASSERT_EQ(JObjectArrayPeer::element(records, i), nullptr);
}

TEST_F(JDatabaseTest, AHugeRecordCountMakesNoHugeArray) {
    setImage(header(INT_MAX, 20) + record(1, "abc"));
    const Texts texts = all();
    EXPECT_LE(texts.size(), 1024U);
    EXPECT_EQ(texts[0], "abc");
}

TEST_F(JDatabaseTest, ADamagedEndIsNeverWrittenInTheHeaderOrFarBeyondTheFile) {
    for (const int end : {INT_MIN, -1, 0, 7, 1 << 30, INT_MAX}) {
        setImage(header(1, end) + record(1, "abc"));
        db.addRecord("notes", "new");
        EXPECT_EQ(image(), fileOf({"abc", "new"})) << end;
    }
}

TEST_F(JDatabaseTest, AnEndBeyondAFileWhoseLastRecordIsCutLeavesAGap) {
    const std::string whole = fileOf({"abc"});
    setImage(whole.substr(0, whole.size() - 2));
    db.addRecord("notes", "new");
    EXPECT_EQ(image(),
              header(2, 32) + record(1, "abc").substr(0, 10) + std::string(2, '\0') + record(2, "new"));
    EXPECT_EQ(get(2), "new");
}

TEST_F(JDatabaseTest, AnEndBeyondAFileWithoutItsLastRecordLeavesAGap) {
    setImage(header(2, 32) + record(1, "abc"));
    db.addRecord("notes", "new");
    EXPECT_EQ(image(), header(3, 44) + record(1, "abc") + std::string(12, '\0') + record(3, "new"));
}

TEST_F(JDatabaseTest, AnEndMoreThanOneMebibyteBeyondTheFileIsDamaged) {
    constexpr int MEBIBYTE = 1 << 20;
    setImage(header(1, 20 + MEBIBYTE) + record(1, "abc"));
    db.addRecord("notes", "new");
    EXPECT_TRUE(image() == header(2, 20 + MEBIBYTE + 12) + record(1, "abc") +
                               std::string(static_cast<size_t>(MEBIBYTE), '\0') + record(2, "new"));
    setImage(header(1, 20 + MEBIBYTE + 1) + record(1, "abc"));
    db.addRecord("notes", "new");
    EXPECT_TRUE(image() == fileOf({"abc", "new"}));
}

TEST_F(JDatabaseTest, ARecordMayEndWhereAnIntDoesAndNotBehind) {
    setImage(header(2, INT_MAX - 12) + record(1, "abc"));
    ASSERT_EQ(truncate(path().c_str(), INT_MAX - 12), 0);
    db.addRecord("notes", "abcd");
    EXPECT_EQ(db.getNumRecords("notes"), 2);
    db.addRecord("notes", "new");
    EXPECT_EQ(db.getNumRecords("notes"), 3);
    db.addRecord("notes", "");
    EXPECT_EQ(db.getNumRecords("notes"), 3);
    EXPECT_EQ(sizeOfFile(), INT_MAX);
    EXPECT_EQ(get(1), "abc");
}

TEST_F(JDatabaseTest, ARepairThatDoesNotFitBelowTheLimitIsLeftOut) {
    setImage(header(3, 20) + word(INT_MAX) + word(1));
    ASSERT_EQ(truncate(path().c_str(), INT_MAX), 0);
    EXPECT_EQ(get(2), "");
    EXPECT_EQ(db.getNumRecords("notes"), 3);
    EXPECT_EQ(sizeOfFile(), INT_MAX);
}

TEST_F(JDatabaseTest, ARepairMayEndWhereAnIntDoes) {
    setImage(header(3, 20) + word(INT_MAX) + word(1));
    ASSERT_EQ(truncate(path().c_str(), INT_MAX - 4), 0);
    EXPECT_EQ(get(2), "");
    EXPECT_EQ(db.getNumRecords("notes"), 1);
    EXPECT_EQ(sizeOfFile(), INT_MAX);
}

TEST_F(JDatabaseTest, AFileOfTwoGibibytesIsNotOpened) {
    setImage(fileOf({"abc"}));
    ASSERT_EQ(truncate(path().c_str(), INT_MAX), 0);
    EXPECT_EQ(get(1), "abc");
    ASSERT_EQ(truncate64(path().c_str(), INT_MAX + 1LL), 0);
    EXPECT_EQ(get(1), "");
    db.addRecord("notes", "new");
    EXPECT_EQ(db.getNumRecords("notes"), 0);
    ASSERT_EQ(truncate(path().c_str(), 100), 0);
    EXPECT_EQ(db.getNumRecords("notes"), 1);
}

TEST_F(JDatabaseTest, ACountThatTheFileDoesNotHoldIsKeptUpTo1024Elements) {
    for (const int count : {1023, 1024, 1025, INT_MAX}) {
        setImage(header(count, 20) + record(1, "abc"));
        EXPECT_EQ(all().size(), static_cast<size_t>(std::min(count, 1024))) << count;
    }
}

TEST_F(JDatabaseTest, NoRecordIsAddedToTheGreatestCount) {
    for (const int count : {INT_MAX - 1, INT_MAX}) {
        setImage(header(count, 20) + record(1, "abc"));
        db.addRecord("notes", "new");
        EXPECT_EQ(db.getNumRecords("notes"), INT_MAX);
        EXPECT_EQ(image().size(), count == INT_MAX ? 20U : 32U);
    }
}

TEST_F(JDatabaseTest, SetRecord_WithTheGreatestCountKeepsTheOldText) {
    setImage(header(INT_MAX, 20) + record(1, "abc"));
    db.setRecord("notes", 1, "longer");
    EXPECT_EQ(get(1), "abc");
}

TEST_F(JDatabaseTest, SetRecord_AbandonsAnOldRecordThatTheNewOneOverwritesInPart) {
    setImage(header(2, 8) + record(1, "abc") + record(2, "xyz"));  // an end that lies before the records
    db.setRecord("notes", 2, "abcd");
    EXPECT_EQ(image(), header(3, 21) + record(3, "abcd") + word(8).substr(1) + word(-1) + textField("xyz"));
}

TEST_F(JDatabaseTest, AddRecord_AfterAFailedWriteOfTheFirstHeaderWritesBoth) {
    FileCalls::pwrite.failAfter(0, EIO);
    db.addRecord("notes", "abc");
    EXPECT_TRUE(FileCalls::pwrite.hasFailed());
    EXPECT_EQ(image(), fileOf({"abc"}));
}

namespace {

/** What reading a file that was cut gives, and what it leaves of the file: the description in its plainest form. */
class CutFile {
public:
    CutFile(const Texts& written, size_t size) : texts(size < 8 ? 0 : written.size()) {
        const std::string whole = fileOf(written);
        image = size < 8 ? header(0, 8) : whole.substr(0, size);
        size_t offset = 8;
        for (size_t i = 0; i < texts.size(); i++) {
            if (offset + 4 > size) {
                repair(static_cast<int>(i), offset, size);
                break;
            }
            const size_t length = record(0, written[i]).size() - 4;
            const std::string body = whole.substr(0, size).substr(offset + 4, length);
            const size_t start = length - written[i].size();  // behind id and text length
            if (body.size() > start) texts[i] = body.substr(start);
            offset += 4 + length;
        }
    }

    Texts texts;
    std::string image;

private:
    void repair(int records, size_t offset, size_t size) {
        const int left = size > offset ? static_cast<int>(size - offset) : 0;
        const auto end = static_cast<int>(size) - left + 4;
        image = header(records, end) + image.substr(8, static_cast<size_t>(end) - 12) + word(left);
    }
};

}  // namespace

TEST_F(JDatabaseTest, ACutFileGivesWhatIsLeftAndIsRepaired) {
    const Texts written = {"first", "", std::string(300, 'x'), "last"};
    const std::string whole = fileOf(written);
    for (size_t size = 0; size < whole.size(); size++) {
        const CutFile cut(written, size);
        setImage(whole.substr(0, size));
        ASSERT_EQ(all(), cut.texts) << size;
        ASSERT_TRUE(image() == cut.image) << size;
        for (size_t i = 0; i < cut.texts.size(); i++)
            ASSERT_EQ(get(static_cast<int>(i) + 1), cut.texts[i]) << size;
        setImage(whole.substr(0, size));
        ASSERT_EQ(get(5), "");
        ASSERT_TRUE(image() == cut.image) << size;
    }
}

TEST_F(JDatabaseTest, ACutFileCanBeWrittenTo) {
    const std::string whole = fileOf({"first", "", std::string(300, 'x'), "last"});
    for (size_t size = 0; size <= whole.size(); size++) {
        setImage(whole.substr(0, size));
        db.setRecord("notes", 2, "changed");
        db.addRecord("notes", "added");
        const std::string added = record(db.getNumRecords("notes"), "added");
        const std::string bytes = image();
        ASSERT_GE(bytes.size(), added.size());
        ASSERT_EQ(bytes.substr(bytes.size() - added.size()), added) << size;
    }
}

TEST_F(JDatabaseTest, EveryChangeOfAHeaderOrLengthByteIsSurvived) {
    const std::string whole = fileOf({"first", "second", "third"});
    const size_t words[] = {0, 4, 8, 8 + 14, 8 + 14 + 15};
    for (const size_t at : words) {
        for (size_t i = at; i < at + 4; i++) {
            for (const int value : {0x00, 0x01, 0x04, 0x10, 0x7F, 0x80, 0xFE, 0xFF}) {
                std::string damaged = whole;
                damaged[i] = static_cast<char>(value);
                setImage(damaged);
                for (int id = 0; id <= 4; id++) get(id);
                const Texts texts = all();
                ASSERT_LE(texts.size(), 1024U);
                db.setRecord("notes", 1, "a longer text");
                ASSERT_LT(image().size(), (1U << 20) + 256U);
            }
        }
    }
}

TEST_F(JDatabaseTest, ADirectoryThatDoesNotExistMakesEveryOperationANoOp) {
    JDatabase::_path = (directory + "/none/db").c_str();
    db.addRecord("notes", "abc");
    db.setRecord("notes", 1, "abc");
    EXPECT_EQ(db.getNumRecords("notes"), 0);
    EXPECT_EQ(get(1), "");
    EXPECT_TRUE(all().empty());
}

TEST_F(JDatabaseTest, AFullDiskLeavesTheDatabaseAsItWas) {
    db.addRecord("notes", "abc");
    {
        const FileSizeLimit limit(22);
        db.addRecord("notes", "does not fit");
        db.setRecord("notes", 1, "neither does this");
    }
    EXPECT_EQ(image().substr(0, 20), fileOf({"abc"}));
    db.addRecord("notes", "now");
    EXPECT_EQ(image().substr(0, 32), fileOf({"abc", "now"}));
    EXPECT_EQ(all(), Texts({"abc", "now"}));
}

// ---- against a model ----

namespace {

/** The operations in their plainest form, on a string instead of a file. */
class Model {
public:
    std::string bytes = header(0, 8);

    void add(const std::string& text) {
        const int id = wordAt(bytes, 0) + 1;
        bytes += record(id, text);
        bytes.replace(0, 8, header(id, static_cast<int>(bytes.size())));
    }

    void set(int id, const std::string& text) {
        size_t at = 8;
        while (at < bytes.size() && wordAt(bytes, at + 4) != id)
            at += 4 + static_cast<size_t>(wordAt(bytes, at));
        if (at >= bytes.size()) return;
        const int length = wordAt(bytes, at);
        const std::string image = word(length) + word(id) + textField(text);
        if (length < static_cast<int>(image.size()) - 4) {
            bytes.replace(at + 4, 4, word(-1));
            add(text);
        } else {
            bytes.replace(at, image.size(), image);
        }
    }
};

}  // namespace

TEST_F(JDatabaseTest, ThousandsOfRandomOperationsGiveTheModelsBytes) {
    std::mt19937 random(20);
    Model model;
    std::map<int, std::string> expected;
    for (int i = 0; i < 3000; i++) {
        const std::string text(random() % 12 == 0 ? random() % 400 : random() % 20,
                               static_cast<char>('a' + random() % 26));
        if (random() % 3 == 0) {
            model.add(text);
            db.addRecord("notes", text.c_str());
        } else {
            const auto id = static_cast<int>(random() % 60);
            model.set(id, text);
            db.setRecord("notes", id, text.c_str());
        }
        if (i % 100 != 0) continue;
        ASSERT_EQ(image(), model.bytes) << i;
    }
    EXPECT_EQ(image(), model.bytes);
    const Texts texts = all();
    for (size_t i = 0; i < texts.size(); i += 7) EXPECT_EQ(texts[i], get(static_cast<int>(i) + 1));
}
