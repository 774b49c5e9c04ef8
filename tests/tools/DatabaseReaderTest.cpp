#include "tools/jay/DatabaseReader.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "database/Records.h"

using database::header;
using database::record;
using database::textField;
using database::word;

namespace {

/** A record in which a longer text stood before. */
std::string withSlack(int id, const std::string& text, const std::string& slack) {
    const std::string body = word(id) + textField(text) + slack;
    return word(static_cast<int>(body.size())) + body;
}

std::string databaseOf(const std::vector<std::string>& records) {
    std::string bytes;
    for (const std::string& one : records) bytes += one;
    return header(static_cast<int>(records.size()), static_cast<int>(8 + bytes.size())) + bytes;
}

/** All records of a file, and what is wrong with it. */
struct Reading {
    explicit Reading(const std::string& bytes) : file(bytes) {
        DatabaseReader reader(file);
        StoredRecord one;
        while (reader.next(one)) records.push_back(one);
        damage = reader.damage();
        offset = reader.offset();
    }

    std::string file;  // the records' texts are parts of it
    std::vector<StoredRecord> records;
    std::string damage;
    std::size_t offset = 0;
};

}  // namespace

TEST(DatabaseReaderTest, ReadsEachRecordWithItsPlaceAndSlack) {
    const Reading read(databaseOf({record(-1, "abc"), withSlack(2, "salt", "toes"), record(3, "")}));
    ASSERT_EQ(read.records.size(), 3U);
    EXPECT_EQ(read.records[0].id, StoredRecord::ABANDONED);
    EXPECT_EQ(read.records[1].offset, 20U);
    EXPECT_EQ(read.records[1].length, 13);
    EXPECT_EQ(read.records[1].text, "salt");
    EXPECT_EQ(read.records[1].slack, 4U);
    EXPECT_EQ(read.records[2].text, "");
    for (const StoredRecord& one : read.records) EXPECT_EQ(one.fault, "");
    EXPECT_EQ(read.damage, "");
}

TEST(DatabaseReaderTest, TakesAnEmptyFileForAnEmptyDatabase) {
    const Reading read("");
    EXPECT_TRUE(read.records.empty());
    EXPECT_EQ(read.damage, "");
}

TEST(DatabaseReaderTest, ReadsTextLengthsOfOneThreeAndFiveBytes) {
    const std::string longText(254, 'x');
    const std::string body = word(1) + "\xFE" + word(254).substr(0, 2) + longText;
    const std::string five = word(2) + "\xFF" + word(3) + "abc";
    const Reading read(
        databaseOf({word(static_cast<int>(body.size())) + body, word(static_cast<int>(five.size())) + five}));
    ASSERT_EQ(read.records.size(), 2U);
    EXPECT_EQ(read.records[0].text, longText);
    EXPECT_EQ(read.records[1].text, "abc");
    EXPECT_EQ(read.damage, "");
}

TEST(DatabaseReaderTest, ReportsEveryCutWhereItIs) {
    const std::string whole = databaseOf({record(1, "abc"), record(2, "xyz")});
    for (std::size_t size = 1; size < whole.size(); size++) {
        const Reading read(whole.substr(0, size));
        EXPECT_NE(read.damage, "") << size;
        const std::size_t place = size < 8 ? 0 : size < 20 ? 8 : 20;
        EXPECT_EQ(read.offset, place) << size;
        EXPECT_EQ(read.records.size(), size < 20 ? 0U : 1U) << size;
    }
}

TEST(DatabaseReaderTest, ReportsAHeaderThatDoesNotFitTheRecords) {
    const std::string records = record(1, "abc");
    EXPECT_NE(Reading(word(-1) + word(8)).damage, "");
    EXPECT_NE(Reading(word(1) + word(21) + records).damage, "");
    EXPECT_NE(Reading(word(1) + word(19) + records).damage, "");
    EXPECT_NE(Reading(word(2) + word(20) + records).damage, "");
    EXPECT_EQ(Reading(word(1) + word(20) + records).damage, "");
}

TEST(DatabaseReaderTest, ReportsARecordThatContradictsItself) {
    for (const std::string& bad : {word(3) + "abc", record(7, "abc"), record(0, "abc"), word(4) + word(1),
                                   word(6) + word(1) + "\x05" + "a", word(5) + word(1) + "\xFE"}) {
        const Reading read(databaseOf({bad}));
        ASSERT_EQ(read.records.size(), 1U);
        EXPECT_NE(read.records[0].fault, "");
        EXPECT_EQ(read.damage, "");
    }
}

TEST(DatabaseReaderTest, StopsAtANegativeLength) {
    const Reading read(databaseOf({word(-5) + word(1), record(2, "abc")}));
    EXPECT_TRUE(read.records.empty());
    EXPECT_NE(read.damage.find("negative: -5"), std::string::npos) << read.damage;
}
