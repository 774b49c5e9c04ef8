#include "core/JTable.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>

#include "core/JString.h"
#include "support/Counted.h"
#include "support/JObjectArrayPeer.h"

using support::Counted;
using support::CountedTest;
using support::numberOf;
using Peer = jay::detail::JObjectArrayPeer;

namespace {

void expectCounts(const JTable& table, int rows, int columns) {
    EXPECT_EQ(table.getRows(), rows);
    EXPECT_EQ(table.getColumns(), columns);
}

/** Puts an object of the given number into a cell. */
void put(JTable& table, int row, int column, int number) {
    JObjectArray& cells = table[row];
    cells[column];
    delete Peer::element(cells, column);
    Peer::element(cells, column) = new Counted(number);
}

class JTableLifeTest : public CountedTest {};

}  // namespace

TEST(JTableTest, IsEmptyAtFirst) {
    const JTable table;
    expectCounts(table, 0, 0);
    EXPECT_EQ(table.length(), 0);
}

TEST(JTableTest, StoresTheCountsItIsMadeWithAndMakesNoRow) {
    const JTable table(3, 4);
    expectCounts(table, 3, 4);
    EXPECT_EQ(table.length(), 0);
    EXPECT_EQ(Peer::capacity(table), 0);
}

TEST(JTableTest, ReadingACellMakesItAndRaisesTheCounts) {
    JTable table(0, 0);
    JObjectArray& row = table[2];
    expectCounts(table, 3, 0);
    EXPECT_EQ(row[4].getClass(), &JObject::classJObject);
    expectCounts(table, 3, 5);
    EXPECT_EQ(&table[2], &row);
    EXPECT_EQ(row.length(), 5);
}

TEST(JTableTest, ARowIsAPlainArrayThatCountsTheColumns) {
    JTable table;
    JObjectArray& row = table[-1];
    EXPECT_EQ(row.getClass(), &JObjectArray::classJObjectArray);
    EXPECT_EQ(row.length(), 0);
    EXPECT_EQ(&table[0], &row);
    row[3];
    expectCounts(table, 1, 4);
    const std::unique_ptr<JObject> made(table.create());
    ASSERT_EQ(made->getClass(), &JObjectArray::classJObjectArray);
    static_cast<JObjectArray&>(*made)[5];
    expectCounts(table, 1, 6);
}

TEST(JTableTest, ColumnsAreTheLongestRowsEver) {
    JTable table;
    table[0][6];
    table[1][2];
    expectCounts(table, 2, 7);
    table[0].clear();
    expectCounts(table, 2, 7);
    table[1][9];
    expectCounts(table, 2, 10);
}

TEST(JTableTest, TheCountsDoNotLimitAndAreOnlyRaisedByLongerRows) {
    JTable table(5, 5);
    table[1][1];
    expectCounts(table, 5, 5);
    table[6][7];
    expectCounts(table, 7, 8);
}

TEST(JTableTest, ResizingStoresTheCountsAndChangesNothingElse) {
    JTable table;
    JObject& cell = table[2][4];
    table.resize(1, 1);
    expectCounts(table, 1, 1);
    EXPECT_EQ(table.length(), 3);
    EXPECT_EQ(table[2].length(), 5);
    expectCounts(table, 3, 1);  // the rows were read, the columns were not
    EXPECT_EQ(&table[2][4], &cell);
    expectCounts(table, 3, 5);
    table.resize(-1, 100);
    expectCounts(table, -1, 100);
}

TEST(JTableTest, ClearingKeepsTheCounts) {
    JTable table;
    table[2][4];
    table.clear();
    expectCounts(table, 3, 5);
    EXPECT_EQ(table.length(), 0);
}

TEST_F(JTableLifeTest, DeletesRowsAndCells) {
    {
        JTable table;
        put(table, 0, 0, 1);
        put(table, 3, 2, 2);
        put(table, 3, 0, 3);
        table.JObjectArray::resize(1);
        EXPECT_EQ(happened(), (Log{"delete 3", "delete 2"}));
    }
    EXPECT_EQ(happened(), (Log{"delete 1"}));
}

TEST_F(JTableLifeTest, ACopyHasTheCountsAndNoElement) {
    JTable table;
    put(table, 1, 2, 1);
    JTable copy(table);
    expectCounts(copy, 2, 3);
    EXPECT_EQ(copy.length(), 0);
    EXPECT_EQ(alive(), 1);
    copy[4][5];
    expectCounts(copy, 5, 6);
    expectCounts(table, 2, 3);
}

TEST_F(JTableLifeTest, ACloneHasTheCountsAndNoElement) {
    JTable table;
    put(table, 1, 2, 1);
    const std::unique_ptr<JObject> clone(table.clone());
    ASSERT_EQ(clone->getClass(), &JTable::classJTable);
    expectCounts(static_cast<JTable&>(*clone), 2, 3);
    EXPECT_EQ(static_cast<JTable&>(*clone).length(), 0);
    EXPECT_EQ(happened(), Log{});
}

TEST_F(JTableLifeTest, AssigningClonesTheRowsAsPlainArraysAndCopiesTheCounts) {
    JTable table;
    put(table, 1, 2, 7);
    table.resize(10, 20);
    JTable target;
    put(target, 5, 5, 8);
    EXPECT_EQ(&(target = table), &target);
    EXPECT_EQ(happened(), (Log{"delete 8", "clone 7"}));
    expectCounts(target, 10, 20);
    EXPECT_EQ(target.length(), 2);
    EXPECT_EQ(Peer::capacity(target), 2);
    EXPECT_EQ(Peer::element(target, 0), nullptr);
    EXPECT_EQ(numberOf(&target[1][2]), 7);
    EXPECT_NE(&target[1][2], &table[1][2]);
    target[10];
    expectCounts(target, 11, 20);
}

TEST(JTableTest, TheRowsOfAnAssignmentCountNoColumnsButNewOnesDo) {
    JTable table;
    table[0][2];
    JTable target;
    target = table;
    EXPECT_EQ(Peer::counter(target[0]), nullptr);
    target[0][9];
    expectCounts(target, 1, 3);
    target[1][5];
    expectCounts(target, 2, 6);
    expectCounts(table, 1, 3);
}

TEST(JTableTest, AssigningLowersTheCountsToTheOthers) {
    JTable target(9, 9);
    target[0][0];
    JTable table;
    table[3][1];
    target = table;
    expectCounts(target, 4, 2);
}

TEST_F(JTableLifeTest, AssignedToItselfItIsEmptiedAndKeepsTheCounts) {
    JTable table;
    put(table, 1, 2, 7);
    JTable& same = table;
    table = same;
    EXPECT_EQ(alive(), 0);
    EXPECT_EQ(table.length(), 0);
    expectCounts(table, 2, 3);
}

TEST_F(JTableLifeTest, HoldsWhatAMapOfCellsHolds) {
    std::mt19937 random(11);
    JTable table;
    std::map<std::pair<int, int>, int> model;
    int rows = 0;
    int columns = 0;
    for (int number = 0; number < 3000; number++) {
        const int row = static_cast<int>(random() % 30);
        const int column = static_cast<int>(random() % 30);
        put(table, row, column, number);
        model[{row, column}] = number;
        rows = std::max(rows, row + 1);
        columns = std::max(columns, column + 1);
        ASSERT_EQ(table.getRows(), rows);
        ASSERT_EQ(table.getColumns(), columns);
    }
    EXPECT_EQ(alive(), static_cast<int>(model.size()));
    for (const auto& [cell, number] : model) EXPECT_EQ(numberOf(&table[cell.first][cell.second]), number);
}
