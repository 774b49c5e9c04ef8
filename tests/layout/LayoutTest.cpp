/** @file The one place that checks records, sizes, field order and slots of all classes, from the table in Classes.cpp. */
#include "layout/Layout.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <ostream>

namespace layout {

static void PrintTo(const Row& row, std::ostream* out) {
    *out << row.name;
}

namespace {

class LayoutTest : public testing::TestWithParam<Row> {};

bool isAlone(char c) {
    return c == ':';
}

std::string testName(const testing::TestParamInfo<Row>& info) {
    std::string name = info.param.name;
    name.erase(std::remove_if(name.begin(), name.end(), isAlone), name.end());
    return name;
}

}  // namespace

TEST_P(LayoutTest, ObjectsAnswerTheRecord) {
    const Row& row = GetParam();
    if (!row.answer) return;  // no JObject, or no object of the class can be reached
    EXPECT_EQ(row.answer(), row.record) << "is the record of " << row.answer()->name;
}

TEST_P(LayoutTest, RecordHoldsNameSizeAndSuperclass) {
    const Row& row = GetParam();
    if (row.recordName.empty()) {
        EXPECT_TRUE(row.record == nullptr || row.name != row.record->name) << "has a record of its own";
        return;
    }
    EXPECT_EQ(row.record->name, row.recordName);
    EXPECT_EQ(static_cast<std::size_t>(row.record->size), row.size);
    EXPECT_EQ(row.record->superclass, row.superclass);
}

TEST_P(LayoutTest, FieldsStandInTheirOrderBehindTheBase) {
    const Row& row = GetParam();
    if (row.fields.empty()) return;
    // The compiler may place the first field in the unused bytes at the end of the base, fewer than a pointer has.
    const Field& first = row.fields.front();
    EXPECT_LE(first.offset, roundedUp(row.baseSize, first.alignment)) << first.name;
    EXPECT_GT(first.offset + sizeof(void*), row.baseSize) << first.name;
    std::size_t end = first.offset;
    for (const Field& field : row.fields) {
        EXPECT_EQ(field.offset, roundedUp(end, field.alignment)) << field.name;
        end = field.offset + field.size;
    }
    EXPECT_LE(end, row.size);
}

TEST_P(LayoutTest, SizeIsAsDescribed) {
    const Row& row = GetParam();
    if (row.sizeOn32Bits == 0) return;  // may grow behind its fields
    const std::size_t end =
        row.fields.empty() ? row.baseSize : row.fields.back().offset + row.fields.back().size;
    EXPECT_EQ(row.size, roundedUp(end, row.alignment)) << "nothing stands behind the fields";
    if (sizeof(void*) == 4) {
        EXPECT_EQ(row.size, row.sizeOn32Bits);
    }
}

TEST_P(LayoutTest, OperationsStandInTheirSlots) {
    const Row& row = GetParam();
    std::size_t expected = row.firstSlot;
    for (const Slot& slot : row.slots) EXPECT_EQ(slot.index, expected++) << slot.operation;
}

INSTANTIATE_TEST_SUITE_P(Classes, LayoutTest, testing::ValuesIn(table()), testName);

}  // namespace layout
