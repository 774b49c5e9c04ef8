#include "core/JStringTable.h"

#include <cassert>

const JClass JStringTable::classJStringTable = {"JStringTable", sizeof(JStringTable), &JTable::classJTable};

namespace {

/** A row made by an assignment: a plain array by its class record, yet an array of strings. */
class AssignedRow : public JStringArray {
public:
    explicit AssignedRow(const JObjectArray& row) { JStringArray::operator=(row); }
    const JClass* getClass() const override { return &JObjectArray::classJObjectArray; }
};

JObject* copyOfRow(JObject& row) {
    return new AssignedRow(static_cast<JObjectArray&>(row));
}

}  // namespace

JStringTable::JStringTable() = default;
JStringTable::JStringTable(int rowCount, int columnCount) : JTable(rowCount, columnCount) {
}
JStringTable::JStringTable(const JStringTable& other) = default;

JStringTable& JStringTable::operator=(const JStringTable& other) {
    assign(other, copyOfRow);
    resize(other.getRows(), other.getColumns());
    return *this;
}

const JClass* JStringTable::getClass() const {
    return &classJStringTable;
}

JObject* JStringTable::create() {
    return new JStringArray(&columns);
}

JStringArray& JStringTable::operator[](int row) {
    JObjectArray& found = JTable::operator[](row);
    assert(dynamic_cast<JStringArray*>(&found) != nullptr);
    return static_cast<JStringArray&>(found);
}
