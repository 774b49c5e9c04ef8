#include "core/JStringTable.h"

#include <gtest/gtest.h>
#include <memory>

#include "support/JObjectArrayPeer.h"

using Peer = jay::detail::JObjectArrayPeer;

namespace {

void expectCounts(const JTable& table, int rows, int columns) {
    EXPECT_EQ(table.getRows(), rows);
    EXPECT_EQ(table.getColumns(), columns);
}

/** The row as the base has it, which makes nothing of it. */
JObject* rowOf(const JStringTable& table, int row) {
    return Peer::element(table, row);
}

}  // namespace

TEST(JStringTableTest, StoresTheCountsItIsMadeWithAndMakesNoRow) {
    expectCounts(JStringTable(), 0, 0);
    const JStringTable table(3, 4);
    expectCounts(table, 3, 4);
    EXPECT_EQ(table.length(), 0);
}

TEST(JStringTableTest, ItsCellsAreEmptyStringsAtFirst) {
    JStringTable table;
    EXPECT_STREQ(table[2][4], "");
    expectCounts(table, 3, 5);
    table[0][1] = "x";
    EXPECT_STREQ(table[0][1], "x");
    expectCounts(table, 3, 5);
    EXPECT_EQ(rowOf(table, 1), nullptr);
}

TEST(JStringTableTest, ARowIsAStringArrayThatCountsTheColumns) {
    JStringTable table;
    JStringArray& row = table[-2];
    EXPECT_EQ(row.getClass(), &JStringArray::classJStringArray);
    EXPECT_EQ(&table[0], &row);
    row[3] = "x";
    expectCounts(table, 1, 4);
    const std::unique_ptr<JObject> made(table.create());
    ASSERT_EQ(made->getClass(), &JStringArray::classJStringArray);
    static_cast<JStringArray&>(*made)[5] = "x";
    expectCounts(table, 1, 6);
}

TEST(JStringTableTest, MakesStringsAlsoWhenItIsReadAsATable) {
    JStringTable table;
    JTable& base = table;
    EXPECT_EQ(base[1][1].getClass(), &JString::classJString);
    expectCounts(table, 2, 2);
}

TEST(JStringTableTest, ACopyHasTheCountsAndNoElement) {
    JStringTable table;
    table[1][2] = "x";
    JStringTable copy(table);
    EXPECT_EQ(copy.getClass(), &JStringTable::classJStringTable);
    expectCounts(copy, 2, 3);
    EXPECT_EQ(copy.length(), 0);
    EXPECT_STREQ(copy[1][2], "");
}

TEST(JStringTableTest, ACloneIsATableWithTheCounts) {
    JStringTable table;
    table[1][2] = "x";
    const std::unique_ptr<JObject> clone(table.clone());
    ASSERT_EQ(clone->getClass(), &JTable::classJTable);
    expectCounts(static_cast<JTable&>(*clone), 2, 3);
    EXPECT_EQ(static_cast<JTable&>(*clone).length(), 0);
}

TEST(JStringTableTest, AssigningCopiesTheRowsAsPlainArraysOfTheStrings) {
    JStringTable table;
    table[1][2] = "x";
    JStringTable target;
    target[4][4] = "old";
    EXPECT_EQ(&(target = table), &target);
    expectCounts(target, 2, 3);
    EXPECT_EQ(target.length(), 2);
    EXPECT_EQ(target[1].getClass(), &JObjectArray::classJObjectArray);
    EXPECT_STREQ(target[1][2], "x");
    table[1][2] = "changed";
    EXPECT_STREQ(target[1][2], "x");
}

TEST(JStringTableTest, ARowTakenRightAfterAnAssignmentStaysThatRow) {
    JStringTable table;
    table[0][0] = "x";
    JStringTable target;
    target = table;
    JTable& base = target;
    const JObjectArray& first = base[0];
    EXPECT_EQ(&target[0], &first);
    EXPECT_EQ(&base[0], &first);
}

TEST(JStringTableTest, AnAssignedTableCanBeAssignedOn) {
    JStringTable table;
    table[0][1] = "x";
    JStringTable second;
    second = table;
    JStringTable third;
    third = second;
    EXPECT_STREQ(third[0][1], "x");
    EXPECT_STREQ(third[0][0], "");
    EXPECT_STREQ(third[1][0], "");
}

TEST(JStringTableTest, AssignedToItselfItIsEmpty) {
    JStringTable table;
    table[0][1] = "x";
    JStringTable& same = table;
    table = same;
    EXPECT_EQ(table.length(), 0);
    expectCounts(table, 1, 2);
}

TEST(JStringTableTest, MakesMissingCellsOfAnAssignedRowAsStrings) {
    JStringTable table;
    table[1][2] = "x";
    JStringTable target;
    target = table;
    EXPECT_STREQ(target[1][0], "");
    target[1][9] = "y";
    EXPECT_STREQ(target[1][9], "y");
    EXPECT_STREQ(target[1][2], "x");
    expectCounts(target, 2, 3);  // its rows count no columns
    target[0][6] = "z";
    expectCounts(target, 2, 7);
}

TEST(JStringTableTest, ANegativeIndexFindsTheAssignedFirstRow) {
    JStringTable table;
    table[0][0] = "x";
    JStringTable target;
    target = table;
    EXPECT_STREQ(target[-1][-1], "x");
    EXPECT_EQ(target.length(), 1);
}
